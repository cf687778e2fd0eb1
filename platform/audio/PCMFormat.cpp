#include "platform/audio/PCMFormat.h"

#include <bit>

namespace qel::platform {

namespace {

// As many as the lower half of a layout tag can count.
constexpr UInt32 kMaximumChannels = 0xFFFF;

// Stands for flags that are all clear, where 0 would mean that nothing is known of them.
constexpr AudioFormatFlags kAllClear = AudioFormatFlags{1} << 31;

// Flags that samples can be read by. Others, such as a count of fraction bits, change what the
// samples mean.
constexpr AudioFormatFlags kKnownFlags =
    kAudioFormatFlagIsFloat | kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger |
    kAudioFormatFlagIsPacked | kAudioFormatFlagIsAlignedHigh | kAudioFormatFlagIsNonInterleaved |
    kAudioFormatFlagIsNonMixable;

// The sign flag is defined for integers only; with floats the record says two things at once.
bool IsFloatThatConverts(const SampleLayout& sample) {
    return (sample.bits == 32 || sample.bits == 64) && !sample.isSigned &&
           sample.containerBytes * 8 == sample.bits;
}

bool IsIntegerThatConverts(const SampleLayout& sample) {
    return sample.bits != 0 && sample.bits % 8 == 0 && sample.containerBytes <= 4 &&
           sample.bits <= sample.containerBytes * 8;
}

} // namespace

bool PCMFormat::IsCanonicalFloat() const noexcept {
    return sample.isFloat && sample.bits == 32 &&
           sample.isBigEndian == (std::endian::native == std::endian::big);
}

std::optional<PCMFormat> ReadPCMFormat(const AudioStreamBasicDescription& record) noexcept {
    const AudioFormatFlags flags = record.mFormatFlags == kAllClear ? 0 : record.mFormatFlags;
    const UInt32 channels = record.mChannelsPerFrame;
    if (record.mFormatID != kAudioFormatLinearPCM || (flags & ~kKnownFlags) != 0 || channels == 0 ||
        channels > kMaximumChannels || record.mFramesPerPacket != 1 ||
        record.mBytesPerPacket != record.mBytesPerFrame) {
        return std::nullopt;
    }
    const bool isInterleaved = channels == 1 || (flags & kAudioFormatFlagIsNonInterleaved) == 0;
    const UInt32 channelsPerBuffer = isInterleaved ? channels : 1;
    if (record.mBytesPerFrame % channelsPerBuffer != 0) {
        return std::nullopt;
    }
    const SampleLayout sample = {
        .containerBytes = record.mBytesPerFrame / channelsPerBuffer,
        .bits = record.mBitsPerChannel,
        .isFloat = (flags & kAudioFormatFlagIsFloat) != 0,
        .isSigned = (flags & kAudioFormatFlagIsSignedInteger) != 0,
        .isBigEndian = (flags & kAudioFormatFlagIsBigEndian) != 0,
        .isAlignedHigh = (flags & kAudioFormatFlagIsAlignedHigh) != 0,
    };
    // Samples that fill their containers are packed with or without the flag; others never are.
    const bool fillsContainer = sample.containerBytes * 8 == sample.bits;
    if (!fillsContainer && (flags & kAudioFormatFlagIsPacked) != 0) {
        return std::nullopt;
    }
    if (!(sample.isFloat ? IsFloatThatConverts(sample) : IsIntegerThatConverts(sample))) {
        return std::nullopt;
    }
    return PCMFormat{record.mSampleRate, channels, isInterleaved, sample};
}

} // namespace qel::platform
