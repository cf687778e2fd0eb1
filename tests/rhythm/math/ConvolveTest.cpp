#include "rhythm/math/RhythmMath.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kUntouched = -77;

Vector Noise(std::size_t length, unsigned int seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1, 1);
    Vector noise(length);
    std::generate(noise.begin(), noise.end(), [&] { return uniform(random); });
    return noise;
}

unsigned int Count(const Vector& x) {
    return static_cast<unsigned int>(x.size());
}

// What a progress function was told, and when it stops.
struct Reports {
    std::vector<float> mValues;
    std::vector<const void*> mFirstArguments;
    std::size_t mStopAt = std::numeric_limits<std::size_t>::max();

    static int Report(void* unused, float done, void* context) {
        auto* const self = static_cast<Reports*>(context);
        self->mValues.push_back(done);
        self->mFirstArguments.push_back(unused);
        return self->mValues.size() > self->mStopAt ? 1 : 0;
    }
};

Vector Convolved(const Vector& a, const Vector& b, Reports* reports = nullptr) {
    Vector out(a.size() + b.size() - 1, kUntouched);
    const SInt32 status =
        Convolve(a.data(), Count(a), b.data(), Count(b), out.data(),
                 reports != nullptr ? &Reports::Report : nullptr, reports, 1, 10.0f, 2, 5.0f);
    EXPECT_EQ(status, 0);
    return out;
}

// The transposed form, one state per coefficient.
Vector PlainConvolution(const Vector& a, const Vector& b) {
    Vector z(a.size(), 0.0f);
    Vector out;
    for (const float x : b) {
        out.push_back(a[0] * x + z[0]);
        for (std::size_t j = 0; j + 1 < a.size(); ++j) {
            z[j] = a[j + 1] * x + z[j + 1];
        }
    }
    out.insert(out.end(), z.begin(), z.end() - 1);
    return out;
}

void ExpectSame(const Vector& actual, const Vector& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        if (std::isnan(expected[i])) {
            EXPECT_TRUE(std::isnan(actual[i])) << i;
        } else {
            EXPECT_EQ(actual[i], expected[i]) << i;
        }
    }
}

TEST(ConvolveTest, SmallProductsAreAsByHand) {
    EXPECT_EQ(Convolved({1, 1}, {1, 2, 3}), (Vector{1, 3, 5, 3}));
    EXPECT_EQ(Convolved({1, 2, 3}, {1, 1}), (Vector{1, 3, 5, 3}));
    EXPECT_EQ(Convolved({2}, {1, 2, 3}), (Vector{2, 4, 6}));
    EXPECT_EQ(Convolved({1, 2, 3}, {2}), (Vector{2, 4, 6}));
    EXPECT_EQ(Convolved({3}, {4}), (Vector{12}));
}

TEST(ConvolveTest, EqualsThePlainLoopToTheLastPlace) {
    // Sums are formed in the same order, so that nothing may differ.
    for (const std::size_t na : {1u, 2u, 3u, 11u, 16u, 63u, 64u, 65u, 200u, 361u}) {
        for (const std::size_t nb : {1u, 2u, 10u, 64u, 65u, 200u, 1350u}) {
            const Vector a = Noise(na, 1);
            const Vector b = Noise(nb, 2);
            SCOPED_TRACE(::testing::Message() << na << ", " << nb);
            ExpectSame(Convolved(a, b), PlainConvolution(a, b));
        }
    }
}

TEST(ConvolveTest, ReportsDoNotChangeTheResult) {
    for (const std::size_t na : {1u, 11u, 1999u, 2000u, 2001u, 4100u, 9000u}) {
        for (const std::size_t nb : {1u, 1999u, 2000u, 2001u, 2002u, 6500u}) {
            const Vector a = Noise(na, 3);
            const Vector b = Noise(nb, 4);
            Reports reports;
            SCOPED_TRACE(::testing::Message() << na << ", " << nb);
            ExpectSame(Convolved(a, b, &reports), PlainConvolution(a, b));
        }
    }
}

