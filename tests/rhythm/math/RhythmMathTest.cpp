#include "rhythm/math/RhythmMath.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numbers>
#include <random>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

Vector Noise(std::size_t length, unsigned int seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-1, 1);
    Vector noise(length);
    std::generate(noise.begin(), noise.end(), [&] { return uniform(random); });
    return noise;
}

float MedianOf(const Vector& x) {
    float median = -77;
    ComputeMedianOfFloatVector(x.data(), static_cast<unsigned int>(x.size()), median);
    return median;
}

TEST(MedianTest, IsOnePlaceAboveTheMiddle) {
    EXPECT_EQ(MedianOf({1, 2, 3, 4, 5}), 4.0f);
    EXPECT_EQ(MedianOf({1, 2, 3, 4, 5, 6}), 4.5f);
    EXPECT_EQ(MedianOf({1, 2, 3}), 3.0f);
    EXPECT_EQ(MedianOf({1, 2, 3, 8}), 5.5f);
}

TEST(MedianTest, OrderDoesNotMatter) {
    Vector x{1, 2, 3, 4, 5};
    do {
        ASSERT_EQ(MedianOf(x), 4.0f);
    } while (std::next_permutation(x.begin(), x.end()));
}

TEST(MedianTest, InputStaysAsItIs) {
    const Vector x{5, 1, 4, 2, 3, 9};
    const Vector before = x;
    EXPECT_EQ(MedianOf(x), 4.5f);
    EXPECT_EQ(x, before);
}

TEST(MedianTest, EqualsTheElementsOfASortedCopy) {
    for (std::size_t n = 3; n < 60; ++n) {
        Vector x = Noise(n, static_cast<unsigned int>(n));
        x[n / 2] = x[0]; // a pair of equal ones
        Vector sorted = x;
        std::sort(sorted.begin(), sorted.end());
        const float expected =
            n % 2 == 1 ? sorted[(n + 1) / 2] : 0.5f * (sorted[n / 2] + sorted[n / 2 + 1]);
        EXPECT_EQ(MedianOf(x), expected) << n;
    }
}

TEST(MedianTest, OfFewValuesIsTheLargest) {
    EXPECT_EQ(MedianOf({7}), 7.0f);
    EXPECT_EQ(MedianOf({7, 3}), 7.0f);
    EXPECT_EQ(MedianOf({3, 7}), 7.0f);
    EXPECT_EQ(MedianOf({}), 0.0f);
}

TEST(MedianTest, NaNCountsAsLargest) {
    EXPECT_EQ(MedianOf({kNaN, 1, 2, 3, 4}), 4.0f);
    EXPECT_EQ(MedianOf({4, kNaN, 3, 2, 1, kInfinity}), kInfinity); // (4 + infinity) / 2
    EXPECT_TRUE(std::isnan(MedianOf({kNaN, 1, kNaN, 2, kNaN})));
    EXPECT_TRUE(std::isnan(MedianOf(Vector(40, kNaN))));
    Vector mixed = Noise(1001, 3);
    for (std::size_t i = 0; i < mixed.size(); i += 10) {
        mixed[i] = kNaN;
    }
    Vector numbers;
    std::copy_if(mixed.begin(), mixed.end(), std::back_inserter(numbers),
                 [](float x) { return !std::isnan(x); });
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(MedianOf(mixed), numbers[501]);
}

Vector AutocorrelationOf(const Vector& x) {
    Vector out(x.size(), -77);
    ComputeAutocorrelationFFT(x.data(), static_cast<unsigned int>(x.size()), out.data());
    return out;
}

