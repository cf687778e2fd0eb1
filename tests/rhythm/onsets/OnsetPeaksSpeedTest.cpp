// The quick ways of the onset search: they answer as the slow ones do, and take time in proportion.

#include "rhythm/math/RhythmMath.h"
#include "rhythm/onsets/OnsetPeaks.h"
#include "tests/rhythm/onsets/VectorPeakCurve.h"
#include "tests/support/runtime/Sanitized.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

float Median(Vector values, bool zeroBehind) {
    if (zeroBehind) {
        values.push_back(0.0f);
    }
    float median = kNaN;
    ComputeMedianOfFloatVector(values.data(), static_cast<unsigned int>(values.size()), median);
    return median;
}

void ExpectAgreement(Vector values, float level) {
    const auto count = static_cast<unsigned int>(values.size());
    test::VectorPeakCurve curve(values);
    for (const bool zeroBehind : {false, true}) {
        EXPECT_EQ(IsMedianAbove(curve, 0, count, zeroBehind, level),
                  Median(values, zeroBehind) > level)
            << count << " values, " << zeroBehind << ", level " << level;
    }
}

TEST(OnsetPeaksSpeedTest, AMedianIsAboveALevelWhenItsValueIs) {
    std::mt19937 random(1);
    // Few different values, so that levels are met exactly, and faults among them.
    const Vector choices{0.0f, -0.0f, 0.1f, 0.2f, 0.30000001f, 0.3f, 0.5f, 1.0f, -1.0f};
    const Vector faults{kNaN, kInfinity, -kInfinity};
    unsigned above = 0;
    for (int round = 0; round < 3000; ++round) {
        Vector values(random() % 12);
        const bool hasFaults = round % 3 == 0;
        for (float& value : values) {
            value = hasFaults && random() % 4 == 0 ? faults[random() % faults.size()]
                                                   : choices[random() % choices.size()];
        }
        for (const float level : {-1.0f, 0.0f, 0.1f, 0.15f, 0.25f, 0.3f, 0.4f, 1.0f}) {
            ExpectAgreement(values, level);
            above += Median(values, false) > level ? 1u : 0u;
        }
    }
    EXPECT_GT(above, 1000u);
    EXPECT_LT(above, 23000u);
}

TEST(OnsetPeaksSpeedTest, LevelsNextToTheMedianOfManyValuesAreToldApart) {
    std::mt19937 random(2);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    for (const std::size_t size : {1000u, 1001u, 4097u, 20000u}) {
        Vector values(size);
        std::generate(values.begin(), values.end(), [&] { return uniform(random); });
        for (const bool zeroBehind : {false, true}) {
            const float median = Median(values, zeroBehind);
            const auto count = static_cast<unsigned int>(size);
            test::VectorPeakCurve curve(values);
            EXPECT_FALSE(IsMedianAbove(curve, 0, count, zeroBehind, median));
            EXPECT_TRUE(IsMedianAbove(curve, 0, count, zeroBehind, std::nextafter(median, -1.0f)));
        }
    }
}

// Chunks on one side of the level, on the other and on both, from within the first on.
TEST(OnsetPeaksSpeedTest, WindowsThatBoundsDecideInPartAnswerAsTheirMedian) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    unsigned above = 0;
    unsigned rounds = 0;
    for (int round = 0; round < 200; ++round) {
        Vector values(3000);
        float base = 0.0f;
        for (std::size_t i = 0; i < values.size(); ++i) {
            base = i % 256 == 0 ? static_cast<float>(random() % 4) : base;
            values[i] = base + uniform(random);
        }
        if (round % 4 == 0) {
            values[random() % values.size()] = kNaN;
        }
        test::VectorPeakCurve curve(values);
        const auto first = static_cast<unsigned>(random() % 1000);
        const auto count = static_cast<unsigned>(random() % 2000 + 1);
        const auto begin = values.begin() + first;
        const Vector window(begin, begin + count);
        for (const float level : {0.2f, 1.5f, 2.0f, 2.5f, window[0], Median(window, false)}) {
            const bool expected = Median(window, round % 2 == 0) > level;
            EXPECT_EQ(IsMedianAbove(curve, first, count, round % 2 == 0, level), expected)
                << round << ", level " << level;
            above += expected ? 1u : 0u;
            ++rounds;
        }
    }
    EXPECT_GT(above, rounds / 4);
    EXPECT_LT(above, rounds - rounds / 4);
}

// The search as it is defined: a median for each candidate, each accepted onset asked.
struct PlainSearch {
    std::vector<unsigned int> indices;
    Vector values;

