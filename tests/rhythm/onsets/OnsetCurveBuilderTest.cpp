#include "rhythm/onsets/OnsetCurveBuilder.h"

#include "rhythm/onsets/OnsetPeakCurve.h"
#include "support/runtime/FloatingPointMode.h"
#include "tests/rhythm/onsets/WholeOnsetCurve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

Vector Noise(std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> normal(0.0f, 0.3f);
    Vector noise(length);
    std::generate(noise.begin(), noise.end(), [&] { return normal(random); });
    return noise;
}

Vector WholeCurve(const Vector& sums) {
    Vector curve(sums.size());
    if (!curve.empty()) {
        MakeOnsetCurve(sums.data(), curve.data(), static_cast<UInt32>(sums.size() - 1), 0.0f);
    }
    return curve;
}

// As many steps as a push of `samples` may take, alone.
void GoOnFor(OnsetCurveBuilder& builder, std::size_t samples) {
    for (std::size_t steps = samples * kLowPassStepsPerSample; steps > 0;) {
        LowPassRun& run = builder.Run();
        const std::size_t taken = std::min(steps, run.left);
        GoOn(run, taken);
        steps = taken == 0 ? 0 : steps - taken;
    }
}

void Push(OnsetCurveBuilder& builder, const Vector& sums, std::size_t block) {
    for (std::size_t at = 0; at < sums.size(); at += block) {
        const auto n = static_cast<UInt32>(std::min(block, sums.size() - at));
        builder.MakeRoom(n);
        builder.Append(sums.data() + at, n);
        GoOnFor(builder, n);
    }
}

// The whole curve, not normalized.
Vector CurveOf(OnsetCurveBuilder& builder) {
    OnsetPeakCurve curve(builder);
    Vector values;
    for (UInt32 chunk = 0; chunk * PeakCurve::kChunk < curve.Size(); ++chunk) {
        const float* const first = curve.Values(chunk);
        values.insert(values.end(), first, first + curve.SizeOf(chunk));
    }
    return values;
}

TEST(OnsetCurveBuilderTest, AStreamHasTheCurveOfTheWholeToTheLastBit) {
    for (const std::size_t length : {0u, 1u, 2u, 255u, 256u, 257u, 70000u, 300001u}) {
        const Vector sums = Noise(length, 1);
        const Vector expected = WholeCurve(sums);
        for (const std::size_t block : {64u, 1000u, 4096u, 100000u}) {
            OnsetCurveBuilder builder(length);
            Push(builder, sums, block);
            EXPECT_EQ(expected, CurveOf(builder)) << length << " in " << block;
        }
    }
}

// Most of it is certain before the stream ends; that is what the memory is saved by.
TEST(OnsetCurveBuilderTest, AllButTwoSecondsAreCertain) {
    for (const std::size_t block : {64u, 4096u}) {
        OnsetCurveBuilder builder(600000);
        Push(builder, Noise(600000, 2), block);
        EXPECT_EQ(600000u, builder.Frames());
        EXPECT_GT(builder.Certain(), 600000u - 90000u);
    }
}

// Also between the passes and in each part of them, some of whose inputs are gone.
TEST(OnsetCurveBuilderTest, ACurveMayBeReadAtAnyTime) {
    const Vector sums = Noise(200000, 8);
    OnsetCurveBuilder builder(0);
    for (std::size_t end = 3000; end <= sums.size(); end += 3000) {
        const auto from = sums.begin() + static_cast<std::ptrdiff_t>(end - 3000);
        Push(builder, Vector(from, from + 3000), 1000);
        OnsetCurveBuilder other(0);
        const Vector soFar(sums.begin(), from + 3000);
        Push(other, soFar, 1000);
        const Vector expected = WholeCurve(soFar);
        EXPECT_EQ(expected, CurveOf(other)) << end;
        EXPECT_EQ(expected, CurveOf(builder)) << end << ", read before";
    }
}

TEST(OnsetCurveBuilderTest, AStreamGoesOnAfterItsCurveWasRead) {
    const Vector sums = Noise(400000, 3);
    OnsetCurveBuilder builder(0);
    for (std::size_t end = 50000; end <= sums.size(); end += 50000) {
        const auto from = sums.begin() + static_cast<std::ptrdiff_t>(end - 50000);
        Push(builder, Vector(from, from + 50000), 4096);
        const Vector soFar(sums.begin(), from + 50000);
        EXPECT_EQ(WholeCurve(soFar), CurveOf(builder)) << end;
    }
}

// A constant leaves the bounds apart for ever: rounding stops them some hundred floats from each
// other. They meet in the noise that follows.
TEST(OnsetCurveBuilderTest, WhatIsExactlyPeriodicWaitsForAChange) {
    Vector sums(200000, 0.25f);
    OnsetCurveBuilder builder(sums.size());
    Push(builder, sums, 4096);
    EXPECT_EQ(0u, builder.Certain());
    EXPECT_EQ(WholeCurve(sums), CurveOf(builder));
    const Vector noise = Noise(800000, 4);
    Push(builder, noise, 4096);
    sums.insert(sums.end(), noise.begin(), noise.end());
    EXPECT_GT(builder.Certain(), 900000u);
    EXPECT_EQ(WholeCurve(sums), CurveOf(builder));
}

// While denormals are flushed, as they are in exported calls; the least of them times the pole is
// itself.
TEST(OnsetCurveBuilderTest, SilenceBecomesCertain) {
    const FlushDenormalsScope flush;
    Vector sums = Noise(100000, 5);
    sums.resize(900000, 0.0f);
    OnsetCurveBuilder builder(sums.size());
    Push(builder, sums, 4096);
    EXPECT_GT(builder.Certain(), 600000u);
    EXPECT_EQ(WholeCurve(sums), CurveOf(builder));
}

// Chunks that were certain before it came are finite; the greatest value is infinite all the same.
TEST(OnsetCurveBuilderTest, NothingIsAboveZeroInFrontOfAnInfiniteSum) {
    for (const std::size_t place : {1000u, 250000u, 299000u}) {
        Vector sums = Noise(300000, 6);
        sums[place] = std::numeric_limits<float>::infinity();
        OnsetCurveBuilder builder(sums.size());
        Push(builder, sums, 4096);
        OnsetPeakCurve curve(builder);
        curve.Normalize();
        for (UInt32 chunk = 0; chunk * PeakCurve::kChunk < curve.Size(); ++chunk) {
            const float* const first = curve.Values(chunk);
            EXPECT_TRUE(std::none_of(first, first + curve.SizeOf(chunk),
                                     [](float value) { return value > 0.0f; }));
        }
    }
}

TEST(OnsetCurveBuilderTest, BoundsOfChunksHoldTheirNormalizedValues) {
    OnsetCurveBuilder builder(200000);
    Push(builder, Noise(200000, 7), 4096);
    OnsetPeakCurve curve(builder);
    curve.Normalize();
    float greatest = 0.0f;
    for (UInt32 chunk = 0; chunk * PeakCurve::kChunk < curve.Size(); ++chunk) {
        const PeakCurve::Bounds bounds = curve.BoundsOf(chunk);
        const float* const first = curve.Values(chunk);
        const auto [least, most] = std::minmax_element(first, first + curve.SizeOf(chunk));
        EXPECT_LE(bounds.least, *least);
        EXPECT_GE(bounds.greatest, *most);
        EXPECT_LE(bounds.greatest, *most * (1.0f + 1.0f / 64.0f)); // a half has 8 bits
        greatest = std::max(greatest, *most);
    }
    EXPECT_EQ(1.0f, greatest);
}

} // namespace
} // namespace qel::core
