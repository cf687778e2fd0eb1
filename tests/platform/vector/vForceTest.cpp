#include "InstructionSets.h"
#include "VectorTesting.h"

#include <Accelerate/vForce.h>

#include <bit>
#include <limits>

namespace qel::testing {
namespace {

using Function = void (*)(float*, const float*, const int*);

struct Logarithm {
    Function function;
    double (*exact)(double);
};

const Logarithm kLogarithms[] = {{vvlogf, [](double x) { return std::log(x); }},
                                 {vvlog10f, [](double x) { return std::log10(x); }}};

void ExpectWithinBound(const Logarithm& logarithm, const std::vector<float>& x) {
    std::vector<float> y(x.size());
    const int count = static_cast<int>(x.size());
    logarithm.function(y.data(), x.data(), &count);
    double worst = 0.0;
    float where = 0.0f;
    for (std::size_t n = 0; n < x.size(); ++n) {
        ASSERT_FALSE(std::isnan(y[n])) << "at " << x[n];
        const double distance = UlpDistance(y[n], logarithm.exact(static_cast<double>(x[n])));
        if (distance > worst) {
            worst = distance;
            where = x[n];
        }
    }
    EXPECT_LE(worst, kVForceLogMaxUlp) << "at " << where;
}

TEST(vForceTest, LogarithmsKeepTheirBoundFromTheSmallestDenormalToTheLargestNumber) {
    constexpr std::uint32_t kInfinityBits = 0x7F800000;
    constexpr std::uint32_t kStep = 997; // A prime, so that all low bits come by.
    std::vector<float> x;
    for (std::uint32_t bits = 1; bits < kInfinityBits; bits += kStep) {
        x.push_back(std::bit_cast<float>(bits));
    }
    ForEachInstructionSet([&] {
        for (const Logarithm& logarithm : kLogarithms) {
            ExpectWithinBound(logarithm, x);
        }
    });
}

TEST(vForceTest, LogarithmsKeepTheirBoundAroundOne) {
    std::vector<float> x;
    const auto one = std::bit_cast<std::uint32_t>(1.0f);
    for (std::uint32_t bits = one - 20000; bits < one + 20000; ++bits) {
        x.push_back(std::bit_cast<float>(bits));
    }
    ForEachInstructionSet([&] {
        for (const Logarithm& logarithm : kLogarithms) {
            ExpectWithinBound(logarithm, x);
        }
    });
}

TEST(vForceTest, EveryCountAndAlignmentGivesTheSameAsOneByOne) {
    for (const Logarithm& logarithm : kLogarithms) {
        for (const std::size_t count : kCounts) {
            for (const std::size_t offset : {std::size_t{0}, std::size_t{1}}) {
                FloatVector x(Noise(count, 71, 1e-6f, 10.0f), 1, offset);
                std::vector<float> expected = x.Values();
                const int one = 1;
                for (float& value : expected) {
                    logarithm.function(&value, &value, &one);
                }
                FloatVector y(std::vector<float>(count), 1, offset);
                const int n = static_cast<int>(count);
                logarithm.function(y.Data(), x.Data(), &n);
                EXPECT_EQ(y.Values(), expected);
                EXPECT_TRUE(y.GapsAreIntact());
                logarithm.function(x.Data(), x.Data(), &n);
                EXPECT_EQ(x.Values(), expected) << "in place";
            }
        }
    }
}

TEST(vForceTest, SpecialValues) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const Logarithm& logarithm : kLogarithms) {
        // Once by the single lane, once by the vector loop.
        for (const std::size_t count : {std::size_t{1}, std::size_t{64}}) {
            const auto at = [&](float argument) {
                std::vector<float> x(count, argument);
                const int n = static_cast<int>(count);
                logarithm.function(x.data(), x.data(), &n);
                return x.front();
            };
            EXPECT_EQ(at(0.0f), -kInfinity);
            EXPECT_EQ(at(-0.0f), -kInfinity);
            EXPECT_EQ(at(kInfinity), kInfinity);
            EXPECT_EQ(at(1.0f), 0.0f);
            EXPECT_TRUE(std::isnan(at(-1.0f)));
            EXPECT_TRUE(std::isnan(at(-kInfinity)));
            EXPECT_TRUE(std::isnan(at(-std::numeric_limits<float>::denorm_min())));
            EXPECT_TRUE(std::isnan(at(NAN)));
        }
    }
}

std::vector<float> Exponentials(std::vector<float> x) {
    const int count = static_cast<int>(x.size());
    vvexpf(x.data(), x.data(), &count);
    return x;
}

TEST(vForceTest, ExponentialsKeepTheirBoundUnlessDenormal) {
    std::vector<float> x;
    for (float argument = -87.3f; argument < 88.72f; argument += 0.00037f) {
        x.push_back(argument);
    }
    ForEachInstructionSet([&] {
        const std::vector<float> y = Exponentials(x);
        double worst = 0.0;
        for (std::size_t n = 0; n < x.size(); ++n) {
            worst = std::max(worst, UlpDistance(y[n], std::exp(static_cast<double>(x[n]))));
        }
        EXPECT_LE(worst, kVForceExpMaxUlp);
    });
}

TEST(vForceTest, ExponentialsOfEveryCountAreThoseOneByOne) {
    for (const std::size_t count : kCounts) {
        const std::vector<float> x = Noise(count, 72, -90.0f, 90.0f);
        const std::vector<float> y = Exponentials(x);
        for (std::size_t n = 0; n < count; ++n) {
            EXPECT_EQ(y[n], Exponentials({x[n]}).front());
        }
    }
}

TEST(vForceTest, SpecialValuesOfTheExponential) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kLargest = std::numeric_limits<float>::max();
    for (const std::size_t count : {std::size_t{1}, std::size_t{64}}) {
        const auto at = [&](float x) { return Exponentials(std::vector<float>(count, x)).back(); };
        EXPECT_EQ(at(0.0f), 1.0f);
        EXPECT_EQ(at(-kInfinity), 0.0f);
        EXPECT_EQ(at(-kLargest), 0.0f);
        EXPECT_EQ(at(-104.5f), 0.0f);
        for (const float large : {88.73f, 104.0f, 1000.0f, kLargest, kInfinity}) {
            EXPECT_EQ(at(large), kInfinity) << large;
        }
        EXPECT_TRUE(std::isnan(at(NAN)));
    }
}

TEST(vForceTest, ACountOfZeroOrBelowDoesNothing) {
    float y = 5.0f;
    const float x = 2.0f;
    for (const int count : {0, -3}) {
        vvlogf(&y, &x, &count);
        vvlog10f(&y, &x, &count);
        vvexpf(&y, &x, &count);
    }
    EXPECT_EQ(y, 5.0f);
}

} // namespace
} // namespace qel::testing
