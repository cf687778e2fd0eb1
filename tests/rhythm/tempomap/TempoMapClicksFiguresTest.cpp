// "tempo" of clicks at known distances.

#include "tests/rhythm/tempomap/TempoTesting.h"

#include <algorithm>
#include <cmath>

namespace qel::test {
namespace {

constexpr float kTempoOfLag1 = 10320.0f; // BPM

// Twice the time in which a comb's response falls to half, so that the combs are filled by three
// quarters.
constexpr std::size_t kFilled = 2 * 516; // accent values

TEST(TempoMapClicksFiguresTest, APeriodOf86AccentsIs120BPM) {
    const std::vector<float> tempi = TempiOf(Clicks(86 * kAccentSamples, Seconds(15.0)));
    ASSERT_LT(kFilled, tempi.size());
    for (std::size_t n = kFilled; n < tempi.size(); ++n) {
        ASSERT_EQ(120.0f, tempi[n]) << n;
    }
}

// Above half of the longest lag the period has no multiple among the lags. An even one is a whole
// number of hops, so that each click meets the frames alike. (One comb is as sharp as the other, so
// that an odd period is found as well.)
TEST(TempoMapClicksFiguresTest, EveryPeriodAboveHalfTheLongestLagIsFound) {
    for (std::size_t period = 66; period <= 126; period += 5) {
        const std::vector<float> tempi = TempiOf(Clicks(period * kAccentSamples, Seconds(10.0)));
        for (std::size_t n = kFilled; n < tempi.size(); ++n) {
            ASSERT_EQ(static_cast<float>(kTempoOfLag1) / static_cast<float>(period), tempi[n])
                << "period " << period << ", accent " << n;
        }
    }
}

// Shorter ones repeat at their multiples too; which of them wins is up to the curve.
TEST(TempoMapClicksFiguresTest, ShorterPeriodsAreFoundAtOneOfTheirMultiples) {
    for (const std::size_t period : {38u, 44u, 50u, 60u}) {
        const Audio audio = Clicks(period * kAccentSamples, Seconds(10.0));
        const std::vector<float> tempi = TempiOf(audio);
        ExpectTempi(ReferenceTempi(audio).at(0), tempi);
        const auto lag = static_cast<std::size_t>(std::lround(kTempoOfLag1 / tempi.back()));
        EXPECT_EQ(0u, lag % period) << "period " << period << ", lag " << lag;
    }
}

// The last lag is never a peak, whatever is there: no tempo of the curve is below 10320 / 127.
TEST(TempoMapClicksFiguresTest, ThePeriodOfTheLastLagIsOutOfReach) {
    for (const std::size_t period : {128u, 130u, 150u, 172u}) {
        const Audio audio = Clicks(period * kAccentSamples, Seconds(10.0));
        const std::vector<float> tempi = TempiOf(audio);
        // Nothing repeats within the lags, so that the curve is low.
        ExpectTempi(ReferenceTempi(audio).at(0), tempi, 0.8);
        for (const float tempo : tempi) {
            ASSERT_TRUE(tempo == kLowestBPM || tempo >= kTempoOfLag1 / 127.0f) << tempo;
        }
    }
}

TEST(TempoMapClicksFiguresTest, LongerLagsReachSlowerTempi) {
    const struct {
        float complexity;
        std::size_t period;
        double seconds;
    } kCases[] = {{1.0f, 150, 12.0}, {1.0f, 254, 16.0}, {2.0f, 300, 20.0}, {2.0f, 510, 30.0}};
    for (const auto& [complexity, period, seconds] : kCases) {
        TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
        ASSERT_EQ(0, SetTempoParameter(analyzer, "complexity", complexity));
        ASSERT_EQ(0, analyzer.Reset());
        analyzer.PushInBlocks(Clicks(period * kAccentSamples, Seconds(seconds)), 4096);
        EXPECT_EQ(std::max(kLowestBPM, kTempoOfLag1 / static_cast<float>(period)),
                  Tempi(analyzer).back())
            << "period " << period;
    }
}

TEST(TempoMapClicksFiguresTest, TheLevelOfTheClicksMattersLittle) {
    Audio audio = Clicks(86 * kAccentSamples, Seconds(10.0));
    for (float& sample : audio[0]) {
        sample *= 0.1f;
    }
    const std::vector<float> tempi = TempiOf(audio);
    for (std::size_t n = kFilled; n < tempi.size(); ++n) {
        ASSERT_EQ(120.0f, tempi[n]) << n;
    }
}

// From 100 to 140 BPM within 40 seconds, then steady.
TEST(TempoMapClicksFiguresTest, ARisingTempoIsFollowed) {
    constexpr double kRampSeconds = 40.0;
    constexpr double kLength = 55.0;
    const auto tempoAt = [](double seconds) {
        return 100.0 + 40.0 * std::min(1.0, seconds / kRampSeconds);
    };
    std::vector<Impulse> clicks;
    const double accentsPerSecond = kAccentTestRate / kAccentSamples;
    for (double at = 0.0; at < kLength;) {
        clicks.push_back({Seconds(at), 1.0f});
        at += kTempoOfLag1 / tempoAt(at) / accentsPerSecond;
    }
    const Audio audio = Impulses(Seconds(kLength), clicks);
    const std::vector<float> tempi = TempiOf(audio);
    ExpectTempi(ReferenceTempi(audio).at(0), tempi);
    // Combs remember three seconds by half, so that the tempo lags behind by as much and more; one
    // lag is 1.5 % of a tempo.
    constexpr double kDelay = 6.0;
    constexpr double kOneLag = 0.015;
    for (double seconds = kDelay; seconds < kLength; seconds += 0.5) {
        const double tempo = tempi.at(std::min(AccentAt(seconds), tempi.size() - 1));
        EXPECT_GE(tempo, tempoAt(seconds - kDelay) * (1.0 - kOneLag)) << seconds;
        EXPECT_LE(tempo, tempoAt(seconds) * (1.0 + kOneLag)) << seconds;
    }
    EXPECT_NEAR(140.0, tempi.back(), 140.0 * kOneLag);
}

TEST(TempoMapClicksFiguresTest, AStepOfTempoIsFollowed) {
    const Audio audio = Joined(Clicks(86 * kAccentSamples, 24 * 43 * kAccentHopSize),
                               Clicks(104 * kAccentSamples, Seconds(20.0)));
    const std::vector<float> tempi = TempiOf(audio);
    ExpectTempi(ReferenceTempi(audio).at(0), tempi);
    EXPECT_EQ(120.0f, tempi.at(24 * 86 - 10));
    EXPECT_EQ(kTempoOfLag1 / 104.0f, tempi.back());
}

// Every second click is loud, so that lag 86 stands above lag 43, and both are peaks.
Audio LoudAndSoftClicks() {
    Audio audio = Clicks(43 * kAccentSamples, Seconds(12.0));
    for (std::size_t at = 43 * kAccentSamples; at < audio[0].size(); at += 86 * kAccentSamples) {
        audio[0][at] = 0.03f;
    }
    return audio;
}

struct RangeCase {
    float minBPM;
    float maxBPM;
    float expectedBPM;
};

class TempoRangeTest : public testing::TestWithParam<RangeCase> {};

// Where all peaks are out of range, the one of the shortest lag wins all the same, and its tempo is
// moved to the nearer end.
TEST_P(TempoRangeTest, PeaksOutOfRangeLose) {
    const auto& [minBPM, maxBPM, expectedBPM] = GetParam();
    const Audio audio = LoudAndSoftClicks();
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    ASSERT_EQ(0, SetTempoParameter(analyzer, "Min BPM", minBPM));
    ASSERT_EQ(0, SetTempoParameter(analyzer, "Max BPM", maxBPM));
    analyzer.PushInBlocks(audio, 4096);
    const std::vector<float> tempi = Tempi(analyzer);
    const std::vector<TempoStep> reference =
        ReferenceTempi(audio, {.minBPM = minBPM, .maxBPM = maxBPM}).at(0);
    ExpectTempi(reference, tempi);
    const std::vector<std::size_t>& lags = reference.back().peakLags;
    ASSERT_TRUE(std::find(lags.begin(), lags.end(), 43) != lags.end());
    ASSERT_TRUE(std::find(lags.begin(), lags.end(), 86) != lags.end());
    EXPECT_EQ(expectedBPM, tempi.back());
    for (const float tempo : tempi) {
        ASSERT_GE(tempo, minBPM);
        ASSERT_LE(tempo, maxBPM);
    }
}

INSTANTIATE_TEST_SUITE_P(Ranges, TempoRangeTest,
                         testing::Values(RangeCase{20.0f, 280.0f, 120.0f}, // the higher peak
                                         RangeCase{20.0f, 120.0f, 120.0f}, // its bounds included
                                         RangeCase{120.0f, 280.0f, 120.0f},
                                         RangeCase{121.0f, 280.0f, 240.0f}, // the one in range
                                         RangeCase{130.0f, 200.0f, 200.0f}, // neither: lag 43 wins
                                         RangeCase{20.0f, 100.0f, 100.0f},
                                         RangeCase{250.0f, 280.0f, 250.0f}));

// Lag 172 is in range as well, and lower while the combs fill.
TEST(TempoMapClicksFiguresTest, TheUpperEndBelongsToTheRange) {
    const Audio audio = Clicks(86 * kAccentSamples, Seconds(10.0));
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    ASSERT_EQ(0, SetTempoParameter(analyzer, "complexity", 1.0f));
    ASSERT_EQ(0, SetTempoParameter(analyzer, "Max BPM", 120.0f));
    ASSERT_EQ(0, analyzer.Reset());
    analyzer.PushInBlocks(audio, 4096);
    // The first clicks have no distances within all lags yet, and the curve is low.
    ExpectTempi(ReferenceTempi(audio, {.complexity = 1, .maxBPM = 120.0f}).at(0), Tempi(analyzer),
                0.85);
    EXPECT_EQ(120.0f, Tempi(analyzer).at(kFilled));
}

} // namespace
} // namespace qel::test
