#include "spectral/phase/UnWrap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr float kPi = std::numbers::pi_v<float>;
constexpr double kTurn = 2.0 * std::numbers::pi;

// The plain form: sums with pi in double precision, the rest in single precision.
float PlainlyWrapped(float radians) {
    constexpr float kFloatTurn = 2.0f * kPi;
    const auto shifted = static_cast<float>(static_cast<double>(radians) + std::numbers::pi);
    const float wrapped = shifted - std::floor(shifted / kFloatTurn) * kFloatTurn;
    return static_cast<float>(static_cast<double>(wrapped) - std::numbers::pi);
}

float WrapAngle(float radians) {
    WrapAngles(&radians, 1);
    return radians;
}

std::vector<float> UnWrapped(const std::vector<float>& in) {
    std::vector<float> out(in.size());
    UnWrap(in.data(), out.data(), static_cast<unsigned>(in.size()));
    return out;
}

std::vector<float> Ramp(std::size_t count, float step) {
    std::vector<float> ramp(count);
    for (std::size_t i = 0; i < count; ++i) {
        ramp[i] = static_cast<float>(i) * step;
    }
    return ramp;
}

TEST(UnWrapTest, StepsBelowPiStayAsTheyAre) {
    for (const float step : {3.0f, -3.0f, 0.0f}) {
        const std::vector<float> ramp = Ramp(100, step);
        EXPECT_EQ(UnWrapped(ramp), ramp);
    }
}

TEST(UnWrapTest, StepsOfFourRadiansLoseATurnEach) {
    constexpr std::size_t kCount = 100;
    const std::vector<float> out = UnWrapped(Ramp(kCount, 4.0f));
    for (std::size_t i = 0; i < kCount; ++i) {
        // Angles reach 400 radians and corrections 628, whose last places are 3e-5 and 6e-5; the
        // corrections' roundings add up over 100 steps.
        EXPECT_NEAR(out[i], static_cast<double>(i) * (4.0 - kTurn), 1e-3) << i;
    }
}

TEST(UnWrapTest, StepsOfSeveralTurnsLoseThemAll) {
    const std::vector<float> out = UnWrapped({0.0f, 20.0f, -20.0f});
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_NEAR(out[1], 20.0 - 3.0 * kTurn, 1e-5);
    // 40 radians down are 6 turns down and 2.3 up.
    EXPECT_NEAR(out[2], out[1] - 40.0 + 6.0 * kTurn, 1e-5);
}

TEST(UnWrapTest, ADifferenceOfPiInSinglePrecisionLosesATurn) {
    const std::vector<float> out = UnWrapped({0.0f, kPi, kPi});
    EXPECT_EQ(out[1], kPi + (-kPi - kPi));
    EXPECT_EQ(out[2], out[1]) << "the correction stays";
}

TEST(UnWrapTest, ADifferenceJustBelowPiStays) {
    const float below = std::nextafter(kPi, 0.0f);
    EXPECT_EQ(UnWrapped({0.0f, below, 0.0f}), (std::vector<float>{0.0f, below, 0.0f}));
}

TEST(UnWrapTest, ADifferenceOfMinusPiGainsATurn) {
    EXPECT_EQ(UnWrapped({0.0f, -kPi}), (std::vector<float>{0.0f, kPi}));
}

TEST(UnWrapTest, OneAngleIsCopiedAndNoneWritesNothing) {
    const float in[] = {1.5f, 5.0f};
    float out[] = {7.0f, 7.0f};
    UnWrap(in, out, 0);
    EXPECT_EQ(out[0], 7.0f);
    UnWrap(in, out, 1);
    EXPECT_EQ(out[0], 1.5f);
    EXPECT_EQ(out[1], 7.0f);
}

TEST(UnWrapTest, FromAnAngleThatIsNoNumberOnThereAreNone) {
    const std::vector<float> out = UnWrapped({0.5f, 0.6f, std::nanf(""), 0.5f, 0.4f});
    EXPECT_EQ(out[0], 0.5f);
    EXPECT_EQ(out[1], 0.6f);
    for (std::size_t i = 2; i < out.size(); ++i) {
        EXPECT_TRUE(std::isnan(out[i])) << i;
    }
}

