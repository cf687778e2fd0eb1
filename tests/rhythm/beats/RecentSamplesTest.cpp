#include "rhythm/beats/RecentSamples.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace qel::core {
namespace {

TEST(RecentSamplesTest, TheStreamBeginsWithSilence) {
    RecentSamples recent(7, 5);
    const float samples[] = {1.0f, 2.0f};
    recent.Append(samples, 2);
    EXPECT_EQ((std::vector<float>{0, 0, 0, 0, 0, 1, 2}),
              std::vector<float>(recent.From(0), recent.From(0) + 7));
}

TEST(RecentSamplesTest, AnyOfTheNewestSamplesBeginsAPieceThatReachesTheEnd) {
    constexpr std::size_t kLength = 11;
    std::mt19937 random(1);
    RecentSamples recent(kLength, 0);
    std::vector<float> stream;
    for (int push = 0; push < 200; ++push) {
        std::vector<float> samples(random() % (kLength + 1));
        for (float& sample : samples) {
            sample = static_cast<float>(1 + random() % 1000);
        }
        recent.Append(samples.data(), samples.size());
        stream.insert(stream.end(), samples.begin(), samples.end());
        for (std::size_t back = 1; back <= std::min(kLength, stream.size()); ++back) {
            const std::size_t first = stream.size() - back;
            const auto begin = stream.begin() + static_cast<std::ptrdiff_t>(first);
            ASSERT_TRUE(std::equal(begin, stream.end(), recent.From(first))) << push << ' ' << back;
        }
    }
}

TEST(RecentSamplesTest, ClearingBeginsAnotherStream) {
    RecentSamples recent(4, 2);
    const float samples[] = {1.0f, 2.0f, 3.0f};
    recent.Append(samples, 3);
    recent.Clear();
    recent.Append(samples, 1);
    EXPECT_EQ((std::vector<float>{0, 0, 1}),
              std::vector<float>(recent.From(0), recent.From(0) + 3));
}

} // namespace
} // namespace qel::core
