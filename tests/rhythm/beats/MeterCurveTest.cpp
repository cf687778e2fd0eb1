// The reading of a repetition curve, step by step, against the reference and closed forms.

#include "rhythm/beats/MeterCurve.h"

#include "tests/rhythm/beats/ReferenceBeats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qel::test {
namespace {

using core::MeterCurve;
using core::MeterScores;

constexpr std::size_t kLags = 1350;

// A falling, bent base with a peak after every beat and a higher one after every bar.
std::vector<float> BeatCurve(double beat, int beatsPerBar) {
    std::vector<float> curve(kLags);
    for (std::size_t i = 0; i < kLags; ++i) {
        const auto x = static_cast<double>(i);
        double value = 4.0 + 3.0 * std::exp(-x / 400.0) + 0.2 * std::sin(x / 300.0);
        for (int k = 0; k * beat < kLags + 50.0; ++k) {
            const double height = k % beatsPerBar == 0 ? 1.0 : 0.4 + 0.05 * (k % beatsPerBar);
            const double u = (x - k * beat) / 4.0;
            value += height * std::exp(-0.5 * u * u);
        }
        curve[i] = static_cast<float>(value);
    }
    return curve;
}

void ExpectCurve(const std::vector<double>& expected, const std::vector<float>& actual,
                 double tolerance) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_NEAR(expected[i], actual[i], tolerance) << "shift " << i;
    }
}

using MeterCurveOfBeats = testing::TestWithParam<std::tuple<double, int>>;

TEST_P(MeterCurveOfBeats, EachStepIsTheReferences) {
    const auto [beat, beatsPerBar] = GetParam();
    const std::vector<float> repetition = BeatCurve(beat, beatsPerBar);
    const MeterReading expected = ReadMeter({repetition.begin(), repetition.end()});

    MeterCurve curve(repetition);
    curve.RemoveTrend();
    // A polynomial of degree 7 at shifts up to 1350, in single precision: terms far greater than
    // their sum cancel. The curve's values reach 8.
    ExpectCurve(expected.withoutTrend, curve.Values(), 1e-3);
    curve.FindBar();
    EXPECT_EQ(expected.barFrames, static_cast<double>(curve.BarShift()));
    EXPECT_NEAR(beat * beatsPerBar + 1.0, static_cast<double>(curve.BarShift()), 1.0);
    // The small triangle sums up to 2.5 times that.
    ExpectCurve(expected.belowBar, curve.Values(), 2.5e-3);
    ASSERT_TRUE(curve.FindPeaks());
    ASSERT_EQ(expected.peaks.size(), curve.Peaks().size());
    for (std::size_t i = 0; i < expected.peaks.size(); ++i) {
        EXPECT_EQ(expected.peaks[i].position, curve.Peaks()[i].position) << i;
        EXPECT_NEAR(expected.peaks[i].value, curve.Peaks()[i].value, 2.5e-3) << i;
    }

    MeterScores scores;
    MeterScoreList expectedScores{};
    constexpr std::array<double, 7> kWeights = {0.4, 1.0, 0.5, 0.5, 1.5, 1.0, 1.0};
    // Twice, as for two channels: the second is divided and weighted on top of the first.
    for (int channel = 0; channel < 2; ++channel) {
        scores.Judge(curve);
        const UInt32 meter = scores.WeighAndChoose();
        AddMeterScores(expected.peaks, expected.barFrames, expectedScores);
        for (std::size_t c = 0; c < kWeights.size(); ++c) {
            expectedScores[c] *= kWeights[c];
            EXPECT_NEAR(expectedScores[c], scores.Scores()[c], 5e-3) << c;
        }
        if (channel == 0) {
            EXPECT_EQ(beatsPerBar == 6 ? 3u : static_cast<UInt32>(beatsPerBar), meter);
        }
    }
}

// Distances whose valleys do not lie between two shifts of equal height, where rounding decides.
INSTANTIATE_TEST_SUITE_P(BeatsAndBars, MeterCurveOfBeats,
                         testing::Combine(testing::Values(38.0, 50.0, 62.0),
                                          testing::Values(3, 4, 5, 6, 7)));

TEST(MeterCurveTest, AFlatTopIsTakenAgainAndAgain) {
    std::vector<float> values(kLags);
    values[99] = values[102] = 1.0f;
    values[100] = values[101] = 2.0f;
    MeterCurve curve(values);
    ASSERT_TRUE(curve.FindPeaks());
    EXPECT_EQ(kLags, curve.Peaks().size());
    // The left side goes with the first taking; the top and what is after it stay.
    for (const MeterCurve::Peak& peak : curve.Peaks()) {
        EXPECT_EQ(100u, peak.position);
        EXPECT_EQ(2.0f, peak.value);
    }
}

