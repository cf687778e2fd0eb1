#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

namespace qel::readings::test {
namespace {

double centsBetween(double a, double b) {
    return 1200 * std::abs(std::log2(a / b));
}

// A sine of any frequency curve.
Samples gliding(const std::function<double(double seconds)>& hz, double seconds, float amplitude) {
    Samples samples = silence(seconds);
    double phase = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = amplitude * static_cast<float>(std::sin(2 * std::numbers::pi * phase));
        phase = std::fmod(phase + hz(static_cast<double>(i) / kRateHz) / kRateHz, 1.0);
    }
    return samples;
}

// Odd harmonics below 10 kHz that fall with their number.
Samples square(double hz, double seconds, float amplitude) {
    Samples voice = silence(seconds);
    for (int harmonic = 1; harmonic * hz < 10000; harmonic += 2) {
        const float level = amplitude / static_cast<float>(harmonic);
        voice = sum(voice, sine(harmonic * hz, seconds, level));
    }
    return voice;
}

double shareVoiced(const std::vector<Pitch>& pitches) {
    const auto voiced = std::ranges::count_if(pitches, &Pitch::isVoiced);
    return static_cast<double>(voiced) / static_cast<double>(pitches.size());
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

// The partials of a stiff string are at n f sqrt(1 + B n^2): the tenth is 49 cents sharp here.
TEST(PitchTrackerTest, FindsAStringWhosePartialsAreSharp) {
    constexpr double kStiffness = 0.00058;
    for (const double hz : {233.1, 415.3}) {
        Samples voice = sine(hz, 2, 0.3f);
        for (int partial = 2; partial <= 16; ++partial) {
            const double stretch = std::sqrt(1 + kStiffness * partial * partial);
            voice = sum(voice, sine(partial * hz * stretch, 2, 0.03f));
        }
        for (const Pitch& pitch : pitchesOf(voice)) {
            ASSERT_TRUE(pitch.isVoiced()) << hz;
            EXPECT_LT(centsBetween(pitch.frequencyHz, hz), 30) << hz;
        }
    }
}

// A vibrato of 35 cents moves the 15th harmonic by a third of the fundamental to either side.
TEST(PitchTrackerTest, FindsOddHarmonicsWithVibrato) {
    const auto curve = [](double seconds) {
        return 233 * std::exp2(35.0 / 1200 * std::sin(2 * std::numbers::pi * 5.5 * seconds));
    };
    Samples voice = silence(3);
    for (int harmonic = 1; harmonic < 40; harmonic += 2) {
        const auto hz = [&](double seconds) { return harmonic * curve(seconds); };
        voice = sum(voice, gliding(hz, 3, 0.4f / static_cast<float>(harmonic)));
    }
    for (const Pitch& pitch : pitchesOf(voice)) {
        ASSERT_TRUE(pitch.isVoiced()) << pitch.seconds;
        EXPECT_LT(centsBetween(pitch.frequencyHz, curve(pitch.seconds)), 30) << pitch.seconds;
    }
}

// Two voices 16 cents apart split the upper harmonics. Where they cancel each other, the frequency
// of a harmonic leaves the range between them.
TEST(PitchTrackerTest, FindsOddHarmonicsOfTwoVoicesOutOfTune) {
    for (const double hz : {174.6, 246.9}) {
        const Samples voices = sum(square(hz * std::exp2(-8.0 / 1200), 2, 0.2f),
                                   square(hz * std::exp2(8.0 / 1200), 2, 0.2f));
        for (const Pitch& pitch : pitchesOf(voices)) {
            ASSERT_TRUE(pitch.isVoiced()) << hz;
            EXPECT_LT(centsBetween(pitch.frequencyHz, hz), 30) << hz;
        }
    }
}

// White noise whose power is 10 dB below that of the tone.
TEST(PitchTrackerTest, FindsAToneInNoise) {
    constexpr float kTone = 0.3f;
    double power = 0;
    for (int harmonic = 1; harmonic <= 8; ++harmonic) {
        power += kTone * kTone / (2.0 * harmonic * harmonic);
    }
    const auto amplitude = static_cast<float>(std::sqrt(3 * power / 10)); // its power: a third
    for (const double hz : {110.0, 440.0}) {
        for (const Pitch& pitch : pitchesOf(sum(tone(hz, 2, kTone), noise(2, amplitude)))) {
            ASSERT_TRUE(pitch.isVoiced()) << hz;
            EXPECT_LT(centsBetween(pitch.frequencyHz, hz), 20) << hz;
        }
    }
}

TEST(PitchTrackerTest, WhatIsAboveTheRangeIsNotVoiced) {
    for (const double hz : {1350.0, 1400.0, 1600.0, 2000.0, 3000.0, 4000.0, 6000.0, 9000.0}) {
        EXPECT_EQ(shareVoiced(pitchesOf(sine(hz, 2))), 0) << hz;
        EXPECT_EQ(shareVoiced(pitchesOf(tone(hz, 2))), 0) << hz;
    }
}

Samples chordOf(const std::vector<int>& notes, double seconds, float amplitude) {
    Samples voices = silence(seconds);
    for (const int note : notes) {
        voices = sum(voices, tone(440 * std::exp2((note - 69) / 12.0), seconds, amplitude));
    }
    return voices;
}

// Their tones are harmonics of a fundamental that is far below and has few of its harmonics.
TEST(PitchTrackerTest, ChordsAreNotVoiced) {
    const std::vector<std::vector<int>> chords{
        {60, 63, 67}, {60, 63, 66}, {60, 64, 68}, {55, 59, 62, 65}, {60, 61, 62, 63}};
    for (const std::vector<int>& chord : chords) {
        EXPECT_LT(shareVoiced(pitchesOf(chordOf(chord, 2, 0.1f))), 0.1)
            << chord[0] << " " << chord[1] << " " << chord[2];
    }
}

// A major triad has the harmonics 4, 5 and 6 of a voice two octaves below, 5, 6 and 8 or 3, 4 and 5
// in its inversions, and a root whose harmonics are among the strongest peaks.
TEST(PitchTrackerTest, CloseTriadsAreNotVoiced) {
    const std::vector<std::vector<int>> shapes{{0, 4, 7}, {4, 7, 12}, {7, 12, 16},
                                               {0, 3, 7}, {3, 7, 12}, {7, 12, 15}};
    for (const std::vector<int>& shape : shapes) {
        for (int root = 48; root <= 69; root += 7) {
            const std::vector<int> chord{root + shape[0], root + shape[1], root + shape[2]};
            EXPECT_LT(shareVoiced(pitchesOf(chordOf(chord, 1, 0.1f))), 0.1)
                << chord[0] << " " << chord[1] << " " << chord[2];
        }
    }
}

// The accompaniment is 10 dB softer. It alone has no pitch.
TEST(PitchTrackerTest, AVoiceOverASofterTriadKeepsItsPitch) {
    const Samples triad = chordOf({48, 52, 55}, 4, 0.1f);
    const auto pitches = pitchesOf(sum(triad, joined({tone(740, 2, 0.316f), silence(2)})));
    for (const Pitch& pitch : pitches) {
        if (pitch.seconds < 1.9) {
            EXPECT_LT(centsBetween(pitch.frequencyHz, 740), 20) << pitch.seconds;
        } else if (pitch.seconds > 2.2) {
            EXPECT_FALSE(pitch.isVoiced()) << pitch.seconds;
        }
    }
}

TEST(PitchTrackerTest, NoiseIsNotVoiced) {
    EXPECT_LT(shareVoiced(pitchesOf(noise(5))), 0.01);
}

TEST(PitchTrackerTest, WhatIsFiftyDecibelsBelowTheLoudestIsNotVoiced) {
    const auto endsAt = [](double decibels) {
        const auto amplitude = static_cast<float>(0.5 * std::pow(10, decibels / 20));
        const auto pitches = pitchesOf(joined({sine(440, 1), sine(440, 1, amplitude)}));
        return std::vector<Pitch>(pitches.end() - 15, pitches.end());
    };
    EXPECT_EQ(shareVoiced(endsAt(-45)), 1);
    EXPECT_EQ(shareVoiced(endsAt(-55)), 0);
}

TEST(PitchTrackerTest, ResetForgetsTheLoudestFrame) {
    Reader reader({Reading::Pitch}, {.sampleRateHz = kRateHz});
    reader.push(sine(440, 1, 0.9f));
    reader.finish();
    reader.reset();
    reader.push(sine(440, 1, 0.001f));
    EXPECT_EQ(shareVoiced(*reader.finish().pitch), 1);
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
