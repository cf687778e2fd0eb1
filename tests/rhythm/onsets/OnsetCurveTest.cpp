// Holds the detection curve to the four steps that it is made of.

#include "rhythm/onsets/OnsetCurve.h"

#include "rhythm/math/RhythmMath.h"
#include "rhythm/onsets/OnsetPeaks.h"
#include "spectral/VectorHelpers.h"
#include "tests/platform/vector/InstructionSets.h"
#include "tests/rhythm/onsets/WholeOnsetCurve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

constexpr float kPole = 0.998866856098175f;
constexpr float kA[] = {1.0f, -kPole};
constexpr float kB[] = {1.0f - kPole, 0.0f};

Vector StepByStep(Vector curve) {
    const auto n = static_cast<unsigned int>(curve.size());
    ComputeWeightedDifference(curve.data(), n, curve.data(), 0.8999999761581421f);
    if (n > 0) {
        curve.back() = 0.0f;
    }
    HalfWaveRectify(curve.data(), n, curve.data());
    MuLawCompress(curve.data(), n, curve.data(), 10.0f);
    float state = 0.0f;
    for (auto value = curve.rbegin(); value != curve.rend(); ++value) {
        filter(kA, kB, 1, &state, *value, *value);
    }
    return curve;
}

// The last value of a stream is 0.
Vector AtOnce(Vector curve) {
    if (!curve.empty()) {
        MakeOnsetCurve(curve.data(), curve.data(), static_cast<UInt32>(curve.size() - 1), 0.0f);
        curve.back() = 0.0f;
    }
    return curve;
}

Vector Noise(std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> normal(0.0f, 0.3f);
    Vector noise(length);
    for (float& value : noise) {
        value = normal(random);
    }
    return noise;
}

TEST(OnsetCurveTest, AllLengthsAreAsStepByStepToTheLastBit) {
    qel::testing::ForEachInstructionSet([] {
        for (std::size_t length = 0; length < 70; ++length) {
            const Vector sum = Noise(length, static_cast<unsigned>(length));
            EXPECT_EQ(AtOnce(sum), StepByStep(sum)) << length;
        }
        const Vector sum = Noise(10007, 1);
        EXPECT_EQ(AtOnce(sum), StepByStep(sum));
    });
}

TEST(OnsetCurveTest, ASumMayStayAsItIs) {
    const Vector sum = Noise(1000, 3);
    const Vector kept = sum;
    Vector curve(sum.size());
    MakeOnsetCurve(sum.data(), curve.data(), static_cast<UInt32>(sum.size() - 1), 0.0f);
    EXPECT_EQ(AtOnce(sum), curve);
    EXPECT_EQ(kept, sum);
}

// A fall of 1 at one sample, alone: 0.9 of the difference and 0.1 of the value, compressed, decays
// backward from there.
TEST(OnsetCurveTest, AFallRingsBackward) {
    Vector sum(3000, 0.0f);
    sum[2000] = 1.0f;
    const Vector curve = AtOnce(sum);
    // All of the fall is in the one value, so that its difference is 1, which compresses to 1.
    for (std::size_t i = 0; i < curve.size(); ++i) {
        const double expected =
            i <= 2000 ? std::pow(std::exp(-1.0 / 882.0), static_cast<double>(2000 - i)) *
                            (1.0 - std::exp(-1.0 / 882.0))
                      : 0.0;
        // Two thousand roundings at most, and that of the pole as often.
        ASSERT_NEAR(static_cast<double>(curve[i]), expected, 5e-4 * expected) << i;
    }
}

TEST(OnsetCurveTest, WhatIsNotFiniteDoesNotChangeWhatFollows) {
    for (const float fault :
         {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        Vector sum = Noise(500, 2);
        sum[300] = fault;
        const Vector curve = AtOnce(sum);
        const Vector expected = StepByStep(sum);
        for (std::size_t i = 0; i < sum.size(); ++i) {
            ASSERT_EQ(std::isfinite(curve[i]), std::isfinite(expected[i])) << i;
            if (std::isfinite(curve[i])) {
                ASSERT_EQ(curve[i], expected[i]) << i;
            }
        }
    }
}

TEST(OnsetCurveTest, ACurveGoesOnFromTheValueAfterIt) {
    qel::testing::ForEachInstructionSet([] {
        const Vector sum = Noise(3000, 4);
        const Vector whole = AtOnce(sum);
        for (const std::size_t cut : {1u, 16u, 1000u, 1717u, 2999u}) {
            Vector front(cut);
            MakeOnsetCurve(sum.data(), front.data(), static_cast<UInt32>(cut), whole[cut]);
            EXPECT_EQ(Vector(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut)),
                      front);
        }
    });
}

// Whatever comes after: silence, noise, and far louder noise whose differences are still finite.
TEST(OnsetCurveTest, BoundsHoldTheCurveWhateverComesAfter) {
    qel::testing::ForEachInstructionSet([] {
        const Vector sum = Noise(4001, 5);
        const OnsetCurveBounds bounds = OnsetCurveBoundsBefore(sum.data(), 4000, {});
        EXPECT_LT(bounds.least, bounds.greatest);
        for (const float gain : {0.0f, 1.0f, 1e10f, 1e37f}) {
            Vector longer = sum;
            for (const float value : Noise(4000, 6)) {
                longer.push_back(gain * value);
            }
            const float first = AtOnce(longer)[0];
            EXPECT_LE(bounds.least, first) << gain;
            EXPECT_GE(bounds.greatest, first) << gain;
        }
    });
}

// The pole takes 18.3 times its time constant from 64 to half a unit of a value of 0.1, and
// rounding lets the last units meet by chance.
TEST(OnsetCurveTest, BoundsOfNoiseMeetInTheCurve) {
    const Vector sum = Noise(60001, 7);
    const OnsetCurveBounds bounds = OnsetCurveBoundsBefore(sum.data(), 60000, {});
    EXPECT_EQ(bounds.least, bounds.greatest);
    EXPECT_EQ(bounds.least, AtOnce(sum)[0]);
    // Not yet: less than the pole needs.
    const OnsetCurveBounds early = OnsetCurveBoundsBefore(sum.data(), 10000, {});
    EXPECT_LT(early.least, early.greatest);
}

} // namespace
} // namespace qel::core
