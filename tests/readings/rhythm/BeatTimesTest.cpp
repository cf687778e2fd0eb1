#include "readings/rhythm/BeatTimes.h"

#include <gtest/gtest.h>

#include <vector>

namespace qel::readings {
namespace {

TEST(BeatTimesTest, IntervalsAreTheDistances) {
    EXPECT_EQ(intervalsOf({1, 1.5, 3}), (std::vector<double>{0.5, 1.5}));
    EXPECT_TRUE(intervalsOf({1}).empty());
    EXPECT_TRUE(intervalsOf({}).empty());
}

TEST(BeatTimesTest, TheMedianIsTheMiddleValueAndTheUpperOneOfTwo) {
    EXPECT_EQ(medianOf({3, 1, 2}), 2);
    EXPECT_EQ(medianOf({4, 1, 3, 2}), 3);
    EXPECT_EQ(medianOf({7}), 7);
}

TEST(BeatTimesTest, TheTempoIgnoresAFewOddIntervals) {
    EXPECT_DOUBLE_EQ(bpmOf({0, 0.5, 1, 1.5, 2}), 120);
    EXPECT_DOUBLE_EQ(bpmOf({0, 0.5, 1, 1.25, 1.75, 2.25, 4.25}), 120);
}

// Of 0.4 and 0.6: mean 0.5, standard deviation 0.1.
TEST(BeatTimesTest, TheSpreadIsRelativeToTheMean) {
    EXPECT_NEAR(spreadOf({0, 0.5, 1, 1.5}), 0, 1e-7);
    EXPECT_NEAR(spreadOf({0, 0.4, 1, 1.4, 2}), 0.2, 1e-7);
}

TEST(BeatTimesTest, DividingKeepsTheBeatsAndTheEnds) {
    EXPECT_EQ(divided({0, 1, 3}, 1), (BeatTimes{0, 1, 3}));
    EXPECT_EQ(divided({0, 1, 3}, 2), (BeatTimes{0, 0.5, 1, 2, 3}));
    EXPECT_EQ(divided({0, 4}, 4), (BeatTimes{0, 1, 2, 3, 4}));
}

TEST(BeatTimesTest, ThinningTakesEveryFewFromOneOn) {
    EXPECT_EQ(thinned({0, 1, 2, 3, 4}, 0, 2), (BeatTimes{0, 2, 4}));
    EXPECT_EQ(thinned({0, 1, 2, 3, 4}, 1, 3), (BeatTimes{1, 4}));
    EXPECT_TRUE(thinned({0, 1}, 2, 2).empty());
}

TEST(BeatTimesTest, ThinningUndoesDividing) {
    const BeatTimes beats{0.25, 0.75, 1.5, 2.75};
    EXPECT_EQ(thinned(divided(beats, 3), 0, 3), beats);
}

TEST(BeatTimesTest, TimesBetweenAreOneFewer) {
    EXPECT_EQ(between({0, 1, 3}, 0.5), (BeatTimes{0.5, 2}));
    EXPECT_EQ(between({0, 1, 3}, 0.25), (BeatTimes{0.25, 1.5}));
    EXPECT_TRUE(between({1}, 0.5).empty());
}

} // namespace
} // namespace qel::readings
