#pragma once

#include "tests/harness/DoubleTransform.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <vector>

namespace qel::testing {

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
