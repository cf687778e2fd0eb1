#include "readings/KeyFinder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>

namespace qel::readings {
namespace {

constexpr double kHopSeconds = 0.01;
using Correlations = std::array<float, KeyFinder::kKeys>;

// A frame that fits one key best, and another one nearly as well.
Correlations frameOf(std::size_t best, std::size_t second) {
    Correlations frame{};
    frame[best] = 0.8f;
    frame[second] = 0.7f;
    return frame;
}

void add(KeyFinder& finder, const Correlations& frame, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        finder.add(frame);
    }
}

TEST(KeyFinderTest, TheGreatestMeanWinsOverTheMostFrames) {
    KeyFinder finder(kHopSeconds);
    // G major is best in 60 frames of 100, C major nearly as good there and far better elsewhere.
    add(finder, frameOf(7, 0), 60);
    Correlations c{};
    c[0] = 0.9f;
    add(finder, c, 40);
    const KeyAnswer answer = finder.finish(1);
    EXPECT_EQ(answer.main.name(), "C major");
    EXPECT_EQ(answer.runnerUp.name(), "G major");
}

TEST(KeyFinderTest, NumbersFrom12AreMinor) {
    KeyFinder finder(kHopSeconds);
    add(finder, frameOf(12 + 6, 0), 500);
    const KeyAnswer answer = finder.finish(5);
    EXPECT_EQ(answer.main, (MusicalKey{6, true}));
    EXPECT_EQ(answer.main.name(), "F# minor");
    EXPECT_GT(answer.strength, 0.9f);
}

TEST(KeyFinderTest, AChangeOfKeyMakesTwoSegmentsWithoutAGap) {
    KeyFinder finder(kHopSeconds);
    add(finder, frameOf(0, 7), 3000);
    add(finder, frameOf(3, 10), 3000);
    const KeyAnswer answer = finder.finish(60);
    ASSERT_EQ(answer.segments.size(), 2u);
    EXPECT_EQ(answer.segments[0].key.name(), "C major");
    EXPECT_EQ(answer.segments[1].key.name(), "D# major");
    EXPECT_EQ(answer.segments[0].beginSeconds, 0);
    EXPECT_NEAR(answer.segments[0].endSeconds, 30, 1);
    EXPECT_EQ(answer.segments[1].beginSeconds, answer.segments[0].endSeconds);
    EXPECT_EQ(answer.segments[1].endSeconds, 60);
}

TEST(KeyFinderTest, AChordOfTwoSecondsIsNoSegment) {
    KeyFinder finder(kHopSeconds);
    add(finder, frameOf(0, 7), 2000);
    add(finder, frameOf(5, 0), 200);
    add(finder, frameOf(0, 7), 2000);
    EXPECT_EQ(finder.finish(42).segments.size(), 1u);
}

TEST(KeyFinderTest, SilenceHasNoStrengthAndNoSegments) {
    KeyFinder finder(kHopSeconds);
    add(finder, Correlations{}, 500);
    const KeyAnswer answer = finder.finish(5);
    EXPECT_EQ(answer.strength, 0);
    EXPECT_TRUE(answer.segments.empty());
    EXPECT_EQ(KeyFinder(kHopSeconds).finish(0).strength, 0);
}

TEST(KeyFinderTest, AResetForgets) {
    KeyFinder finder(kHopSeconds);
    add(finder, frameOf(4, 5), 500);
    finder.reset();
    add(finder, frameOf(9, 2), 300);
    EXPECT_EQ(finder.finish(3).main.name(), "A major");
}

} // namespace
} // namespace qel::readings
