#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// The median of each value and the `length` - 1 before it, or as many as there are; the lower one
// of two in the middle. Values that are NaN do not count; without others, the median is NaN.
std::vector<float> runningMedian(std::span<const float> values, std::size_t length);

} // namespace qel::readings
