#include "support/audio/KaiserBesselFilterParameters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qel::core {
namespace {

using Parameters = KaiserBesselFilterParameters;

TEST(KaiserBesselFilterParametersTest, LengthHasATapOfItsOwnAndIsTruncated) {
    // 72.05 / 0.718 = 100.348
    EXPECT_EQ(Parameters::EstimateFilterLength(80.0, 0.1), 101u);
    // 65.05 * 44100 / (7.18 * 12) = 33295.09: the meter's filter at 44100 Hz
    EXPECT_EQ(Parameters::EstimateFilterLength(73.0, 12.0 / 44100.0), 33296u);
    EXPECT_EQ(Parameters::EstimateFilterLength(7.95, 0.1), 1u);
}

TEST(KaiserBesselFilterParametersTest, LengthStaysWithin32Bits) {
    constexpr UInt32 kLongest = std::numeric_limits<UInt32>::max();
    EXPECT_EQ(Parameters::EstimateFilterLength(80.0, 0.0), kLongest);
    EXPECT_EQ(Parameters::EstimateFilterLength(80.0, 1e-9), kLongest);
    EXPECT_EQ(Parameters::EstimateFilterLength(80.0, -0.1), 0u);
    EXPECT_EQ(Parameters::EstimateFilterLength(std::nan(""), 0.1), 0u);
}

TEST(KaiserBesselFilterParametersTest, WidthHasNoTapMore) {
    EXPECT_DOUBLE_EQ(Parameters::EstimateTransitionBandwidth(80.0, 100), 72.05 / 718.0);
    EXPECT_GT(
        Parameters::EstimateFilterLength(80.0, Parameters::EstimateTransitionBandwidth(80.0, 100)),
        100u);
}

TEST(KaiserBesselFilterParametersTest, AttenuationIsClamped) {
    EXPECT_DOUBLE_EQ(Parameters::EstimateStopBandAttenuation_dB(0.1, 100), 79.75);
    EXPECT_EQ(Parameters::EstimateStopBandAttenuation_dB(0.1, 1), 20.0);
    EXPECT_EQ(Parameters::EstimateStopBandAttenuation_dB(0.1, 1000), 160.0);
}

TEST(KaiserBesselFilterParametersTest, ShapeHasThreeBranches) {
    EXPECT_EQ(Parameters::EstimateAlpha(0.0), 0.0);
    EXPECT_EQ(Parameters::EstimateAlpha(20.999), 0.0);
    EXPECT_EQ(Parameters::EstimateAlpha(21.0), 0.0);
    EXPECT_DOUBLE_EQ(Parameters::EstimateAlpha(73.0), 0.1102 * 64.3);
    EXPECT_DOUBLE_EQ(Parameters::EstimateAlpha(50.001), 0.1102 * 41.301);
    // At 50 dB the middle branch has the factor 0.5842 within the power.
    EXPECT_NEAR(Parameters::EstimateAlpha(50.0),
                0.07886 * 29.0 + std::exp(0.4 * std::log(29.0 * 0.5842)), 1e-12);
    EXPECT_NEAR(Parameters::EstimateAlpha(22.0), 0.07886 + std::exp(0.4 * std::log(0.5842)), 1e-12);
}

TEST(KaiserBesselFilterParametersTest, LengthAndWidthGiveTheAttenuation) {
    const Parameters p(0.5, 100u, 0.1, 1u);
    EXPECT_EQ(p.cutoff, 0.5);
    EXPECT_EQ(p.filterLength, 100u);
    EXPECT_EQ(p.transitionBandwidth, 0.1);
    EXPECT_EQ(p.filterType, 1u);
    EXPECT_DOUBLE_EQ(p.stopBandAttenuation_dB, 79.75);
    EXPECT_DOUBLE_EQ(p.alpha, 0.1102 * (79.75 - 8.7));
}

TEST(KaiserBesselFilterParametersTest, AttenuationAndLengthGiveTheWidth) {
    const Parameters p(0.5, 80.0, 100u, 0u);
    EXPECT_EQ(p.stopBandAttenuation_dB, 80.0);
    EXPECT_EQ(p.filterLength, 100u);
    EXPECT_EQ(p.filterType, 0u);
    EXPECT_DOUBLE_EQ(p.transitionBandwidth, 72.05 / 718.0);
    EXPECT_DOUBLE_EQ(p.alpha, 0.1102 * 71.3);
}

TEST(KaiserBesselFilterParametersTest, AttenuationAndWidthGiveTheLength) {
    const Parameters p(0.5, 80.0, 0.1, 0u);
    EXPECT_EQ(p.stopBandAttenuation_dB, 80.0);
    EXPECT_EQ(p.transitionBandwidth, 0.1);
    EXPECT_EQ(p.filterLength, 101u);
    EXPECT_DOUBLE_EQ(p.alpha, 0.1102 * 71.3);
}

TEST(KaiserBesselFilterParametersTest, GivenAttenuationIsClampedBeforeItIsUsed) {
    const Parameters low(0.5, 10.0, 100u, 0u);
    EXPECT_EQ(low.stopBandAttenuation_dB, 20.0);
    EXPECT_EQ(low.alpha, 0.0);
    EXPECT_DOUBLE_EQ(low.transitionBandwidth, 12.05 / 718.0);
    const Parameters high(0.5, 200.0, 0.1, 0u);
    EXPECT_EQ(high.stopBandAttenuation_dB, 160.0);
    EXPECT_DOUBLE_EQ(high.alpha, 0.1102 * 151.3);
    EXPECT_EQ(high.filterLength, 212u); // 152.05 / 0.718 = 211.77
}

TEST(KaiserBesselFilterParametersTest, EqualityComparesAllSixFields) {
    const Parameters p(0.5, 80.0, 0.1, 0u);
    EXPECT_EQ(p, Parameters(0.5, 80.0, 0.1, 0u));
    for (double Parameters::*const field :
         {&Parameters::cutoff, &Parameters::stopBandAttenuation_dB,
          &Parameters::transitionBandwidth, &Parameters::alpha}) {
        Parameters other = p;
        other.*field += 0.001;
        EXPECT_FALSE(p == other);
    }
    for (UInt32 Parameters::*const field : {&Parameters::filterLength, &Parameters::filterType}) {
        Parameters other = p;
        other.*field += 1;
        EXPECT_FALSE(p == other);
    }
}

} // namespace
} // namespace qel::core
