#include "readings/BeatPath.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

namespace qel::readings {
namespace {

constexpr double kFramesPerSecond = 100;

TEST(BeatPathTest, FollowsPulsesAtEqualDistances) {
    std::vector<float> activity(2000, 0.02F);
    for (std::size_t t = 30; t < activity.size(); t += 50) {
        activity[t] = 0.9F;
    }
    const std::vector<std::size_t> beats = BeatPath(kFramesPerSecond).find(activity);
    ASSERT_GE(beats.size(), 39U);
    for (const std::size_t beat : beats) {
        EXPECT_EQ(beat % 50, 30U) << beat;
    }
}

TEST(BeatPathTest, BridgesPulsesThatAreMissing) {
    std::vector<float> activity(2000, 0.02F);
    for (std::size_t t = 0; t < activity.size(); t += 60) {
        activity[t] = t % 300 == 0 ? 0.02F : 0.9F;
    }
    const std::vector<std::size_t> beats = BeatPath(kFramesPerSecond).find(activity);
    for (std::size_t i = 1; i < beats.size(); ++i) {
        EXPECT_EQ(beats[i] - beats[i - 1], 60U);
    }
}

TEST(BeatPathTest, FollowsAStepToAnotherTempo) {
    std::vector<float> activity(3000, 0.02F);
    for (std::size_t t = 20; t < 1520; t += 50) {
        activity[t] = 0.9F;
    }
    for (std::size_t t = 1520; t < 3000; t += 55) {
        activity[t] = 0.9F;
    }
    const std::vector<std::size_t> beats = BeatPath(kFramesPerSecond).find(activity);
    std::size_t met = 0;
    for (const std::size_t beat : beats) {
        met += activity[beat] > 0.5F ? 1 : 0;
    }
    EXPECT_GE(met + 3, 30U + 27U);
    EXPECT_LE(beats.size(), 30U + 27U + 1U);
}

TEST(BeatPathTest, NoFramesHaveNoBeats) {
    EXPECT_TRUE(BeatPath(kFramesPerSecond).find({}).empty());
}

TEST(BeatPathTest, FewFramesGiveAtMostOneBeat) {
    const std::vector<float> activity(10, 0.5F);
    EXPECT_LE(BeatPath(kFramesPerSecond).find(activity).size(), 1U);
}

} // namespace
} // namespace qel::readings
