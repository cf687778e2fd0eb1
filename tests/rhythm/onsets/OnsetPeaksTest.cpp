// The difference, the local maxima and the onsets of a curve.

#include "rhythm/onsets/OnsetPeaks.h"

#include "rhythm/math/RhythmMath.h"
#include "tests/harness/TestSignals.h"
#include "tests/rhythm/onsets/ReferenceOnsets.h"
#include "tests/rhythm/onsets/VectorPeakCurve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <random>

namespace qel::core {
namespace {

constexpr float kStrong = 0.75f;

using Indices = std::vector<unsigned int>;

struct Peaks {
    Indices indices;
    std::vector<float> values;
};

Peaks LocalMaxima(std::vector<float> x, float threshold, int minDistance) {
    const auto n = static_cast<unsigned int>(x.size());
    test::VectorPeakCurve curve(x);
    Peaks peaks{Indices(x.size()), std::vector<float>(x.size())};
    unsigned int count = 0;
    FindLocalMaximaWithDist(curve, peaks.indices.data(), peaks.values.data(), count, threshold,
                            minDistance);
    EXPECT_LE(count, MaxPeaks(n, minDistance));
    peaks.indices.resize(count);
    peaks.values.resize(count);
    return peaks;
}

// Without a progress function; `x` becomes normalized.
Peaks Onsets(std::vector<float>& x, int window) {
    const auto n = static_cast<unsigned int>(x.size());
    Peaks peaks{Indices(x.size()), std::vector<float>(x.size())};
    unsigned int count = 0;
    test::VectorPeakCurve curve(x);
    EXPECT_EQ(0,
              FindPeaksAdaptivleyInVector(curve, peaks.indices.data(), peaks.values.data(), count,
                                          window, kStrong, 20.0f, 80.0f, nullptr, nullptr));
    EXPECT_LE(count, MaxPeaks(n, window / 4));
    peaks.indices.resize(count);
    peaks.values.resize(count);
    return peaks;
}

// The onsets of single spikes over zeros.
Indices OnsetsOfSpikes(std::size_t n, const std::vector<test::Impulse>& spikes, int window) {
    std::vector<float> x = test::Impulses(n, spikes)[0];
    return Onsets(x, window).indices;
}

TEST(WeightedDifferenceTest, MixesTheFallToTheNextValueWithTheValue) {
    const std::vector<float> x = {1.0f, 3.0f, -2.0f, 0.5f, 4.0f};
    std::vector<float> out(5, 9.0f);
    ComputeWeightedDifference(x.data(), 5, out.data(), 0.75f);
    // (x[i] - x[i + 1]) 3 / 4 + x[i] / 4, all exact; the last one stays.
    EXPECT_EQ((std::vector<float>{-1.25f, 4.5f, -2.375f, -2.5f, 9.0f}), out);
    std::vector<float> inPlace = x;
    ComputeWeightedDifference(inPlace.data(), 5, inPlace.data(), 0.75f);
    EXPECT_EQ((std::vector<float>{-1.25f, 4.5f, -2.375f, -2.5f, 4.0f}), inPlace);
}

TEST(WeightedDifferenceTest, OfNoneOrOneValueNothingIsWritten) {
    const float x = 2.0f;
    float out = 9.0f;
    ComputeWeightedDifference(&x, 0, &out, 0.9f);
    ComputeWeightedDifference(&x, 1, &out, 0.9f);
    EXPECT_EQ(9.0f, out);
}

TEST(LocalMaximaWithDistTest, AreGreaterThanBothNeighboursAndTheThreshold) {
    const std::vector<float> x = {5.0f, 1.0f, 2.0f, 1.0f, 3.0f, 3.0f, 1.0f, 4.0f, 0.0f, 9.0f};
    EXPECT_EQ((Indices{2, 7}), LocalMaxima(x, 0.0f, 0).indices);
    EXPECT_EQ((std::vector<float>{2.0f, 4.0f}), LocalMaxima(x, 0.0f, 0).values);
    EXPECT_EQ((Indices{7}), LocalMaxima(x, 2.0f, 0).indices);
    EXPECT_EQ((Indices{}), LocalMaxima(x, 4.0f, 0).indices);
    for (std::size_t n = 0; n < 3; ++n) {
        EXPECT_EQ((Indices{}),
                  LocalMaxima(std::vector<float>(x.begin() + 1,
                                                 x.begin() + 1 + static_cast<std::ptrdiff_t>(n)),
                              0.0f, 0)
                      .indices);
    }
}

TEST(LocalMaximaWithDistTest, OfTwoNearPeaksTheFirstWins) {
    const std::vector<float> x =
        test::Impulses(40, {{10, 1.0f}, {14, 5.0f}, {18, 2.0f}, {23, 9.0f}, {24, 8.0f}})[0];
    EXPECT_EQ((Indices{10, 14, 18, 23}), LocalMaxima(x, 0.0f, 4).indices); // just far enough
    EXPECT_EQ((Indices{10, 18, 23}), LocalMaxima(x, 0.0f, 5).indices);
    // What was refused refuses nobody: 18 lies 8 from 10.
    EXPECT_EQ((Indices{10, 18}), LocalMaxima(x, 0.0f, 6).indices);
    EXPECT_EQ((Indices{10, 23}), LocalMaxima(x, 0.0f, 9).indices);
    EXPECT_EQ((Indices{10}), LocalMaxima(x, 0.0f, INT_MAX).indices);
    // No more than two peaks can stand on three places: without a distance all stand.
    for (const int none : {0, -1, INT_MIN}) {
        EXPECT_EQ((Indices{10, 14, 18, 23}), LocalMaxima(x, 0.0f, none).indices) << none;
    }
}

TEST(LocalMaximaWithDistTest, ResultsAreAppended) {
    std::vector<float> x = {0.0f, 1.0f, 0.0f, 2.0f, 0.0f};
    test::VectorPeakCurve curve(x);
    unsigned int indices[4] = {77, 0, 0, 66};
    float values[4] = {7.0f, 0.0f, 0.0f, 6.0f};
    unsigned int count = 1;
    FindLocalMaximaWithDist(curve, indices, values, count, 0.0f, 0);
    EXPECT_EQ(3u, count);
    EXPECT_EQ((Indices{77, 1, 3, 66}), Indices(indices, indices + 4));
    EXPECT_EQ((std::vector<float>{7.0f, 1.0f, 2.0f, 6.0f}), std::vector<float>(values, values + 4));
}

TEST(IsMedianAboveTest, AnswersAsTheMedianDoes) {
    std::mt19937 generator(3);
    for (unsigned int n = 0; n < 60; ++n) {
        for (int round = 0; round < 40; ++round) {
            std::vector<float> x(n);
            for (float& value : x) { // few values, so that many are equal
                value = static_cast<float>(generator() % 7) / 8.0f - 0.125f;
            }
            for (const bool zeroBehind : {false, true}) {
                std::vector<float> all = x;
                if (zeroBehind) {
                    all.push_back(0.0f);
                }
                float median = -1.0f;
                ComputeMedianOfFloatVector(all.data(), static_cast<unsigned int>(all.size()),
                                           median);
                for (const float level : {-0.125f, 0.0f, 0.0625f, 0.25f, 0.3125f, 0.5f, 0.625f}) {
                    test::VectorPeakCurve curve(x);
                    EXPECT_EQ(median > level, IsMedianAbove(curve, 0, n, zeroBehind, level))
                        << n << ' ' << zeroBehind << ' ' << level << ' ' << median;
                }
            }
        }
    }
}

TEST(OnsetPeaksTest, TheCurveIsDividedByItsGreatestValue) {
    std::vector<float> x = {0.0f, 2.0f, -8.0f, 4.0f, 1.0f};
    const Peaks peaks = Onsets(x, 0);
    EXPECT_EQ((std::vector<float>{0.0f, 0.5f, -2.0f, 1.0f, 0.25f}), x);
    EXPECT_EQ((Indices{1, 3}), peaks.indices);
    EXPECT_EQ((std::vector<float>{0.5f, 1.0f}), peaks.values);
}

TEST(OnsetPeaksTest, TheFirstOnsetNeedsOnlyTheMedian) {
    EXPECT_EQ((Indices{100, 5000}), OnsetsOfSpikes(8000, {{100, 0.01f}, {5000, 1.0f}}, 2048));
    std::vector<float> x = test::Impulses(8000, {{100, 0.01f}, {5000, 1.0f}})[0];
    std::fill(x.begin() + 200, x.begin() + 1500, 0.02f); // now the median stands above it
    EXPECT_EQ((Indices{5000}), Onsets(x, 2048).indices);
}

// A peak of 0.5 at 40 in a window of 8: of the 17 values around it, the median is the 10th. So it
// stands above the peak if 8 values do, where the middle one would need 9. Flat tops are no peaks.
TEST(OnsetPeaksTest, TheMedianReachesAWindowToBothSidesInclusively) {
    const auto onsets = [](std::size_t leftTop, std::size_t rightEnd) {
        std::vector<float> x(100);
        x[leftTop - 1] = x[leftTop] = 1.0f;
        x[40] = 0.5f;
        std::fill(x.begin() + 42, x.begin() + static_cast<std::ptrdiff_t>(rightEnd), 1.0f);
        return Onsets(x, 8).indices;
    };
    EXPECT_EQ((Indices{}), onsets(32, 49)); // 8 above: 32 and 42 to 48
    EXPECT_EQ((Indices{40}), onsets(31, 49));
    EXPECT_EQ((Indices{40}), onsets(32, 48));
    EXPECT_EQ((Indices{40}), onsets(31, 60));
    EXPECT_EQ((Indices{}), onsets(33, 48)); // 32, 33 and 42 to 47
}

// An even number of values: the mean of the two above the lower middle.
TEST(OnsetPeaksTest, AtTheStartTheMedianHasFewerValues) {
    const auto onsets = [](std::size_t at, std::size_t above) {
        std::vector<float> x(100);
        x[at] = 0.5f;
        const auto first = x.begin() + static_cast<std::ptrdiff_t>(at) + 2;
        std::fill(first, first + static_cast<std::ptrdiff_t>(above), 1.0f);
        return Onsets(x, 12).indices;
    };
    // At 5: 18 values, the 10th and 11th; 8 above are the 11th to the 18th.
    EXPECT_EQ((Indices{5}), onsets(5, 7));
    EXPECT_EQ((Indices{}), onsets(5, 8));
    // At the window: 25 values, the 14th.
    EXPECT_EQ((Indices{12}), onsets(12, 11));
    std::vector<float> x(100);
    x[12] = 0.5f;
    x[0] = 1.0f; // reached, and no peak itself
    std::fill(x.begin() + 14, x.begin() + 40, 1.0f);
    EXPECT_EQ((Indices{}), Onsets(x, 12).indices);
}

// The window's end is inclusive also at the end of the curve, where the value after it counts as
// 0: of 12 values and that 0, the 8th. Of the 12 alone it would be the mean of the 7th and the 8th,
// and 5 above would do.
TEST(OnsetPeaksTest, TheLastMedianReadsAZeroAfterTheCurve) {
    const auto onsets = [](std::size_t above, std::size_t n) {
        std::vector<float> x(n);
        std::fill(x.begin() + 10, x.begin() + 12 + static_cast<std::ptrdiff_t>(above), 1.0f);
        x[20] = 0.5f;
        return Onsets(x, 8).indices;
    };
    EXPECT_EQ((Indices{20}), onsets(5, 24));
    EXPECT_EQ((Indices{}), onsets(6, 24));
    // The window ends exactly after the last of 28 values: of 16 and the 0, the 10th.
    EXPECT_EQ((Indices{20}), onsets(7, 28));
    EXPECT_EQ((Indices{20}), onsets(7, 29));
}

TEST(OnsetPeaksTest, WithAWindowOf2048OnlyStrongPeaksStandWithin1024) {
    const auto second = [](std::size_t distance, float height) {
        const Indices found =
            OnsetsOfSpikes(16000, {{3000, 1.0f}, {3000 + distance, height}}, 2048);
        EXPECT_EQ(3000u, found.at(0));
        return found.size() == 2 && found[1] == 3000 + distance;
    };
    EXPECT_FALSE(second(511, 0.99f)); // no candidate
    EXPECT_TRUE(second(512, 0.99f));
    EXPECT_TRUE(second(600, 0.75f)); // exactly strong
    EXPECT_FALSE(second(600, 0.7499f));
    EXPECT_TRUE(second(1024, 0.9f));
    // Required by the contract: a strong one farther off, yet inside the window, is refused.
    EXPECT_FALSE(second(1025, 0.99f));
    EXPECT_FALSE(second(2047, 0.99f));
    EXPECT_TRUE(second(2048, 0.99f));
    EXPECT_TRUE(second(2048, 0.01f));
}

TEST(OnsetPeaksTest, TheGreatestPeakIsRefusedLikeAnyOther) {
    EXPECT_EQ((Indices{3000}), OnsetsOfSpikes(16000, {{3000, 0.2f}, {4500, 1.0f}}, 2048));
    EXPECT_EQ((Indices{3000, 3700}), OnsetsOfSpikes(16000, {{3000, 0.2f}, {3700, 1.0f}}, 2048));
}

// The third is a close hit to the second, yet too far from the first.
TEST(OnsetPeaksTest, EveryAcceptedOnsetMustBeClear) {
    EXPECT_EQ((Indices{3000, 3600}),
              OnsetsOfSpikes(16000, {{3000, 1.0f}, {3600, 0.9f}, {4200, 0.9f}}, 2048));
    EXPECT_EQ((Indices{3000, 3512, 4024}),
              OnsetsOfSpikes(16000, {{3000, 1.0f}, {3512, 0.9f}, {4024, 0.9f}}, 2048));
}

TEST(OnsetPeaksTest, ARefusedPeakRefusesNoOther) {
    EXPECT_EQ((Indices{3000, 5048}),
              OnsetsOfSpikes(16000, {{3000, 1.0f}, {4500, 0.5f}, {5048, 0.1f}}, 2048));
}

// A quarter is rounded toward 0: 1023 / 4 is 255.
TEST(OnsetPeaksTest, CandidatesKeepAQuarterOfTheWindow) {
    EXPECT_EQ((Indices{3000, 3255}), OnsetsOfSpikes(8000, {{3000, 1.0f}, {3255, 1.0f}}, 1023));
    EXPECT_EQ((Indices{3000}), OnsetsOfSpikes(8000, {{3000, 1.0f}, {3254, 1.0f}}, 1023));
}

TEST(OnsetPeaksTest, AWindowOfZeroOrBelowTakesEveryLocalMaximum) {
    const std::vector<float> noise = test::Noise(1.0f, 1, 5000, 4)[0];
    std::vector<float> normalized = noise;
    const Indices all = Onsets(normalized, 0).indices;
    EXPECT_EQ(LocalMaxima(normalized, 0.0f, 0).indices, all);
    EXPECT_GT(all.size(), 1000u);
    for (const int window : {-1, -3, -4, -2048, INT_MIN}) {
        std::vector<float> x = noise;
        EXPECT_EQ(all, Onsets(x, window).indices) << window;
    }
}

TEST(OnsetPeaksTest, TheLargestWindowTakesOneOnset) {
    EXPECT_EQ((Indices{3000}), OnsetsOfSpikes(8000, {{3000, 0.3f}, {7000, 1.0f}}, INT_MAX));
}

TEST(OnsetPeaksTest, ShortSilentAndNotFiniteCurvesHaveNoOnsets) {
    for (std::size_t n = 0; n < 3; ++n) {
        std::vector<float> x(n, 1.0f);
        EXPECT_EQ((Indices{}), Onsets(x, 2048).indices);
    }
    std::vector<float> silence(5000);
    EXPECT_EQ((Indices{}), Onsets(silence, 2048).indices);
    std::vector<float> nothing(5000, std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ((Indices{}), Onsets(nothing, 2048).indices);
}

// Of the curve that the function left behind, one value after the other.
TEST(OnsetPeaksTest, AgreesWithAPlainRecomputation) {
    for (std::uint32_t seed = 1; seed <= 60; ++seed) {
        for (const int window : {1, 7, 40, 200, 1100, 5000}) {
            std::vector<float> x = test::Noise(1.0f, 1, 3000, seed)[0];
            for (std::size_t i = 0; i < x.size(); ++i) { // gives the median something to refuse
                x[i] = std::abs(x[i]) * (seed % 2 == 0 ? 1.0f : static_cast<float>(i % 300));
            }
            const Peaks peaks = Onsets(x, window);
            test::ReferenceOnsetList actual;
            for (std::size_t i = 0; i < peaks.indices.size(); ++i) {
                actual.push_back({peaks.indices[i], static_cast<double>(peaks.values[i])});
            }
            const auto agreement = test::Agrees(std::vector<double>(x.begin(), x.end()), window,
                                                actual, {0.0, 0.0, 0.0, 0.0});
            EXPECT_TRUE(agreement.holds) << seed << ' ' << window << " up to " << agreement.frame;
        }
    }
}

class OnsetPeaksProgressTest : public testing::Test {
protected:
    // 250 candidates.
    SInt32 Run(int stopAt) {
        mStopAt = stopAt;
        mReports.clear();
        std::vector<float> x(501);
        for (std::size_t i = 1; i < x.size(); i += 2) {
            x[i] = 1.0f;
        }
        std::vector<float> values(x.size());
        Indices indices(x.size());
        mCount = 0;
        test::VectorPeakCurve curve(x);
        return FindPeaksAdaptivleyInVector(curve, indices.data(), values.data(), mCount, 0, kStrong,
                                           20.0f, 80.0f, Report, this);
    }

    static int Report(void* unused, float done, void* context) {
        EXPECT_EQ(nullptr, unused);
        auto* self = static_cast<OnsetPeaksProgressTest*>(context);
        self->mReports.push_back(done);
        return static_cast<int>(self->mReports.size()) - 1 == self->mStopAt ? 1 : 0;
    }

    std::vector<float> mReports;
    unsigned int mCount = 0;
    int mStopAt = -1;
};

TEST_F(OnsetPeaksProgressTest, EveryHundredthCandidateReports) {
    EXPECT_EQ(0, Run(-1));
    EXPECT_EQ(250u, mCount);
    EXPECT_EQ((std::vector<float>{20.0f, 44.0f, 68.0f}), mReports);
}

TEST_F(OnsetPeaksProgressTest, AStopIsMinus128AtOnce) {
    for (int stopAt = 0; stopAt < 3; ++stopAt) {
        EXPECT_EQ(-128, Run(stopAt)) << stopAt;
        EXPECT_EQ(static_cast<std::size_t>(stopAt) + 1, mReports.size());
        EXPECT_EQ(static_cast<unsigned int>(100 * stopAt), mCount);
    }
    EXPECT_EQ(0, Run(3));
}

} // namespace
} // namespace qel::core
