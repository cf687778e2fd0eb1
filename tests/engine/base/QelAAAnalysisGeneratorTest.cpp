#include "engine/base/QelAAAnalysisGenerator.h"

#include <gtest/gtest.h>

#include <cstring>

namespace qel::core {
namespace {

void Ignore(void*, CFStringRef, UInt32, QelAudioAnalysisBlock*, void*) {}

class Probe : public QelAAAnalysisGenerator {
public:
    Probe(UInt32 frameSize, UInt32 hop, UInt32 streamLength)
        : QelAAAnalysisGenerator(1, 48000.0, frameSize, hop, 4096, streamLength, &Ignore, nullptr) {
    }
    using QelAAAnalysisGenerator::mNumAnalysisFrames;
    using QelAAAnalysisGenerator::mNumBins;
    using QelAAAnalysisGenerator::mSpectralProcessor;
};

UInt32 FramesFor(UInt32 length, UInt32 frameSize = 1024, UInt32 hop = 512) {
    return Probe(frameSize, hop, length).mNumAnalysisFrames;
}

TEST(QelAAAnalysisGeneratorTest, UnknownLengthCountsAsOneFrame) {
    EXPECT_EQ(FramesFor(0), 1u);
    EXPECT_EQ(FramesFor(0, 8192, 1024), 1u);
    EXPECT_EQ(FramesFor(0, 512, 1024), 1u) << "even where the hop exceeds the frame";
}

TEST(QelAAAnalysisGeneratorTest, StreamsUpToTheOverlapGiveNoFrame) {
    EXPECT_EQ(FramesFor(1), 0u);
    EXPECT_EQ(FramesFor(511), 0u);
    EXPECT_EQ(FramesFor(512), 0u);
    EXPECT_EQ(FramesFor(513), 1u);
}

TEST(QelAAAnalysisGeneratorTest, TheEstimateRoundsUp) {
    EXPECT_EQ(FramesFor(1024), 1u);
    EXPECT_EQ(FramesFor(1025), 2u);
    EXPECT_EQ(FramesFor(1536), 2u);
}

TEST(QelAAAnalysisGeneratorTest, AHopAboveTheFrameOrOfZeroGivesNoFrame) {
    EXPECT_EQ(FramesFor(100000, 512, 1024), 0u);
    EXPECT_EQ(FramesFor(100000, 512, 0), 0u);
}

TEST(QelAAAnalysisGeneratorTest, LengthsBeyondThirtyOneBitsGiveNoFrame) {
    EXPECT_EQ(FramesFor(0x80000000u + 512), 0u);
    EXPECT_EQ(FramesFor(0x80000000u + 511), (0x7FFFFFFFu + 1u) / 512u)
        << "2^31 - 1 is 2^31 in single precision";
}

// 2^25 + 1 samples after the overlap are 2^25 in single precision: one frame is lost.
TEST(QelAAAnalysisGeneratorTest, LongStreamsAreCountedInSinglePrecision) {
    EXPECT_EQ(FramesFor(512 + (1u << 25) + 1), (1u << 25) / 512);
    EXPECT_EQ(FramesFor(512 + (1u << 23) + 1), (1u << 23) / 512 + 1);
}

TEST(QelAAAnalysisGeneratorTest, BinsAreHalfTheFrame) {
    EXPECT_EQ(Probe(1024, 512, 0).mNumBins, 512u);
    EXPECT_EQ(Probe(1025, 512, 0).mNumBins, 512u);
}

TEST(QelAAAnalysisGeneratorTest, ANullListIsRefused) {
    EXPECT_EQ(Probe(1024, 512, 0).PushAudio(nullptr, 16), kAudioAnalysisErr_NullBufferList);
}

TEST(QelAAAnalysisGeneratorTest, WithoutAProcessorAPushIsTakenWithoutEffect) {
    Probe probe(1024, 512, 0);
    ASSERT_EQ(probe.mSpectralProcessor.get(), nullptr);
    float samples[16] = {};
    AudioBufferList list{1, {{1, sizeof samples, samples}}};
    EXPECT_EQ(probe.PushAudio(&list, 16), 0);
}

TEST(QelAAAnalysisGeneratorTest, MetaDataLeavesTheReservedBytesAlone) {
    Probe probe(1024, 256, 0);
    unsigned char bytes[24];
    std::memset(bytes, 0x5A, sizeof bytes);
    EXPECT_EQ(probe.GetMetaDataForKey(CFSTR("spectrum"), bytes), 0);
    QelAudioAnalysisKeyMetaData record;
    static_assert(sizeof record == sizeof bytes);
    std::memcpy(&record, bytes, sizeof record);
    EXPECT_EQ(record.mSampleRate, 48000.0);
    EXPECT_EQ(record.mFrameSize, 1024u);
    EXPECT_EQ(record.mHopSize, 256u);
    for (const UInt8 byte : record.mReserved) {
        EXPECT_EQ(byte, 0x5A);
    }
}

TEST(QelAAAnalysisGeneratorTest, ProcessPushesNoSilence) {
    class Counting : public Probe {
    public:
        using Probe::Probe;
        SInt32 PushAudio(AudioBufferList*, UInt32) override { return ++pushes; }
        int pushes = 0;
    };
    Counting generator(1024, 512, 0);
    EXPECT_EQ(generator.Process(1, nullptr, nullptr), 0);
    EXPECT_EQ(generator.pushes, 0);
}

} // namespace
} // namespace qel::core
