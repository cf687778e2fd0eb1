#include "readings/stream/Curve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace qel::readings {
namespace {

TEST(CurveTest, EmptyCurvesMeasureZero) {
    EXPECT_EQ(quantile({}, 0.5), 0);
    EXPECT_EQ(meanOfGreatest({}, 0.5), 0);
    EXPECT_EQ(greatestAround({}, 0), 0);
    EXPECT_EQ(sumAround({}, 0), 0);
    EXPECT_EQ(autocorrelation({}, 4), 0);
}

TEST(CurveTest, MeasuresAroundAFrameReachTwoBackAndThreeOn) {
    std::vector<float> curve(20);
    curve[10] = 2;
    for (std::size_t frame = 0; frame < curve.size(); ++frame) {
        const bool reaches = frame >= 7 && frame <= 12;
        EXPECT_EQ(greatestAround(curve, static_cast<double>(frame)), reaches ? 2 : 0) << frame;
        EXPECT_EQ(sumAround(curve, static_cast<double>(frame)), reaches ? 2 : 0) << frame;
    }
    EXPECT_EQ(greatestAround(curve, 20), 0);
    EXPECT_EQ(greatestAround(curve, -5), 0);
}

TEST(CurveTest, TheMeanOfTheGreatestCountsOneValueAtLeast) {
    const std::vector<float> curve{1, 4, 2, 3};
    EXPECT_EQ(meanOfGreatest(curve, 0.01), 4);
    EXPECT_EQ(meanOfGreatest(curve, 0.5), 3.5);
    EXPECT_EQ(meanOfGreatest(curve, 1), 2.5);
}

TEST(CurveTest, ASineCorrelatesWithItselfByTheCosineOfTheLag) {
    std::vector<float> curve(40000);
    for (std::size_t t = 0; t < curve.size(); ++t) {
        curve[t] = static_cast<float>(std::sin(2 * std::numbers::pi * static_cast<double>(t) / 80));
    }
    EXPECT_NEAR(autocorrelation(curve, 80), 1, 0.005);
    EXPECT_NEAR(autocorrelation(curve, 41), -std::cos(std::numbers::pi / 20), 0.005); // at 42
    EXPECT_NEAR(autocorrelation(curve, 20), std::sin(std::numbers::pi / 40), 0.005);  // at 19
}

TEST(CurveTest, ConstantCurvesAndLagsOutsideCorrelateWithNothing) {
    EXPECT_EQ(autocorrelation(std::vector<float>(100, 3.0f), 10), 0);
    const std::vector<float> curve{1, 0, 1, 0, 1, 0, 1, 0};
    EXPECT_EQ(autocorrelation(curve, 1), 0);
    EXPECT_EQ(autocorrelation(curve, 7), 0);
}

} // namespace
} // namespace qel::readings
