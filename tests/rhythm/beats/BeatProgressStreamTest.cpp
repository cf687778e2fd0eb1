// The progress reports of the beat keys, and what a stop at each of them leaves.

#include "tests/rhythm/beats/BeatAssertions.h"

#include <cmath>
#include <memory>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr SInt32 kStoppedEarly = -1; // while tempi are estimated, or at the very end
constexpr SInt32 kStoppedInMeter = -128;
const std::vector<std::string> kTempoAndBeats = {kTempoKey, kBeatKey};

// Percentages of one section that is the whole stream: the first half for the estimate, the second
// for the tracking.
const std::vector<double> kEstimate = {15.0, 35.0, 40.0, 45.0, 50.0};

void Append(std::vector<double>& to, const std::vector<double>& values) {
    to.insert(to.end(), values.begin(), values.end());
}

std::vector<double> SmoothingReports(std::size_t frames) {
    std::vector<double> reports;
    for (std::size_t i = 0; i < frames; i += 2000) {
        reports.push_back(50.0 + static_cast<double>(i) / static_cast<double>(frames) * 15.0);
    }
    return reports;
}

std::vector<double> TrackingReports(std::size_t frames) {
    std::vector<double> reports = SmoothingReports(frames);
    reports.push_back(70.0);
    for (std::size_t i = 0; i < frames; i += 2000) {
        reports.push_back(70.0 + static_cast<double>(i) / static_cast<double>(frames) * 10.0);
    }
    Append(reports, {85.0, 90.0, 95.0, 100.0});
    return reports;
}

std::vector<double> MeterReports() {
    std::vector<double> reports = {15.0, 20.0};
    for (double shift = 0.0; shift < 1350.0; shift += 100.0) {
        reports.push_back(25.0 + shift / 1350.0 * 60.0);
    }
    Append(reports, {80.0, 90.0});
    return reports;
}

void ExpectReports(const std::vector<double>& expected, const std::vector<float>& actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        // Sums of a few single-precision terms up to 100.
        EXPECT_NEAR(expected[i], actual[i], 1e-4) << "report " << i;
    }
}

class BeatProgressStreamTest : public testing::Test {
protected:
    // A fresh run that has the whole stream.
    std::unique_ptr<BeatRun> Ready(const std::vector<std::string>& keys) const {
        auto run = std::make_unique<BeatRun>(keys, StreamSetup{kRate, 1, 4096, 0});
        run->Push({mSamples});
        return run;
    }

    const std::vector<float> mSamples =
        DrumTrack(kRate, {.bpm = 120.0, .meter = 3, .seconds = 13.0});
    const std::size_t mFrames = NumFunctionFrames(mSamples.size());
};

TEST_F(BeatProgressStreamTest, EachStepReportsInOrder) {
    ASSERT_GT(mFrames, 4000u); // several reports within the smoothing and the tracking
    std::vector<double> expected = kEstimate;
    Append(expected, TrackingReports(mFrames));
    Append(expected, MeterReports());
    expected.push_back(100.0);
    const BeatResults results = Ready(kAllBeatKeys)->ProcessWithProgress();
    EXPECT_EQ(0, results.status);
    ExpectReports(expected, results.progress);
    // Progress changes no result.
    EXPECT_EQ(Analyze({mSamples}, kRate).Bytes(), results.Bytes());
}

TEST_F(BeatProgressStreamTest, OnlyWhatIsWantedReports) {
    std::vector<double> expected = kEstimate;
    expected.push_back(100.0);
    ExpectReports(expected, Ready({kTempoKey})->ProcessWithProgress().progress);

    expected = MeterReports();
    expected.push_back(100.0);
    ExpectReports(expected, Ready({kMeterKey})->ProcessWithProgress().progress);

    expected = kEstimate;
    Append(expected, TrackingReports(mFrames));
    expected.push_back(100.0);
    ExpectReports(expected, Ready({kBeatKey})->ProcessWithProgress().progress);
}

TEST_F(BeatProgressStreamTest, EachChannelReportsAnew) {
    BeatRun run(kTempoAndBeats, {kRate, 2, 4096, 0});
    run.Push({mSamples, mSamples});
    std::vector<double> expected;
    for (int channel = 0; channel < 2; ++channel) {
        Append(expected, kEstimate);
        Append(expected, TrackingReports(mFrames));
    }
    expected.push_back(100.0);
    ExpectReports(expected, run.ProcessWithProgress().progress);
}

// A second estimate in the toggled range reports its end alone.
TEST_F(BeatProgressStreamTest, ARetryReportsItsEnd) {
    BeatRun run({kTempoKey}, {kRate, 1, 4096, 0});
    run.Push({DrumTrack(kRate, {.bpm = 90.0})});
    const BeatResults results = run.ProcessWithProgress();
    ASSERT_EQ(0.0f, run.GenreHint());
    ExpectReports({15.0, 35.0, 40.0, 45.0, 50.0, 50.0, 100.0}, results.progress);
}

