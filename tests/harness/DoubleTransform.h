// A transform in double precision, to hold single-precision work to.
#pragma once

#include <complex>
#include <vector>

namespace qel::testing {

using Number = std::complex<double>;

// X[m] = sum over n of x[n] e^(-2 pi i n m / size) in place; the size is a power of two.
void Transform(std::vector<Number>& x);

} // namespace qel::testing
