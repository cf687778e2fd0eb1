#include "spectral/VectorHelpers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(BinToFreqTest, SizeIsTheTransformLength) {
    EXPECT_EQ(BinToFreq(0, 1024, 44100.0f), 0.0f);
    EXPECT_EQ(BinToFreq(512, 1024, 44100.0f), 22050.0f);
    EXPECT_EQ(BinToFreq(1, 1024, 48000.0f), 46.875f);
}

TEST(BinToFreqTest, DivisionComesFirst) {
    // In floats 1/3 is 0.33333334; times 1e10 that is 3333333504, while 1e10 / 3 is 3333333248.
    EXPECT_EQ(BinToFreq(1, 3, 1e10f), 3333333504.0f);
}

struct Maxima {
    std::vector<unsigned int> mIndices;
    std::vector<float> mValues;
};

Maxima MaximaOf(const std::vector<float>& data, float threshold) {
    std::vector<unsigned int> indices(data.size() + 1);
    std::vector<float> values(data.size() + 1);
    unsigned int count = 0;
    FindLocalMaxima(data.data(), static_cast<unsigned int>(data.size()), indices.data(),
                    values.data(), count, threshold);
    indices.resize(count);
    values.resize(count);
    return {indices, values};
}

TEST(FindLocalMaximaTest, PeaksComeInOrderWithTheirValues) {
    const Maxima maxima = MaximaOf({9, 1, 3, 2, 5, 4, 4, 6}, 0);
    EXPECT_EQ(maxima.mIndices, (std::vector<unsigned int>{2, 4}));
    EXPECT_EQ(maxima.mValues, (std::vector<float>{3, 5}));
}

TEST(FindLocalMaximaTest, ThresholdItselfIsNotEnough) {
    EXPECT_EQ(MaximaOf({0, 3, 0, 4, 0}, 3).mIndices, (std::vector<unsigned int>{3}));
}

TEST(FindLocalMaximaTest, FlatTopIsNoMaximum) {
    EXPECT_TRUE(MaximaOf({0, 2, 2, 0}, 0).mIndices.empty());
}

TEST(FindLocalMaximaTest, ShortVectorsHaveNone) {
    EXPECT_TRUE(MaximaOf({}, -1).mIndices.empty());
    EXPECT_TRUE(MaximaOf({5}, -1).mIndices.empty());
    EXPECT_TRUE(MaximaOf({5, 1}, -1).mIndices.empty());
    EXPECT_EQ(MaximaOf({1, 5, 1}, -1).mIndices.size(), 1u);
}

TEST(FindLocalMaximaTest, AllMaximaOfALongVectorAreFound) {
    for (const std::size_t period : {2u, 3u, 127u, 128u, 129u}) {
        std::vector<float> data(1000, 0.0f);
        std::vector<unsigned int> expected;
        for (std::size_t i = 1; i + 1 < data.size(); i += period) {
            data[i] = static_cast<float>(i);
            expected.push_back(static_cast<unsigned int>(i));
        }
        const Maxima maxima = MaximaOf(data, 0);
        EXPECT_EQ(maxima.mIndices, expected) << period;
        EXPECT_EQ(maxima.mValues, std::vector<float>(expected.begin(), expected.end())) << period;
    }
}

TEST(FindLocalMaximaTest, RandomAndOddDataGiveTheMaximaOfAPlainLoopAtEveryLength) {
    std::mt19937 generator(8);
    const std::vector<float> odd{kNaN,   kInfinity, -kInfinity, 0.0f, -0.0f,
                                 1e-42f, 2e-42f,    1.0f,       2.0f};
    std::uniform_int_distribution<std::size_t> index(0, odd.size() - 1);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (std::size_t length = 0; length < 300; ++length) {
        for (const double shareOfOdd : {0.0, 0.3, 1.0}) {
            std::bernoulli_distribution isOdd(shareOfOdd);
            std::vector<float> data(length);
            for (float& x : data) {
                x = isOdd(generator) ? odd[index(generator)] : value(generator);
            }
            for (const float threshold : {0.0f, -kInfinity, 0.5f, kNaN}) {
                std::vector<unsigned int> expected;
                for (unsigned int i = 1; i + 1 < length; ++i) {
                    if (data[i] > data[i - 1] && data[i] > data[i + 1] && data[i] > threshold) {
                        expected.push_back(i);
                    }
                }
                ASSERT_EQ(MaximaOf(data, threshold).mIndices, expected)
                    << length << ", " << shareOfOdd << ", " << threshold;
            }
        }
    }
}

