// The functions keep their bounds. Exact values are those of the C library in extended precision,
// 11 bits longer, so the tests of bounds are for processors that have it.

#include "elementary/Functions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace qel::elementary {
namespace {

constexpr bool kHasExtended = std::numeric_limits<long double>::digits >= 64;
constexpr int kSamples = 200000;

using Function = double (*)(double);
using Exact = long double (*)(long double);

// Units in the last place of `exact` as a double.
double UlpDistance(double actual, long double exact) {
    int exponent = 0;
    std::frexp(static_cast<double>(exact), &exponent);
    const long double unit = std::ldexp(1.0L, exponent - std::numeric_limits<double>::digits);
    return static_cast<double>(std::abs(actual - exact) / unit);
}

double WorstUlp(Function function, Exact exact, double least, double greatest) {
    std::mt19937_64 generator(7);
    std::uniform_real_distribution<double> arguments(least, greatest);
    double worst = 0.0;
    for (int i = 0; i < kSamples; ++i) {
        const double x = arguments(generator);
        worst = std::max(worst, UlpDistance(function(x), exact(x)));
    }
    return worst;
}

class FunctionsTest : public testing::Test {
protected:
    void SetUp() override {
        if (!kHasExtended) {
            GTEST_SKIP()
                << "the exact values are of long double, which is no longer than double here";
        }
    }
};

TEST_F(FunctionsTest, SineAndCosineKeepTheirBound) {
    const Exact sine = [](long double x) { return std::sin(x); };
    const Exact cosine = [](long double x) { return std::cos(x); };
    for (const double range : {0.01, 0.8, 7.0, 1000.0, kMaxAngle}) {
        EXPECT_LE(WorstUlp(Sin, sine, -range, range), kMaxUlp) << range;
        EXPECT_LE(WorstUlp(Cos, cosine, -range, range), kMaxUlp) << range;
    }
}

TEST_F(FunctionsTest, SineAndCosineKeepTheirBoundBesideTheirZeros) {
    for (int quarter = 1; quarter < 20000; quarter += 7) {
        const double place = quarter * 1.5707963267948966;
        const double sine = Sin(place);
        const double cosine = Cos(place);
        ASSERT_LE(UlpDistance(sine, std::sin(static_cast<long double>(place))), kMaxUlp) << quarter;
        ASSERT_LE(UlpDistance(cosine, std::cos(static_cast<long double>(place))), kMaxUlp)
            << quarter;
    }
}

TEST_F(FunctionsTest, BothOfOneAngleAreTheSameAsEach) {
    for (double angle = -20.0; angle < 20.0; angle += 0.0371) {
        const SineAndCosine both = SinCos(angle);
        ASSERT_EQ(Sin(angle), both.sine) << angle;
        ASSERT_EQ(Cos(angle), both.cosine) << angle;
    }
    EXPECT_EQ(1.0, SinCos(0.0).cosine);
    EXPECT_TRUE(std::isnan(SinCos(1e300).sine));
}

TEST_F(FunctionsTest, ExponentialKeepsItsBound) {
    const Exact exact = [](long double x) { return std::exp(x); };
    for (const double range : {1e-3, 1.0, 40.0, 708.0}) {
        EXPECT_LE(WorstUlp(Exp, exact, -range, range), kMaxUlp) << range;
    }
}

TEST_F(FunctionsTest, LogarithmKeepsItsBound) {
    const Exact exact = [](long double x) { return std::log(x); };
    EXPECT_LE(WorstUlp(Log, exact, 0.999, 1.001), kMaxUlp);
    EXPECT_LE(WorstUlp(Log, exact, 0.5, 2.0), kMaxUlp);
    EXPECT_LE(WorstUlp(Log, exact, 1e-5, 1e5), kMaxUlp);
    EXPECT_LE(WorstUlp(Log, exact, 1e-300, 1e-290), kMaxUlp);
    EXPECT_LE(WorstUlp(Log, exact, 1e-320, 1e-310), kMaxUlp) << "denormal";
    EXPECT_LE(WorstUlp(Log, exact, 1e290, 1e300), kMaxUlp);
}

TEST_F(FunctionsTest, PowersKeepTheirBoundFromE100Down) {
    std::mt19937_64 generator(8);
    std::uniform_real_distribution<double> logarithms(-23.0, 23.0);
    std::uniform_real_distribution<double> exponents(-10.0, 10.0);
    double worst = 0.0;
    for (int i = 0; i < kSamples; ++i) {
        const double base = std::exp(logarithms(generator));
        const double exponent = exponents(generator);
        const long double exact =
            std::pow(static_cast<long double>(base), static_cast<long double>(exponent));
        worst = std::max(worst, UlpDistance(Pow(base, exponent), exact));
    }
    EXPECT_LE(worst, kMaxUlp);
}

TEST_F(FunctionsTest, OfSinglePrecisionTheyAreTheNearestNumber) {
    std::mt19937 generator(9);
    std::uniform_real_distribution<float> angles(-1000.0f, 1000.0f);
    std::uniform_real_distribution<float> magnitudes(1e-3f, 30.0f);
    const auto nearest = [](long double x) { return static_cast<float>(x); };
    for (int i = 0; i < kSamples; ++i) {
        const float angle = angles(generator);
        const float x = magnitudes(generator);
        const auto longAngle = static_cast<long double>(angle);
        const auto longX = static_cast<long double>(x);
        ASSERT_EQ(nearest(std::sin(longAngle)), Sin(angle)) << angle;
        ASSERT_EQ(nearest(std::cos(longAngle)), Cos(angle)) << angle;
        ASSERT_EQ(nearest(std::exp(longX)), Exp(x)) << x;
        ASSERT_EQ(nearest(std::log(longX)), Log(x)) << x;
        ASSERT_EQ(nearest(std::log2(longX)), Log2(x)) << x;
        ASSERT_EQ(nearest(std::log10(longX)), Log10(x)) << x;
        ASSERT_EQ(nearest(std::pow(longX, 1.5L)), Pow(x, 1.5f)) << x;
    }
}

} // namespace
} // namespace qel::elementary