TEST(UnWrapTest, WrappedWalksComeBack) {
    std::mt19937 random(5);
    // Within pi by a margin that roundings of angles near 100 radians do not reach.
    std::uniform_real_distribution<float> steps(-3.1f, 3.1f);
    std::vector<float> wrapped{0.0f};
    std::vector<double> walk{0.0};
    for (int i = 0; i < 500; ++i) {
        walk.push_back(walk.back() + static_cast<double>(steps(random)));
        wrapped.push_back(static_cast<float>(std::remainder(walk.back(), kTurn)));
    }
    const std::vector<float> out = UnWrapped(wrapped);
    for (std::size_t i = 0; i < out.size(); ++i) {
        EXPECT_NEAR(out[i], walk[i], 2e-3) << i; // 500 roundings of at most 4e-6 each
    }
}

// The single-precision pi is 8.7e-8 above pi. The sum with pi is the single-precision 2 pi, and so
// exactly one turn.
TEST(WrapAngleTest, PiComesToMinusPi) {
    EXPECT_EQ(WrapAngle(kPi), -kPi);
}

// The sum with pi is -8.7e-8: a turn more is the single-precision 2 pi, after rounding.
TEST(WrapAngleTest, MinusPiComesToPi) {
    EXPECT_EQ(WrapAngle(-kPi), kPi);
    const float above = std::nextafter(-kPi, 0.0f);
    EXPECT_EQ(WrapAngle(above), above);
}

TEST(WrapAngleTest, ZeroComesToTheErrorOfPi) {
    EXPECT_EQ(WrapAngle(0.0f), static_cast<float>(static_cast<double>(kPi) - std::numbers::pi));
    EXPECT_EQ(WrapAngle(-0.0f), WrapAngle(0.0f));
}

TEST(WrapAngleTest, LargeAnglesAreWrappedToSinglePrecision) {
    for (float angle = -300.0f; angle < 300.0f; angle += 0.37f) {
        const double expected = std::remainder(static_cast<double>(angle), kTurn);
        const double distance = std::remainder(WrapAngle(angle) - expected, kTurn);
        // 2 pi in single precision is 1.7e-7 off, for up to 48 turns; and the angle has 1.5e-5.
        EXPECT_NEAR(distance, 0.0, 3e-5) << angle;
        EXPECT_GE(WrapAngle(angle), -kPi);
        EXPECT_LE(WrapAngle(angle), kPi);
    }
}

TEST(WrapAngleTest, VectorsAndSingleAnglesAreThePlainForm) {
    std::mt19937 random(6);
    for (const float width : {3.2f, 12.0f, 1000.0f, 1e9f}) {
        std::uniform_real_distribution<float> angles(-width, width);
        std::vector<float> many(100003); // a whole number of vectors, and some more
        for (float& angle : many) {
            angle = angles(random);
        }
        std::vector<float> wrapped = many;
        WrapAngles(wrapped.data(), static_cast<unsigned>(wrapped.size()));
        for (std::size_t i = 0; i < many.size(); ++i) {
            ASSERT_EQ(wrapped[i], PlainlyWrapped(many[i])) << many[i];
        }
    }
}

// All angles of single precision around the ends, where the last place decides the side.
TEST(WrapAngleTest, AroundTheEndsEveryAngleIsThePlainForm) {
    for (const float end : {-3.0f * kPi, -kPi, 0.0f, kPi, 3.0f * kPi}) {
        float angle = end - 1e-4f;
        while (angle < end + 1e-4f) {
            ASSERT_EQ(WrapAngle(angle), PlainlyWrapped(angle)) << angle;
            const float next = std::nextafter(angle, 100.0f);
            angle = std::max(next, angle + 1e-9f); // around 0 not every one
        }
    }
}

TEST(WrapAngleTest, WhatHasNoAngleBecomesNoNumber) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const float angle : {kInfinity, -kInfinity, std::nanf("")}) {
        EXPECT_TRUE(std::isnan(WrapAngle(angle)));
    }
}

} // namespace
} // namespace qel::core
