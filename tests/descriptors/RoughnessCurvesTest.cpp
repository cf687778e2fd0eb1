#include "descriptors/RoughnessCurves.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

namespace qel::core {
namespace {

constexpr UInt32 kBins = 512;
constexpr UInt32 kFrameSize = 1024;

// In double precision, with the constants in their decimal form.
double Exponent(double decay, UInt32 lower, UInt32 upper, double rateHz) {
    const double frequency = lower * rateHz / kFrameSize;
    const double scale = 0.24 / (0.0207 * frequency + 18.96);
    return decay * scale * (upper - lower) * rateHz / kFrameSize;
}

void ExpectCurve(std::span<const float> curve, double decay, UInt32 bin, double rateHz) {
    for (UInt32 above = 1; bin + above < kBins; ++above) {
        const double exponent = Exponent(decay, bin, bin + above, rateHz);
        // A product of rounded floats up to 87, of which the difference of two frequencies is the
        // least exact: 2^-24 of the upper one.
        const double upper = (bin + above) / static_cast<double>(above);
        const double tolerance = 6e-8 * (4 + upper) * (1 - exponent) * std::exp(exponent);
        if (above <= curve.size()) {
            EXPECT_NEAR(curve[above - 1], std::exp(exponent), tolerance) << bin << "+" << above;
        } else {
            EXPECT_LT(exponent, -87.29) << bin << "+" << above;
        }
    }
}

TEST(RoughnessCurvesTest, CurvesAreTheExponentialsOfTheDistanceDownToTheLeastFloat) {
    for (const double rateHz : {8000.0, 44100.0, 192000.0}) {
        SCOPED_TRACE(rateHz);
        const RoughnessCurves curves({kBins, kFrameSize, static_cast<float>(rateHz)});
        for (UInt32 bin = 0; bin < kBins; ++bin) {
            ExpectCurve(curves.Slow(bin), -3.51, bin, rateHz);
            ExpectCurve(curves.Fast(bin), -5.75, bin, rateHz);
        }
    }
}

TEST(RoughnessCurvesTest, WhatCountsBesideANearestPairEndsWhereItHasFallenByE25) {
    const double rateHz = 44100;
    const RoughnessCurves curves({kBins, kFrameSize, static_cast<float>(rateHz)});
    for (UInt32 bin = 0; bin < kBins - 1; ++bin) {
        for (const UInt32 nearest : {1u, 7u}) {
            const auto end = static_cast<UInt32>(curves.FastFrom(bin, nearest).size());
            EXPECT_EQ(curves.FastFrom(bin, nearest).data(), curves.Fast(bin).data());
            if (end == curves.Fast(bin).size()) {
                continue;
            }
            const double fall = Exponent(-5.75, bin, bin + end + 1, rateHz) -
                                Exponent(-5.75, bin, bin + nearest, rateHz);
            EXPECT_LT(fall, -24.999) << bin;
            EXPECT_GT(fall, -25 + 2 * Exponent(-5.75, bin, bin + 1, rateHz) - 0.001) << bin;
        }
    }
}

TEST(RoughnessCurvesTest, NothingLiesAboveTheLastBin) {
    const RoughnessCurves curves({kBins, kFrameSize, 44100.0f});
    EXPECT_TRUE(curves.Slow(kBins - 1).empty());
    EXPECT_EQ(curves.Fast(kBins - 2).size(), 1u);
}

TEST(RoughnessCurvesTest, BlocksOfBinsStartAtCacheLinesAndHoldZerosAroundACurve) {
    constexpr std::size_t kBlock = RoughnessCurves::kBlock;
    const RoughnessCurves curves({kBins, kFrameSize, 44100.0f});
    for (UInt32 bin = 0; bin < kBins; ++bin) {
        for (const auto& curve : {curves.Slow(bin), curves.Fast(bin)}) {
            const std::size_t place = (bin + 1) % kBlock;
            const float* const block = curve.data() - place;
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0u) << bin;
            EXPECT_EQ(std::count(block, block + place, 0.0f), static_cast<std::ptrdiff_t>(place));
            for (std::size_t n = place + curve.size(); n % kBlock != 0; ++n) {
                EXPECT_EQ(block[n], 0.0f) << bin;
            }
        }
    }
}

TEST(RoughnessCurvesTest, TheLastDesignsAreSharedAndStay) {
    const std::weak_ptr<const RoughnessCurves> first =
        RoughnessCurves::Find({kBins, kFrameSize, 44100.0f});
    EXPECT_EQ(first.lock(), RoughnessCurves::Find({kBins, kFrameSize, 44100.0f}));
    EXPECT_NE(first.lock(), RoughnessCurves::Find({kBins, kFrameSize, 48000.0f}));
    EXPECT_FALSE(first.expired());
    RoughnessCurves::Find({kBins, kFrameSize, 22050.0f});
    EXPECT_TRUE(first.expired());
}

TEST(RoughnessCurvesTest, RatesThatAreNoneKeepTheCurvesInsideOfTheBins) {
    for (const float rate : {0.0f, -1.0f, 1e-30f, 1e30f, std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN()}) {
        const RoughnessCurves curves({kBins, kFrameSize, rate});
        for (UInt32 bin = 0; bin < kBins; ++bin) {
            EXPECT_LE(curves.Slow(bin).size(), kBins - 1 - bin);
            EXPECT_LE(curves.Fast(bin).size(), kBins - 1 - bin);
        }
    }
}

} // namespace
} // namespace qel::core