    PlainSearch(Vector x, int window, float strongLevel) {
        const float greatest = *std::max_element(x.begin(), x.end());
        for (float& value : x) {
            value /= greatest;
        }
        const auto n = static_cast<SInt64>(x.size());
        std::vector<SInt64> candidates;
        const auto at = [&](SInt64 i) { return x[static_cast<std::size_t>(i)]; };
        for (SInt64 i = 1; i < n - 1; ++i) {
            const bool isNear = std::any_of(candidates.begin(), candidates.end(), [&](SInt64 p) {
                return window / 4 > 0 && std::abs(i - p) < window / 4;
            });
            if (at(i) > at(i - 1) && at(i) > at(i + 1) && at(i) > 0.0f && !isNear) {
                candidates.push_back(i);
            }
        }
        for (const SInt64 p : candidates) {
            const SInt64 low = std::max<SInt64>(p - window, 0);
            const SInt64 high = std::min<SInt64>(p + window, n);
            Vector around;
            for (SInt64 i = low; i <= high; ++i) {
                around.push_back(i < n ? at(i) : 0.0f);
            }
            bool isRefused = Median(around, false) > at(p);
            for (const unsigned int onset : indices) {
                const SInt64 distance = p - onset;
                if (!(at(p) >= strongLevel && distance <= 1024) && std::abs(distance) < window) {
                    isRefused = true;
                }
            }
            if (isRefused) {
                continue;
            }
            indices.push_back(static_cast<unsigned int>(p));
            values.push_back(at(p));
        }
    }
};

struct Search {
    std::vector<unsigned int> indices;
    Vector values;

    Search(Vector x, int window, float strongLevel) {
        const auto n = static_cast<unsigned int>(x.size());
        indices.resize(MaxPeaks(n, window / 4));
        values.resize(indices.size());
        unsigned int count = 0;
        test::VectorPeakCurve curve(x);
        EXPECT_EQ(FindPeaksAdaptivleyInVector(curve, indices.data(), values.data(), count, window,
                                              strongLevel, 0.0f, 1.0f, nullptr, nullptr),
                  0);
        indices.resize(count);
        values.resize(count);
    }
};

// Smoothed noise, whose maxima stand closely, with a few strong ones.
Vector Curve(std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    Vector curve(length);
    float smoothed = 0.0f;
    for (float& value : curve) {
        smoothed = 0.8f * smoothed + uniform(random) + (random() % 200 == 0 ? 4.0f : 0.0f);
        value = smoothed;
    }
    return curve;
}

TEST(OnsetPeaksSpeedTest, OnsetsAreThoseOfThePlainSearch) {
    std::size_t found = 0;
    for (const int window : {-5, 0, 1, 3, 4, 7, 8, 50, 333, 1500, 2999, 3000, 100000}) {
        for (const float strongLevel : {0.3f, 0.75f, 2.0f}) {
            SCOPED_TRACE(::testing::Message() << window << ", " << strongLevel);
            const Vector curve = Curve(3000, static_cast<unsigned>(window + 10));
            const Search quick(curve, window, strongLevel);
            const PlainSearch plain(curve, window, strongLevel);
            EXPECT_EQ(quick.indices, plain.indices);
            EXPECT_EQ(quick.values, plain.values);
            found += quick.indices.size();
        }
    }
    EXPECT_GT(found, 1000u);
}

TEST(OnsetPeaksSpeedTest, ThereIsRoomForEveryMaximum) {
    EXPECT_EQ(MaxPeaks(0, 0), 0u);
    EXPECT_EQ(MaxPeaks(2, 0), 0u);
    EXPECT_EQ(MaxPeaks(3, 0), 1u);
    for (const int distance : {-1, 0, 1, 2, 3, 5, 100}) {
        for (const unsigned int n : {3u, 4u, 5u, 99u, 100u, 101u, 203u}) {
            Vector teeth(n);
            for (unsigned int i = 0; i < n; ++i) {
                teeth[i] = i % 2 == 1 ? 1.0f : 0.0f;
            }
            std::vector<unsigned int> indices(MaxPeaks(n, distance) + 1, 7777u);
            Vector values(indices.size());
            unsigned int count = 0;
            test::VectorPeakCurve curve(teeth);
            FindLocalMaximaWithDist(curve, indices.data(), values.data(), count, 0.0f, distance);
            EXPECT_LE(count, MaxPeaks(n, distance));
            EXPECT_EQ(indices.back(), 7777u);
        }
    }
}

// CPU time per value, the best of nine.
double TimePerValue(std::size_t length, int window) {
    const Vector curve = Curve(length, 9);
    double best = 1e9;
    for (int turn = 0; turn < 9; ++turn) {
        const std::clock_t start = std::clock();
        const Search search(curve, window, 0.75f);
        best = std::min(best, static_cast<double>(std::clock() - start));
        EXPECT_FALSE(search.indices.empty());
    }
    return best / static_cast<double>(length);
}

// Whether the window is fixed, as at the sensitivity 100, or a share of the stream.
TEST(OnsetPeaksSpeedTest, TimeGrowsWithTheLengthAndNoFaster) {
    if (testing_support::kIsSanitized) {
        GTEST_SKIP() << "a checker slows long and short runs by different factors";
    }
    constexpr std::size_t kShort = 200'000;
    constexpr std::size_t kLong = 16 * kShort;
    // A quadratic search takes 16 times as long per value; caches alone take up to twice.
    EXPECT_LT(TimePerValue(kLong, 2048), 4.0 * TimePerValue(kShort, 2048));
    EXPECT_LT(TimePerValue(kLong, int{kLong} / 80), 4.0 * TimePerValue(kShort, int{kShort} / 80));
    EXPECT_LT(TimePerValue(kLong, 0), 4.0 * TimePerValue(kShort, 0));
}

} // namespace
} // namespace qel::core
