// The peak search against lists written by hand.

#include "rhythm/tempomap/FindPeaksInVector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

struct Peaks {
    std::vector<unsigned int> indices;
    std::vector<float> values;
};

struct Rule {
    float threshold = 0;
    float margin = 0;
    unsigned int window = 3;
};

Peaks PeaksOf(const std::vector<float>& x, const Rule& rule) {
    Peaks peaks{std::vector<unsigned int>(x.size() + 1), std::vector<float>(x.size() + 1)};
    unsigned int count = 0;
    FindPeaksInVector(x.data(), static_cast<unsigned int>(x.size()), peaks.indices.data(),
                      peaks.values.data(), count, rule.threshold, rule.margin, rule.window);
    peaks.indices.resize(count);
    peaks.values.resize(count);
    return peaks;
}

// `length` zeros but for the given elements.
std::vector<float> Spikes(std::size_t length,
                          const std::vector<std::pair<std::size_t, float>>& spikes) {
    std::vector<float> x(length);
    for (const auto& [index, value] : spikes) {
        x[index] = value;
    }
    return x;
}

using Indices = std::vector<unsigned int>;

TEST(FindPeaksInVectorTest, PeaksComeWithTheirValuesInOrder) {
    const Peaks peaks = PeaksOf(Spikes(20, {{5, 2}, {12, 1}, {17, 3}}), {});
    EXPECT_EQ(peaks.indices, (Indices{5, 12, 17}));
    EXPECT_EQ(peaks.values, (std::vector<float>{2, 1, 3}));
}

TEST(FindPeaksInVectorTest, TheFirstPlaceOfAPeakIsTheWindow) {
    EXPECT_EQ(PeaksOf(Spikes(20, {{2, 1}}), {}).indices, Indices{});
    EXPECT_EQ(PeaksOf(Spikes(20, {{3, 1}}), {}).indices, Indices{3});
}

TEST(FindPeaksInVectorTest, TheLastElementIsNoPeakAndTheOneBeforeMayBe) {
    EXPECT_EQ(PeaksOf(Spikes(20, {{19, 1}}), {}).indices, Indices{});
    EXPECT_EQ(PeaksOf(Spikes(20, {{18, 1}}), {}).indices, Indices{18});
}

TEST(FindPeaksInVectorTest, AWindowReachesOneElementFartherBackThanForth) {
    // The higher neighbour stands `window` places away, at each side.
    EXPECT_EQ(PeaksOf(Spikes(20, {{7, 2}, {10, 1}}), {}).indices, Indices{7});
    EXPECT_EQ(PeaksOf(Spikes(20, {{7, 1}, {9, 2}}), {}).indices, Indices{9});
    EXPECT_EQ(PeaksOf(Spikes(20, {{7, 1}, {10, 2}}), {}).indices, Indices{7})
        << "10 is not higher within the window, and is then too close after a peak";
}

TEST(FindPeaksInVectorTest, TheEarlierOfTwoNearPeaksIsKeptWhateverTheHeights) {
    EXPECT_EQ(PeaksOf(Spikes(30, {{10, 1}, {13, 9}}), {}).indices, Indices{10});
    EXPECT_EQ(PeaksOf(Spikes(30, {{10, 1}, {14, 9}}), {}).indices, (Indices{10, 14}));
}

TEST(FindPeaksInVectorTest, APeakThatWasDroppedDropsNoOther) {
    EXPECT_EQ(PeaksOf(Spikes(30, {{10, 1}, {13, 2}, {16, 3}}), {}).indices, (Indices{10, 16}));
}

TEST(FindPeaksInVectorTest, EqualNeighboursAreNoPeaks) {
    EXPECT_EQ(PeaksOf(Spikes(20, {{8, 1}, {9, 1}}), {}).indices, Indices{});
    EXPECT_EQ(PeaksOf(std::vector<float>(20, 1), {}).indices, Indices{});
}

TEST(FindPeaksInVectorTest, APeakReachesTheThreshold) {
    const std::vector<float> x = Spikes(20, {{8, 0.5f}});
    EXPECT_EQ(PeaksOf(x, {.threshold = 0.5f}).indices, Indices{8});
    EXPECT_EQ(PeaksOf(x, {.threshold = 0.51f}).indices, Indices{});
}

TEST(FindPeaksInVectorTest, APeakStandsOutByMoreThanTheMargin) {
    const std::vector<float> x = Spikes(20, {{8, 0.5f}});
    EXPECT_EQ(PeaksOf(x, {.margin = 0.25f}).indices, Indices{8});
    EXPECT_EQ(PeaksOf(x, {.margin = 0.5f}).indices, Indices{});
}

