#include "readings/rhythm/OnsetPlace.h"

#include <gtest/gtest.h>

#include <vector>

namespace qel::readings {
namespace {

constexpr double kFramesPerSecond = 100;

TEST(OnsetPlaceTest, TheStrengthIsThePeakOverThatOfAStrokeOutOfSilence) {
    EXPECT_FLOAT_EQ(onsetAtPeak({0, 0.25f, 0}, 1, kFramesPerSecond).strength, 0.5f);
    EXPECT_FLOAT_EQ(onsetAtPeak({0, 0.5f, 0}, 1, kFramesPerSecond).strength, 1);
    EXPECT_FLOAT_EQ(onsetAtPeak({0, 7, 0}, 1, kFramesPerSecond).strength, 1);
    EXPECT_FLOAT_EQ(onsetAtPeak({0, 0, 0}, 1, kFramesPerSecond).strength, 0);
}

TEST(OnsetPlaceTest, MoreAfterThePeakIsLaterAndMoreBeforeIsEarlier) {
    const double even = onsetAtPeak({0, 0.3f, 0}, 1, kFramesPerSecond).seconds;
    EXPECT_GT(onsetAtPeak({0, 0.3f, 0.2f}, 1, kFramesPerSecond).seconds, even);
    EXPECT_LT(onsetAtPeak({0.2f, 0.3f, 0}, 1, kFramesPerSecond).seconds, even);
}

TEST(OnsetPlaceTest, PlacesMoveWithThePeak) {
    std::vector<float> curve(50);
    curve[10] = curve[30] = 0.4f;
    curve[11] = curve[31] = 0.1f;
    const double first = onsetAtPeak(curve, 10, kFramesPerSecond).seconds;
    const double second = onsetAtPeak(curve, 30, kFramesPerSecond).seconds;
    EXPECT_NEAR(second - first, 0.2, 1e-6);
    EXPECT_NEAR(onsetAtPeak(curve, 10, 2 * kFramesPerSecond).seconds, first / 2, 1e-6);
}

// A frame of two hops sees an attack from its end to its start.
TEST(OnsetPlaceTest, AnAttackLiesWithinTheFrameOfItsPeak) {
    for (const float peak : {0.01f, 0.1f, 0.3f, 0.5f, 2.0f}) {
        for (const float before : {0.0f, 0.5f, 1.0f}) {
            for (const float after : {0.0f, 0.5f, 1.0f}) {
                const std::vector<float> curve{0, 0, before * peak, peak, after * peak};
                const double hops =
                    onsetAtPeak(curve, 3, kFramesPerSecond).seconds * kFramesPerSecond - 3;
                EXPECT_GE(hops, -1) << peak << ' ' << before << ' ' << after;
                EXPECT_LE(hops, 2) << peak << ' ' << before << ' ' << after;
            }
        }
    }
}

TEST(OnsetPlaceTest, NoOnsetLiesBeforeTheStream) {
    EXPECT_EQ(onsetAtPeak({0.01f}, 0, kFramesPerSecond).seconds, 0);
}

} // namespace
} // namespace qel::readings