TEST(ConvolveTest, MatchesASumInDoublePrecision) {
    const Vector a = Noise(361, 5);
    const Vector b = Noise(3000, 6);
    const Vector out = Convolved(a, b);
    for (std::size_t n = 0; n < out.size(); ++n) {
        double sum = 0;
        for (std::size_t i = 0; i < b.size(); ++i) {
            sum += i <= n && n - i < a.size() ? double{a[n - i]} * double{b[i]} : 0.0;
        }
        // 361 roundings, each of at most 2^-24 of a running sum of some 20, mostly cancelling:
        // sqrt(361) * 20 * 2^-24.
        EXPECT_NEAR(double{out[n]}, sum, 2.5e-5) << n;
    }
}

TEST(ConvolveTest, ValuesThatAreNotFiniteReachNoFurtherThanInThePlainLoop) {
    Vector a = Noise(50, 7);
    Vector b = Noise(400, 8);
    b[123] = kInfinity;
    b[300] = kNaN;
    ExpectSame(Convolved(a, b), PlainConvolution(a, b));
    a[20] = -kInfinity;
    ExpectSame(Convolved(a, b), PlainConvolution(a, b));
}

TEST(ConvolveTest, ReportsComeEveryTwoThousandInputs) {
    const Vector a = Noise(361, 9);
    for (const auto& [inputs, expected] : std::vector<std::pair<std::size_t, std::size_t>>{
             {1, 1}, {2000, 1}, {2001, 2}, {4000, 2}, {4001, 3}}) {
        Reports reports;
        Convolved(a, Noise(inputs, 10), &reports);
        EXPECT_EQ(reports.mValues.size(), expected) << inputs;
        EXPECT_EQ(reports.mFirstArguments, std::vector<const void*>(expected, nullptr)) << inputs;
    }
}

TEST(ConvolveTest, ReportsGoUpToThreeTenthsOfTheStep) {
    Reports reports;
    Convolved(Noise(3, 11), Noise(8000, 12), &reports);
    ASSERT_EQ(reports.mValues.size(), 4u);
    // One step of weight 10 done, then the third of weight 5: 10 + 10 + (i / 8000 * 0.3) * 5.
    EXPECT_EQ(reports.mValues[0], 20.0f);
    EXPECT_EQ(reports.mValues[1], 20.0f + (0.25f * 0.3f) * 5.0f);
    EXPECT_EQ(reports.mValues[2], 20.0f + (0.5f * 0.3f) * 5.0f);
    EXPECT_EQ(reports.mValues[3], 20.0f + (0.75f * 0.3f) * 5.0f);
}

TEST(ConvolveTest, StopLeavesLaterOutputsAlone) {
    for (const std::size_t na : {3u, 361u, 2500u, 9000u}) {
        const Vector a = Noise(na, 13);
        const Vector b = Noise(7000, 14);
        const Vector expected = PlainConvolution(a, b);
        for (const std::size_t stopAt : {0u, 1u, 2u, 3u}) {
            Reports reports;
            reports.mStopAt = stopAt;
            Vector out(a.size() + b.size() - 1, kUntouched);
            EXPECT_EQ(Convolve(a.data(), Count(a), b.data(), Count(b), out.data(), &Reports::Report,
                               &reports, 0, 0, 0, 1),
                      -128);
            EXPECT_EQ(reports.mValues.size(), stopAt + 1);
            const std::size_t written = 2000 * stopAt + 1;
            for (std::size_t n = 0; n < out.size(); ++n) {
                ASSERT_EQ(out[n], n < written ? expected[n] : kUntouched) << na << ", " << n;
            }
        }
    }
}

TEST(ConvolveTest, NothingWithNothingStaysInBounds) {
    const float one = 1;
    Vector out(3, kUntouched);
    Reports reports;
    EXPECT_EQ(Convolve(&one, 0, &one, 1, out.data(), &Reports::Report, &reports, 0, 0, 0, 0), 0);
    EXPECT_EQ(out, Vector(3, kUntouched));
    const Vector three{1, 2, 3};
    EXPECT_EQ(
        Convolve(three.data(), 3, &one, 0, out.data(), &Reports::Report, &reports, 0, 0, 0, 0), 0);
    EXPECT_EQ(out, (Vector{0, 0, kUntouched})); // 3 + 0 - 1 values
    EXPECT_TRUE(reports.mValues.empty());
}

} // namespace
} // namespace qel::core
