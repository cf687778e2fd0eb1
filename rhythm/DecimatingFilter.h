#pragma once

#include <cstddef>

namespace qel::core {

// out[r] = sum over n below `taps` of filter[n] * samples[r * step + n], for r below `count`: what
// a filter makes of every `step`th sample, with steps of 1 or more. `samples` holds (count - 1) *
// step + taps values.
//
// Made for long filters and steps: a filter is cut into blocks of `step` taps, so that samples
// which are loaded serve several blocks and values at once.
//
// A value is formed in single precision in an order that depends on `taps` and `step` alone. `out`
// overlaps nothing. Any thread; no allocation.
void DecimatingFilter(const float* filter, std::size_t taps, const float* samples, std::size_t step,
                      std::size_t count, float* out);

} // namespace qel::core
