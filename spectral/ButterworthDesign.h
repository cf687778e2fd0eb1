#pragma once

#include "spectral/ConstantSine.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <numbers>

namespace qel::core {

// The coefficients of a low-pass for `filter`, both in ascending order of delay.
template <std::size_t order>
struct LowPassCoefficients {
    std::array<float, order + 1> denominator;
    std::array<float, order + 1> numerator;
};

namespace butterworth {

// Multiplies a polynomial of `degree` in 1 / z by c0 + c1 / z + c2 / z^2.
template <std::size_t size>
constexpr void Multiply(std::array<double, size>& polynomial, std::size_t degree, double c0,
                        double c1, double c2) {
    for (std::size_t i = std::min(degree + 2, size - 1) + 1; i-- > 0;) {
        double sum = c0 * polynomial[i];
        if (i >= 1) {
            sum += c1 * polynomial[i - 1];
        }
        if (i >= 2) {
            sum += c2 * polynomial[i - 2];
        }
        polynomial[i] = sum;
    }
}

} // namespace butterworth

// A Butterworth low-pass, -3 dB at `cutoff` of half the rate: the analog prototype's poles at the
// angles pi (2 k + 1) / (2 order) from the imaginary axis, brought into the z plane by the bilinear
// transform with the cut-off prewarped. Worked out in double precision while compiling, and each
// coefficient rounded by itself to single precision.
template <std::size_t order>
constexpr LowPassCoefficients<order> DesignButterworthLowPass(double cutoff) {
    using std::numbers::pi;
    const double halfAngle = pi * cutoff / 2.0;
    const double k = ConstantSine(halfAngle) / ConstantSine(pi / 2.0 - halfAngle);

    std::array<double, order + 1> denominator{1.0};
    std::array<double, order + 1> numerator{1.0};
    std::size_t degree = 0;
    // A pair of poles s^2 + 2 sin(angle) s + 1 and, of an odd order, the single one s + 1.
    for (std::size_t pair = 0; pair < order / 2; ++pair, degree += 2) {
        const double angle = pi * (2.0 * static_cast<double>(pair) + 1.0) / (2.0 * order);
        const double damping = 2.0 * ConstantSine(angle) * k;
        const double scale = 1.0 + damping + k * k;
        butterworth::Multiply(denominator, degree, 1.0, 2.0 * (k * k - 1.0) / scale,
                              (1.0 - damping + k * k) / scale);
        butterworth::Multiply(numerator, degree, k * k / scale, 2.0 * k * k / scale, k * k / scale);
    }
    if (order % 2 != 0) {
        butterworth::Multiply(denominator, degree, 1.0, (k - 1.0) / (k + 1.0), 0.0);
        butterworth::Multiply(numerator, degree, k / (k + 1.0), k / (k + 1.0), 0.0);
    }

    LowPassCoefficients<order> result{};
    for (std::size_t i = 0; i <= order; ++i) {
        result.denominator[i] = static_cast<float>(denominator[i]);
        result.numerator[i] = static_cast<float>(numerator[i]);
    }
    return result;
}

} // namespace qel::core