TEST(FindLocalMaximaTest, NothingIsWrittenAfterTheLastMaximum) {
    const std::vector<float> data{0, 1, 0, 2, 1, 0};
    std::vector<unsigned int> indices(3, 77);
    std::vector<float> values(3, 7);
    unsigned int count = 0;
    FindLocalMaxima(data.data(), 6, indices.data(), values.data(), count, 0);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(indices, (std::vector<unsigned int>{1, 3, 77}));
    EXPECT_EQ(values, (std::vector<float>{1, 2, 7}));
}

TEST(FindLocalMaximaTest, ResultsAreAppended) {
    const float data[] = {0, 1, 0};
    unsigned int indices[2] = {77, 0};
    float values[2] = {7, 0};
    unsigned int count = 1;
    FindLocalMaxima(data, 3, indices, values, count, 0);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(indices[0], 77u);
    EXPECT_EQ(indices[1], 1u);
    EXPECT_EQ(values[1], 1.0f);
}

std::vector<float> Histogram(const std::vector<float>& data, float minimum, float maximum,
                             unsigned int bins) {
    std::vector<float> histogram(bins, -1.0f);
    ComputeHistogram(data.data(), static_cast<unsigned int>(data.size()), histogram.data(), minimum,
                     maximum, bins);
    return histogram;
}

TEST(ComputeHistogramTest, UnitBinsHoldTheirIntegers) {
    std::vector<float> data(40);
    std::iota(data.begin(), data.end(), 0.0f);
    EXPECT_EQ(Histogram(data, 0, 39, 40), std::vector<float>(40, 1.0f));
    const std::vector<float> top = Histogram({39}, 0, 39, 40);
    EXPECT_EQ(top[39], 1.0f);
    EXPECT_EQ(std::accumulate(top.begin(), top.end(), 0.0f), 1.0f);
}

TEST(ComputeHistogramTest, EqualMinimumAndMaximumFillTheFirstBin) {
    // The width is 1/4: the minimum falls into bin 0, what lies half above it into bin 2.
    EXPECT_EQ(Histogram({5, 5, 5, 5.5f}, 5, 5, 4), (std::vector<float>{3, 0, 1, 0}));
}

TEST(ComputeHistogramTest, WhatLiesOutsideLandsInTheLastBin) {
    EXPECT_EQ(Histogram({-1, -3, -1e30f, -kInfinity}, 0, 3, 4), (std::vector<float>{0, 0, 0, 4}));
    EXPECT_EQ(Histogram({4, 1e30f, kInfinity, kNaN}, 0, 3, 4), (std::vector<float>{0, 0, 0, 4}));
}

TEST(ComputeHistogramTest, LessThanOneBinBelowTheMinimumIsCutToTheFirst) {
    EXPECT_EQ(Histogram({-0.5f, -0.999f}, 0, 3, 4), (std::vector<float>{2, 0, 0, 0}));
}

TEST(ComputeHistogramTest, DegenerateRangesStayInBounds) {
    EXPECT_EQ(Histogram({0, 1}, 1, 0, 2), (std::vector<float>{0, 2})); // width 0
    EXPECT_EQ(Histogram({1}, kNaN, 1, 2), (std::vector<float>{0, 1}));
    float untouched = 3;
    const float value = 1;
    ComputeHistogram(&value, 1, &untouched, 0, 1, 0);
    EXPECT_EQ(untouched, 3.0f);
}

TEST(HalfWaveRectifyTest, NegativeBecomesZeroAlsoInPlace) {
    std::vector<float> data{-1, 0, 2, -0.5f, 1e-30f, -kInfinity, kInfinity};
    const std::vector<float> expected{0, 0, 2, 0, 1e-30f, 0, kInfinity};
    std::vector<float> out(data.size(), -9);
    HalfWaveRectify(data.data(), static_cast<unsigned int>(data.size()), out.data());
    EXPECT_EQ(out, expected);
    HalfWaveRectify(data.data(), static_cast<unsigned int>(data.size()), data.data());
    EXPECT_EQ(data, expected);
}

TEST(ZeroShiftTest, HalvesAreSwapped) {
    std::vector<float> data{0, 1, 2, 3, 4, 5};
    ZeroShift(data.data(), 6);
    EXPECT_EQ(data, (std::vector<float>{3, 4, 5, 0, 1, 2}));
}

TEST(ZeroShiftTest, TwiceOnAnEvenLengthGivesTheVectorBack) {
    std::vector<float> data(1000);
    std::iota(data.begin(), data.end(), 0.0f);
    const std::vector<float> before = data;
    ZeroShift(data.data(), 1000);
    EXPECT_NE(data, before);
    ZeroShift(data.data(), 1000);
    EXPECT_EQ(data, before);
}