// Its result is dropped, also when it was asked to stop: the tempi stand all the same.
TEST_F(BeatProgressStreamTest, AStopInTheRetryIsDropped) {
    const std::vector<float> slow = DrumTrack(kRate, {.bpm = 90.0});
    BeatRun run({kTempoKey}, {kRate, 1, 4096, 0});
    run.Push({slow});
    const BeatResults results = run.ProcessWithProgress(4);
    EXPECT_EQ(0, results.status);
    EXPECT_EQ(7u, results.progress.size());
    EXPECT_EQ(Analyze({slow}, kRate, {kTempoKey}).Bytes(), results.Bytes());
}

TEST_F(BeatProgressStreamTest, AnEstimateThatFindsNothingDoesNotReportItsEnd) {
    BeatRun run({kTempoKey}, {kRate, 1, 4096, 0});
    run.Push({std::vector<float>(44100 * 4)});
    const BeatResults results = run.ProcessWithProgress();
    EXPECT_EQ(-1, results.status);
    ExpectReports({15.0, 35.0, 40.0, 45.0}, results.progress);
}

TEST_F(BeatProgressStreamTest, AShortStreamReportsOnce) {
    BeatRun run({kTempoKey}, {kRate, 1, 4096, 0});
    run.Push({std::vector<float>(44100)});
    const BeatResults results = run.ProcessWithProgress();
    EXPECT_EQ(-1, results.status);
    ExpectReports({15.0}, results.progress);
}

// Nothing leaves, and the stored function stays for another call.
TEST_F(BeatProgressStreamTest, AStopInTheEstimateEndsEverything) {
    const BeatResults whole = Analyze({mSamples}, kRate);
    const auto run = Ready(kAllBeatKeys);
    for (int stopAt = 0; stopAt < static_cast<int>(kEstimate.size()); ++stopAt) {
        const BeatResults stopped = run->ProcessWithProgress(stopAt);
        EXPECT_EQ(kStoppedEarly, stopped.status) << stopAt;
        EXPECT_TRUE(stopped.order.empty()) << stopAt;
        ExpectReports({kEstimate.begin(), kEstimate.begin() + stopAt + 1}, stopped.progress);
    }
    EXPECT_EQ(whole.Bytes(), run->Process().Bytes());
}

// The rest of the smoothed function is 0 then, and the tracking goes on.
TEST_F(BeatProgressStreamTest, AStopInTheSmoothingLeavesZeros) {
    const std::vector<double> function = DetectionFunction(mSamples, kRate);
    const Tempi tempi = EstimateTempi(function, kRate);
    const std::size_t reports = SmoothingReports(mFrames).size();
    for (std::size_t i = 0; i < reports; ++i) {
        const BeatResults stopped =
            Ready(kTempoAndBeats)->ProcessWithProgress(static_cast<int>(kEstimate.size() + i));
        EXPECT_EQ(0, stopped.status);
        EXPECT_EQ(kTempoAndBeats, stopped.order);
        const Tracking expected = TrackBeats(function, kRate, tempi, i * 2000 + 1);
        std::vector<std::size_t> frames;
        for (const Event& beat : stopped.beats.at(0)) {
            frames.push_back(
                static_cast<std::size_t>(std::llround(beat.timeSeconds * FunctionRate(kRate))));
        }
        ASSERT_EQ(expected.beats.size(), frames.size()) << i;
        ASSERT_EQ(mFrames - 1, frames.back()) << i;
        for (std::size_t b = 0; b < frames.size(); ++b) {
            const std::size_t frame = expected.beats[frames.size() - 1 - b].frame;
            if (frame < i * 2000) {
                EXPECT_EQ(frame, frames[b]) << i;
            }
            // Where nothing was smoothed, the scores around the best predecessor are nearly flat,
            // and chains part by rounding. Yet every link must be a best one of its frame, to a few
            // units in the last place.
            if (b > 0) {
                EXPECT_LT(expected.Shortfall(frames[b], frames[b - 1]), 1e-6) << i;
            }
        }
        // All other reports follow.
        EXPECT_EQ(kEstimate.size() + TrackingReports(mFrames).size() - (reports - 1 - i) + 1,
                  stopped.progress.size());
    }
}

