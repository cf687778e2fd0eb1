#include "tests/loudness/range/RangeStreamRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace qel::test {

RangeStreamRun::RangeStreamRun(const StreamSetup& setup) : mAnalyzer({kRangeKey}, setup) {
    mAnalyzer.onDelivery = [this, channels = setup.channels](QelAudioAnalysisRef, CFStringRef name,
                                                             UInt32 count,
                                                             QelAudioAnalysisBlock* blocks) {
        EXPECT_EQ(kRangeKey, ToText(name));
        ++mCurrent.deliveries;
        ASSERT_EQ(channels, count);
        const std::size_t bytes = channels * kRangeRecordBytes;
        for (UInt32 c = 0; c < count; ++c) {
            // Each block shows the records of all channels.
            EXPECT_EQ(blocks[0].mData, blocks[c].mData);
            ASSERT_EQ(bytes, blocks[c].mDataByteSize);
        }
        mCurrent.bytes.resize(bytes);
        std::memcpy(mCurrent.bytes.data(), blocks[0].mData, bytes);
        mCurrent.channels.resize(channels);
        std::memcpy(mCurrent.channels.data(), blocks[0].mData, bytes);
    };
}

void RangeStreamRun::Push(const Audio& audio, UInt32 blockFrames) {
    mAnalyzer.PushInBlocks(audio, blockFrames);
}

SInt32 RangeStreamRun::PushOnce(const Audio& audio, std::size_t first, UInt32 frames) {
    return mAnalyzer.Push(audio, first, frames);
}

void RangeStreamRun::Reset() {
    EXPECT_EQ(0, mAnalyzer.Reset());
}

RangeResults RangeStreamRun::Process(UInt8 flush) {
    const SInt32 status = mAnalyzer.Process(flush);
    RangeResults results = std::exchange(mCurrent, RangeResults{});
    results.status = status;
    return results;
}

RangeResults AnalyzeRange(const Audio& audio, double rateHz, UInt32 blockFrames) {
    RangeStreamRun run({rateHz, static_cast<UInt32>(audio.size()), blockFrames, 0});
    Audio whole = audio;
    for (std::vector<float>& channel : whole) {
        channel.resize(channel.size() / kRangeHop * kRangeHop);
    }
    run.Push(whole, blockFrames);
    return run.Process();
}

void ExpectReferenceRange(const ReferenceRange& reference, const RangeResults& results) {
    // An edge of the samples' steps, which are 0.00196 wide, in single precision.
    constexpr double kHeadroomTolerance = 2e-7;
    // Means of levels of about -100 dB in single precision.
    constexpr double kNoiseFloorTolerance = 1e-4;
    // A bin times the rate, in single precision.
    constexpr double kCutoffTolerance = 0.01;
    EXPECT_EQ(0, results.status);
    EXPECT_EQ(1, results.deliveries);
    EXPECT_EQ(0u, reference.DoubtfulFrames());
    bool anyNoiseFloor = false;
    bool anyCutoff = false;
    for (std::size_t c = 0; c < results.channels.size(); ++c) {
        SCOPED_TRACE(c);
        const ReferenceRangeFigures expected = reference.Figures(c);
        const QelAudioAnalysisRange& actual = results.channels[c];
        EXPECT_GE(actual.mHeadroom, expected.headroomLow - kHeadroomTolerance);
        EXPECT_LE(actual.mHeadroom, expected.headroomHigh + kHeadroomTolerance);
        if (!(expected.noiseFloorMayMiss && actual.mNoiseFloor == kNoNoiseFloor)) {
            EXPECT_GE(actual.mNoiseFloor, expected.noiseFloorLow - kNoiseFloorTolerance);
            EXPECT_LE(actual.mNoiseFloor, expected.noiseFloorHigh + kNoiseFloorTolerance);
        }
        EXPECT_TRUE(std::any_of(
            expected.cutoffs.begin(), expected.cutoffs.end(),
            [&](double cutoff) { return std::abs(actual.mCutoff - cutoff) < kCutoffTolerance; }))
            << actual.mCutoff << " is not " << expected.cutoffs.front() << " nor another of "
            << expected.cutoffs.size() << " answers";
        anyNoiseFloor = anyNoiseFloor || actual.mNoiseFloor != kNoNoiseFloor;
        anyCutoff = anyCutoff || actual.mCutoff != kNoCutoff;
    }
    for (const QelAudioAnalysisRange& actual : results.channels) {
        EXPECT_EQ(1, actual.mHeadroomValid);
        EXPECT_EQ(anyNoiseFloor ? 1 : 0, actual.mNoiseFloorValid);
        EXPECT_EQ(anyCutoff ? 1 : 0, actual.mCutoffValid);
    }
}

} // namespace qel::test
