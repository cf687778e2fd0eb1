#pragma once

#include <QelReadings.hpp>

#include <cstddef>
#include <vector>

namespace qel::readings {

// The onset that a peak of the onset strength tells of: the attack lies between frames.
Onset onsetAtPeak(const std::vector<float>& curve, std::size_t peak, double framesPerSecond);

} // namespace qel::readings
