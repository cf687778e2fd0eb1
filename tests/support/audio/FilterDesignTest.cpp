#include "support/audio/FilterDesign.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace qel::core {
namespace {

TEST(FilterDesignTest, GreatestCommonDivisorsOfRates) {
    EXPECT_EQ(GCD(44100, 100), 100u);
    EXPECT_EQ(GCD(44100, 48000), 300u);
    EXPECT_EQ(GCD(48000, 44100), 300u);
    EXPECT_EQ(GCD(22050, 100), 50u);
    EXPECT_EQ(GCD(7, 5), 1u);
    EXPECT_EQ(GCD(0, 5), 5u);
    EXPECT_EQ(GCD(5, 0), 5u);
    EXPECT_EQ(GCD(0, 0), 0u);
}

// The standard library's function is computed in another way; both are good to a few places.
TEST(FilterDesignTest, BesselSeriesIsTheModifiedBesselFunction) {
    EXPECT_EQ(Izero(0.0), 1.0);
    EXPECT_NEAR(Izero(1.0), 1.2660658777520084, 1e-15); // Abramowitz and Stegun, table 9.8
    for (double x = 0.1; x < 100.0; x *= 1.1) {
        const double expected = std::cyl_bessel_i(0.0, x);
        EXPECT_NEAR(Izero(x) / expected, 1.0, 1e-13) << x;
        EXPECT_EQ(Izero(-x), Izero(x));
    }
}

TEST(FilterDesignTest, BesselSeriesEndsBeyondTheRangeOfADouble) {
    EXPECT_TRUE(std::isfinite(Izero(700.0)));
    EXPECT_EQ(Izero(800.0), std::numeric_limits<double>::infinity());
    EXPECT_EQ(Izero(1e300), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(Izero(std::numeric_limits<double>::quiet_NaN())));
}

TEST(FilterDesignTest, WindowIsOneInTheMiddleAndSymmetric) {
    constexpr UInt32 kLength = 101;
    constexpr double kAlpha = 7.0;
    EXPECT_EQ(KaiserWindow(50, kLength, kAlpha), 1.0);
    EXPECT_NEAR(KaiserWindow(0, kLength, kAlpha) * std::cyl_bessel_i(0.0, kAlpha), 1.0, 1e-13);
    for (SInt64 n = 0; n < 50; ++n) {
        EXPECT_EQ(KaiserWindow(n, kLength, kAlpha), KaiserWindow(100 - n, kLength, kAlpha));
        EXPECT_LT(KaiserWindow(n, kLength, kAlpha), KaiserWindow(n + 1, kLength, kAlpha));
    }
}

TEST(FilterDesignTest, WindowOfShapeZeroIsARectangle) {
    for (SInt64 n = 0; n < 10; ++n) {
        EXPECT_EQ(KaiserWindow(n, 10, 0.0), 1.0);
    }
}

TEST(FilterDesignTest, CoefficientsAreASincUnderTheWindow) {
    constexpr UInt32 kLength = 41;
    constexpr double kCutoff = 0.1;
    EXPECT_EQ(FilterCoefficients(20, kLength, kCutoff, 5.0), 0.2);
    for (SInt64 i = 0; i < kLength; ++i) {
        if (i != 20) {
            const double t = static_cast<double>(i - 20);
            const double sinc =
                std::sin(2.0 * std::numbers::pi * kCutoff * t) / (std::numbers::pi * t);
            EXPECT_NEAR(FilterCoefficients(i, kLength, kCutoff, 0.0), sinc, 1e-16);
            EXPECT_NEAR(FilterCoefficients(i, kLength, kCutoff, 5.0),
                        sinc * KaiserWindow(i, kLength, 5.0), 1e-16);
        }
    }
}

TEST(FilterDesignTest, CoefficientsOutsideOfTheLengthAreZero) {
    EXPECT_EQ(FilterCoefficients(-1, 41, 0.1, 5.0), 0.0);
    EXPECT_EQ(FilterCoefficients(41, 41, 0.1, 5.0), 0.0);
    EXPECT_EQ(FilterCoefficients(std::numeric_limits<SInt64>::min(), 41, 0.1, 5.0), 0.0);
    EXPECT_EQ(FilterCoefficients(0, 1, 0.1, 5.0), 0.2); // the one tap of a filter is its centre
}

} // namespace
} // namespace qel::core
