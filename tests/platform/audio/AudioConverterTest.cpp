#include <AudioToolbox/AudioConverter.h>
#include <gtest/gtest.h>

namespace qel::testing {
namespace {

AudioStreamBasicDescription FloatFormat(Float64 rateHz) {
    AudioStreamBasicDescription format = {};
    format.mSampleRate = rateHz;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kAudioFormatFlagsNativeFloatPacked;
    format.mBytesPerPacket = format.mBytesPerFrame = 4;
    format.mFramesPerPacket = format.mChannelsPerFrame = 1;
    format.mBitsPerChannel = 32;
    return format;
}

AudioConverterRef SomeReference() {
    static int target = 0;
    return reinterpret_cast<AudioConverterRef>(&target);
}

OSStatus NoInput(AudioConverterRef, UInt32*, AudioBufferList*, AudioStreamPacketDescription**,
                 void* wasAsked) {
    *static_cast<bool*>(wasAsked) = true;
    return 0;
}

TEST(AudioConverterTest, EveryPairOfFormatsIsRefusedAndTheOutputCleared) {
    for (const Float64 rateHz : {44100.0, 48000.0}) {
        const AudioStreamBasicDescription source = FloatFormat(44100.0);
        const AudioStreamBasicDescription destination = FloatFormat(rateHz);
        AudioConverterRef converter = SomeReference();
        EXPECT_EQ(AudioConverterNew(&source, &destination, &converter),
                  kAudioConverterErr_FormatNotSupported);
        EXPECT_EQ(converter, nullptr);
    }
}

TEST(AudioConverterTest, MissingPointersAreParameterErrors) {
    const AudioStreamBasicDescription format = FloatFormat(44100.0);
    AudioConverterRef converter = SomeReference();
    EXPECT_EQ(AudioConverterNew(nullptr, &format, &converter), kAudio_ParamError);
    EXPECT_EQ(converter, nullptr);
    EXPECT_EQ(AudioConverterNew(&format, nullptr, &converter), kAudio_ParamError);
    EXPECT_EQ(AudioConverterNew(&format, &format, nullptr), kAudio_ParamError);
}

TEST(AudioConverterTest, ANullConverterIsAParameterError) {
    const UInt32 cookie = 0;
    EXPECT_EQ(AudioConverterSetProperty(nullptr, kAudioConverterDecompressionMagicCookie,
                                        sizeof cookie, &cookie),
              kAudio_ParamError);
    EXPECT_EQ(AudioConverterDispose(nullptr), kAudio_ParamError);
}

TEST(AudioConverterTest, NothingIsConvertedOrAskedFor) {
    float samples[4] = {1.0f, 2.0f, 3.0f, 4.0f};
    AudioBufferList list = {1, {{1, sizeof samples, samples}}};
    UInt32 packets = 4;
    bool wasAsked = false;
    EXPECT_EQ(
        AudioConverterFillComplexBuffer(nullptr, NoInput, &wasAsked, &packets, &list, nullptr),
        kAudio_ParamError);
    EXPECT_EQ(packets, 0u);
    EXPECT_FALSE(wasAsked);
    EXPECT_EQ(samples[0], 1.0f);
    EXPECT_EQ(
        AudioConverterFillComplexBuffer(nullptr, NoInput, &wasAsked, nullptr, nullptr, nullptr),
        kAudio_ParamError);
}

} // namespace
} // namespace qel::testing
