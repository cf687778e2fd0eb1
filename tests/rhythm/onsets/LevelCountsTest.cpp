#include "rhythm/onsets/LevelCounts.h"

#include "tests/platform/vector/InstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Few different values, so that levels are met exactly, and some that are no numbers.
std::vector<float> Values(std::size_t count) {
    const float choices[] = {0.0f, -0.0f, 0.25f, 0.5f, -1.0f, kNaN, kInfinity, -kInfinity};
    std::mt19937 random(1);
    std::vector<float> values(count);
    std::generate(values.begin(), values.end(), [&] { return choices[random() % 8]; });
    return values;
}

TEST(LevelCountsTest, CountsGrowByTheValuesOnEitherSideOfTheLevel) {
    qel::testing::ForEachInstructionSet([] {
        for (std::size_t n = 0; n < 70; ++n) {
            const std::vector<float> values = Values(n);
            for (const float level : {-2.0f, -0.0f, 0.25f, 0.3f, kInfinity, -kInfinity, kNaN}) {
                LevelCounts counts{5, 7};
                AddLevelCounts(values.data(), n, level, counts);
                const auto isAbove = [level](float x) { return x > level; };
                const auto isNotAbove = [level](float x) { return x <= level; };
                EXPECT_EQ(std::count_if(values.begin(), values.end(), isNotAbove) + 5,
                          static_cast<std::ptrdiff_t>(counts.notAbove))
                    << n << " values, level " << level;
                EXPECT_EQ(std::count_if(values.begin(), values.end(), isAbove) + 7,
                          static_cast<std::ptrdiff_t>(counts.above))
                    << n << " values, level " << level;
            }
        }
    });
}

} // namespace
} // namespace qel::core
