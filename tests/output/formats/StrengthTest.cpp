#include "output/formats/Strength.h"

#include "tools/qel/Options.h"

#include <gtest/gtest.h>

#include <limits>

namespace qel::tool {
namespace {

TEST(StrengthTest, AnEventOfJustTheLeastStrengthStays) {
    EXPECT_TRUE(IsStrong({0, 0.5f}, 0.5f));
    EXPECT_FALSE(IsStrong({0, 0.49999997f}, 0.5f));
    // 0.7 as a float lies below 0.7 as a double: what reads 0.7 is not weaker than 0.7.
    EXPECT_TRUE(IsStrong({0, 0.7f}, ParseStrength("0.7")));
}

TEST(StrengthTest, WhatIsNoNumberIsNotWeaker) {
    EXPECT_TRUE(IsStrong({0, std::numeric_limits<float>::quiet_NaN()}, 0.5f));
}

TEST(StrengthTest, NothingIsWeakerThanTheDefault) {
    const float least = ParseStrength(AnalyzeOptions().minStrength);
    EXPECT_TRUE(IsStrong({0, 0.0f}, least));
    EXPECT_TRUE(IsStrong({0, -0.0f}, least));
}

} // namespace
} // namespace qel::tool
