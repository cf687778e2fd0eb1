#include "readings/rhythm/BeatPath.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

namespace qel::readings {
namespace {

constexpr double kFramesPerSecond = 100;

TEST(BeatPathTest, FollowsPulsesAtEqualDistances) {
    std::vector<float> activity(2000, 0.02f);
    for (std::size_t t = 30; t < activity.size(); t += 50) {
        activity[t] = 0.9f;
    }
    const std::vector<std::size_t> beats = BeatPath(kFramesPerSecond).find(activity);
    ASSERT_GE(beats.size(), 39u);
    for (const std::size_t beat : beats) {
        EXPECT_EQ(beat % 50, 30u) << beat;
    }
}

TEST(BeatPathTest, BridgesPulsesThatAreMissing) {
    std::vector<float> activity(2000, 0.02f);
    for (std::size_t t = 0; t < activity.size(); t += 60) {
        activity[t] = t % 300 == 0 ? 0.02f : 0.9f;
    }
    const std::vector<std::size_t> beats = BeatPath(kFramesPerSecond).find(activity);
    for (std::size_t i = 1; i < beats.size(); ++i) {
        EXPECT_EQ(beats[i] - beats[i - 1], 60u);
    }
}

TEST(BeatPathTest, FollowsAStepToAnotherTempo) {
    std::vector<float> activity(3000, 0.02f);
    for (std::size_t t = 20; t < 1520; t += 50) {
        activity[t] = 0.9f;
    }
    for (std::size_t t = 1520; t < 3000; t += 55) {
        activity[t] = 0.9f;
    }
    const std::vector<std::size_t> beats = BeatPath(kFramesPerSecond).find(activity);
    std::size_t met = 0;
    for (const std::size_t beat : beats) {
        met += activity[beat] > 0.5f ? 1 : 0;
    }
    EXPECT_GE(met + 3, 30u + 27u);
    EXPECT_LE(beats.size(), 30u + 27u + 1u);
}

TEST(BeatPathTest, NoFramesHaveNoBeats) {
    EXPECT_TRUE(BeatPath(kFramesPerSecond).find({}).empty());
}

TEST(BeatPathTest, FewFramesGiveAtMostOneBeat) {
    const std::vector<float> activity(10, 0.5f);
    EXPECT_LE(BeatPath(kFramesPerSecond).find(activity).size(), 1u);
}

} // namespace
} // namespace qel::readings
