#include "spectral/mel/MelScale.h"

#include "tests/spectral/mel/PublishedMelScale.h"

#include <gtest/gtest.h>

namespace qel::core {
namespace {

using test::HzOf;
using test::MelOf;

TEST(MelScaleTest, FollowsItsFormula) {
    for (const float hz : {0.0f, 1.0f, 66.6667f, 500.0f, 999.0f, 1001.0f, 6400.0f, 22050.0f}) {
        // Some five roundings; the spacing as a float is within 2^-24 of 6.4^(1/27), which the
        // logarithm of it, 0.069, makes 1e-6 of the steps above 1000 Hz, up to 45.
        EXPECT_NEAR(double{Hz2Mel2(hz)}, MelOf(double{hz}), 5e-5) << hz;
    }
    for (const float mel : {0.0f, 1.0f, 14.0f, 16.0f, 42.0f, 60.0f}) {
        const double expected = HzOf(double{mel});
        EXPECT_NEAR(double{Mel2Hz2(mel)}, expected, 1e-5 * expected) << mel;
    }
}

TEST(MelScaleTest, TurnsAtAThousandHertz) {
    EXPECT_EQ(Hz2Mel2(1000.0f), 15.000000953674316f);
    EXPECT_EQ(Mel2Hz2(15.000000953674316f), 1000.0f);
    EXPECT_EQ(Hz2Mel2(66.66666412353516f), 1.0f);
    EXPECT_EQ(Mel2Hz2(2.0f), 2 * 66.66666412353516f);
}

TEST(MelScaleTest, ThereAndBackIsTheSameFrequency) {
    for (float hz = 10; hz < 24000; hz *= 1.3f) {
        EXPECT_NEAR(double{Mel2Hz2(Hz2Mel2(hz))}, double{hz}, 1e-5 * double{hz}) << hz;
    }
}

} // namespace
} // namespace qel::core
