#include "support/audio/CAStreamBasicDescription.h"

#include <cstdio>
#include <tuple>

namespace qel::core {

namespace {

constexpr UInt32 kFloatBytes = 4;

// The flags that describe the sample type; of them, the canonical format has these set.
constexpr AudioFormatFlags kSampleTypeFlags =
    kAudioFormatFlagIsFloat | kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger |
    kAudioFormatFlagIsPacked | kAudioFormatFlagIsAlignedHigh;
constexpr AudioFormatFlags kCanonicalFlags = kAudioFormatFlagsNativeFloatPacked;

auto Fields(const AudioStreamBasicDescription& format) {
    return std::tie(format.mSampleRate, format.mFormatID, format.mFormatFlags,
                    format.mBytesPerPacket, format.mFramesPerPacket, format.mBytesPerFrame,
                    format.mChannelsPerFrame, format.mBitsPerChannel, format.mReserved);
}

template <class T>
void FillOut(T& field, const T& fallback) {
    if (field == T{}) {
        field = fallback;
    }
}

} // namespace

const AudioStreamBasicDescription CAStreamBasicDescription::sEmpty{};

void CAStreamBasicDescription::SetFrom(const AudioStreamBasicDescription& other) {
    static_cast<AudioStreamBasicDescription&>(*this) = other;
}

void CAStreamBasicDescription::SetCanonical(unsigned int channels, bool interleaved) {
    mFormatID = kAudioFormatLinearPCM;
    mFormatFlags = kCanonicalFlags;
    mBitsPerChannel = 8 * kFloatBytes;
    mChannelsPerFrame = channels;
    mFramesPerPacket = 1;
    mBytesPerFrame = interleaved ? kFloatBytes * channels : kFloatBytes;
    mBytesPerPacket = mBytesPerFrame;
    if (!interleaved) {
        mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
    }
}

bool CAStreamBasicDescription::IsCanonical() const {
    const bool nonInterleaved = (mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0;
    const UInt32 frameBytes = nonInterleaved ? kFloatBytes : kFloatBytes * mChannelsPerFrame;
    return IsPCM() && (mFormatFlags & kSampleTypeFlags) == kCanonicalFlags &&
           mBitsPerChannel == 8 * kFloatBytes && mFramesPerPacket == 1 &&
           mBytesPerFrame == frameBytes && mBytesPerPacket == frameBytes;
}

UInt32 CAStreamBasicDescription::SampleWordSize() const {
    const UInt32 channels = NumberInterleavedChannels();
    return channels > 0 ? mBytesPerFrame / channels : 0;
}

bool CAStreamBasicDescription::PackednessIsSignificant() const {
    return UInt64{SampleWordSize()} * 8 != mBitsPerChannel;
}

bool CAStreamBasicDescription::AlignmentIsSignificant() const {
    return PackednessIsSignificant() || mBitsPerChannel % 8 != 0;
}

bool CAStreamBasicDescription::IsEqual(const AudioStreamBasicDescription& other) const {
    return Fields(*this) == Fields(other);
}

void CAStreamBasicDescription::NormalizeLinearPCMFormat(AudioStreamBasicDescription& format) {
    CAStreamBasicDescription canonical(format);
    if (canonical.IsPCM() && (format.mFormatFlags & kAudioFormatFlagIsNonMixable) == 0) {
        canonical.SetCanonical(format.mChannelsPerFrame, canonical.IsInterleaved());
        format = canonical;
    }
}

void CAStreamBasicDescription::ResetFormat(AudioStreamBasicDescription& format) {
    format = sEmpty;
}

void CAStreamBasicDescription::FillOutFormat(AudioStreamBasicDescription& format,
                                             const AudioStreamBasicDescription& defaults) {
    FillOut(format.mSampleRate, defaults.mSampleRate);
    FillOut(format.mFormatID, defaults.mFormatID);
    FillOut(format.mFormatFlags, defaults.mFormatFlags);
    FillOut(format.mBytesPerPacket, defaults.mBytesPerPacket);
    FillOut(format.mFramesPerPacket, defaults.mFramesPerPacket);
    FillOut(format.mBytesPerFrame, defaults.mBytesPerFrame);
    FillOut(format.mChannelsPerFrame, defaults.mChannelsPerFrame);
    FillOut(format.mBitsPerChannel, defaults.mBitsPerChannel);
}

std::string CAStreamBasicDescription::GetSimpleName(bool abbreviate) const {
    if (!IsPCM()) {
        return CAStringForOSType(mFormatID);
    }
    const bool isFloat = (mFormatFlags & kAudioFormatFlagIsFloat) != 0;
    const bool isSigned = (mFormatFlags & kAudioFormatFlagIsSignedInteger) != 0;
    const std::string bits = std::to_string(mBitsPerChannel);
    if (abbreviate) {
        return (isFloat ? "F" : isSigned ? "I" : "U") + bits;
    }
    return bits + "-bit " + (isFloat ? "Float" : isSigned ? "Signed Integer" : "Unsigned Integer");
}

std::string CAStreamBasicDescription::AsString() const {
    char rate[32];
    std::snprintf(rate, sizeof rate, "%g", mSampleRate);
    std::string text = std::to_string(mChannelsPerFrame) + " ch, " + rate + " Hz, " +
                       CAStringForOSType(mFormatID) + " " + GetSimpleName();
    if (IsPCM()) {
        text +=
            (mFormatFlags & kAudioFormatFlagIsBigEndian) != 0 ? ", big-endian" : ", little-endian";
        text += IsInterleaved() ? ", interleaved" : ", non-interleaved";
    }
    return text + ", " + std::to_string(mBytesPerFrame) + " bytes/frame, " +
           std::to_string(mFramesPerPacket) + " frames/packet";
}

bool operator==(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b) {
    return Fields(a) == Fields(b);
}

bool operator<(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b) {
    return Fields(a) < Fields(b);
}

std::string CAStringForOSType(UInt32 code) {
    std::string text = "'";
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto character = static_cast<unsigned char>((code >> shift) & 0xFF);
        if (character < 0x20 || character > 0x7E) {
            return std::to_string(code);
        }
        text += static_cast<char>(character);
    }
    return text + "'";
}

} // namespace qel::core
