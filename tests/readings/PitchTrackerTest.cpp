#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qel::readings::test {
namespace {

double centsBetween(double a, double b) {
    return 1200 * std::abs(std::log2(a / b));
}

TEST(PitchTrackerTest, FindsToneAndSineFromLowToHigh) {
    for (const double hz : {65.4, 98.0, 130.8, 220.0, 440.0, 663.3, 1046.5, 1200.0}) {
        for (const Samples& voice : {tone(hz, 3), sine(hz, 3)}) {
            for (const Pitch& pitch : pitchesOf(voice)) {
                ASSERT_TRUE(pitch.isVoiced()) << hz;
                EXPECT_LT(centsBetween(pitch.frequencyHz, hz), 20)
                    << hz << " " << pitch.frequencyHz;
            }
        }
    }
}

TEST(PitchTrackerTest, FindsAFundamentalThatIsMissing) {
    Samples voice = silence(3);
    for (int harmonic = 2; harmonic <= 8; ++harmonic) {
        voice = sum(voice, sine(200.0 * harmonic, 3, 0.05f));
    }
    for (const Pitch& pitch : pitchesOf(voice)) {
        EXPECT_LT(centsBetween(pitch.frequencyHz, 200), 20);
    }
}

TEST(PitchTrackerTest, SilenceIsNotVoiced) {
    for (const Pitch& pitch : pitchesOf(silence(3))) {
        EXPECT_FALSE(pitch.isVoiced());
        EXPECT_EQ(pitch.strength, 0);
    }
}

TEST(PitchTrackerTest, TimesAreTheMiddlesOfFrames) {
    const auto pitches = pitchesOf(sine(440, 1));
    ASSERT_GE(pitches.size(), 2u);
    EXPECT_DOUBLE_EQ(pitches[0].seconds, 2048 / kRateHz);
    EXPECT_DOUBLE_EQ(pitches[1].seconds, 4096 / kRateHz);
}

TEST(PitchTest, TellsNoteAndCents) {
    const Pitch sharp{.frequencyHz = static_cast<float>(440 * std::exp2(0.1 / 12))};
    EXPECT_EQ(sharp.note(), 69);
    EXPECT_NEAR(sharp.cents(), 10, 0.01);
    EXPECT_EQ(Pitch{.frequencyHz = 261.6256f}.note(), 60);
    EXPECT_FALSE(Pitch{}.isVoiced());
}

} // namespace
} // namespace qel::readings::test
