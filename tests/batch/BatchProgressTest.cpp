#include "batch/workers/BatchProgress.h"

#include <gtest/gtest.h>

namespace qel::batch {
namespace {

TEST(BatchProgressTest, TheLineHasCountsRatesAndWhatIsLeft) {
    const BatchState state{
        .files = 200, .known = 20, .done = 100, .errors = 3, .audioSeconds = 2000, .seconds = 10};
    // 80 files are left, 10 a second.
    EXPECT_EQ(ProgressText(state),
              "120 of 200 files, 10.0 files/s, 200 times real time, 0:08 left, 3 errors");
}

TEST(BatchProgressTest, BeforeTheFirstFileThereAreNoRates) {
    EXPECT_EQ(ProgressText({.files = 7}), "0 of 7 files, 0 errors");
}

TEST(BatchProgressTest, OneFileIsNotSeveral) {
    EXPECT_EQ(ProgressText({.files = 1}), "0 of 1 file, 0 errors");
}

TEST(BatchProgressTest, LongTimesHaveHours) {
    const BatchState state{.files = 8001, .done = 1, .errors = 1, .audioSeconds = 1, .seconds = 1};
    EXPECT_EQ(ProgressText(state),
              "1 of 8001 files, 1.0 files/s, 1 times real time, 2:13:20 left, 1 error");
}

} // namespace
} // namespace qel::batch
