#include "readings/stream/RunningMedian.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
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

TEST(RunningMedianTest, LeavesOutWhatIsNotANumber) {
    const float none = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> values{none, none, 4, none, 8, 6, none, none, none, none, 3};
    const std::vector<float> medians = runningMedian(values, 4);
    const std::vector<float> expected{none, none, 4, 4, 4, 6, 6, 6, 6, none, 3};
    ASSERT_EQ(medians.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_TRUE(std::isnan(expected[i]) ? std::isnan(medians[i]) : medians[i] == expected[i])
            << i << ": " << medians[i];
    }
}

} // namespace
} // namespace qel::readings
