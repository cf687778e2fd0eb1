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

TEST(TempoMapTest, LongerLagsAgreeWithTheRecomputation) {
    ExpectAgreement(MusicLike(kAccentTestRate, 1, Seconds(10.0), 4), kAccentTestRate,
                    {.complexity = 1});
    // For as long as the longest lag, three seconds, this curve is all but flat.
    ExpectAgreement(MusicLike(kAccentTestRate, 1, Seconds(12.0), 5), kAccentTestRate,
                    {.complexity = 2}, 0.7);
}

TEST(TempoMapTest, ANarrowRangeAgreesWithTheRecomputation) {
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

TEST(TempoMapTest, TwoResultsPerFrame) {
    const struct {
        std::size_t samples;
        std::size_t results;
    } kCases[] = {{0, 0}, {1023, 0}, {1024, 2}, {1535, 2}, {1536, 4}, {44100, 170}};
    for (const auto& [samples, results] : kCases) {
        for (const UInt32 channels : {1u, 2u}) {
            const std::vector<Delivery> deliveries =
                Deliver({kRunningTempoKey}, Noise(0.5f, channels, samples, 1));
            ASSERT_EQ(results, deliveries.size()) << samples;
            for (const Delivery& delivery : deliveries) {
                EXPECT_EQ(kRunningTempoKey, delivery.key);
                ASSERT_EQ(channels, delivery.blocks.size());
                for (const std::vector<std::byte>& block : delivery.blocks) {
                    EXPECT_EQ(4u, block.size());
                }
            }
        }
    }
}

TEST(TempoMapTest, BothKeysTogetherDeliverWhatEachDeliversAlone) {
    const Audio audio = MusicLike(kAccentTestRate, 1, Seconds(3.0));
    for (const bool gammaFirst : {true, false}) {
        const std::vector<std::string> keys = {gammaFirst ? kGammaKey : kRunningTempoKey,
                                               gammaFirst ? kRunningTempoKey : kGammaKey};
        TestAnalyzer analyzer(keys, StreamSetup{});
        analyzer.PushInBlocks(audio, 4096);
        EXPECT_EQ(Deliver({kGammaKey}, audio), analyzer.DeliveriesOf(kGammaKey));
        EXPECT_EQ(Deliver({kRunningTempoKey}, audio), analyzer.DeliveriesOf(kRunningTempoKey));
    }
}

TEST(TempoMapTest, PushSizesMakeNoDifference) {
    const Audio audio = MusicLike(kAccentTestRate, 2, Seconds(4.0));
    const std::vector<Delivery> expected =
        Deliver({kRunningTempoKey}, audio, kAccentTestRate, 4096);
    for (const UInt32 block : {1u, 63u, 512u, 1000u}) {
        EXPECT_EQ(expected, Deliver({kRunningTempoKey}, audio, kAccentTestRate, block)) << block;
    }
}

// Its figures are made for 172 accents per second and do not follow the rate.
TEST(TempoMapTest, TheSampleRateMakesNoDifference) {
    const Audio audio = MusicLike(kAccentTestRate, 1, Seconds(4.0));
    const std::vector<Delivery> expected = Deliver({kRunningTempoKey}, audio);
    EXPECT_EQ(expected, Deliver({kRunningTempoKey}, audio, 8000.0));
    EXPECT_EQ(expected, Deliver({kRunningTempoKey}, audio, 96000.0));
}

TEST(TempoMapTest, TheDeclaredLengthMakesNoDifference) {
    const Audio audio = MusicLike(kAccentTestRate, 1, Seconds(2.0));
    const std::vector<Delivery> expected = Deliver({kRunningTempoKey}, audio);
    for (const SInt64 length : {1LL, 88200LL, 4000000000LL}) {
        TestAnalyzer analyzer({kRunningTempoKey}, {kAccentTestRate, 1, 4096, length});
        analyzer.PushInBlocks(audio, 4096);
        EXPECT_EQ(expected, analyzer.Deliveries()) << length;
    }
}

TEST(TempoMapTest, AResetBeginsAnew) {
    const Audio audio = MusicLike(kAccentTestRate, 2, Seconds(4.0));
    TestAnalyzer analyzer({kRunningTempoKey}, {kAccentTestRate, 2, 4096, 0});
    analyzer.PushInBlocks(audio, 4096);
    const std::vector<Delivery> first = analyzer.Deliveries();
    analyzer.PushInBlocks(Noise(0.9f, 2, 777, 5), 4096);
    analyzer.Forget();
    EXPECT_EQ(0, analyzer.Reset());
    analyzer.PushInBlocks(audio, 4096);
    EXPECT_EQ(first, analyzer.Deliveries());
    EXPECT_EQ(Deliver({kRunningTempoKey}, audio), first);
}

// A Process delivers nothing and changes nothing: the stream goes on from where it was.
TEST(TempoMapTest, AProcessInTheMiddleMakesNoDifference) {
    const Audio audio = MusicLike(kAccentTestRate, 1, Seconds(3.0));
    TestAnalyzer analyzer({kRunningTempoKey}, StreamSetup{});
    for (std::size_t at = 0; at < audio[0].size(); at += 3000) {
        const std::size_t frames = std::min<std::size_t>(3000, audio[0].size() - at);
        EXPECT_EQ(0, analyzer.Push(audio, at, static_cast<UInt32>(frames)));
        EXPECT_EQ(0, analyzer.Process(1));
        EXPECT_EQ(0, analyzer.Process(0));
    }
    EXPECT_EQ(Deliver({kRunningTempoKey}, audio), analyzer.Deliveries());
}

TEST(TempoMapTest, EveryTempoIsWithinTheRange) {
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
TEST(TempoMapTest, WhatIsNoNumberLeavesTheTempoWhereItWas) {
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
TEST(TempoMapTest, SilenceBehindSoundCostsNoMoreThanSound) {
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