TEST(ZeroShiftTest, LastElementOfAnOddLengthStays) {
    std::vector<float> data{0, 1, 2, 3, 4};
    ZeroShift(data.data(), 5);
    EXPECT_EQ(data, (std::vector<float>{2, 3, 0, 1, 4}));
    ZeroShift(data.data(), 0);
    ZeroShift(data.data(), 1);
    EXPECT_EQ(data[0], 2.0f);
}

TEST(PowerOfTwoTest, LeadingZeroesAreCounted) {
    EXPECT_EQ(CountLeadingZeroes(0), 32);
    EXPECT_EQ(CountLeadingZeroes(1), 31);
    EXPECT_EQ(CountLeadingZeroes(0x7FFFFFFF), 1);
    EXPECT_EQ(CountLeadingZeroes(-1), 0);
}

TEST(PowerOfTwoTest, PowersMapToThemselvesAndOthersUp) {
    for (unsigned int k = 0; k < 32; ++k) {
        const unsigned int power = 1u << k;
        EXPECT_EQ(Log2Ceil(power), k);
        EXPECT_EQ(NextPowerOfTwo(power), power);
        if (k >= 2) {
            EXPECT_EQ(NextPowerOfTwo(power - 1), power);
        }
        if (k < 31) {
            EXPECT_EQ(NextPowerOfTwo(power + 1), power << 1);
        }
    }
    EXPECT_EQ(NextPowerOfTwo(1000), 1024u);
    EXPECT_EQ(NextPowerOfTwo(1024), 1024u);
}

TEST(PowerOfTwoTest, ZeroAndTooLargeAreDefined) {
    EXPECT_EQ(Log2Ceil(0), 32u);
    EXPECT_EQ(NextPowerOfTwo(0), 1u);
    EXPECT_EQ(Log2Ceil((1u << 31) + 1), 32u);
    EXPECT_EQ(NextPowerOfTwo((1u << 31) + 1), 0u);
    EXPECT_EQ(NextPowerOfTwo(std::numeric_limits<unsigned int>::max()), 0u);
}

TEST(NormalizeFloatVectorTest, LargestElementBecomesOne) {
    std::vector<float> data{-8, 2, 4, 1};
    NormalizeFloatVector(data.data(), 4);
    EXPECT_EQ(data, (std::vector<float>{-2, 0.5f, 1, 0.25f}));
}

TEST(NormalizeFloatVectorTest, NegativeLargestElementTurnsTheSigns) {
    std::vector<float> data{-8, -2};
    NormalizeFloatVector(data.data(), 2);
    EXPECT_EQ(data, (std::vector<float>{4, 1}));
}

TEST(NormalizeFloatVectorTest, LargestElementOfZeroGivesNothingFinite) {
    std::vector<float> data{0, -1};
    NormalizeFloatVector(data.data(), 2);
    EXPECT_TRUE(std::isnan(data[0]));
    EXPECT_TRUE(std::isinf(data[1]));
}

TEST(FilterTest, MatchesTheDifferenceEquation) {
    // Poles at 0.5 and at radius 0.8, so that the recursion forgets its rounding.
    constexpr unsigned int kOrder = 3;
    const float a[] = {1.0f, -1.3f, 1.04f, -0.32f};
    const float b[] = {0.25f, -0.5f, 0.75f, 0.125f};
    float z[kOrder] = {};
    std::mt19937 random(1);
    std::uniform_real_distribution<float> noise(-1, 1);
    std::vector<double> x;
    std::vector<double> y;
    for (int n = 0; n < 200; ++n) {
        const float input = noise(random);
        float output = 0;
        filter(a, b, kOrder, z, input, output);
        x.push_back(static_cast<double>(input));
        double sum = static_cast<double>(b[0]) * x.back();
        for (int i = 1; i <= static_cast<int>(kOrder) && i <= n; ++i) {
            sum += static_cast<double>(b[i]) * x[static_cast<std::size_t>(n - i)] -
                   static_cast<double>(a[i]) * y[static_cast<std::size_t>(n - i)];
        }
        y.push_back(sum);
        // Some ten roundings of values near 1, fed back with a gain of about 10: 100 units of
        // 2^-24.
        ASSERT_NEAR(static_cast<double>(output), sum, 100 * std::exp2(-24)) << n;
    }
}

TEST(FilterTest, OneStepUpdatesTheStateExactly) {
    const float a[] = {1, 2, 3};
    const float b[] = {4, 5, 6};
    float z[] = {7, 8};
    float y = 0;
    filter(a, b, 2, z, 10, y);
    EXPECT_EQ(y, 47.0f);     // 7 + 4 * 10
    EXPECT_EQ(z[0], -36.0f); // (5 * 10 + 8) - 47 * 2
    EXPECT_EQ(z[1], -81.0f); // 6 * 10 - 47 * 3
}

} // namespace
} // namespace qel::core
