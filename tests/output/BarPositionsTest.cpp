#include "output/BarPositions.h"

#include "tests/output/EventResults.h"

#include <gtest/gtest.h>

#include <vector>

namespace qel::output {
namespace {

using Positions = std::vector<std::size_t>;

// Positions of so many beats, a second apart from 0 on, with down beats at these seconds.
Positions Of(std::size_t beats, const std::vector<double>& downBeats, std::uint32_t beatsPerBar) {
    std::vector<Event> events;
    for (std::size_t i = 0; i < beats; ++i) {
        events.push_back({static_cast<double>(i), 0.5f});
    }
    return BarPositions(events, At(downBeats), beatsPerBar);
}

TEST(BarPositionsTest, BeatsAreCountedFromDownBeatToDownBeat) {
    EXPECT_EQ(Of(7, {0, 3, 6}, 3), (Positions{1, 2, 3, 1, 2, 3, 1}));
}

TEST(BarPositionsTest, APickupCountsBackFromTheFirstDownBeat) {
    EXPECT_EQ(Of(7, {2, 6}, 4), (Positions{3, 4, 1, 2, 3, 4, 1}));
    EXPECT_EQ(Of(5, {4}, 5), (Positions{2, 3, 4, 5, 1}));
}

TEST(BarPositionsTest, WithoutAMeterTheFirstBarsLengthIsUsed) {
    EXPECT_EQ(Of(7, {1, 4}, 0), (Positions{3, 1, 2, 3, 1, 2, 3}));
}

TEST(BarPositionsTest, TheMeterGoesBeforeTheFirstBarsLength) {
    EXPECT_EQ(Of(7, {1, 4}, 4), (Positions{4, 1, 2, 3, 1, 2, 3}));
}

TEST(BarPositionsTest, APickupOfUnknownMeterIsNotCounted) {
    EXPECT_EQ(Of(5, {2}, 0), (Positions{0, 0, 1, 2, 3}));
}

TEST(BarPositionsTest, MoreThanABarBeforeTheFirstDownBeatNothingIsKnown) {
    EXPECT_EQ(Of(6, {5}, 3), (Positions{0, 0, 0, 2, 3, 1}));
}

TEST(BarPositionsTest, ADownBeatStartsABarThatCameTooSoonOrLate) {
    EXPECT_EQ(Of(13, {0, 4, 6, 12}, 4), (Positions{1, 2, 3, 4, 1, 2, 1, 2, 3, 4, 5, 6, 1}));
}

TEST(BarPositionsTest, AfterTheLastDownBeatTheCountGoesOn) {
    EXPECT_EQ(Of(6, {0}, 3), (Positions{1, 2, 3, 4, 5, 6}));
}

TEST(BarPositionsTest, WithoutDownBeatsNothingIsKnown) {
    EXPECT_EQ(Of(3, {}, 4), (Positions{0, 0, 0}));
    EXPECT_EQ(Of(0, {}, 4), Positions{});
    EXPECT_EQ(Of(0, {1, 2}, 4), Positions{});
}

TEST(BarPositionsTest, ADownBeatThatIsNoBeatBeginsNoBar) {
    EXPECT_EQ(Of(4, {0.5, 2}, 2), (Positions{0, 2, 1, 2}));
}

TEST(BarPositionsTest, TimesThatComputersRoundAreStillTheSame) {
    std::vector<Event> beats;
    for (int i = 0; i < 1000; ++i) {
        beats.push_back({i * 128 / 44100.0, 0.0f});
    }
    std::vector<Event> downBeats;
    for (std::size_t i = 0; i < beats.size(); i += 4) {
        downBeats.push_back(beats[i]);
    }
    const Positions positions = BarPositions(beats, downBeats, 4);
    ASSERT_EQ(positions.size(), beats.size());
    for (std::size_t i = 0; i < beats.size(); ++i) {
        EXPECT_EQ(positions[i], i % 4 + 1);
    }
}

} // namespace
} // namespace qel::output
