// "tempo" on sound like music: against the reference, and what must make no difference.

#include "tests/rhythm/tempomap/TempoTesting.h"

#include <cmath>
#include <ctime>
#include <limits>

namespace qel::test {
namespace {

void ExpectAgreement(const Audio& audio, double rateHz, const TempoSettings& settings = {},
                     double leastShareOfSingleAnswers = 0.9) {
    TestAnalyzer analyzer({kRunningTempoKey}, {rateHz, static_cast<UInt32>(audio.size()), 4096, 0});
    ASSERT_EQ(0,
              SetTempoParameter(analyzer, "complexity", static_cast<float>(settings.complexity)));
    ASSERT_EQ(0, SetTempoParameter(analyzer, "Min BPM", settings.minBPM));
    ASSERT_EQ(0, SetTempoParameter(analyzer, "Max BPM", settings.maxBPM));
    ASSERT_EQ(0, analyzer.Reset());
    analyzer.PushInBlocks(audio, 1000);
    const std::vector<std::vector<TempoStep>> expected = ReferenceTempi(audio, settings);
    for (std::size_t c = 0; c < audio.size(); ++c) {
        SCOPED_TRACE(c);
        ExpectTempi(expected[c], Tempi(analyzer, c), leastShareOfSingleAnswers);
    }
}

class TempoRateTest : public testing::TestWithParam<double> {};

TEST_P(TempoRateTest, MonoAgreesWithADoublePrecisionRecomputation) {
    ExpectAgreement(MusicLike(GetParam(), 1, Seconds(10.0, GetParam())), GetParam());
}

TEST_P(TempoRateTest, StereoAgreesWithADoublePrecisionRecomputation) {
    ExpectAgreement(MusicLike(GetParam(), 2, Seconds(10.0, GetParam()), 2), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Rates, TempoRateTest, testing::Values(22050.0, 44100.0, 48000.0));

TEST(TempoMapAgreementTest, LongerLagsAgreeWithTheRecomputation) {
    ExpectAgreement(MusicLike(kAccentTestRate, 1, Seconds(10.0), 4), kAccentTestRate,
                    {.complexity = 1});
    // For as long as the longest lag, three seconds, this curve is all but flat.
    ExpectAgreement(MusicLike(kAccentTestRate, 1, Seconds(12.0), 5), kAccentTestRate,
                    {.complexity = 2}, 0.7);
}

TEST(TempoMapAgreementTest, ANarrowRangeAgreesWithTheRecomputation) {
    ExpectAgreement(MusicLike(kAccentTestRate, 1, Seconds(10.0), 6), kAccentTestRate,
                    {.minBPM = 90.0f, .maxBPM = 140.0f});
    // So narrow that minor peaks win.
    for (const float minBPM : {81.0f, 100.0f, 240.0f}) {
        ExpectAgreement(MusicLike(kAccentTestRate, 1, Seconds(10.0), 6), kAccentTestRate,
                        {.minBPM = minBPM, .maxBPM = 1.12f * minBPM});
    }
    // No peak of the curve is ever in this one.
    ExpectAgreement(MusicLike(kAccentTestRate, 1, Seconds(10.0), 7), kAccentTestRate,
                    {.minBPM = 60.0f, .maxBPM = 80.0f});
}

// Its figures are made for 172 accents per second and do not follow the rate.
TEST(TempoMapAgreementTest, TheSampleRateMakesNoDifference) {
    const Audio audio = MusicLike(kAccentTestRate, 1, Seconds(4.0));
    const std::vector<Delivery> expected = Deliver({kRunningTempoKey}, audio);
    EXPECT_EQ(expected, Deliver({kRunningTempoKey}, audio, 8000.0));
    EXPECT_EQ(expected, Deliver({kRunningTempoKey}, audio, 96000.0));
}

TEST(TempoMapAgreementTest, EveryTempoIsWithinTheRange) {
    for (const Audio& audio :
         {MusicLike(kAccentTestRate, 1, Seconds(5.0), 9), Noise(0.8f, 1, Seconds(5.0), 9),
          Silence(1, Seconds(1.0)), Constant(1.0f, 1, Seconds(2.0)),
          Noise(1e-18f, 1, Seconds(2.0), 3), Noise(1e18f, 1, Seconds(2.0), 3)}) {
        for (const float tempo : TempiOf(audio)) {
            ASSERT_GE(tempo, kLowestBPM);
            ASSERT_LE(tempo, kHighestBPM);
        }
    }
}

// Filters and combs never get rid of it, so that no curve has a peak any more.
TEST(TempoMapAgreementTest, WhatIsNoNumberLeavesTheTempoWhereItWas) {
    for (const float odd : {std::nanf(""), std::numeric_limits<float>::infinity()}) {
        Audio audio = Clicks(86 * kAccentSamples, Seconds(12.0));
        audio[0][100 * kAccentHopSize + 700] = odd;
        const std::vector<float> tempi = TempiOf(audio);
        // The sample is in frames 100 and 101.
        for (std::size_t n = 200; n < tempi.size(); ++n) {
            ASSERT_EQ(tempi[199], tempi[n]) << n;
        }
    }
}

// Values that fade away below the smallest normal number must not cost more than others do.
TEST(TempoMapAgreementTest, SilenceAfterSoundCostsNoMoreThanSound) {
    const auto secondsOf = [](TestAnalyzer& analyzer, const Audio& audio) {
        double best = 1e9;
        for (int i = 0; i < 3; ++i) {
            const std::clock_t start = std::clock();
            analyzer.PushInBlocks(audio, 4096);
            best = std::min(best, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
        }
        return best;
    };
    TestAnalyzer analyzer({kGammaKey, kRunningTempoKey}, StreamSetup{});
    const double sound = secondsOf(analyzer, MusicLike(kAccentTestRate, 1, Seconds(8.0)));
    const Audio silence = Silence(1, Seconds(8.0));
    // Generous, for a machine that does other things besides; denormal numbers cost tens of times.
    constexpr double kFactor = 3.0;
    for (int stretch = 0; stretch < 5; ++stretch) {
        EXPECT_LE(secondsOf(analyzer, silence), kFactor * sound) << "stretch " << stretch;
    }
}

} // namespace
} // namespace qel::test
