#include "readings/rhythm/BeatLevel.h"

#include "tests/readings/rhythm/StillMusic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <vector>

namespace qel::readings::test {
namespace {

constexpr std::size_t kFrames = 3000;

class BeatLevelTest : public testing::Test {
protected:
    // The number of readings of a path at each whole tempo, where `onset` begins.
    std::map<long, int> tempiOf(const std::vector<float>& onset, const BeatTimes& path) const {
        const BeatActivity activity = mMusic.activity(onset);
        std::map<long, int> tempi;
        for (const auto& each :
             BeatLevel(activity, mMusic.bars(), kFramesPerSecond).candidatesOf(path)) {
            ++tempi[std::lround(bpmOf(each.beats))];
        }
        return tempi;
    }

    const StillMusic mMusic{kFrames};
    const std::vector<float> mEverywhere = std::vector<float>(kFrames, 1);
};

// 260 and 390 BPM are too fast. Of half the tempo there are two phases, of a third and of two
// thirds three; between the beats lies one more of the same tempo.
TEST_F(BeatLevelTest, ReadingsAreOfAllPhasesFrom40To230Bpm) {
    const std::map<long, int> expected = {{130, 2}, {65, 2}, {43, 3}, {87, 3}, {195, 2}};
    EXPECT_EQ(tempiOf(mEverywhere, evenBeats(130, 50)), expected);
}

TEST_F(BeatLevelTest, SlowPathsHaveFastReadingsAlone) {
    const std::map<long, int> expected = {{50, 2}, {100, 1}, {150, 1}, {75, 2}};
    EXPECT_EQ(tempiOf(mEverywhere, evenBeats(50, 20)), expected);
}

// A reading has six beats or more: of eleven beats, half the tempo has six in the first phase and
// five in the second.
TEST_F(BeatLevelTest, ReadingsOfFewerThanSixBeatsAreNone) {
    EXPECT_EQ(tempiOf(mEverywhere, evenBeats(130, 11))[65], 1);
    EXPECT_EQ(tempiOf(mEverywhere, evenBeats(130, 12))[65], 2);
    EXPECT_TRUE(tempiOf(mEverywhere, evenBeats(130, 5)).empty());
}

// Between the beats nothing begins. So readings of which half the beats or fewer are on those of
// the path do not count.
TEST_F(BeatLevelTest, ReadingsOnWhoseBeatsLittleBeginsAreNone) {
    const BeatTimes path = evenBeats(130, 50);
    const std::map<long, int> expected = {{130, 1}, {65, 2}, {43, 3}};
    EXPECT_EQ(tempiOf(onsetsAt(path, kFrames), path), expected);
}

TEST_F(BeatLevelTest, TheMeanOnBeatsCountsTheGreatestNearEach) {
    const BeatTimes beats = evenBeats(60, 4);
    const BeatActivity activity = mMusic.activity({});
    const BeatLevel level(activity, mMusic.bars(), kFramesPerSecond);
    EXPECT_DOUBLE_EQ(level.meanAt(onsetsAt({1, 3.02}, kFrames), beats), 0.5);
    EXPECT_DOUBLE_EQ(level.meanAt(onsetsAt({1.2, 3.2}, kFrames), beats), 0);
    EXPECT_DOUBLE_EQ(level.meanAt(mEverywhere, {}), 0);
}

TEST_F(BeatLevelTest, TooFewBeatsGiveNoChoice) {
    const BeatActivity activity = mMusic.activity(mEverywhere);
    const BeatLevel level(activity, mMusic.bars(), kFramesPerSecond);
    EXPECT_TRUE(level.choose(evenBeats(130, 5)).beats.empty());
    EXPECT_TRUE(level.choose({}).beats.empty());
}

// The odds are those of the softmax of the scores, of all readings within 8 % of the tempo against
// all others.
TEST_F(BeatLevelTest, TheChoiceIsTheReadingWithTheGreatestScore) {
    const BeatTimes path = evenBeats(130, 50);
    const BeatActivity activity = mMusic.activity(onsetsAt(path, kFrames));
    const BeatLevel level(activity, mMusic.bars(), kFramesPerSecond);
    const auto all = level.candidatesOf(path);
    const auto& best = *std::ranges::max_element(all, {}, &BeatLevel::Candidate::score);
    double same = 0;
    double others = 0;
    std::size_t rivals = 0;
    const BeatLevel::Candidate* second = nullptr;
    for (const auto& each : all) {
        if (std::abs(bpmOf(each.beats) / bpmOf(best.beats) - 1) <= 0.08) {
            same += std::exp(each.score);
            continue;
        }
        others += std::exp(each.score);
        ++rivals;
        second = second == nullptr || each.score > second->score ? &each : second;
    }
    ASSERT_NE(second, nullptr);
    const BeatLevel::Choice choice = level.choose(path);
    EXPECT_EQ(choice.beats, best.beats);
    EXPECT_EQ(choice.rivals, rivals);
    EXPECT_NEAR(choice.alternativeBpm, bpmOf(second->beats), 1e-9);
    EXPECT_NEAR(choice.logOdds, std::min(std::log(same / others), 9.2), 1e-9);
}

} // namespace
} // namespace qel::readings::test
