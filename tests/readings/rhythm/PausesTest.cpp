#include "readings/rhythm/Pauses.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace qel::readings {
namespace {

BeatTimes grid(double first, double distance, std::size_t count) {
    BeatTimes beats;
    for (std::size_t i = 0; i < count; ++i) {
        beats.push_back(first + distance * static_cast<double>(i));
    }
    return beats;
}

BeatTimes joined(BeatTimes one, const BeatTimes& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

// How many beats between these times are kept.
std::ptrdiff_t keptBetween(const BeatTimes& beats, const std::vector<bool>& kept, double begin,
                           double end) {
    std::ptrdiff_t count = 0;
    for (std::size_t i = 0; i < beats.size(); ++i) {
        count += kept[i] && beats[i] > begin && beats[i] < end ? 1 : 0;
    }
    return count;
}

TEST(PausesTest, OnePartKeepsAllBeats) {
    const BeatTimes beats = grid(0.5, 0.5, 20);
    const std::vector<TimeRange> parts{{0.4, 10.2}};
    EXPECT_EQ(beatsKept(beats, parts), std::vector<bool>(20, true));
    EXPECT_EQ(beatsKept(beats, {}), std::vector<bool>(20, true));
    EXPECT_TRUE(beatsKept({}, parts).empty());
}

// 120 BPM from 0 to 40 s, silent from 10 to 20 s.
TEST(PausesTest, BeatsInAPauseStayIfTheGridGoesOn) {
    const BeatTimes beats = grid(0, 0.5, 80);
    const std::vector<TimeRange> parts{{0, 10}, {20, 40}};
    const std::vector<bool> kept = beatsKept(beats, parts);
    EXPECT_TRUE(std::ranges::all_of(kept, [](bool is) { return is; }));
}

// After the pause the beats are half a beat late.
TEST(PausesTest, BeatsInAPauseGoIfThePhaseIsAnother) {
    const BeatTimes beats = joined(grid(0, 0.5, 40), grid(20.25, 0.5, 40));
    const std::vector<TimeRange> parts{{0, 10}, {20.25, 40}};
    const std::vector<bool> kept = beatsKept(beats, parts);
    EXPECT_EQ(keptBetween(beats, kept, 10.1, 20.1), 0);
    EXPECT_EQ(keptBetween(beats, kept, -1, 10.1), 21);
    EXPECT_EQ(keptBetween(beats, kept, 20.1, 50), 40);
}

TEST(PausesTest, BeatsInAPauseGoIfTheTempoIsAnother) {
    const BeatTimes beats = joined(grid(0, 0.5, 40), grid(20, 0.55, 40));
    const std::vector<TimeRange> parts{{0, 10}, {20, 42}};
    EXPECT_EQ(keptBetween(beats, beatsKept(beats, parts), 10.1, 19.9), 0);
}

TEST(PausesTest, AnEighthOfABeatIsOnTheGrid) {
    const std::vector<TimeRange> parts{{0, 10}, {20, 40}};
    const BeatTimes near = joined(grid(0, 0.5, 40), grid(20.05, 0.5, 40)); // a tenth of a beat
    EXPECT_GT(keptBetween(near, beatsKept(near, parts), 10.1, 19.9), 0);
    const BeatTimes far = joined(grid(0, 0.5, 40), grid(20.08, 0.5, 40)); // 0.16
    EXPECT_EQ(keptBetween(far, beatsKept(far, parts), 10.1, 19.9), 0);
}

TEST(PausesTest, ASingleBeatIsNoGrid) {
    const BeatTimes beats = joined(grid(0, 0.5, 40), {20.0});
    const std::vector<TimeRange> parts{{0, 10}, {19.9, 20.3}};
    EXPECT_EQ(keptBetween(beats, beatsKept(beats, parts), 10.1, 19.8), 0);
}

TEST(PausesTest, EachPauseIsJudgedByItself) {
    // On from the first to the second part, another phase in the third.
    const BeatTimes beats = joined(grid(0, 0.5, 80), grid(40.25, 0.5, 40));
    const std::vector<TimeRange> parts{{0, 10}, {20, 30}, {40.25, 60}};
    const std::vector<bool> kept = beatsKept(beats, parts);
    EXPECT_EQ(keptBetween(beats, kept, 10.1, 19.9), 19);
    EXPECT_EQ(keptBetween(beats, kept, 30.1, 40.1), 0);
}

} // namespace
} // namespace qel::readings
