#include "spectral/ButterworthDesign.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace qel::core {
namespace {

template <std::size_t order>
double Gain(const LowPassCoefficients<order>& filter, double frequency) {
    std::complex<double> above = 0.0;
    std::complex<double> below = 0.0;
    for (std::size_t n = 0; n <= order; ++n) {
        const auto delay = std::polar(1.0, -std::numbers::pi * frequency * static_cast<double>(n));
        above += static_cast<double>(filter.numerator[n]) * delay;
        below += static_cast<double>(filter.denominator[n]) * delay;
    }
    return std::abs(above / below);
}

// The closed form of a Butterworth response under the bilinear transform. Coefficients are rounded
// to 24 bits, of which the sums of the denominators below lose less than ten.
template <std::size_t order>
void ExpectClosedForm(double cutoff) {
    constexpr double kTolerance = 1e-4;
    const auto filter = DesignButterworthLowPass<order>(cutoff);
    EXPECT_EQ(1.0f, filter.denominator[0]);
    for (double frequency = 0.0; frequency < 1.0; frequency += 0.05) {
        const double ratio = std::tan(std::numbers::pi / 2.0 * frequency) /
                             std::tan(std::numbers::pi / 2.0 * cutoff);
        EXPECT_NEAR(1.0 / std::sqrt(1.0 + std::pow(ratio, 2.0 * order)), Gain(filter, frequency),
                    kTolerance)
            << order << " " << cutoff << " " << frequency;
    }
    EXPECT_NEAR(std::numbers::sqrt2 / 2.0, Gain(filter, cutoff), kTolerance);
}

TEST(ButterworthDesignTest, ResponseIsTheClosedForm) {
    ExpectClosedForm<1>(0.3);
    ExpectClosedForm<2>(0.3);
    ExpectClosedForm<3>(0.5);
    ExpectClosedForm<4>(0.4);
    ExpectClosedForm<6>(0.5);
}

} // namespace
} // namespace qel::core
