// "global tempo" against closed forms and the reference.

#include "tests/harness/TestSignals.h"
#include "tests/rhythm/beats/BeatAssertions.h"

#include <cmath>

namespace qel::test {
namespace {

using TempoOfClicks = testing::TestWithParam<std::tuple<double, double, int>>;

// A lag is a whole number of function frames, and a tempo a whole number: up to half a BPM each at
// these tempi.
constexpr double kToleranceBPM = 1.0;

bool IsNear(double expected, double actual) {
    return std::abs(expected - actual) <= kToleranceBPM;
}

TEST_P(TempoOfClicks, BothTempiAreTheClicksOrAWholePartOfIt) {
    const auto [rateHz, bpm, meter] = GetParam();
    const BeatResults results =
        Analyze({DrumTrack(rateHz, {.bpm = bpm, .meter = meter})}, rateHz, {kTempoKey});
    ASSERT_EQ(0, results.status);
    ASSERT_EQ(1u, results.tempi.size());
    const auto [tempo1, tempo2, confidence] = results.tempi[0];
    // Sharp attacks make peaks two frames wide. Where the clicks' lag lies between two frames, half
    // or twice the rounded lag of the one can miss the peak of the other: 137.8 is such a lag.
    if (!(rateHz < 48000.0 && bpm > 149.0)) {
        EXPECT_TRUE(IsNear(bpm, tempo1) || IsNear(bpm, tempo2)) << tempo1 << " and " << tempo2;
    }
    // Within the range of tempi, clicks also repeat at whole multiples of their distance.
    for (const float tempo : {tempo1, tempo2}) {
        EXPECT_TRUE(IsNear(bpm, tempo) || IsNear(bpm / 2.0, tempo) || IsNear(bpm / 3.0, tempo))
            << tempo;
        EXPECT_EQ(std::round(tempo), tempo);
    }
    EXPECT_GE(confidence, 0.0f);
    EXPECT_LE(confidence, 1.0f);
}

INSTANTIATE_TEST_SUITE_P(TempiMetersRates, TempoOfClicks,
                         testing::Combine(testing::Values(44100.0, 48000.0),
                                          testing::Values(90.0, 120.0, 128.0, 150.0),
                                          testing::Values(3, 4, 5, 7)));

// At 44.1 kHz and 120 BPM the function repeats every 172.3 frames; a third and a half of that lag
// mean 360 and 240 BPM, beyond the range, so the second tempo can only be the half.
TEST(BeatTempoFiguresTest, AHundredAndTwentyBPMHasItsHalfAsSecondTempo) {
    const BeatResults results = Analyze({DrumTrack(44100.0, {})}, 44100.0, {kTempoKey});
    ASSERT_EQ(0, results.status);
    EXPECT_EQ(120.0f, results.tempi.at(0)[0]);
    EXPECT_EQ(60.0f, results.tempi.at(0)[1]);
    EXPECT_GT(results.tempi.at(0)[2], 0.5f);
    EXPECT_LT(results.tempi.at(0)[2], 1.0f);
}

TEST(BeatTempoFiguresTest, TheReferenceAgrees) {
    const struct {
        double rateHz;
        Drums drums;
    } kCases[] = {
        {44100.0, {.bpm = 97.0, .meter = 3, .seconds = 9.0}},
        {44100.0, {.bpm = 140.0, .meter = 4, .seconds = 8.0}},
        {48000.0, {.bpm = 128.0, .meter = 5, .seconds = 9.0}},
        {48000.0, {.bpm = 171.0, .meter = 7, .seconds = 8.0}},
        {22050.0, {.bpm = 120.0, .meter = 4, .seconds = 10.0}},
    };
    for (const auto& [rateHz, drums] : kCases) {
        SCOPED_TRACE(drums.bpm);
        const std::vector<float> samples = DrumTrack(rateHz, drums);
        const BeatResults results = Analyze({samples}, rateHz, {kTempoKey});
        ASSERT_EQ(0, results.status);
        ExpectTempi(EstimateTempi(DetectionFunction(samples, rateHz), rateHz), results.tempi.at(0));
    }
}

TEST(BeatTempoFiguresTest, TheReferenceAgreesOnMusic) {
    const Audio audio = MusicLike(44100.0, 2, 44100 * 8);
    const BeatResults results = Analyze(audio, 44100.0, {kTempoKey});
    ASSERT_EQ(0, results.status);
    ASSERT_EQ(2u, results.tempi.size());
    std::uint32_t hint = 1;
    for (std::size_t c = 0; c < 2; ++c) {
        const Tempi tempi = EstimateTempi(DetectionFunction(audio[c], 44100.0), 44100.0, hint);
        ExpectTempi(tempi, results.tempi[c]);
        hint = tempi.hint;
    }
}

TEST(BeatTempoFiguresTest, ASlowHintGivesSlowTempi) {
    const std::vector<float> samples = DrumTrack(44100.0, {});
    const BeatResults results = Analyze({samples}, 44100.0, {kTempoKey}, 0.0f);
    ASSERT_EQ(0, results.status);
    ExpectTempi(EstimateTempi(DetectionFunction(samples, 44100.0), 44100.0, 0),
                results.tempi.at(0));
    // The slow range ends at 110 BPM.
    EXPECT_LT(results.tempi.at(0)[0], 110.0f);
    EXPECT_LT(results.tempi.at(0)[1], 110.0f);
}

// At 90 BPM half the tempo is below the range and twice the tempo has no peak: the second tempo is
// missing, the range is toggled for a second estimate, and stays so.
TEST(BeatTempoFiguresTest, AMissingTempoTogglesTheHintForGood) {
    const std::vector<float> samples = DrumTrack(44100.0, {.bpm = 90.0});
    const Tempi expected = EstimateTempi(DetectionFunction(samples, 44100.0), 44100.0);
    ASSERT_EQ(0u, expected.hint);
    BeatRun run({kTempoKey}, {44100.0, 1, 4096, 0});
    run.Push({samples});
    const BeatResults results = run.Process();
    ASSERT_EQ(0, results.status);
    ExpectTempi(expected, results.tempi.at(0));
    EXPECT_EQ(0.0f, run.GenreHint());

    // The next segment is estimated in the toggled range, and so is the stream after a reset.
    const std::vector<float> fast = DrumTrack(44100.0, {.bpm = 120.0});
    const Tempi slow = EstimateTempi(DetectionFunction(fast, 44100.0), 44100.0, 0);
    ASSERT_NE(120.0f, slow.tempo1);
    run.Push({fast});
    ExpectTempi(slow, run.Process().tempi.at(0));
    EXPECT_EQ(0, run.Analyzer().Reset());
    run.Push({fast});
    ExpectTempi(slow, run.Process().tempi.at(0));
    // Until it is set again.
    EXPECT_EQ(0, run.SetGenreHint(1.0f));
    run.Push({fast});
    EXPECT_EQ(120.0f, run.Process().tempi.at(0)[0]);
}

TEST(BeatTempoFiguresTest, AToggledHintGovernsTheNextChannel) {
    const std::vector<float> slow = DrumTrack(44100.0, {.bpm = 90.0});
    const std::vector<float> fast = DrumTrack(44100.0, {.bpm = 120.0});
    const auto estimate = [](const std::vector<float>& samples, std::uint32_t hint) {
        return EstimateTempi(DetectionFunction(samples, 44100.0), 44100.0, hint);
    };
    const BeatResults toggled = Analyze({slow, fast}, 44100.0, {kTempoKey});
    ASSERT_EQ(0, toggled.status);
    ExpectTempi(estimate(slow, 1), toggled.tempi.at(0));
    ExpectTempi(estimate(fast, 0), toggled.tempi.at(1));
    const BeatResults untouched = Analyze({fast, slow}, 44100.0, {kTempoKey});
    ASSERT_EQ(0, untouched.status);
    ExpectTempi(estimate(fast, 1), untouched.tempi.at(0));
    ExpectTempi(estimate(slow, 1), untouched.tempi.at(1));
}

// 2.1 seconds of function frames: round(2.1 x 344.53125) = 724 at 44.1 kHz; at 48 kHz the product
// of 2.1 and 375 in single precision lies below 787.5, so 787.
TEST(BeatTempoFiguresTest, TwoPointOneSecondsAreTheLeast) {
    const struct {
        double rateHz;
        std::size_t leastFrames;
    } kCases[] = {{44100.0, 724}, {48000.0, 787}};
    for (const auto& [rateHz, leastFrames] : kCases) {
        const std::vector<float> samples = DrumTrack(rateHz, {.bpm = 150.0, .seconds = 3.0});
        const std::size_t enough = kBeatFrameSize + (leastFrames - 1) * kBeatHopSize;
        const std::vector<float> least(samples.begin(),
                                       samples.begin() + static_cast<std::ptrdiff_t>(enough));
        const BeatResults results = Analyze({least}, rateHz, {kTempoKey, kBeatKey});
        EXPECT_EQ(0, results.status) << rateHz;
        ExpectTempi(EstimateTempi(DetectionFunction(least, rateHz), rateHz), results.tempi.at(0));

        const std::vector<float> tooShort(least.begin(), least.end() - 1);
        const BeatResults none = Analyze({tooShort}, rateHz, {kTempoKey, kBeatKey});
        EXPECT_EQ(-1, none.status) << rateHz;
        EXPECT_TRUE(none.order.empty()) << rateHz;
    }
}

} // namespace
} // namespace qel::test
