// Which formats are canonical, seen through initialization.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace qel::test {
namespace {

constexpr UInt32 kNonInterleaved = kAudioFormatFlagIsNonInterleaved;

// The status of initializing an analyzer without keys for the format.
SInt32 StatusFor(const AudioStreamBasicDescription& format) {
    TestAnalyzer analyzer(std::vector<std::string>{});
    const AudioChannelLayout layout = PlainLayout();
    return QelAudioAnalysisInitialize(analyzer.Handle(), 512, &format, &layout, 0);
}

AudioStreamBasicDescription Interleaved(UInt32 channels) {
    AudioStreamBasicDescription format = CanonicalFormat(44100.0, channels);
    format.mFormatFlags &= ~kNonInterleaved;
    format.mBytesPerFrame = 4 * channels;
    format.mBytesPerPacket = 4 * channels;
    return format;
}

TEST(InitializeContractTest, CanonicalFormatsOfAnyChannelCountPass) {
    for (const UInt32 channels : {1u, 2u, 3u, 6u, 64u}) {
        EXPECT_EQ(0, StatusFor(CanonicalFormat(44100.0, channels))) << channels;
        EXPECT_EQ(0, StatusFor(Interleaved(channels))) << channels;
    }
}

TEST(InitializeContractTest, RateAndChannelCountAreNotTested) {
    for (const double rateHz : {0.0, 1.0, 44100.5, 1e9}) {
        EXPECT_EQ(0, StatusFor(CanonicalFormat(rateHz, 1))) << rateHz;
    }
    EXPECT_EQ(0, StatusFor(CanonicalFormat(44100.0, 0)));
}

TEST(InitializeContractTest, OtherFlagBitsAreIgnored) {
    AudioStreamBasicDescription format = CanonicalFormat(44100.0, 2);
    format.mFormatFlags |= 0xFFFFFFC0u;
    EXPECT_EQ(0, StatusFor(format));
}

TEST(InitializeContractTest, TheFormatMustBeLinearPcm) {
    AudioStreamBasicDescription format = CanonicalFormat(44100.0, 2);
    format.mFormatID = kAudioFormatMPEGLayer3;
    EXPECT_EQ(-3865, StatusFor(format));
}

TEST(InitializeContractTest, TheFlagsMustSayFloatAndPackedAndNothingElseOfTheirFive) {
    for (UInt32 flags = 0; flags < 32; ++flags) {
        AudioStreamBasicDescription format = CanonicalFormat(44100.0, 2);
        format.mFormatFlags = flags | kNonInterleaved;
        EXPECT_EQ(flags == 9 ? 0 : -3865, StatusFor(format)) << "flags " << flags;
    }
}

TEST(InitializeContractTest, IntegersOf32BitsAreNotCanonical) {
    AudioStreamBasicDescription format = CanonicalFormat(44100.0, 2);
    format.mFormatFlags = static_cast<UInt32>(kAudioFormatFlagIsSignedInteger) |
                          static_cast<UInt32>(kAudioFormatFlagIsPacked) | kNonInterleaved;
    EXPECT_EQ(-3865, StatusFor(format));
}

TEST(InitializeContractTest, SamplesMustHave32Bits) {
    for (const UInt32 bits : {0u, 16u, 24u, 31u, 64u}) {
        AudioStreamBasicDescription format = CanonicalFormat(44100.0, 2);
        format.mBitsPerChannel = bits;
        EXPECT_EQ(-3865, StatusFor(format)) << bits;
    }
}

TEST(InitializeContractTest, APacketMustBeOneFrame) {
    for (const UInt32 frames : {0u, 2u}) {
        AudioStreamBasicDescription format = CanonicalFormat(44100.0, 2);
        format.mFramesPerPacket = frames;
        EXPECT_EQ(-3865, StatusFor(format)) << frames;
    }
}

TEST(InitializeContractTest, NonInterleavedFramesAndPacketsHave4BytesEach) {
    AudioStreamBasicDescription wideFrame = CanonicalFormat(44100.0, 2);
    wideFrame.mBytesPerFrame = 8;
    EXPECT_EQ(-3865, StatusFor(wideFrame));
    AudioStreamBasicDescription widePacket = CanonicalFormat(44100.0, 2);
    widePacket.mBytesPerPacket = 8;
    EXPECT_EQ(-3865, StatusFor(widePacket));
    AudioStreamBasicDescription both = CanonicalFormat(44100.0, 2);
    both.mBytesPerFrame = 8;
    both.mBytesPerPacket = 8;
    EXPECT_EQ(-3865, StatusFor(both));
}

TEST(InitializeContractTest, InterleavedFramesAndPacketsHave4BytesPerChannel) {
    AudioStreamBasicDescription format = Interleaved(2);
    format.mBytesPerFrame = 4;
    EXPECT_EQ(-3865, StatusFor(format));
    format = Interleaved(2);
    format.mBytesPerPacket = 4;
    EXPECT_EQ(-3865, StatusFor(format));
}

TEST(InitializeContractTest, MonoMayBeCalledInterleavedOrNot) {
    for (const AudioStreamBasicDescription& format :
         {CanonicalFormat(44100.0, 1), Interleaved(1)}) {
        TestAnalyzer analyzer({"spectrum"});
        const AudioChannelLayout layout = PlainLayout();
        ASSERT_EQ(0, QelAudioAnalysisInitialize(analyzer.Handle(), 4096, &format, &layout, 0));
        EXPECT_EQ(0, analyzer.Push(Noise(0.5f, 1, 1024, 1)));
        EXPECT_EQ(1u, analyzer.Deliveries().size());
    }
}

TEST(InitializeContractTest, InterleavedStereoPassesAndThenEveryPushFails) {
    TestAnalyzer analyzer({"spectrum", "temporal properties"});
    const AudioStreamBasicDescription format = Interleaved(2);
    const AudioChannelLayout layout = PlainLayout();
    ASSERT_EQ(0, QelAudioAnalysisInitialize(analyzer.Handle(), 4096, &format, &layout, 0));
    std::vector<float> samples(2 * 1024, 0.5f);
    BufferList list(1);
    for (const UInt32 frames : {1024u, 1u, 0u}) {
        list.Buffer(0) = AudioBuffer{2, frames * 8, samples.data()};
        EXPECT_EQ(-3865, QelAudioAnalysisPushAudio(analyzer.Handle(), frames, list.Get()));
    }
    EXPECT_TRUE(analyzer.Deliveries().empty());
}

TEST(InitializeContractTest, AStreamWithoutChannelsRunsAndDeliversEmptyResults) {
    TestAnalyzer analyzer({"temporal properties", "spectrum peak properties"});
    ASSERT_EQ(0, analyzer.Initialize({44100.0, 0, 4096, 0}));
    BufferList list(0);
    EXPECT_EQ(0, QelAudioAnalysisPushAudio(analyzer.Handle(), 2048, list.Get()));
    for (const Delivery& delivery : analyzer.Deliveries()) {
        EXPECT_TRUE(delivery.blocks.empty());
    }
    EXPECT_EQ(0, analyzer.Process());
}

TEST(InitializeContractTest, OnlyTheFirst32BytesOfTheLayoutAreRead) {
    static_assert(sizeof(AudioChannelLayout) == 32);
    // Exactly that much memory, so that a memory checker sees any byte read past it.
    const auto layout = std::make_unique<AudioChannelLayout>(PlainLayout());
    const AudioStreamBasicDescription format = CanonicalFormat(44100.0, 2);
    TestAnalyzer analyzer({"spectrum"});
    EXPECT_EQ(0, QelAudioAnalysisInitialize(analyzer.Handle(), 512, &format, layout.get(), 0));
}

TEST(InitializeContractTest, FormatAndLayoutAreCopied) {
    TestAnalyzer analyzer({"spectrum"});
    AudioStreamBasicDescription format = CanonicalFormat(44100.0, 1);
    AudioChannelLayout layout = PlainLayout();
    ASSERT_EQ(0, QelAudioAnalysisInitialize(analyzer.Handle(), 4096, &format, &layout, 0));
    std::memset(&format, 0xFF, sizeof format);
    std::memset(&layout, 0xFF, sizeof layout);
    EXPECT_EQ(0, analyzer.Push(Noise(0.5f, 1, 1024, 1)));
    EXPECT_EQ(1u, analyzer.Deliveries().size());
}

TEST(InitializeContractTest, ARefusedFormatLeavesARunningStreamAsItWas) {
    const Audio audio = Noise(0.5f, 1, 1024, 1);
    TestAnalyzer analyzer({"spectrum flux properties"}, StreamSetup{});
    ASSERT_EQ(0, analyzer.Push(audio, 0, 1000));
    AudioStreamBasicDescription format = CanonicalFormat(8000.0, 2);
    format.mFramesPerPacket = 2;
    const AudioChannelLayout layout = PlainLayout();
    EXPECT_EQ(-3865, QelAudioAnalysisInitialize(analyzer.Handle(), 512, &format, &layout, 0));
    EXPECT_EQ(0, analyzer.Push(audio, 1000, 24));
    EXPECT_EQ(1u, analyzer.Deliveries().size());
}

} // namespace
} // namespace qel::test
