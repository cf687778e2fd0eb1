#include "support/audio/CAStreamBasicDescription.h"

#include <gtest/gtest.h>

namespace qel::core {
namespace {

CAStreamBasicDescription Canonical(unsigned int channels, bool interleaved) {
    CAStreamBasicDescription format;
    format.mSampleRate = 44100;
    format.SetCanonical(channels, interleaved);
    return format;
}

CAStreamBasicDescription Int16Stereo() {
    CAStreamBasicDescription format = Canonical(2, true);
    format.mFormatFlags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
    format.mBitsPerChannel = 16;
    format.mBytesPerFrame = format.mBytesPerPacket = 4;
    return format;
}

static_assert(sizeof(CAStreamBasicDescription) == sizeof(AudioStreamBasicDescription));

TEST(CAStreamBasicDescriptionTest, EmptyMeansAllZero) {
    const CAStreamBasicDescription format;
    EXPECT_EQ(format.mSampleRate, 0.0);
    EXPECT_EQ(format.mFormatID, 0u);
    EXPECT_EQ(format.mFormatFlags, 0u);
    EXPECT_EQ(format.mBytesPerPacket, 0u);
    EXPECT_EQ(format.mFramesPerPacket, 0u);
    EXPECT_EQ(format.mBytesPerFrame, 0u);
    EXPECT_EQ(format.mChannelsPerFrame, 0u);
    EXPECT_EQ(format.mBitsPerChannel, 0u);
    EXPECT_EQ(format.mReserved, 0u);
    EXPECT_TRUE(format == CAStreamBasicDescription::sEmpty);
}

TEST(CAStreamBasicDescriptionTest, CanonicalStereoHasThePublishedFields) {
    const CAStreamBasicDescription interleaved = Canonical(2, true);
    EXPECT_EQ(interleaved.mSampleRate, 44100.0);
    EXPECT_EQ(interleaved.mFormatID, 1819304813u);
    EXPECT_EQ(interleaved.mFormatFlags, 9u);
    EXPECT_EQ(interleaved.mBytesPerFrame, 8u);
    EXPECT_EQ(interleaved.mBytesPerPacket, 8u);
    EXPECT_EQ(interleaved.mFramesPerPacket, 1u);
    EXPECT_EQ(interleaved.mChannelsPerFrame, 2u);
    EXPECT_EQ(interleaved.mBitsPerChannel, 32u);

    const CAStreamBasicDescription separate = Canonical(2, false);
    EXPECT_EQ(separate.mFormatFlags, 9u + 32u);
    EXPECT_EQ(separate.mBytesPerFrame, 4u);
    EXPECT_EQ(separate.mBytesPerPacket, 4u);
    EXPECT_EQ(separate.mChannelsPerFrame, 2u);
}

TEST(CAStreamBasicDescriptionTest, WhatSetCanonicalMakesIsCanonicalForAnyChannelCount) {
    for (const unsigned int channels : {0u, 1u, 2u, 3u, 6u, 24u, 100u}) {
        EXPECT_TRUE(Canonical(channels, true).IsCanonical()) << channels;
        EXPECT_TRUE(Canonical(channels, false).IsCanonical()) << channels;
    }
}

TEST(CAStreamBasicDescriptionTest, EachConditionOfTheCanonicalFormatCounts) {
    const auto spoiled = [](auto spoil) {
        CAStreamBasicDescription format = Canonical(2, false);
        spoil(format);
        return format.IsCanonical();
    };
    EXPECT_FALSE(spoiled([](auto& f) { f.mBytesPerFrame = 8; }));
    EXPECT_FALSE(spoiled([](auto& f) { f.mBytesPerPacket = 8; }));
    EXPECT_FALSE(spoiled([](auto& f) { f.mFramesPerPacket = 2; }));
    EXPECT_FALSE(spoiled([](auto& f) { f.mBitsPerChannel = 64; }));
    EXPECT_FALSE(spoiled([](auto& f) { f.mFormatID = kAudioFormatMPEG4AAC; }));
    EXPECT_FALSE(spoiled([](auto& f) { f.mFormatFlags |= kAudioFormatFlagIsBigEndian; }));
    EXPECT_FALSE(spoiled([](auto& f) { f.mFormatFlags |= kAudioFormatFlagIsAlignedHigh; }));
    EXPECT_FALSE(spoiled([](auto& f) { f.mFormatFlags &= ~UInt32{kAudioFormatFlagIsPacked}; }));
    EXPECT_FALSE(spoiled([](auto& f) {
        f.mFormatFlags = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked |
                         kAudioFormatFlagIsNonInterleaved;
    })) << "32-bit integers";
}

TEST(CAStreamBasicDescriptionTest, RateAndOtherFlagsAreNotTested) {
    CAStreamBasicDescription format = Canonical(2, false);
    format.mSampleRate = -1;
    format.mFormatFlags |= kAudioFormatFlagIsNonMixable | 0x40000000u;
    EXPECT_TRUE(format.IsCanonical());
}

TEST(CAStreamBasicDescriptionTest, StreamsAndChannelsFollowTheInterleaving) {
    EXPECT_EQ(Canonical(6, false).NumberChannelStreams(), 6u);
    EXPECT_EQ(Canonical(6, false).NumberInterleavedChannels(), 1u);
    EXPECT_EQ(Canonical(6, true).NumberChannelStreams(), 1u);
    EXPECT_EQ(Canonical(6, true).NumberInterleavedChannels(), 6u);
}

TEST(CAStreamBasicDescriptionTest, OnlyPCMCanBeNonInterleaved) {
    CAStreamBasicDescription format = Canonical(2, false);
    EXPECT_FALSE(format.IsInterleaved());
    format.mFormatID = kAudioFormatMPEG4AAC;
    EXPECT_FALSE(format.IsPCM());
    EXPECT_TRUE(format.IsInterleaved());
}

TEST(CAStreamBasicDescriptionTest, SetFromTakesTheWholeRecord) {
    const CAStreamBasicDescription source = Int16Stereo();
    CAStreamBasicDescription format;
    format.SetFrom(source);
    EXPECT_TRUE(format.IsEqual(source));
    EXPECT_TRUE(format == source);
    format.mReserved = 1;
    EXPECT_FALSE(format.IsEqual(source));
    EXPECT_TRUE(source < format);
    EXPECT_FALSE(format < source);
}

TEST(CAStreamBasicDescriptionTest, NormalizingMakesMixablePCMCanonical) {
    AudioStreamBasicDescription format = Int16Stereo();
    CAStreamBasicDescription::NormalizeLinearPCMFormat(format);
    EXPECT_TRUE(Canonical(2, true).IsEqual(format));

    CAStreamBasicDescription fixed = Int16Stereo();
    fixed.mFormatFlags |= kAudioFormatFlagIsNonMixable;
    AudioStreamBasicDescription unchanged = fixed;
    CAStreamBasicDescription::NormalizeLinearPCMFormat(unchanged);
    EXPECT_TRUE(fixed.IsEqual(unchanged));
}

TEST(CAStreamBasicDescriptionTest, FillingOutTakesOnlyWhatIsMissing) {
    AudioStreamBasicDescription format{};
    format.mChannelsPerFrame = 5;
    CAStreamBasicDescription::FillOutFormat(format, Int16Stereo());
    EXPECT_EQ(format.mChannelsPerFrame, 5u);
    EXPECT_EQ(format.mBitsPerChannel, 16u);
    EXPECT_EQ(format.mSampleRate, 44100.0);
    CAStreamBasicDescription::ResetFormat(format);
    EXPECT_TRUE(CAStreamBasicDescription().IsEqual(format));
}

TEST(CAStreamBasicDescriptionTest, UnusedBitsMakePackednessSignificant) {
    CAStreamBasicDescription format = Int16Stereo();
    EXPECT_EQ(format.SampleWordSize(), 2u);
    EXPECT_FALSE(format.PackednessIsSignificant());
    EXPECT_FALSE(format.AlignmentIsSignificant());
    format.mBitsPerChannel = 12;
    EXPECT_TRUE(format.PackednessIsSignificant());
    EXPECT_TRUE(format.AlignmentIsSignificant());
    EXPECT_EQ(CAStreamBasicDescription().SampleWordSize(), 0u);
}

TEST(CAStreamBasicDescriptionTest, TextNamesTheFormat) {
    EXPECT_EQ(CAStringForOSType(kAudioFormatLinearPCM), "'lpcm'");
    EXPECT_EQ(CAStringForOSType(7), "7");
    EXPECT_EQ(Canonical(2, true).GetSimpleName(), "32-bit Float");
    EXPECT_EQ(Int16Stereo().GetSimpleName(true), "I16");
    EXPECT_EQ(Canonical(2, false).AsString(), "2 ch, 44100 Hz, 'lpcm' 32-bit Float, little-endian, "
                                              "non-interleaved, 4 bytes/frame, 1 frames/packet");
}

} // namespace
} // namespace qel::core
