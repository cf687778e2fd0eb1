// A plain transform in double precision, to hold single-precision work to.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
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

// A constant-Q kernel of `length` samples before zeros, transformed, unscaled. Its phase is formed
// in single precision as the library does it, all else in double.
inline std::vector<Number> TransformedKernel(std::uint32_t length, float q, std::uint32_t size) {
    const auto step = static_cast<float>(2 * std::numbers::pi * static_cast<double>(q) / length);
    std::vector<Number> row(size);
    for (std::uint32_t n = 0; n < length; ++n) {
        const double turn = length > 1 ? 2 * std::numbers::pi * n / (length - 1.0) : 0.0;
        const double window = (0.54 - 0.46 * std::cos(turn)) / length;
        row[n] = std::polar(window, static_cast<double>(static_cast<float>(n) * step));
    }
    Transform(row);
    return row;
}

} // namespace qel::testing
