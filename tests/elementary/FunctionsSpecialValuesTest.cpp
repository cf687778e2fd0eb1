// Exact results, and those at the ends of the range: as the C standard (Annex F) has them.

#include "elementary/Functions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qel::elementary {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLargest = std::numeric_limits<double>::max();
constexpr double kSmallest = std::numeric_limits<double>::denorm_min();

TEST(FunctionsSpecialValuesTest, AnglesOfNoTurn) {
    EXPECT_EQ(0.0, Sin(0.0));
    EXPECT_TRUE(std::signbit(Sin(-0.0)));
    EXPECT_EQ(1.0, Cos(0.0));
    EXPECT_EQ(1.0f, Cos(0.0f));
    EXPECT_EQ(kSmallest, Sin(kSmallest));
}

TEST(FunctionsSpecialValuesTest, AnglesThatAreTooLargeOrNoNumberHaveNoSine) {
    for (const double angle : {kInfinity, -kInfinity, kNaN, kLargest, 0x1p51, -0x1p51}) {
        EXPECT_TRUE(std::isnan(Sin(angle))) << angle;
        EXPECT_TRUE(std::isnan(Cos(angle))) << angle;
    }
}

TEST(FunctionsSpecialValuesTest, EndsOfTheExponential) {
    EXPECT_EQ(1.0, Exp(0.0));
    EXPECT_EQ(0.0, Exp(-kInfinity));
    EXPECT_EQ(0.0, Exp(-746.0));
    EXPECT_EQ(kInfinity, Exp(kInfinity));
    EXPECT_EQ(kInfinity, Exp(709.79)); // ln of the largest number is 709.783
    EXPECT_EQ(kSmallest, Exp(-744.5)); // between ln of it and of one and a half of it
    EXPECT_TRUE(std::isnan(Exp(kNaN)));
    EXPECT_EQ(std::numeric_limits<float>::infinity(), Exp(89.0f));
}

TEST(FunctionsSpecialValuesTest, EndsOfTheLogarithm) {
    EXPECT_EQ(0.0, Log(1.0));
    EXPECT_EQ(-kInfinity, Log(0.0));
    EXPECT_EQ(-kInfinity, Log(-0.0));
    EXPECT_EQ(kInfinity, Log(kInfinity));
    EXPECT_TRUE(std::isnan(Log(-1.0)));
    EXPECT_TRUE(std::isnan(Log(kNaN)));
}

TEST(FunctionsSpecialValuesTest, LogarithmsOfPowersAreWhole) {
    float power = 1.0f;
    for (int exponent = 0; exponent <= 10; ++exponent, power *= 10.0f) {
        EXPECT_EQ(static_cast<float>(exponent), Log10(power));
    }
    for (int exponent = -126; exponent <= 127; ++exponent) {
        EXPECT_EQ(static_cast<float>(exponent), Log2(std::ldexp(1.0f, exponent)));
    }
}

TEST(FunctionsSpecialValuesTest, PowersThatAreNumbersAreExact) {
    for (int exponent = -1022; exponent <= 1023; ++exponent) {
        EXPECT_EQ(std::ldexp(1.0, exponent), Pow(2.0, exponent));
    }
    for (double base = 1.0; base <= 4096.0; ++base) {
        EXPECT_EQ(base * base, Pow(base, 2.0));
        EXPECT_EQ(base, Pow(base * base, 0.5));
    }
    EXPECT_EQ(1.0 / 1024, Pow(2.0, -10.0));
}

TEST(FunctionsSpecialValuesTest, PowersOfNumbersBelowZero) {
    EXPECT_EQ(-8.0, Pow(-2.0, 3.0));
    EXPECT_EQ(16.0, Pow(-2.0, 4.0));
    EXPECT_EQ(-0.5, Pow(-2.0, -1.0));
    EXPECT_TRUE(std::isnan(Pow(-2.0, 0.5)));
    EXPECT_TRUE(std::isnan(Pow(-1e-9f, 1.5f)));
}

TEST(FunctionsSpecialValuesTest, PowersOfZeroOneAndInfinity) {
    EXPECT_EQ(1.0, Pow(kNaN, 0.0));
    EXPECT_EQ(1.0, Pow(1.0, kNaN));
    EXPECT_EQ(0.0, Pow(0.0, 0.4));
    EXPECT_EQ(kInfinity, Pow(0.0, -0.8));
    EXPECT_TRUE(std::signbit(Pow(-0.0, 3.0)));
    EXPECT_FALSE(std::signbit(Pow(-0.0, 2.0)));
    EXPECT_EQ(kInfinity, Pow(kInfinity, 0.1));
    EXPECT_EQ(0.0, Pow(kInfinity, -0.1));
    EXPECT_EQ(-kInfinity, Pow(-kInfinity, 3.0));
    EXPECT_EQ(0.0, Pow(0.5, kInfinity));
    EXPECT_EQ(kInfinity, Pow(0.5, -kInfinity));
    EXPECT_EQ(0.0, Pow(0.5, kLargest));
    EXPECT_EQ(kInfinity, Pow(2.0, kLargest));
    EXPECT_EQ(kInfinity, Pow(10.0, 309.0));
    EXPECT_EQ(0.0, Pow(10.0, -400.0));
    EXPECT_TRUE(std::isnan(Pow(kNaN, 2.0)));
    EXPECT_TRUE(std::isnan(Pow(2.0, kNaN)));
}

} // namespace
} // namespace qel::elementary
