#pragma once

#include <cstddef>

namespace qel::core {

// Adds the products of all samples `lag` apart to sums by phase: sums[p] receives
// signal[n] * signal[n + lag] for n = p, p + lag, ..., as long as n + lag is below `length`, one
// after the other in single precision. p runs below `lag`, which is above 0.
//
// `sums` does not overlap `signal`. Any thread; no allocation.
void AddLagProducts(const float* signal, std::size_t length, std::size_t lag, float* sums);

} // namespace qel::core