TEST(FindPeaksInVectorTest, AWindowOfOneLooksBackAlone) {
    EXPECT_EQ(PeaksOf({0, 1, 2, 3, 0}, {.window = 1}).indices, (Indices{1, 3}));
}

TEST(FindPeaksInVectorTest, AWindowOfOneLooksBackAloneAlsoBeforeNotANumber) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(PeaksOf({0, 1, nan, 0, 0}, {.window = 1}).indices, Indices{1});
}

TEST(FindPeaksInVectorTest, AWindowOfNothingAndOneBeyondTheEndFindNothing) {
    const std::vector<float> x = Spikes(20, {{8, 1}});
    EXPECT_EQ(PeaksOf(x, {.window = 0}).indices, Indices{});
    EXPECT_EQ(PeaksOf(x, {.window = 20}).indices, Indices{});
    EXPECT_EQ(PeaksOf(x, {.window = std::numeric_limits<unsigned int>::max()}).indices, Indices{});
}

TEST(FindPeaksInVectorTest, TooShortVectorsHaveNoPeaks) {
    for (const std::size_t length : {0u, 1u, 2u}) {
        EXPECT_EQ(PeaksOf(std::vector<float>(length, 1), {.window = 1}).indices, Indices{});
    }
}

TEST(FindPeaksInVectorTest, NotANumberIsNoPeakAndHidesThoseAroundIt) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(PeaksOf(std::vector<float>(20, nan), {}).indices, Indices{});
    EXPECT_EQ(PeaksOf(Spikes(20, {{8, 1}, {9, nan}, {14, 1}}), {}).indices, Indices{14});
}

// One comparison at a time, in the words of the contract.
Peaks PlainPeaks(const std::vector<float>& x, const Rule& rule) {
    Peaks peaks;
    for (std::size_t i = rule.window; i + 1 < x.size(); ++i) {
        bool isPeak = !(x[i] < rule.threshold);
        for (std::size_t j = i - rule.window; j < std::min(i + rule.window, x.size()); ++j) {
            isPeak = isPeak && (j == i || x[i] > x[j] + rule.margin);
        }
        if (isPeak && (peaks.indices.empty() || i - peaks.indices.back() > rule.window)) {
            peaks.indices.push_back(static_cast<unsigned int>(i));
            peaks.values.push_back(x[i]);
        }
    }
    return peaks;
}

TEST(FindPeaksInVectorTest, RandomAndOddDataGiveThePeaksOfAPlainSearch) {
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> odd{nan, inf, -inf, 0.0f, -0.0f, 1e-42f, 0.5f, 0.5f};
    std::mt19937 generator(9);
    std::uniform_int_distribution<std::size_t> index(0, odd.size() - 1);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    std::size_t found = 0;
    for (const std::size_t length : {3u, 20u, 128u, 129u, 130u, 300u}) {
        for (const double shareOfOdd : {0.0, 0.02, 0.5}) {
            std::bernoulli_distribution isOdd(shareOfOdd);
            std::vector<float> x(length);
            for (float& v : x) {
                v = isOdd(generator) ? odd[index(generator)] : value(generator);
            }
            for (const float threshold : {-inf, 0.1f, nan}) {
                for (const float margin : {0.0f, 0.05f, -0.05f, nan}) {
                    for (const unsigned int window : {1u, 2u, 3u, 20u}) {
                        const Rule rule{threshold, margin, window};
                        const Peaks expected = PlainPeaks(x, rule);
                        const Peaks actual = PeaksOf(x, rule);
                        ASSERT_EQ(expected.indices, actual.indices)
                            << length << ", " << shareOfOdd << ", " << threshold << ", " << margin
                            << ", " << window;
                        found += actual.indices.size();
                    }
                }
            }
        }
    }
    EXPECT_GT(found, 1000u);
}

TEST(FindPeaksInVectorTest, PeaksAreAppendedToThoseThatAreCounted) {
    const std::vector<float> x = Spikes(20, {{8, 1}});
    std::vector<unsigned int> indices{77, 0};
    std::vector<float> values{7, 0};
    unsigned int count = 1;
    FindPeaksInVector(x.data(), 20, indices.data(), values.data(), count, 0, 0, 3);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(indices, (Indices{77, 8}));
    EXPECT_EQ(values, (std::vector<float>{7, 1}));
}

} // namespace
} // namespace qel::core
