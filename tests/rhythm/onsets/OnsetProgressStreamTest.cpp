// The progress reports of "onset data", and what a stop at each of them leaves.

#include "tests/harness/TestSignals.h"
#include "tests/rhythm/onsets/OnsetAssertions.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr SInt32 kStopped = -128;
constexpr SInt32 kStoppedAtTheEnd = -1;

class OnsetProgressStreamTest : public testing::Test {
protected:
    // The middle of the reports of one channel: candidates 0, 100, 200, ... of how many there are.
    static std::vector<double> CandidateReports(std::size_t candidates) {
        std::vector<double> reports;
        for (std::size_t i = 0; i < candidates; i += 100) {
            reports.push_back(20.0 +
                              static_cast<double>(i) / static_cast<double>(candidates) * 60.0);
        }
        return reports;
    }

    // All reports of one Process, by the candidates of each channel.
    static std::vector<double> AllReports(const std::vector<std::size_t>& candidates) {
        std::vector<double> reports = {40.0};
        for (const std::size_t count : candidates) {
            reports.push_back(20.0);
            const std::vector<double> middle = CandidateReports(count);
            reports.insert(reports.end(), middle.begin(), middle.end());
            reports.push_back(80.0);
            reports.push_back(90.0);
        }
        reports.push_back(100.0); // all is delivered
        reports.push_back(100.0); // the end of every group of keys
        return reports;
    }

    // The same clicks in every channel, 700 frames apart. At a sensitivity of 100 candidates stand
    // at least 512 apart, and before a click nothing stands out of the curve that rises toward it:
    // so each click is one candidate, and after the last one the stream ends. In blocks of five
    // clicks, what runs on into the next channel is what ran on in the own one.
    static void PushClicks(OnsetRun& run, UInt32 channels, std::size_t count) {
        std::vector<Impulse> clicks;
        for (std::size_t i = 0; i < count; ++i) {
            clicks.push_back({10 + i * 700, 0.5f});
        }
        const std::vector<float> channel = Impulses(count * 700 - 300, clicks)[0];
        EXPECT_EQ(0, run.SetSensitivity(100.0f));
        run.Push(Audio(channels, channel), 3500);
    }

    static void ExpectReports(const std::vector<double>& expected,
                              const std::vector<float>& actual) {
        ASSERT_EQ(expected.size(), actual.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            // A few roundings of values up to 100.
            EXPECT_NEAR(expected[i], actual[i], 2e-5) << "report " << i;
        }
    }
};

TEST_F(OnsetProgressStreamTest, EachChannelReportsAnew) {
    for (const UInt32 channels : {1u, 2u, 3u}) {
        for (const std::size_t count : {1u, 100u, 101u, 250u}) {
            OnsetRun run({kRate, channels, 4096, 0});
            PushClicks(run, channels, count);
            const OnsetResults results = run.ProcessWithProgress(-1, 0);
            EXPECT_EQ(0, results.status);
            ExpectReports(AllReports(std::vector<std::size_t>(channels, count)), results.progress);
            // Progress changes no result.
            EXPECT_EQ(run.Process(0).Bytes(), results.Bytes());
        }
    }
}

TEST_F(OnsetProgressStreamTest, WithoutCandidatesTheyReportNothing) {
    OnsetRun silent({kRate, 2, 4096, 0});
    silent.Push(Silence(2, 20000));
    ExpectReports(AllReports({0, 0}), silent.ProcessWithProgress().progress);

    OnsetRun empty({kRate, 1, 4096, 0});
    const OnsetResults results = empty.ProcessWithProgress(-1, 0);
    EXPECT_EQ(0, results.status);
    ExpectReports(AllReports({0}), results.progress);
}

// Nothing leaves, also of the channels that were done, and the stored audio stays.
TEST_F(OnsetProgressStreamTest, AStopIsMinus128AndDeliversNothing) {
    for (const UInt32 channels : {1u, 2u}) {
        const Audio audio = MusicLike(kRate, channels, 8 * 44100, 3);
        const OnsetResults whole = AnalyzeOnsets(audio, kRate, 4096, 100.0f);
        OnsetRun run({kRate, channels, 4096, 0});
        EXPECT_EQ(0, run.SetSensitivity(100.0f));
        run.Push(audio);
        run.Push(Silence(channels, kFlushFrames));
        const std::vector<float> all = run.ProcessWithProgress(-1, 0).progress;
        ASSERT_GT(all.size(), 3u + 4u * channels);
        const auto last = static_cast<int>(all.size()) - 1;
        for (int stopAt = 0; stopAt < last - 1; ++stopAt) {
            const OnsetResults stopped = run.ProcessWithProgress(stopAt, 0);
            EXPECT_EQ(kStopped, stopped.status) << stopAt;
            EXPECT_EQ(0, stopped.deliveries) << stopAt;
            EXPECT_EQ(std::vector<float>(all.begin(), all.begin() + stopAt + 1), stopped.progress);
        }
        EXPECT_EQ(whole.Bytes(), run.Process(0).Bytes());

        // And after a reset it is as if nothing had been.
        EXPECT_EQ(0, run.Analyzer().Reset());
        run.Push(audio);
        EXPECT_EQ(whole.Bytes(), run.Process().Bytes());
    }
}

// The last two reports come after the delivery; the second of them is that of every group of keys.
TEST_F(OnsetProgressStreamTest, AStopAtTheEndComesAfterTheDelivery) {
    const Audio audio = MusicLike(kRate, 2, 44100, 3);
    const OnsetResults whole = AnalyzeOnsets(audio, kRate);
    OnsetRun run({kRate, 2, 4096, 0});
    run.Push(audio);
    run.Push(Silence(2, kFlushFrames));
    const auto last = static_cast<int>(run.ProcessWithProgress(-1, 0).progress.size()) - 1;
    for (const auto& [stopAt, status] :
         {std::pair{last - 1, kStopped}, std::pair{last, kStoppedAtTheEnd}}) {
        const OnsetResults stopped = run.ProcessWithProgress(stopAt, 0);
        EXPECT_EQ(status, stopped.status);
        EXPECT_EQ(static_cast<std::size_t>(stopAt) + 1, stopped.progress.size());
        OnsetResults expected = whole;
        expected.status = status;
        EXPECT_EQ(expected.Bytes(), stopped.Bytes());
    }
}

} // namespace
} // namespace qel::test
