#include "timbre/PrincArg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace qel::core {
namespace {

constexpr float kPi = std::numbers::pi_v<float>;

float Wrapped(float angle) {
    PrincArg(&angle, 1);
    return angle;
}

TEST(PrincArgTest, MapsPiToMinusPi) {
    EXPECT_EQ(Wrapped(kPi), -kPi);
}

// Just above the single-precision pi lies the first angle that is more than half a turn.
TEST(PrincArgTest, AnglesBeyondPiComeInFromTheOtherSide) {
    for (const float excess : {0.001f, 0.5f, 3.0f}) {
        // Two roundings of numbers below 2 pi + 3.
        EXPECT_NEAR(Wrapped(kPi + excess), -std::numbers::pi + excess, 1e-6);
        EXPECT_NEAR(Wrapped(-kPi - excess), std::numbers::pi - excess, 1e-6);
    }
}

TEST(PrincArgTest, WorksInPlaceOnEveryCount) {
    for (const unsigned count : {0u, 1u, 3u, 4u, 7u, 16u, 33u}) {
        std::vector<float> angles(count + 1);
        for (unsigned i = 0; i < count; ++i) {
            angles[i] = 1.25f * static_cast<float>(i) - 9.0f;
        }
        angles[count] = 99.0f;
        const std::vector<float> before = angles;
        PrincArg(angles.data(), count);
        for (unsigned i = 0; i < count; ++i) {
            const double expected = std::remainder(before[i], 2.0 * std::numbers::pi);
            // Of up to 5 turns, each 1.7e-7 off in single precision, and the angle's last place.
            EXPECT_NEAR(angles[i], expected, 5e-6) << before[i];
        }
        EXPECT_EQ(angles[count], 99.0f) << "beyond the end";
    }
}

TEST(PrincArgTest, WhatHasNoAngleBecomesNoNumber) {
    EXPECT_TRUE(std::isnan(Wrapped(std::nanf(""))));
    EXPECT_TRUE(std::isnan(Wrapped(INFINITY)));
    EXPECT_TRUE(std::isnan(Wrapped(-INFINITY)));
}

} // namespace
} // namespace qel::core
