#include "readings/rhythm/Harmony.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <vector>

namespace qel::readings {
namespace {

constexpr double kRateHz = 44100;
constexpr double kBinHz = kRateHz / 4096;

// A frame with sines of amplitude 1 in one bin each, at the bins next to these frequencies.
std::vector<float> frameOf(std::initializer_list<double> frequencies) {
    std::vector<float> magnitudes(2048);
    for (const double hz : frequencies) {
        magnitudes[static_cast<std::size_t>(std::lround(hz / kBinHz))] = 2048;
    }
    return magnitudes;
}

std::size_t greatestOf(const Harmony::Chroma& chroma) {
    return static_cast<std::size_t>(std::ranges::max_element(chroma) - chroma.begin());
}

// Of one frame, over all and in the bass.
Harmony finished(const std::vector<float>& frame, std::size_t frames = 1, float gain = 1) {
    Harmony harmony(kRateHz);
    for (std::size_t i = 0; i < frames; ++i) {
        harmony.add(frame);
    }
    harmony.finish(gain, 0);
    return harmony;
}

TEST(HarmonyTest, NotesFallIntoTheirClassesCountedFromC) {
    const double c5 = 523.25;
    for (std::size_t p = 0; p < 12; ++p) {
        const double hz = c5 * std::exp2(static_cast<double>(p) / 12);
        EXPECT_EQ(greatestOf(finished(frameOf({hz, 2 * hz})).meanOfAll(3, 4)), p);
    }
}

// Bins 4 to 16, of 43 to 172 Hz: F, A, C, D, F ... They are wider than semitones.
TEST(HarmonyTest, ABinOfTheBassCountsForItsNearestNote) {
    const std::vector<std::size_t> classes{5, 9, 0, 2, 5, 7, 9, 10, 0, 1, 2, 4, 5};
    for (std::size_t k = 4; k <= 16; ++k) {
        const Harmony harmony = finished(frameOf({static_cast<double>(k) * kBinHz}));
        EXPECT_EQ(greatestOf(harmony.meanOfBass(3, 4)), classes[k - 4]) << k;
    }
}

TEST(HarmonyTest, TheBassEndsAt180HzAndTheRestBeginsAt100) {
    const Harmony bass = finished(frameOf({65}));
    EXPECT_EQ(bass.meanOfAll(3, 4), Harmony::Chroma{});
    EXPECT_NE(bass.meanOfBass(3, 4), Harmony::Chroma{});
    const Harmony high = finished(frameOf({440}));
    EXPECT_NE(high.meanOfAll(3, 4), Harmony::Chroma{});
    EXPECT_EQ(high.meanOfBass(3, 4), Harmony::Chroma{});
}

// Bin 41 of 44.1 kHz is 441.4 Hz, 5.6 cents above A. A sine of amplitude 1 counts 100 before the
// logarithm.
TEST(HarmonyTest, ValuesAreLogarithmsOfWeightedMagnitudes) {
    const double cents = 1200 * std::log2(41 * kBinHz / 440);
    const double expected = std::log1p(100 * (1 - cents / 100));
    EXPECT_NEAR(finished(frameOf({440})).meanOfAll(3, 4)[9], expected, 1e-4);
    EXPECT_NEAR(finished(frameOf({440}), 1, 0.5f).meanOfAll(3, 4)[9],
                std::log1p(50 * (1 - cents / 100)), 1e-4);
}

// Frame j lies at hop 4 j + 3. Between the two frames, a class that sounds in the second alone
// rises in a line.
TEST(HarmonyTest, FramesAreInterpolatedOverFourHops) {
    Harmony harmony(kRateHz);
    harmony.add(std::vector<float>(2048));
    harmony.add(frameOf({440}));
    harmony.finish(1, 0);
    const float full = harmony.meanOfAll(7, 8)[9];
    ASSERT_GT(full, 1);
    for (int hop = 0; hop < 12; ++hop) {
        const float share = std::clamp((static_cast<float>(hop) - 3) / 4, 0.0f, 1.0f);
        EXPECT_NEAR(harmony.meanOfAll(hop, hop + 1)[9], share * full, 1e-5) << hop;
    }
    EXPECT_NEAR(harmony.meanOfAll(3, 7)[9], full * (0 + 0.25f + 0.5f + 0.75f) / 4, 1e-5);
}

TEST(HarmonyTest, TimesOutsideOfTheStreamHaveItsFirstAndLastFrame) {
    Harmony harmony(kRateHz);
    harmony.add(frameOf({440}));
    harmony.add(frameOf({523.25}));
    harmony.finish(1, 0);
    EXPECT_EQ(harmony.meanOfAll(-10, -5), harmony.meanOfAll(3, 4));
    EXPECT_EQ(harmony.meanOfAll(100, 105), harmony.meanOfAll(7, 8));
}

TEST(HarmonyTest, FramesCanBeLeftOutAtTheStart) {
    Harmony harmony(kRateHz);
    harmony.add(frameOf({440}));
    harmony.add(frameOf({523.25}));
    harmony.add(frameOf({587.33}));
    harmony.finish(1, 8);
    EXPECT_EQ(harmony.frames(), 1u);
    EXPECT_EQ(greatestOf(harmony.meanOfAll(3, 4)), 2u);
    Harmony all(kRateHz);
    all.add(frameOf({440}));
    all.finish(1, 400);
    EXPECT_EQ(all.frames(), 0u);
    EXPECT_EQ(all.meanOfAll(0, 10), Harmony::Chroma{});
}

TEST(HarmonyTest, TheDistanceIsOneLessTheCosine) {
    Harmony::Chroma a{};
    Harmony::Chroma b{};
    a[0] = 2;
    b[0] = 3;
    b[7] = 4;
    EXPECT_NEAR(Harmony::distance(a, b), 1 - 3.0 / 5, 1e-6);
    EXPECT_EQ(Harmony::distance(a, b), Harmony::distance(b, a));
    EXPECT_NEAR(Harmony::distance(a, a), 0, 1e-6);
    Harmony::Chroma other{};
    other[5] = 1;
    EXPECT_NEAR(Harmony::distance(a, other), 1, 1e-6);
}

TEST(HarmonyTest, WhatHardlySoundsHardlyDiffers) {
    Harmony::Chroma loud{};
    loud[0] = 2;
    Harmony::Chroma soft{};
    soft[5] = 0.1f; // squared: 0.01 of 0.5
    EXPECT_NEAR(Harmony::distance(loud, soft), 0.02, 1e-6);
    EXPECT_EQ(Harmony::distance(loud, {}), 0);
    EXPECT_EQ(Harmony::distance({}, {}), 0);
}

TEST(HarmonyTest, ResetBeginsAnotherStream) {
    Harmony harmony(kRateHz);
    harmony.add(frameOf({440}));
    harmony.reset();
    EXPECT_EQ(harmony.frames(), 0u);
    harmony.add(frameOf({523.25}));
    harmony.finish(1, 0);
    EXPECT_EQ(greatestOf(harmony.meanOfAll(3, 4)), 0u);
}

} // namespace
} // namespace qel::readings
