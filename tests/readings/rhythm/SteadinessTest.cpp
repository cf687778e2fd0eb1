#include "readings/rhythm/Steadiness.h"

#include "tests/readings/rhythm/StillMusic.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace qel::readings::test {
namespace {

enum Figure : std::size_t {
    kChangedShare,
    kShareNearMedian,
    kMean,
    kLogKurtosis,
    kMeanLogOnBeats,
    kMissedShare,
    kLogSeconds,
    kOctaves
};

class SteadinessTest : public testing::Test {
protected:
    std::array<double, kSteadinessFigures> figures(const std::vector<float>& onset,
                                                   const BeatTimes& path) const {
        return steadinessFigures(mMusic.activity(onset), path, path, kFramesPerSecond);
    }
    double logOdds(const std::vector<float>& onset, const BeatTimes& path) const {
        return steadyLogOdds(mMusic.activity(onset), path, path, kFramesPerSecond);
    }

    StillMusic mMusic{100};
};

TEST_F(SteadinessTest, EvenBeatsDoNotChangeAndAreAllNearTheMedian) {
    const auto even = figures(std::vector<float>(3000, 0.5f), evenBeats(120, 40));
    EXPECT_EQ(even[kChangedShare], 0);
    EXPECT_EQ(even[kShareNearMedian], 1);
    EXPECT_NEAR(even[kOctaves], std::log2(120.0 / 105), 1e-9);
}

// Intervals 0.5, 0.5, 0.6, 0.5 and 0.51 s: to 0.6 and from there are changes of 20 and 17 %. All
// but the 0.6 s lie within 4 % of the median of 0.5 s.
TEST_F(SteadinessTest, AnIntervalOfAnotherLengthIsTwoChanges) {
    const auto uneven = figures(std::vector<float>(1000, 0.5f), {1, 1.5, 2, 2.6, 3.1, 3.61});
    EXPECT_EQ(uneven[kChangedShare], 2.0 / 4);
    EXPECT_EQ(uneven[kShareNearMedian], 4.0 / 5);
}

// The tempo of the path and that of the beats may differ: the first figure is of the path, the
// second of the beats.
TEST_F(SteadinessTest, PathAndBeatsAreSeenApart) {
    const BeatActivity activity = mMusic.activity(std::vector<float>(1000, 0.5f));
    const BeatTimes path = {1, 1.5, 2, 2.6, 3.1, 3.61};
    const auto both = steadinessFigures(activity, path, evenBeats(60, 5), kFramesPerSecond);
    EXPECT_EQ(both[kChangedShare], 2.0 / 4);
    EXPECT_EQ(both[kShareNearMedian], 1);
    EXPECT_NEAR(both[kOctaves], std::log2(120.0 / 105), 1e-9);
}

// Ones in a share p of the frames, zeros elsewhere: the mean is p, the variance p (1 - p), the
// fourth moment p (1 - p) ((1 - p)^3 + p^3).
TEST_F(SteadinessTest, MeanAndKurtosisOfSparseOnsets) {
    const BeatTimes beats = evenBeats(120, 54);
    const auto sparse = figures(onsetsAt(beats, 2800), beats);
    const double p = 54.0 / 2800;
    EXPECT_NEAR(sparse[kMean], p, 1e-7);
    EXPECT_NEAR(sparse[kLogKurtosis],
                std::log((std::pow(1 - p, 3) + std::pow(p, 3)) / (p * (1 - p))), 1e-4);
}

// Onsets of height 1 on three of four beats: the fourth is missed, and 0.05 stands for its 0.
TEST_F(SteadinessTest, BeatsOnWhichNothingBeginsAreMissed) {
    BeatTimes beats = evenBeats(100, 40);
    std::vector<float> onset = onsetsAt(beats, 2600);
    for (std::size_t i = 0; i < beats.size(); i += 4) {
        onset.at(static_cast<std::size_t>(std::lround(beats[i] * kFramesPerSecond))) = 0;
    }
    const auto missed = figures(onset, beats);
    EXPECT_NEAR(missed[kMissedShare], 0.25, 1e-12);
    EXPECT_NEAR(missed[kMeanLogOnBeats], 0.75 * std::log(1.05) + 0.25 * std::log(0.05), 1e-6);
}

TEST_F(SteadinessTest, MoreThanHalfAMinuteProvesNoMore) {
    const BeatTimes beats = evenBeats(120, 10);
    EXPECT_NEAR(figures(std::vector<float>(1000, 0.5f), beats)[kLogSeconds], std::log(10), 1e-12);
    EXPECT_NEAR(figures(std::vector<float>(9000, 0.5f), beats)[kLogSeconds], std::log(30), 1e-12);
}

TEST_F(SteadinessTest, StrokesOnEvenBeatsKeepATempoAndUnevenOnesDoNot) {
    const BeatTimes even = evenBeats(120, 56);
    BeatTimes uneven = {1};
    for (std::size_t i = 0; i < 55; ++i) {
        uneven.push_back(uneven.back() + (i % 3 == 0 ? 0.35 : i % 3 == 1 ? 0.62 : 0.5));
    }
    EXPECT_GT(logOdds(onsetsAt(even, 3000), even), 0);
    EXPECT_LT(logOdds(onsetsAt(uneven, 3000), uneven), 0);
    EXPECT_LT(logOdds(std::vector<float>(3000, 0.5f), even), 0); // nothing begins anywhere
}

} // namespace
} // namespace qel::readings::test
