#include "readings/rhythm/Repetition.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

namespace qel::readings {
namespace {

constexpr double kRateHz = 44100;
constexpr double kFramesPerSecond = kRateHz / 512;
constexpr std::size_t kBeatFrames = 32;
constexpr std::size_t kBeats = 48;
constexpr std::size_t kFrames = kBeatFrames * kBeats;
constexpr float kLevel = 0.1f;

// The bins 20 to 200 of a frame of "spectrum", in the middle and above.
std::vector<float> spectrum(float magnitude) {
    std::vector<float> pairs(1024);
    for (std::size_t k = 20; k < 200; ++k) {
        pairs[2 * k] = magnitude;
    }
    return pairs;
}

// Strokes of these magnitudes on beat after beat, again and again.
OnsetStrength strokes(const std::vector<float>& magnitudes) {
    BandLevels levels(kRateHz);
    for (std::size_t t = 0; t < kFrames; ++t) {
        const float magnitude = magnitudes[t / kBeatFrames % magnitudes.size()];
        levels.add(spectrum(t % kBeatFrames == 4 ? magnitude : 0));
    }
    return {levels, kLevel, {0, kFrames}};
}

// A tone in one of these bins of "mel spectrum" on beat after beat, again and again.
Harmony tones(const std::vector<std::size_t>& bins) {
    Harmony harmony(kRateHz);
    for (std::size_t t = 0; t < kFrames; t += 4) {
        std::vector<float> magnitudes(2048);
        magnitudes[bins[t / kBeatFrames % bins.size()]] = 2048;
        harmony.add(magnitudes);
    }
    harmony.finish(1, 0);
    return harmony;
}

std::vector<double> beats() {
    std::vector<double> seconds;
    for (std::size_t i = 0; i < kBeats; ++i) {
        seconds.push_back(static_cast<double>(i * kBeatFrames + 4) / kFramesPerSecond);
    }
    return seconds;
}

Repetition::Layers repetitionOf(const OnsetStrength& strength, const Harmony& harmony) {
    return Repetition(strength, harmony, kFramesPerSecond).of(beats());
}

// Less its mean, one in four is 3/4 and the others are -1/4: a correlation of (2 * 1 - 2 * 3) / (9
// + 3) = -1/3 where the periods do not meet. What is added to the energy takes some of it away.
TEST(RepetitionTest, OneStrongStrokeInFourRepeatsAfterFourAndEight) {
    const auto onsets = repetitionOf(strokes({8, 1, 1, 1}), tones({40}))[0];
    for (std::size_t beatsApart = 1; beatsApart <= Repetition::kLags; ++beatsApart) {
        EXPECT_NEAR(onsets[beatsApart - 1], beatsApart % 4 == 0 ? 1 : -1.0 / 3, 0.1) << beatsApart;
    }
}

// The correlation of a series that alternates between two values with itself.
TEST(RepetitionTest, TwoStrokesInTurnAreOppositeAtOddDistances) {
    const auto onsets = repetitionOf(strokes({8, 1}), tones({40}))[0];
    for (std::size_t beatsApart = 1; beatsApart <= Repetition::kLags; ++beatsApart) {
        EXPECT_NEAR(onsets[beatsApart - 1], beatsApart % 2 == 0 ? 1 : -1, 0.05) << beatsApart;
    }
}

TEST(RepetitionTest, StrokesAndTonesThatAreTheSameRepeatNothing) {
    for (const auto& layer : repetitionOf(strokes({8}), tones({40}))) {
        for (const double correlation : layer) {
            EXPECT_NEAR(correlation, 0, 0.05);
        }
    }
}

// Bins 40 and 60 are E and B; two beats of each. Two beats on, the harmony is the other one.
TEST(RepetitionTest, HarmonyThatChangesEveryTwoBeatsRepeatsAfterFour) {
    const auto harmony = repetitionOf(strokes({8}), tones({40, 40, 60, 60}))[1];
    EXPECT_LT(harmony[1], -0.8);
    EXPECT_GT(harmony[3], 0.8);
    EXPECT_LT(harmony[5], -0.8);
}

// Bins 6 and 9 lie at 65 and 97 Hz.
TEST(RepetitionTest, TheBassHasALayerOfItsOwn) {
    const auto layers = repetitionOf(strokes({8}), tones({6, 6, 9, 9}));
    EXPECT_GT(layers[2][3], 0.8);
    EXPECT_NEAR(layers[1][3], 0, 0.05);
}

TEST(RepetitionTest, LessThanTwoBeatsRepeatNothing) {
    const OnsetStrength strength = strokes({8, 1});
    const Harmony harmony = tones({40});
    const Repetition repetition(strength, harmony, kFramesPerSecond);
    EXPECT_EQ(repetition.of({}), Repetition::Layers{});
    EXPECT_EQ(repetition.of(std::vector<double>{1.0}), Repetition::Layers{});
}

} // namespace
} // namespace qel::readings
