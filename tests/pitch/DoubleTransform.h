// A plain transform in double precision, to hold single-precision work to.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <utility>
#include <vector>

namespace qel::testing {

using Number = std::complex<double>;

// X[m] = sum over n of x[n] e^(-2 pi i n m / size) in place; the size is a power of two.
inline void Transform(std::vector<Number>& x) {
    const std::size_t size = x.size();
    for (std::size_t i = 1, j = 0; i < size; ++i) {
        std::size_t bit = size / 2;
        for (; (j & bit) != 0; bit /= 2) {
            j ^= bit;
        }
        j ^= bit;
        if (i < j) {
            std::swap(x[i], x[j]);
        }
    }
    std::vector<Number> turns(size / 2);
    for (std::size_t i = 0; i < size / 2; ++i) {
        turns[i] = std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(i) /
                                       static_cast<double>(size));
    }
    for (std::size_t half = 1; half < size; half *= 2) {
        for (std::size_t start = 0; start < size; start += 2 * half) {
            for (std::size_t i = 0; i < half; ++i) {
                const Number a = x[start + i];
                const Number b = x[start + half + i] * turns[i * (size / 2 / half)];
                x[start + i] = a + b;
                x[start + half + i] = a - b;
            }
        }
    }
}

} // namespace qel::testing