// With nothing smoothed all scores are 0, and the chain steps back by two periods from the end.
TEST_F(BeatProgressStreamTest, AStopAtTheFirstSmoothedValueLeavesStepsOfTwoPeriods) {
    const BeatResults stopped =
        Ready(kTempoAndBeats)->ProcessWithProgress(static_cast<int>(kEstimate.size()));
    ASSERT_EQ(120.0f, stopped.tempi.at(0)[0]);
    // 172.265625 frames, twice, cut toward 0.
    std::vector<double> times;
    for (double frame = static_cast<double>(mFrames - 1); frame > -1.0;) {
        times.push_back(frame / FunctionRate(kRate));
        const double next = static_cast<double>(static_cast<int>(frame - 344.53125));
        if (frame - 344.53125 <= -1.0) {
            break;
        }
        frame = next;
    }
    ASSERT_EQ(times.size(), stopped.beats.at(0).size());
    for (std::size_t i = 0; i < times.size(); ++i) {
        EXPECT_EQ(times[times.size() - 1 - i], stopped.beats[0][i].timeSeconds);
    }
}

// Such a stop does not stop the delivery; only at the last report are there beats.
TEST_F(BeatProgressStreamTest, AStopInTheTrackingLeavesNoBeats) {
    const BeatResults whole = Analyze({mSamples}, kRate, kTempoAndBeats);
    const std::size_t first = kEstimate.size() + SmoothingReports(mFrames).size();
    const std::size_t end = kEstimate.size() + TrackingReports(mFrames).size();
    for (std::size_t stopAt = first; stopAt < end; ++stopAt) {
        const BeatResults stopped =
            Ready(kTempoAndBeats)->ProcessWithProgress(static_cast<int>(stopAt));
        EXPECT_EQ(stopAt + 2, stopped.progress.size()) << stopAt;
        EXPECT_EQ(100.0f, stopped.progress.back());
        if (stopAt + 1 == end) {
            EXPECT_EQ(whole.Bytes(), stopped.Bytes());
        } else {
            EXPECT_EQ(0, stopped.status) << stopAt;
            EXPECT_EQ(whole.tempi, stopped.tempi) << stopAt;
            EXPECT_EQ(kTempoAndBeats, stopped.order) << stopAt;
            EXPECT_TRUE(stopped.beats.at(0).empty()) << stopAt;
        }
    }
}

TEST_F(BeatProgressStreamTest, WithoutBeatsThereAreNoDownBeats) {
    const std::size_t at = kEstimate.size() + SmoothingReports(mFrames).size();
    const BeatResults stopped = Ready(kAllBeatKeys)->ProcessWithProgress(static_cast<int>(at));
    EXPECT_EQ(0, stopped.status);
    EXPECT_EQ(kAllBeatKeys, stopped.order);
    EXPECT_EQ(std::vector<UInt32>{3}, stopped.meters);
    EXPECT_TRUE(stopped.downBeats.at(0).empty());
}

// Nothing of the meter leaves, and the stored audio stays for another call.
TEST_F(BeatProgressStreamTest, AStopInTheMeterStageKeepsTheAudio) {
    const auto run = Ready({kMeterKey});
    for (int stopAt = 0; stopAt < static_cast<int>(MeterReports().size()); ++stopAt) {
        const BeatResults stopped = run->ProcessWithProgress(stopAt);
        EXPECT_EQ(kStoppedInMeter, stopped.status) << stopAt;
        EXPECT_TRUE(stopped.order.empty()) << stopAt;
        EXPECT_EQ(static_cast<std::size_t>(stopAt) + 1, stopped.progress.size());
    }
    const BeatResults whole = run->Process();
    EXPECT_EQ(0, whole.status);
    EXPECT_EQ(std::vector<UInt32>{3}, whole.meters);
}

TEST_F(BeatProgressStreamTest, AStopInTheMeterStageComesAfterTempoAndBeats) {
    const std::size_t at = kEstimate.size() + TrackingReports(mFrames).size() + 5;
    const BeatResults stopped = Ready(kAllBeatKeys)->ProcessWithProgress(static_cast<int>(at));
    BeatResults expected = Analyze({mSamples}, kRate, kTempoAndBeats);
    ASSERT_EQ(0, expected.status);
    expected.status = kStoppedInMeter;
    EXPECT_EQ(expected.Bytes(), stopped.Bytes());
}

// All is delivered by then, and the segment is over.
TEST_F(BeatProgressStreamTest, AStopAtTheEndIsMinusOneAndNoMore) {
    const auto run = Ready(kTempoAndBeats);
    const std::size_t last = kEstimate.size() + TrackingReports(mFrames).size();
    const BeatResults stopped = run->ProcessWithProgress(static_cast<int>(last));
    BeatResults expected = Analyze({mSamples}, kRate, kTempoAndBeats);
    expected.status = kStoppedEarly;
    EXPECT_EQ(expected.Bytes(), stopped.Bytes());
    const BeatResults empty = run->Process();
    EXPECT_EQ(-1, empty.status);
    EXPECT_TRUE(empty.order.empty());
}

} // namespace
} // namespace qel::test
