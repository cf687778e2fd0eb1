// Layouts and constants of the audio records, by their published figures.

#include <CoreAudio/CoreAudioTypes.h>

#include <gtest/gtest.h>

#include <cstddef>

extern "C" size_t SizeOfTimeStampInC(void);
extern "C" float SumInC(const float* values, unsigned long count);

namespace qel::testing {
namespace {

static_assert(sizeof(void*) != 8 || sizeof(AudioBufferList) == 24);
static_assert(sizeof(AudioStreamBasicDescription) == 40);
static_assert(offsetof(AudioStreamBasicDescription, mChannelsPerFrame) == 28);
static_assert(sizeof(AudioStreamPacketDescription) == 16);
static_assert(sizeof(SMPTETime) == 24);
static_assert(sizeof(AudioTimeStamp) == 64);
static_assert(offsetof(AudioTimeStamp, mFlags) == 56);
static_assert(sizeof(AudioChannelDescription) == 20);
static_assert(offsetof(AudioChannelLayout, mChannelDescriptions) == 12);

constexpr UInt32 FourCharacters(const char (&code)[5]) {
    UInt32 value = 0;
    for (int i = 0; i < 4; ++i) {
        value = value << 8 | static_cast<unsigned char>(code[i]);
    }
    return value;
}

TEST(CoreAudioTypesTest, LinearPCMIsItsFourCharacters) {
    EXPECT_EQ(static_cast<UInt32>(kAudioFormatLinearPCM), FourCharacters("lpcm"));
}

TEST(CoreAudioTypesTest, FlagsAreSingleBits) {
    EXPECT_EQ(kAudioFormatFlagIsFloat, 1);
    EXPECT_EQ(kAudioFormatFlagIsBigEndian, 2);
    EXPECT_EQ(kAudioFormatFlagIsSignedInteger, 4);
    EXPECT_EQ(kAudioFormatFlagIsPacked, 8);
    EXPECT_EQ(kAudioFormatFlagIsAlignedHigh, 16);
    EXPECT_EQ(kAudioFormatFlagIsNonInterleaved, 32);
}

TEST(CoreAudioTypesTest, NativeFloatPackedFollowsTheByteOrder) {
    const UInt16 one = 1;
    const bool bigEndian = *reinterpret_cast<const UInt8*>(&one) == 0;
    EXPECT_EQ(kAudioFormatFlagsNativeFloatPacked, bigEndian ? 11 : 9);
}

TEST(CoreAudioTypesTest, LayoutTagsCountTheirChannels) {
    EXPECT_EQ(kAudioChannelLayoutTag_Mono, 6553601);
    EXPECT_EQ(kAudioChannelLayoutTag_Stereo, 6619138);
    EXPECT_EQ(kAudioChannelLayoutTag_Binaural, 6946818);
    EXPECT_EQ(kAudioChannelLayoutTag_Quadraphonic, 7077892);
    EXPECT_EQ(kAudioChannelLayoutTag_Ambisonic_B_Format, 7012356);
    EXPECT_EQ(kAudioChannelLayoutTag_Pentagonal, 7143429);
    EXPECT_EQ(kAudioChannelLayoutTag_MPEG_5_0_B, 7733253);
    EXPECT_EQ(kAudioChannelLayoutTag_Hexagonal, 7208966);
    EXPECT_EQ(kAudioChannelLayoutTag_AudioUnit_6_0, 9109510);
    EXPECT_EQ(kAudioChannelLayoutTag_AudioUnit_7_0, 9175047);
    EXPECT_EQ(kAudioChannelLayoutTag_Octagonal, 7274504);
}

TEST(CoreAudioTypesTest, CSeesTheSameRecordsAndFunctions) {
    EXPECT_EQ(SizeOfTimeStampInC(), sizeof(AudioTimeStamp));
    const float values[] = {1.0f, 2.0f, 4.0f};
    EXPECT_EQ(SumInC(values, 3), 7.0f);
}

} // namespace
} // namespace qel::testing
