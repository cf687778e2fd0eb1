#include "readings/tone/KeyFinder.h"

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <numeric>
#include <vector>

namespace qel::readings {
namespace {

constexpr double kRateHz = 44100;
constexpr double kBinHz = kRateHz / 4096;
constexpr double kSecond = kRateHz / 2048; // frames

// A frame of "mel spectrum" of notes of one partial each: MIDI numbers, `cents` above their pitch.
// The peak of a Hann window is nearly a parabola of logarithms.
std::vector<float> frameOf(std::initializer_list<int> notes, double cents = 0) {
    std::vector<float> magnitudes(2048);
    for (const int note : notes) {
        const double place = 440 * std::exp2((note - 69 + cents / 100) / 12) / kBinHz;
        const auto middle = static_cast<std::size_t>(std::lround(place));
        for (std::size_t k = middle - 2; k <= middle + 2; ++k) {
            const double off = static_cast<double>(k) - place;
            magnitudes[k] += static_cast<float>(500 * std::exp(-off * off));
        }
    }
    return magnitudes;
}

void add(KeyFinder& finder, const std::vector<float>& frame, double seconds) {
    for (int i = 0; i < std::lround(seconds * kSecond); ++i) {
        finder.add(frame);
    }
}

// Tonic, subdominant, dominant, tonic: all tones of a major key, and its tonic most.
void addCadence(KeyFinder& finder, int tonic, double seconds, double cents = 0) {
    for (double done = 0; done + 3.9 < seconds; done += 4) {
        add(finder, frameOf({tonic, tonic + 4, tonic + 7}, cents), 1);
        add(finder, frameOf({tonic + 5, tonic + 9, tonic + 12}, cents), 1);
        add(finder, frameOf({tonic + 7, tonic + 11, tonic + 14}, cents), 1);
        add(finder, frameOf({tonic, tonic + 4, tonic + 7}, cents), 1);
    }
}

TEST(KeyFinderTest, ACadenceOfEveryMajorKeyHasItsKey) {
    for (int tonic = 0; tonic < 12; ++tonic) {
        KeyFinder finder(kRateHz);
        addCadence(finder, 60 + tonic, 8);
        const KeyAnswer answer = finder.finish(8);
        EXPECT_EQ(answer.main, (MusicalKey{tonic, false})) << answer.main.name();
        EXPECT_GT(answer.strength, 0.9f);
    }
}

TEST(KeyFinderTest, ACadenceWithTheLeadingToneIsMinor) {
    for (int tonic = 0; tonic < 12; ++tonic) {
        KeyFinder finder(kRateHz);
        const int root = 60 + tonic;
        add(finder, frameOf({root, root + 3, root + 7}), 3);
        add(finder, frameOf({root + 5, root + 8, root + 12}), 2);
        add(finder, frameOf({root + 7, root + 11, root + 14}), 2);
        EXPECT_EQ(finder.finish(7).main, (MusicalKey{tonic, true}));
    }
}

TEST(KeyFinderTest, AnotherTuningHasTheSameKey) {
    for (const double cents : {-40.0, -20.0, 30.0, 45.0}) {
        KeyFinder finder(kRateHz);
        addCadence(finder, 62, 12, cents);
        EXPECT_EQ(finder.finish(12).main.name(), "D major") << cents;
    }
}

TEST(KeyFinderTest, WhatIsAbove2KilohertzDoesNotCount) {
    KeyFinder finder(kRateHz);
    std::vector<float> frame = frameOf({60, 64, 67, 72});
    const std::vector<float> high = frameOf({97, 99, 102, 104, 106, 109, 111}); // black keys
    for (std::size_t k = 0; k < frame.size(); ++k) {
        frame[k] += 3 * high[k];
    }
    add(finder, frame, 5);
    EXPECT_EQ(finder.finish(5).main.name(), "C major");
}

TEST(KeyFinderTest, AChangeOfKeyMakesTwoSegmentsWithoutAGap) {
    KeyFinder finder(kRateHz);
    addCadence(finder, 60, 32);
    addCadence(finder, 63, 32);
    const KeyAnswer answer = finder.finish(64);
    ASSERT_EQ(answer.segments.size(), 2u);
    EXPECT_EQ(answer.segments[0].key.name(), "C major");
    EXPECT_EQ(answer.segments[1].key.name(), "Eb major");
    EXPECT_EQ(answer.segments[0].beginSeconds, 0);
    EXPECT_NEAR(answer.segments[0].endSeconds, 32, 2);
    EXPECT_EQ(answer.segments[1].beginSeconds, answer.segments[0].endSeconds);
    EXPECT_EQ(answer.segments[1].endSeconds, 64);
}

TEST(KeyFinderTest, AChordOfTwoSecondsIsNoSegment) {
    KeyFinder finder(kRateHz);
    addCadence(finder, 60, 20);
    add(finder, frameOf({61, 65, 68}), 2);
    addCadence(finder, 60, 20);
    EXPECT_EQ(finder.finish(42).segments.size(), 1u);
}

// The pitch classes of both keys together fit other keys better than each of the two.
TEST(KeyFinderTest, TheMainKeyHasASegment) {
    for (int interval = 1; interval < 12; ++interval) {
        KeyFinder finder(kRateHz);
        addCadence(finder, 60, 32);
        addCadence(finder, 60 + interval, 32);
        const KeyAnswer answer = finder.finish(64);
        EXPECT_GT(answer.strength, 0.5f) << interval;
        const auto hasMain = [&](const KeySegment& segment) { return segment.key == answer.main; };
        EXPECT_TRUE(std::ranges::any_of(answer.segments, hasMain))
            << interval << " " << answer.main.name();
    }
}

// Six majors and six minors fit a whole-tone scale equally well, and all keys a chromatic one.
TEST(KeyFinderTest, ScalesOfEqualStepsHaveNoKey) {
    for (const int step : {1, 2, 3, 4}) {
        KeyFinder finder(kRateHz);
        for (int i = 0; i < 36; ++i) {
            add(finder, frameOf({60 + step * i % 12}), 0.5);
        }
        EXPECT_LT(finder.finish(18).strength, 0.15f) << step;
    }
}

TEST(KeyFinderTest, AToneAloneHasNoKey) {
    KeyFinder finder(kRateHz);
    add(finder, frameOf({69}), 10);
    EXPECT_LT(finder.finish(10).strength, 0.3f);
}

TEST(KeyFinderTest, NoKeyHasNoSegments) {
    KeyFinder finder(kRateHz);
    for (int i = 0; i < 48; ++i) {
        add(finder, frameOf({60 + i % 12}), 0.5);
    }
    const KeyAnswer answer = finder.finish(24);
    EXPECT_EQ(answer.strength, 0);
    EXPECT_TRUE(answer.segments.empty());
}

float strengthOf(const test::Samples& samples) {
    return test::read({Reading::Key}, samples).key->strength;
}

TEST(KeyFinderTest, NoiseHasNoKey) {
    for (const double seconds : {0.5, 2.0, 10.0, 30.0}) {
        EXPECT_LT(strengthOf(test::noise(seconds)), 0.15f) << seconds;
    }
    test::Samples dark = test::noise(20); // falls by 6 dB per octave
    std::partial_sum(dark.begin(), dark.end(), dark.begin(),
                     [](float sum, float x) { return 0.99f * sum + x; });
    EXPECT_LT(strengthOf(dark), 0.15f);
}

TEST(KeyFinderTest, StrokesHaveNoKey) {
    EXPECT_LT(strengthOf(test::strokes({1}, 3)), 0.3f);
    EXPECT_LT(strengthOf(test::strokes(test::times(0.3, 0.5, 20), 20)), 0.3f);
}

TEST(KeyFinderTest, DrumsAloneHaveNoKey) {
    const test::Samples drums = test::sum(test::kicks(test::times(0.5, 1, 20), 20),
                                          test::sum(test::snares(test::times(1, 1, 20), 20),
                                                    test::hats(test::times(0.5, 0.25, 20), 20)));
    EXPECT_LT(strengthOf(drums), 0.3f);
}

// White noise 4 dB above the chords.
TEST(KeyFinderTest, ACadenceInNoiseKeepsItsKey) {
    test::Samples music;
    for (int bar = 0; bar < 4; ++bar) {
        for (const int root : {60, 65, 67, 60}) {
            test::Samples chord = test::silence(1);
            for (const int above : {0, 4, 7}) {
                const double hz = 440 * std::exp2((root + above - 69) / 12.0);
                chord = test::sum(chord, test::tone(hz, 1, 0.1f));
            }
            music.insert(music.end(), chord.begin(), chord.end());
        }
    }
    const KeyAnswer answer =
        *test::read({Reading::Key}, test::sum(music, test::noise(16, 0.35f))).key;
    EXPECT_EQ(answer.main.name(), "C major");
    EXPECT_GT(answer.strength, 0.5f);
}

TEST(KeyFinderTest, SilenceHasNoStrengthAndNoSegments) {
    KeyFinder finder(kRateHz);
    add(finder, frameOf({}), 5);
    const KeyAnswer answer = finder.finish(5);
    EXPECT_EQ(answer.strength, 0);
    EXPECT_TRUE(answer.segments.empty());
    EXPECT_EQ(KeyFinder(kRateHz).finish(0).strength, 0);
}

TEST(KeyFinderTest, AResetForgets) {
    KeyFinder finder(kRateHz);
    addCadence(finder, 64, 20);
    finder.reset();
    addCadence(finder, 69, 8);
    EXPECT_EQ(finder.finish(8).main.name(), "A major");
}

} // namespace
} // namespace qel::readings
