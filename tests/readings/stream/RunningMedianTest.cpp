#include "readings/stream/RunningMedian.h"

#include <gtest/gtest.h>

#include <vector>

namespace qel::readings {
namespace {

TEST(RunningMedianTest, TakesTheLastValues) {
    const std::vector<float> values{5, 1, 4, 9, 2, 2, 7};
    EXPECT_EQ(runningMedian(values, 3), (std::vector<float>{5, 1, 4, 4, 4, 2, 2}));
}

TEST(RunningMedianTest, OfOneValueIsItself) {
    const std::vector<float> values{3, 1, 2};
    EXPECT_EQ(runningMedian(values, 1), values);
    EXPECT_EQ(runningMedian(values, 0), values);
    EXPECT_TRUE(runningMedian({}, 5).empty());
}

} // namespace
} // namespace qel::readings
