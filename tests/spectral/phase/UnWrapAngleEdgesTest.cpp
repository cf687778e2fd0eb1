// Wrapping and unwrapping of angles, whose steps in single and double precision are all given,
// against the same steps written out: every bit counts, above all around pi.

#include "spectral/phase/UnWrap.h"
#include "timbre/PrincArg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr float kPiFloat = 3.14159274f;
constexpr float kTwoPiFloat = 6.2831855f;

float WrapStepByStep(float angle) {
    const auto shifted = static_cast<float>(static_cast<double>(angle) + kPi);
    const float turns = std::floor(shifted / kTwoPiFloat);
    const float taken = turns * kTwoPiFloat;
    const float rest = shifted - taken;
    return static_cast<float>(static_cast<double>(rest) - kPi);
}

std::vector<float> UnWrapStepByStep(const std::vector<float>& in) {
    std::vector<float> out = in;
    float correction = 0.0f;
    for (std::size_t i = 1; i < in.size(); ++i) {
        const float difference = in[i] - in[i - 1];
        float step = WrapStepByStep(difference) - difference;
        if (std::fabs(difference) < kPiFloat) {
            step = 0.0f;
        }
        correction += step;
        out[i] = in[i] + correction;
    }
    return out;
}

std::vector<float> UnWrapped(const std::vector<float>& in) {
    std::vector<float> out(in.size(), 99.0f);
    UnWrap(in.data(), out.data(), static_cast<unsigned>(in.size()));
    return out;
}

// So many neighbours of an angle on either side of it, and the angle.
std::vector<float> Neighbourhood(float angle, int neighbours) {
    std::vector<float> angles = {angle};
    float above = angle;
    float below = angle;
    for (int i = 0; i < neighbours; ++i) {
        above = std::nextafter(above, 1e9f);
        below = std::nextafter(below, -1e9f);
        angles.push_back(above);
        angles.push_back(below);
    }
    return angles;
}

float Uniform(std::mt19937& generator, float greatest) {
    return greatest * (static_cast<float>(generator() >> 8) / 8388608.0f - 1.0f);
}

TEST(UnWrapAngleEdgesTest, WrappingAroundMultiplesOfPiIsExactToTheBit) {
    for (int halfTurns = -40; halfTurns <= 40; ++halfTurns) {
        for (float angle : Neighbourhood(static_cast<float>(halfTurns * kPi), 50)) {
            const float expected = WrapStepByStep(angle);
            PrincArg(&angle, 1);
            ASSERT_EQ(expected, angle) << halfTurns;
        }
    }
}

TEST(UnWrapAngleEdgesTest, WrappingIsExactToTheBit) {
    std::mt19937 generator(24);
    for (const float greatest : {0.001f, 3.2f, 10.0f, 2000.0f, 1e6f}) {
        std::vector<float> angles(1001);
        for (float& angle : angles) {
            angle = Uniform(generator, greatest);
        }
        std::vector<float> expected = angles;
        for (float& angle : expected) {
            angle = WrapStepByStep(angle);
        }
        PrincArg(angles.data(), 1001);
        EXPECT_EQ(expected, angles) << greatest;
    }
}

// Required by the contract: pi and -pi change places.
TEST(UnWrapAngleEdgesTest, PiWrapsToMinusPi) {
    std::vector<float> angles = {kPiFloat};
    PrincArg(angles.data(), 1);
    EXPECT_EQ(-kPiFloat, angles[0]);
    EXPECT_EQ(-kPiFloat, WrapStepByStep(kPiFloat));
}

TEST(UnWrapAngleEdgesTest, UnwrappingIsExactToTheBit) {
    std::mt19937 generator(25);
    // Angles of a spectrum; angles whose steps are large; and angles of two values, pi apart.
    for (const float greatest : {kPiFloat, 50.0f}) {
        std::vector<float> angles(513);
        for (float& angle : angles) {
            angle = Uniform(generator, greatest);
        }
        EXPECT_EQ(UnWrapStepByStep(angles), UnWrapped(angles)) << greatest;
    }
    std::vector<float> flips(513);
    for (float& angle : flips) {
        angle = generator() % 2 == 0 ? 0.0f : kPiFloat;
    }
    EXPECT_EQ(UnWrapStepByStep(flips), UnWrapped(flips));
}

TEST(UnWrapAngleEdgesTest, UnwrappingStepsAroundPiIsExactToTheBit) {
    for (const float pi : {kPiFloat, -kPiFloat}) {
        for (const float step : Neighbourhood(pi, 50)) {
            const std::vector<float> angles = {0.0f, step, 0.0f, -step, step, 2.0f * step};
            ASSERT_EQ(UnWrapStepByStep(angles), UnWrapped(angles)) << step;
        }
    }
}

// From pi on a step is taken for one the other way, one unit below it is not.
TEST(UnWrapAngleEdgesTest, AStepOfPiLosesATurnAndOneBelowItDoesNot) {
    EXPECT_EQ(kPiFloat - kTwoPiFloat, UnWrapped({0.0f, kPiFloat})[1]);
    const float below = std::nextafter(kPiFloat, 0.0f);
    EXPECT_EQ(below, UnWrapped({0.0f, below})[1]);
}

TEST(UnWrapAngleEdgesTest, ARampOfThreeStaysAndOneOfFourLosesATurnAStep) {
    std::vector<float> three;
    std::vector<float> four;
    for (int i = 0; i < 64; ++i) {
        three.push_back(3.0f * static_cast<float>(i));
        four.push_back(4.0f * static_cast<float>(i));
    }
    EXPECT_EQ(three, UnWrapped(three));
    const std::vector<float> out = UnWrapped(four);
    for (int i = 0; i < 64; ++i) {
        // 63 corrections of up to 400, each rounded to half of 3e-5.
        EXPECT_NEAR(i * (4.0 - 2.0 * kPi), out[static_cast<std::size_t>(i)], 1e-3);
    }
}

TEST(UnWrapAngleEdgesTest, OfOneAngleOnlyTheFirstIsWritten) {
    const std::vector<float> in = {1.5f, 2.5f};
    std::vector<float> out = {7.0f, 8.0f};
    UnWrap(in.data(), out.data(), 1);
    EXPECT_EQ((std::vector<float>{1.5f, 8.0f}), out);
}

} // namespace
} // namespace qel::core
