// Which formats the audio converter takes, and what its functions refuse.

#include "AudioConverterTesting.h"

#include <AudioToolbox/AudioConverter.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qel::testing {
namespace {

constexpr OSStatus kRefused = kAudioConverterErr_FormatNotSupported;
constexpr AudioFormatFlags kFloat = kAudioFormatFlagsNativeFloatPacked;

OSStatus StatusFrom(const AudioStreamBasicDescription& source) {
    return StatusOfNew(source, Canonical(source.mChannelsPerFrame));
}

TEST(AudioConverterTest, StatusesAreTheirFourCharacters) {
    EXPECT_EQ(kAudioConverterErr_FormatNotSupported, 'f' << 24 | 'm' << 16 | 't' << 8 | '?');
    EXPECT_EQ(kAudioConverterErr_PropertyNotSupported, 'p' << 24 | 'r' << 16 | 'o' << 8 | 'p');
    EXPECT_EQ(kAudioConverterErr_InvalidOutputSize, 'o' << 24 | 't' << 16 | 's' << 8 | 'z');
    EXPECT_EQ(kAudioConverterErr_InputSampleRateOutOfRange, '!' << 24 | 'i' << 16 | 's' << 8 | 'r');
    EXPECT_EQ(kAudioConverterErr_OutputSampleRateOutOfRange,
              '!' << 24 | 'o' << 16 | 's' << 8 | 'r');
}

TEST(AudioConverterTest, TakesPackedIntegersAndFloats) {
    for (const UInt32 bits : {8u, 16u, 24u, 32u}) {
        EXPECT_EQ(StatusFrom(PCM(bits, kPacked | kSigned, 2)), noErr) << bits;
        EXPECT_EQ(StatusFrom(PCM(bits, kPacked, 2)), noErr) << bits;
    }
    EXPECT_EQ(StatusFrom(PCM(32, kFloat, 2)), noErr);
    EXPECT_EQ(StatusFrom(PCM(64, kFloat, 2)), noErr);
}

TEST(AudioConverterTest, BitsThatFillTheirContainersArePackedWithoutTheFlag) {
    EXPECT_EQ(StatusFrom(PCM(16, kSigned, 2)), noErr);
    EXPECT_EQ(StatusFrom(PCM(16, kSigned | kHigh, 2)), noErr);
    EXPECT_EQ(StatusFrom(PCM(32, kAudioFormatFlagIsFloat, 2)), noErr);
    EXPECT_EQ(StatusOfNew(PCM(16, kSigned), PCM(32, kFloat & ~kPacked)), noErr);
}

TEST(AudioConverterTest, TakesIntegersAtEitherEndOfALargerContainer) {
    for (const UInt32 bytes : {2u, 3u, 4u}) {
        for (UInt32 bits = 8; bits < 8 * bytes; bits += 8) {
            EXPECT_EQ(StatusFrom(PCM(bits, kSigned, 2, bytes)), noErr) << bits << ' ' << bytes;
            EXPECT_EQ(StatusFrom(PCM(bits, kHigh, 2, bytes)), noErr) << bits << ' ' << bytes;
            EXPECT_EQ(StatusFrom(PCM(bits, kSigned | kPacked, 2, bytes)), kRefused)
                << bits << ' ' << bytes << ": packed, and yet not";
        }
    }
}

TEST(AudioConverterTest, TakesFlagsThatAreMarkedAsAllClear) {
    EXPECT_EQ(StatusFrom(PCM(8, 1u << 31)), noErr);
    EXPECT_EQ(StatusFrom(PCM(8, 1u << 31 | kSigned)), kRefused);
}

TEST(AudioConverterTest, TakesAudioThatMayNotBeMixed) {
    EXPECT_EQ(StatusFrom(PCM(16, kSigned | kPacked | kAudioFormatFlagIsNonMixable)), noErr);
}

TEST(AudioConverterTest, RefusesOtherSampleTypes) {
    for (const UInt32 bits : {0u, 1u, 4u, 7u, 12u, 20u, 31u, 40u, 64u, 0xFFFFFFF8u, 0xFFFFFFFFu}) {
        EXPECT_EQ(StatusFrom(PCM(bits, kSigned, 1, 4)), kRefused) << bits;
        EXPECT_EQ(StatusFrom(PCM(bits, kSigned | kHigh, 1, 8)), kRefused) << bits;
    }
    EXPECT_EQ(StatusFrom(PCM(24, kSigned | kHigh, 1, 8)), kRefused);
    EXPECT_EQ(StatusFrom(PCM(16, kFloat)), kRefused);
    EXPECT_EQ(StatusFrom(PCM(24, kFloat)), kRefused);
    EXPECT_EQ(StatusFrom(PCM(32, kAudioFormatFlagIsFloat, 1, 8)), kRefused);
    EXPECT_EQ(StatusFrom(PCM(32, kFloat | kSigned)), kRefused);
    EXPECT_EQ(StatusFrom(PCM(32, kSigned | kPacked | 24u << 7)), kRefused) << "fraction bits";
}

TEST(AudioConverterTest, RefusesSizesThatContradictEachOther) {
    const auto refused = [](auto change) {
        AudioStreamBasicDescription format = PCM(16, kSigned | kPacked, 2);
        change(format);
        return StatusOfNew(format, Canonical(2)) == kRefused;
    };
    using Format = AudioStreamBasicDescription;
    EXPECT_FALSE(refused([](Format&) {}));
    EXPECT_TRUE(refused([](Format& f) { f.mBytesPerFrame = 0; }));
    EXPECT_TRUE(refused([](Format& f) { f.mBytesPerFrame = f.mBytesPerPacket = 0; }));
    EXPECT_TRUE(refused([](Format& f) { f.mBytesPerPacket = 8; }));
    EXPECT_TRUE(refused([](Format& f) { f.mFramesPerPacket = 0; }));
    EXPECT_TRUE(refused([](Format& f) { f.mFramesPerPacket = 2, f.mBytesPerPacket = 8; }));
    EXPECT_TRUE(refused([](Format& f) { f.mBytesPerFrame = f.mBytesPerPacket = 2; }));
    EXPECT_TRUE(refused([](Format& f) { f.mBytesPerFrame = f.mBytesPerPacket = 5; }));
    EXPECT_TRUE(refused([](Format& f) { f.mBytesPerFrame = f.mBytesPerPacket = 0xFFFFFFFE; }));
    EXPECT_TRUE(refused([](Format& f) { f.mFormatFlags |= kNonInterleaved | kPacked; }));
}

TEST(AudioConverterTest, RefusesCompressedAudio) {
    for (const AudioFormatID id : {kAudioFormatMPEG4AAC, kAudioFormatMPEGLayer3}) {
        AudioStreamBasicDescription compressed = Canonical(2);
        compressed.mFormatID = id;
        EXPECT_EQ(StatusOfNew(compressed, Canonical(2)), kRefused);
        EXPECT_EQ(StatusOfNew(Canonical(2), compressed), kRefused);
    }
}

TEST(AudioConverterTest, RefusesToChangeTheChannels) {
    EXPECT_EQ(StatusOfNew(PCM(16, kSigned16, 1), Canonical(2)), kRefused);
    EXPECT_EQ(StatusOfNew(PCM(16, kSigned16, 2), Canonical(1)), kRefused);
    EXPECT_EQ(StatusOfNew(PCM(16, kSigned16, 0), Canonical(0)), kRefused);
}

TEST(AudioConverterTest, TakesAsManyChannelsAsALayoutTagCanCount) {
    EXPECT_EQ(StatusFrom(PCM(16, kSigned16 | kNonInterleaved, 65535)), noErr);
    EXPECT_EQ(StatusFrom(PCM(16, kSigned16 | kNonInterleaved, 65536)), kRefused);
    EXPECT_EQ(StatusFrom(PCM(16, kSigned16 | kNonInterleaved, 0xFFFFFFFF)), kRefused);
}

TEST(AudioConverterTest, RefusesToChangeTheRate) {
    AudioStreamBasicDescription other = Canonical();
    other.mSampleRate = 48000.0;
    EXPECT_EQ(StatusOfNew(PCM(16, kSigned16), other), kRefused);
}

TEST(AudioConverterTest, RefusesRatesThatAreNone) {
    for (const Float64 rateHz :
         {0.0, -44100.0, HUGE_VAL, -HUGE_VAL, std::numeric_limits<double>::quiet_NaN()}) {
        AudioStreamBasicDescription source = PCM(16, kSigned16);
        AudioStreamBasicDescription destination = Canonical();
        destination.mSampleRate = rateHz;
        EXPECT_EQ(StatusOfNew(source, destination), kAudioConverterErr_OutputSampleRateOutOfRange);
        source.mSampleRate = rateHz;
        EXPECT_EQ(StatusOfNew(source, destination), kAudioConverterErr_InputSampleRateOutOfRange);
    }
}

TEST(AudioConverterTest, MakesNothingButNativeFloats) {
    const AudioStreamBasicDescription source = PCM(16, kSigned16);
    EXPECT_EQ(StatusOfNew(source, Canonical()), noErr);
    EXPECT_EQ(StatusOfNew(source, source), kRefused);
    EXPECT_EQ(StatusOfNew(source, PCM(64, kFloat)), kRefused);
    EXPECT_EQ(StatusOfNew(source, PCM(32, kSigned | kPacked)), kRefused);
    EXPECT_EQ(StatusOfNew(source, PCM(32, kFloat ^ kAudioFormatFlagIsBigEndian)), kRefused);
}

TEST(AudioConverterTest, MissingPointersAreParameterErrors) {
    const AudioStreamBasicDescription format = Canonical();
    int target = 0;
    AudioConverterRef converter = reinterpret_cast<AudioConverterRef>(&target);
    EXPECT_EQ(AudioConverterNew(nullptr, &format, &converter), kAudio_ParamError);
    EXPECT_EQ(converter, nullptr);
    converter = reinterpret_cast<AudioConverterRef>(&target);
    EXPECT_EQ(AudioConverterNew(&format, nullptr, &converter), kAudio_ParamError);
    EXPECT_EQ(converter, nullptr);
    EXPECT_EQ(AudioConverterNew(&format, &format, nullptr), kAudio_ParamError);
}

TEST(AudioConverterTest, ARefusalClearsTheReference) {
    const AudioStreamBasicDescription format = PCM(12, kSigned, 1, 2);
    const AudioStreamBasicDescription canonical = Canonical();
    int target = 0;
    AudioConverterRef converter = reinterpret_cast<AudioConverterRef>(&target);
    EXPECT_EQ(AudioConverterNew(&format, &canonical, &converter), kRefused);
    EXPECT_EQ(converter, nullptr);
}

TEST(AudioConverterTest, ANullConverterIsAParameterError) {
    const UInt32 cookie = 0;
    EXPECT_EQ(AudioConverterSetProperty(nullptr, kAudioConverterDecompressionMagicCookie,
                                        sizeof cookie, &cookie),
              kAudio_ParamError);
    EXPECT_EQ(AudioConverterDispose(nullptr), kAudio_ParamError);
}

TEST(AudioConverterTest, HasNoPropertiesToSet) {
    const Converter converter = NewConverter(PCM(16, kSigned16), Canonical());
    const UInt32 value = 0;
    for (const AudioConverterPropertyID property :
         {kAudioConverterDecompressionMagicCookie, kAudioConverterCompressionMagicCookie,
          kAudioConverterSampleRateConverterQuality}) {
        EXPECT_EQ(AudioConverterSetProperty(converter.get(), property, sizeof value, &value),
                  kAudioConverterErr_PropertyNotSupported);
        EXPECT_EQ(AudioConverterSetProperty(converter.get(), property, 0, nullptr),
                  kAudioConverterErr_PropertyNotSupported);
    }
}

} // namespace
} // namespace qel::testing
