// "beat data" against closed forms and the reference.

#include "tests/harness/TestSignals.h"
#include "tests/rhythm/beats/BeatAssertions.h"

#include <algorithm>
#include <cmath>

namespace qel::test {
namespace {

using BeatsOfClicks = testing::TestWithParam<std::tuple<double, double>>;

// The chain starts at the stream's very end, which may lie half a period off the clicks, and a step
// bends by no more than about a sixth of a period: so the last few beats lead over to the clicks.
constexpr std::size_t kFreeAtStart = 2;
constexpr std::size_t kFreeAtEnd = 6;

TEST_P(BeatsOfClicks, BeatsKeepTheClicksDistance) {
    const auto [rateHz, bpm] = GetParam();
    const BeatResults results =
        Analyze({DrumTrack(rateHz, {.bpm = bpm})}, rateHz, {kTempoKey, kBeatKey});
    ASSERT_EQ(0, results.status);
    const float tempo = results.tempi.at(0)[2] < 0.5f ? results.tempi[0][1] : results.tempi[0][0];
    const std::vector<Event>& beats = results.beats.at(0);
    // With the clicks' tempo or an exact fraction of it in use, beats fall on every click, every
    // second or every third.
    const double clicksPerBeat = std::round(bpm / static_cast<double>(tempo));
    const double distance = clicksPerBeat * 60.0 / bpm * FunctionRate(rateHz);
    const double expectedCount = (12.0 - kFirstStrokeSeconds) * bpm / 60.0 / clicksPerBeat;
    EXPECT_NEAR(expectedCount, static_cast<double>(beats.size()), 2.0);
    const auto period = static_cast<float>(60.0 * FunctionRate(rateHz)) / tempo;
    for (std::size_t i = kFreeAtStart; i + kFreeAtEnd < beats.size(); ++i) {
        const double frame = beats[i].timeSeconds * FunctionRate(rateHz);
        const double next = beats[i + 1].timeSeconds * FunctionRate(rateHz);
        // A beat is a whole frame near a peak that is a whole frame near the click: one each.
        if (i + 1 + kFreeAtEnd < beats.size()) {
            EXPECT_NEAR(distance, next - frame, 2.0) << "beat " << i;
        }
        // A click makes the function rise from the frame that it first reaches, 8 hops before its
        // own time, until it stands in the middle of a frame; the smoothing moves that.
        const double click = (kFirstStrokeSeconds * rateHz) / kBeatHopSize;
        const double clickDistance = 60.0 / bpm * FunctionRate(rateHz);
        const double rise = frame - SmoothingShift(period);
        const double behind = rise + 8.0 - click;
        const double after = behind - clickDistance * std::floor(behind / clickDistance);
        const double nearest = std::min(after, clickDistance - after);
        EXPECT_TRUE(after <= 5.0 || nearest <= 1.0) << "beat " << i << ": " << after;
    }
}

INSTANTIATE_TEST_SUITE_P(TempiRates, BeatsOfClicks,
                         testing::Combine(testing::Values(44100.0, 48000.0),
                                          testing::Values(90.0, 120.0, 128.0, 150.0)));

TEST(BeatTrackingFiguresTest, TheReferenceAgrees) {
    const struct {
        double rateHz;
        Drums drums;
        float hint;
    } kCases[] = {
        {44100.0, {.bpm = 120.0, .meter = 4, .seconds = 8.0}, 1.0f},
        {44100.0, {.bpm = 97.0, .meter = 3, .seconds = 9.0}, 0.0f},
        {48000.0, {.bpm = 150.0, .meter = 5, .seconds = 8.0}, 1.0f},
    };
    for (const auto& [rateHz, drums, hint] : kCases) {
        SCOPED_TRACE(drums.bpm);
        const std::vector<float> samples = DrumTrack(rateHz, drums);
        const BeatResults results = Analyze({samples}, rateHz, {kBeatKey}, hint);
        ASSERT_EQ(0, results.status);
        const std::vector<double> function = DetectionFunction(samples, rateHz);
        const Tempi tempi = EstimateTempi(function, rateHz, static_cast<std::uint32_t>(hint));
        ExpectBeats(TrackBeats(function, rateHz, tempi), rateHz, 0.0, results.beats.at(0));
    }
}

TEST(BeatTrackingFiguresTest, TheReferenceAgreesOnMusic) {
    const Audio audio = MusicLike(44100.0, 1, 44100 * 8, 3);
    const BeatResults results = Analyze(audio, 44100.0, {kTempoKey, kBeatKey});
    ASSERT_EQ(0, results.status);
    const std::vector<double> function = DetectionFunction(audio[0], 44100.0);
    const Tempi tempi = EstimateTempi(function, 44100.0);
    ExpectTempi(tempi, results.tempi.at(0));
    ExpectBeats(TrackBeats(function, 44100.0, tempi), 44100.0, 0.0, results.beats.at(0));
}

TEST(BeatTrackingFiguresTest, TheLastBeatIsTheLastFrame) {
    const std::vector<float> samples = DrumTrack(44100.0, {.seconds = 5.3});
    const BeatResults results = Analyze({samples}, 44100.0, {kBeatKey});
    ASSERT_EQ(0, results.status);
    const auto last = static_cast<double>(NumFunctionFrames(samples.size()) - 1);
    EXPECT_EQ(last / FunctionRate(44100.0), results.beats.at(0).back().timeSeconds);
}

TEST(BeatTrackingFiguresTest, BeatsAscendAndStrengthsReachNoMoreThanOne) {
    const BeatResults results =
        Analyze(MusicLike(44100.0, 2, 44100 * 6), 44100.0, {kTempoKey, kBeatKey});
    ASSERT_EQ(0, results.status);
    ASSERT_EQ(2u, results.beats.size());
    for (std::size_t c = 0; c < 2; ++c) {
        const std::vector<Event>& beats = results.beats[c];
        ASSERT_GT(beats.size(), 3u);
        const bool usesSecond = results.tempi[c][2] < 0.5f;
        const double period = 60.0 / static_cast<double>(results.tempi[c][usesSecond ? 1 : 0]);
        const double frame = 1.0 / FunctionRate(44100.0);
        EXPECT_GE(beats[0].timeSeconds, 0.0);
        EXPECT_LT(beats[0].timeSeconds, 2.0 * period);
        for (std::size_t i = 1; i < beats.size(); ++i) {
            const double step = beats[i].timeSeconds - beats[i - 1].timeSeconds;
            // The search window reaches from twice to half the period.
            EXPECT_GE(step, 0.5 * period - frame);
            EXPECT_LE(step, 2.0 * period + frame);
            EXPECT_GE(beats[i].strength, 0.0f);
        }
    }
}

TEST(BeatTrackingFiguresTest, ChannelsAreTrackedApart) {
    const std::vector<float> fast = DrumTrack(44100.0, {.bpm = 150.0});
    const std::vector<float> slow = DrumTrack(44100.0, {.bpm = 120.0});
    const std::vector<std::string> keys = {kTempoKey, kBeatKey};
    const BeatResults both = Analyze({fast, slow}, 44100.0, keys);
    const BeatResults first = Analyze({fast}, 44100.0, keys);
    const BeatResults second = Analyze({slow}, 44100.0, keys);
    ASSERT_EQ(0, both.status);
    ASSERT_EQ(2u, both.beats.size());
    BeatResults joined = first;
    joined.tempi.push_back(second.tempi.at(0));
    joined.beats.push_back(second.beats.at(0));
    EXPECT_EQ(joined.Bytes(), both.Bytes());
    EXPECT_NE(first.Bytes(), second.Bytes());
}

} // namespace
} // namespace qel::test