TEST(MeterCurveTest, PeaksGoDownToTheValleys) {
    std::vector<float> values(kLags);
    const std::vector<float> shape = {0.0f, 1.0f, 3.0f, 5.0f, 2.0f, 1.0f, 2.0f, 4.0f, 3.0f, 0.0f};
    std::copy(shape.begin(), shape.end(), values.begin() + 200);
    MeterCurve curve(values);
    ASSERT_TRUE(curve.FindPeaks());
    ASSERT_EQ(2u, curve.Peaks().size());
    EXPECT_EQ(203u, curve.Peaks()[0].position);
    EXPECT_EQ(5.0f, curve.Peaks()[0].value);
    EXPECT_EQ(207u, curve.Peaks()[1].position);
    EXPECT_EQ(4.0f, curve.Peaks()[1].value);
}

// Single values become 0.25, 0.5, 1, 0.5, 0.25; at a shift of 120 a value weighs 1 - 22 x 0.35 /
// 1251.
TEST(MeterCurveTest, PeaksBelowATenthOfTheBarDoNotCount) {
    std::vector<float> values(kLags);
    values[40] = 0.09f;
    values[80] = 0.11f;
    values[120] = 1.0f;
    values[400] = 1.0f;
    MeterCurve curve(values);
    curve.FindBar();
    EXPECT_EQ(121.0f, curve.BarShift());
    EXPECT_FLOAT_EQ(0.09f, curve.Values()[40]);
    EXPECT_FLOAT_EQ(0.055f, curve.Values()[81]);
    EXPECT_EQ(0.0f, curve.Values()[120]);
    EXPECT_EQ(0.0f, curve.Values()[400]);
    ASSERT_TRUE(curve.FindPeaks());
    ASSERT_EQ(1u, curve.Peaks().size());
    EXPECT_EQ(80u, curve.Peaks()[0].position);
    EXPECT_FLOAT_EQ(0.11f, curve.Peaks()[0].value);
}

// A bar whose length is the given shift, with a peak of half its height after each of `parts` equal
// parts.
UInt32 MeterOfParts(std::size_t barShift, std::size_t parts, MeterScores& scores) {
    std::vector<float> values(kLags);
    for (std::size_t k = 1; k <= parts; ++k) {
        values[k * barShift / parts - 1] = k == parts ? 1.0f : 0.5f;
    }
    MeterCurve curve(values);
    curve.FindBar();
    EXPECT_EQ(static_cast<float>(barShift), curve.BarShift());
    EXPECT_TRUE(curve.FindPeaks());
    scores.Judge(curve);
    return scores.WeighAndChoose();
}

// 840 has all counts as divisors. With the peaks of n parts in place, the weights choose between n,
// its divisors and its multiples: 2 has 0.4 against 0.5 / 3 for 4, 1.5 / 5 for 6 and 1 / 7 for 8; 4
// has 0.5 against 3 / 7 for 8; 6 has 1.5 and 8 has 1 against less for their divisors.
TEST(MeterCurveTest, TwoAndEightCountAsFourAndSixAsThree) {
    const std::array<UInt32, 9> expected = {0, 0, 4, 3, 4, 5, 3, 7, 4};
    for (std::size_t parts = 2; parts <= 8; ++parts) {
        MeterScores scores;
        EXPECT_EQ(expected[parts], MeterOfParts(840, parts, scores)) << parts;
        // The winner is the count itself.
        const auto best = std::max_element(scores.Scores().begin(), scores.Scores().end());
        EXPECT_EQ(static_cast<std::ptrdiff_t>(parts) - 2, best - scores.Scores().begin());
    }
}

// A bar of 1.5 s in three has peaks at 0.5 and 1 s, which lie at thirds and at two of the five
// places of sixths, and at no place of another count. Up to a shift of 1 s all weigh the same.
TEST(MeterCurveTest, ABarInThreeScoresForThreeAndSix) {
    MeterScores scores;
    EXPECT_EQ(3u, MeterOfParts(150, 3, scores));
    // The last of both peaks lies one step into the ramp, which falls by 0.35 over 1251.
    const double sum = 0.5 + 0.5 * (1.0 - 0.35 / 1251.0);
    const std::array<double, 7> expected = {0.0, sum / 2.0, 0.0, 0.0, 1.5 * sum / 5.0, 0.0, 0.0};
    for (std::size_t c = 0; c < expected.size(); ++c) {
        EXPECT_NEAR(expected[c], static_cast<double>(scores.Scores()[c]), 1e-6) << c;
    }
}

TEST(MeterCurveTest, NothingHasNoPeaks) {
    MeterCurve curve(std::vector<float>(kLags, 0.0f));
    curve.RemoveTrend();
    curve.FindBar();
    EXPECT_FALSE(curve.FindPeaks());
    EXPECT_EQ(0u, MeterScores().WeighAndChoose());
}

} // namespace
} // namespace qel::test