// The circular autocorrelation at the next power of two, term by term, less the term at half the
// sample rate, and divided by the length.
std::vector<double> PlainAutocorrelation(const Vector& x) {
    std::size_t size = 1;
    while (size < x.size()) {
        size *= 2;
    }
    std::vector<double> padded(x.begin(), x.end());
    padded.resize(size);
    const auto n = static_cast<double>(size);
    double nyquist = 0;
    for (std::size_t i = 0; i < size; ++i) {
        nyquist += i % 2 == 0 ? padded[i] : -padded[i];
    }
    std::vector<double> result(x.size());
    for (std::size_t lag = 0; lag < result.size(); ++lag) {
        double sum = 0;
        for (std::size_t i = 0; i < size; ++i) {
            sum += padded[i] * padded[(i + lag) % size];
        }
        result[lag] = (sum - (lag % 2 == 0 ? 1.0 : -1.0) * nyquist * nyquist / n) / n;
    }
    return result;
}

TEST(AutocorrelationTest, MatchesTheDirectCircularSum) {
    for (const std::size_t n : {2u, 3u, 4u, 7u, 64u, 100u, 512u, 1000u}) {
        const Vector x = Noise(n, 5);
        const Vector out = AutocorrelationOf(x);
        const std::vector<double> expected = PlainAutocorrelation(x);
        // Two transforms of at most ten stages, relative to the value at lag 0, which bounds all.
        const double tolerance = 24 * std::exp2(-24) * std::max(expected[0], 0.1);
        for (std::size_t lag = 0; lag < n; ++lag) {
            EXPECT_NEAR(double{out[lag]}, expected[lag], tolerance) << n << ", " << lag;
        }
    }
}

TEST(AutocorrelationTest, LagsWrapAtAPowerOfTwo) {
    // Impulses at 0 and 3 of 8: the lags 3 and 8 - 3 mix. Half of the sum over the spectrum stands
    // in closed form: X[N/2] is 1 - 1 = 0, so that nothing is lost to it.
    const Vector out = AutocorrelationOf({1, 0, 0, 1, 0, 0, 0, 0});
    const Vector expected{2 / 8.0f, 0, 0, 1 / 8.0f, 0, 1 / 8.0f, 0, 0};
    for (std::size_t lag = 0; lag < 8; ++lag) {
        EXPECT_NEAR(double{out[lag]}, double{expected[lag]}, 8 * std::exp2(-24)) << lag;
    }
}

TEST(AutocorrelationTest, PaddingKeepsShortLagsApart) {
    // Five values at a length of eight: lag 3 would meet itself at 8 - 3 = 5, which does not leave.
    const Vector out = AutocorrelationOf({1, 0, 0, 1, 0});
    EXPECT_NEAR(double{out[3]}, 1 / 8.0, 8 * std::exp2(-24));
    EXPECT_NEAR(double{out[4]}, 0, 8 * std::exp2(-24));
}

TEST(AutocorrelationTest, SilenceGivesZeros) {
    EXPECT_EQ(AutocorrelationOf(Vector(100, 0)), Vector(100, 0));
}

TEST(AutocorrelationTest, PulsesPeakAtTheirPeriod) {
    Vector pulses(4096);
    for (std::size_t i = 0; i < pulses.size(); i += 172) {
        pulses[i] = 1;
    }
    const Vector out = AutocorrelationOf(pulses);
    const auto peak = std::max_element(out.begin() + 20, out.begin() + 300);
    EXPECT_EQ(peak - out.begin(), 172);
}

TEST(AutocorrelationTest, OneValueGivesItsSquareAndNoneNothing) {
    EXPECT_EQ(AutocorrelationOf({-3}), Vector{9});
    EXPECT_TRUE(AutocorrelationOf({}).empty());
}

TEST(AutocorrelationTest, ResultMayReplaceTheInput) {
    Vector x = Noise(300, 8);
    const Vector expected = AutocorrelationOf(x);
    ComputeAutocorrelationFFT(x.data(), 300, x.data());
    EXPECT_EQ(x, expected);
}

TEST(AutocorrelationTest, LengthsBeyondTheTransformRaiseBadAlloc) {
    float value = 1;
    EXPECT_THROW(ComputeAutocorrelationFFT(&value, (1u << 30) + 1, &value), std::bad_alloc);
}

} // namespace
} // namespace qel::core
