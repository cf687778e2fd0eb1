#include "output/formats/Strength.h"

#include <gtest/gtest.h>

#include <limits>

namespace qel::output {
namespace {

TEST(StrengthTest, AnEventOfJustTheLeastStrengthStays) {
    EXPECT_TRUE(IsStrong({0, 0.5f}, 0.5f));
    EXPECT_FALSE(IsStrong({0, 0.49999997f}, 0.5f));
}

TEST(StrengthTest, WhatIsNoNumberIsNotWeaker) {
    EXPECT_TRUE(IsStrong({0, std::numeric_limits<float>::quiet_NaN()}, 0.5f));
}

} // namespace
} // namespace qel::output
