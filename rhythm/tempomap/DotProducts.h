#pragma once

#include <cstddef>

namespace qel::core {

// out[r] = sum over n below `length` of shared[n] * rows[r * stride + n], for r below `count`: a
// product of a matrix and a vector, or, with a stride below `length`, a correlation that is
// decimated. Several rows are formed at a time, so that each load of `shared` serves them all.
//
// A row's sum is formed in single precision in an order that depends on `length` alone. `out`
// overlaps nothing. Any thread; no allocation.
void DotProducts(const float* shared, std::size_t length, const float* rows, std::size_t stride,
                 std::size_t count, float* out);

} // namespace qel::core
