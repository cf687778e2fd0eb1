// How "audio range" takes a stream and hands out its records.

#include "tests/harness/TestSignals.h"
#include "tests/loudness/range/RangeFiguresSignals.h"
#include "tests/loudness/range/RangeStreamRun.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr std::size_t kFrames = 65536;

// Three different channels, with a floor and, but for the last, a cutoff.
const Audio& Channels() {
    static const Audio audio = {BandedNoise(kRate, kFrames, {{16000.0, -30.5}, {kRate, -65.5}}, 41),
                                BandedNoise(kRate, kFrames, {{13000.0, -20.5}, {kRate, -55.5}}, 42),
                                NoiseOfLevel(-45.5, kFrames, 43)};
    return audio;
}

template <class Value>
Value At(const std::vector<std::byte>& bytes, std::size_t offset) {
    Value value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

TEST(RangeStreamTest, ARecordHasThreeFloatsAndThreeWords) {
    RangeStreamRun run({kRate, 3, 4096, 0});
    run.Push(Channels());
    const RangeResults results = run.Process();
    EXPECT_EQ(1, results.deliveries);
    ASSERT_EQ(72u, results.bytes.size());
    // The level of each channel's top, 1.5 dB below the step that it lies in.
    const float floors[] = {-67.5f, -57.5f, -47.5f};
    for (std::size_t c = 0; c < 3; ++c) {
        const std::size_t record = c * 24;
        const auto headroom = At<float>(results.bytes, record);
        EXPECT_GT(headroom, 0.0f);
        EXPECT_LT(headroom, 1.0f);
        // Few frames, so the median may fall into a neighbouring step here and there.
        EXPECT_NEAR(floors[c], At<float>(results.bytes, record + 4), 0.5f);
        for (const std::size_t word : {12u, 16u, 20u}) {
            EXPECT_EQ(1, At<SInt32>(results.bytes, record + word));
        }
    }
    EXPECT_NEAR(16000.0f, At<float>(results.bytes, 8), 200.0f);
    EXPECT_NEAR(13000.0f, At<float>(results.bytes, 24 + 8), 200.0f);
    EXPECT_EQ(-1.0f, At<float>(results.bytes, 48 + 8));
}

TEST(RangeStreamTest, EachBlockShowsAllChannels) {
    TestAnalyzer analyzer({kRangeKey}, {kRate, 3, 4096, 0});
    analyzer.PushInBlocks(Channels(), 4096);
    int deliveries = 0;
    analyzer.onDelivery = [&](QelAudioAnalysisRef, CFStringRef name, UInt32 count,
                              QelAudioAnalysisBlock* blocks) {
        ++deliveries;
        EXPECT_EQ("audio range", ToText(name));
        ASSERT_EQ(3u, count);
        for (UInt32 c = 0; c < count; ++c) {
            EXPECT_EQ(blocks[0].mData, blocks[c].mData);
            EXPECT_EQ(72u, blocks[c].mDataByteSize);
        }
    };
    EXPECT_EQ(0, analyzer.Process(0));
    EXPECT_EQ(1, deliveries);
}

TEST(RangeStreamTest, AValidFieldIsOneForAllChannels) {
    // No channel has a cutoff, one has a floor.
    const Audio audio = {Silence(1, kFrames)[0], NoiseOfLevel(-45.5, kFrames, 44)};
    const RangeResults results = AnalyzeRange(audio, kRate);
    ASSERT_EQ(2u, results.channels.size());
    for (const QelAudioAnalysisRange& range : results.channels) {
        EXPECT_EQ(1, range.mHeadroomValid);
        EXPECT_EQ(1, range.mNoiseFloorValid);
        EXPECT_EQ(0, range.mCutoffValid);
        EXPECT_EQ(kNoCutoff, range.mCutoff);
    }
    EXPECT_EQ(kNoNoiseFloor, results.channels[0].mNoiseFloor);
}

TEST(RangeStreamTest, OfSeveralKeysTheLastSlotAnswers) {
    const Audio audio = Noise(0.5f, 1, 1000, 46);
    TestAnalyzer last({"spectrum", kRangeKey}, {kRate, 1, 4096, 0});
    EXPECT_EQ(-1, last.Push(audio, 0, 1000));
    EXPECT_EQ(0, last.Push(audio, 0, 512));
    TestAnalyzer beside({kRangeKey, "reasigned spectrum"}, {kRate, 1, 4096, 0});
    EXPECT_EQ(0, beside.Push(audio, 0, 1000));
}

TEST(RangeStreamTest, AFlushIsAPushOfSilenceIfThatIsWholeHalfFrames) {
    const Audio audio = {Channels()[0]};
    for (const UInt32 maxFrames : {1024u, 4096u, 65536u}) {
        RangeStreamRun run({kRate, 1, maxFrames, 0});
        run.Push(audio, 1024);
        RangeStreamRun silent({kRate, 1, maxFrames, 0});
        silent.Push(audio, 1024);
        silent.Push(Silence(1, maxFrames), maxFrames);
        EXPECT_EQ(silent.Process().bytes, run.Process(1).bytes) << maxFrames;
        // The half frame of silence is in front of what comes next.
        run.Push(audio, 1024);
        silent.Push(audio, 1024);
        EXPECT_EQ(silent.Process().bytes, run.Process().bytes) << maxFrames;
    }
    for (const UInt32 maxFrames : {1100u, 4095u}) {
        RangeStreamRun run({kRate, 1, maxFrames, 0});
        run.Push(audio, 1024);
        const RangeResults results = run.Process(1);
        EXPECT_EQ(0, results.status);
        EXPECT_EQ(AnalyzeRange(audio, kRate).bytes, results.bytes) << maxFrames;
    }
}

// Samples of silence are counted by a flush, which makes room for one more peak.
TEST(RangeStreamTest, AFlushCountsItsSilence) {
    Audio audio = Noise(0.1f, 1, 4096, 47);
    audio[0][2000] = -0.75f;
    audio[0][2001] = -0.75f;
    RangeStreamRun run({kRate, 1, 4096, 0});
    run.Push(audio);
    // 1.02 of 4096 samples, of which the two in step 127 are more; then 2.05.
    EXPECT_NEAR(126.0 / 511.0, run.Process().channels.at(0).mHeadroom, 2e-7);
    EXPECT_GT(run.Process(1).channels.at(0).mHeadroom, 0.8f);
}

TEST(RangeStreamTest, TheEndIsReportedOnceAndMayStop) {
    struct Reports {
        std::vector<float> percents;
        int answer = 0;
    };
    const auto report = [](void* unused, float percent, void* refCon) {
        EXPECT_EQ(nullptr, unused);
        auto* reports = static_cast<Reports*>(refCon);
        reports->percents.push_back(percent);
        return reports->answer;
    };
    RangeStreamRun run({kRate, 1, 4096, 0});
    for (const int answer : {0, 1, 7}) {
        Reports reports{{}, answer};
        EXPECT_EQ(answer == 0 ? 0 : -1,
                  QelAudioAnalysisProcess(run.Analyzer().Handle(), 0, report, &reports));
        EXPECT_EQ(std::vector<float>{100.0f}, reports.percents);
    }
}

TEST(RangeStreamTest, ThereIsNoRepresentation) {
    TestAnalyzer analyzer({kRangeKey}, {kRate, 2, 4096, 0});
    int deliveries = 0;
    analyzer.onDelivery = [&](QelAudioAnalysisRef handle, CFStringRef name, UInt32 count,
                              QelAudioAnalysisBlock* blocks) {
        ++deliveries;
        EXPECT_EQ(nullptr, QelAudioAnalysisCreateCFRepresentation(handle, kCFAllocatorDefault, name,
                                                                  count, blocks));
    };
    EXPECT_EQ(0, analyzer.Process());
    EXPECT_EQ(1, deliveries);
}

TEST(RangeStreamTest, OddAudioEndsInRecords) {
    const float infinity = std::numeric_limits<float>::infinity();
    for (const float odd : {std::nanf(""), infinity, -infinity, 3e38f, -3e38f, 1e-40f}) {
        Audio audio = {Channels()[0]};
        for (std::size_t i = 20000; i < 22000; ++i) {
            audio[0][i] = odd;
        }
        RangeStreamRun run({kRate, 1, 4096, 0});
        run.Push(audio);
        const RangeResults results = run.Process();
        EXPECT_EQ(0, results.status);
        ASSERT_EQ(1u, results.channels.size());
        const QelAudioAnalysisRange& range = results.channels[0];
        EXPECT_GE(range.mHeadroom, 0.0f) << odd;
        EXPECT_LE(range.mHeadroom, 1.0f) << odd;
        // A few frames of odd audio do not move medians by more than a level or two.
        EXPECT_NEAR(-67.5f, range.mNoiseFloor, 2.0f) << odd;
        EXPECT_NEAR(16000.0f, range.mCutoff, 200.0f) << odd;
    }
    // The samples of infinity are off the scale: 2000 are enough to leave no headroom.
    Audio audio = {Channels()[0]};
    std::fill_n(audio[0].begin() + 20000, 2000, -infinity);
    EXPECT_EQ(0.0f, AnalyzeRange(audio, kRate).channels.at(0).mHeadroom);
}

TEST(RangeStreamTest, AnySampleRateEndsInRecords) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double rateHz : {0.0, -44100.0, std::nan(""), infinity, -infinity, 1e300, 1e-300,
                                1.0, 1000.0, 8000.0, 192000.0, 1e9}) {
        RangeStreamRun run({rateHz, 1, 4096, 0});
        run.Push({Channels()[2]});
        const RangeResults results = run.Process();
        EXPECT_EQ(0, results.status) << rateHz;
        EXPECT_EQ(1, results.deliveries) << rateHz;
        // The rate is for the cutoff alone.
        EXPECT_NEAR(-47.5f, results.channels.at(0).mNoiseFloor, 0.5f) << rateHz;
    }
}

} // namespace
} // namespace qel::test
