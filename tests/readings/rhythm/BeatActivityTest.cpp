#include "readings/rhythm/BeatActivity.h"

#include "tests/readings/rhythm/StillMusic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace qel::readings::test {
namespace {

// Frames that are silent but for ten frames of noise at every multiple of `distance`.
BandLevels strokes(std::size_t frames, std::size_t distance) {
    BandLevels levels(44100);
    for (std::size_t t = 0; t < frames; ++t) {
        levels.add(std::vector<float>(1024, t >= distance && t % distance < 10 ? 50.0f : 0.0f));
    }
    return levels;
}

std::vector<float> onsetsOfStrokes(std::size_t frames, std::size_t distance) {
    const BandLevels levels = strokes(frames, distance);
    const StillMusic still(frames);
    const OnsetStrength strength(levels, 1, {0, frames});
    return BeatActivity(strength, still.chroma(), kFramesPerSecond).onset;
}

TEST(BeatActivityTest, MusicThatNeverChangesHasNone) {
    const StillMusic still(500);
    const BeatActivity activity(still.strength(), still.chroma(), kFramesPerSecond);
    EXPECT_EQ(activity.onset, std::vector<float>(500));
    EXPECT_EQ(activity.low, std::vector<float>(500));
    EXPECT_EQ(activity.harmony.size(), 500u);
    EXPECT_LT(*std::ranges::max_element(activity.harmony), 1e-3f);
}

// Strokes in 1 of 20 frames are above the quantile of 0.97, which is their own height: each is 1.
TEST(BeatActivityTest, EqualStrokesAreOneEach) {
    const std::vector<float> onset = onsetsOfStrokes(1000, 20);
    for (std::size_t t = 100; t < 900; ++t) {
        EXPECT_NEAR(onset[t], t % 20 == 0 ? 1 : 0, 1e-3) << t;
    }
}

// One stroke alone leaves the quantile at 0. A quarter of its height takes its place, so it is 4.
TEST(BeatActivityTest, AStrokeAloneIsFour) {
    const std::vector<float> onset = onsetsOfStrokes(1000, 600);
    EXPECT_NEAR(onset[600], 4, 1e-3);
    EXPECT_EQ(std::ranges::count_if(onset, [](float value) { return value > 0; }), 1);
}

// 0.6 of the onsets, of which 0.35 reach into the next frames, 0.15 of the bass and 0.25 of the
// harmony.
TEST(BeatActivityTest, AllThreeTogetherAreAWeightedSum) {
    const StillMusic still(6);
    BeatActivity activity = still.activity({0, 1, 0, 0, 0, 0.5f});
    activity.low = {0, 0, 1, 0, 0, 0};
    activity.harmony = {0, 0, 0, 1, 0, 1};
    const std::vector<float> expected = {0.21f, 0.6f, 0.21f + 0.15f, 0.25f, 0.105f, 0.3f + 0.25f};
    const std::vector<float> sum = activity.together();
    ASSERT_EQ(sum.size(), expected.size());
    for (std::size_t t = 0; t < sum.size(); ++t) {
        EXPECT_NEAR(sum[t], expected[t], 1e-6) << t;
    }
}

TEST(BeatActivityTest, NoFramesHaveNone) {
    const StillMusic still(0);
    const BeatActivity activity(still.strength(), still.chroma(), kFramesPerSecond);
    EXPECT_TRUE(activity.onset.empty());
    EXPECT_TRUE(activity.together().empty());
}

} // namespace
} // namespace qel::readings::test
