#pragma once

#include <CoreAudio/CoreAudioTypes.h>

#include <string>

namespace qel::core {

// AudioStreamBasicDescription with the questions and settings that the library needs. It has the
// record's fields and no others, so that either can be read as the other.
class CAStreamBasicDescription : public AudioStreamBasicDescription {
public:
    // All fields zero.
    static const AudioStreamBasicDescription sEmpty;

    CAStreamBasicDescription() : AudioStreamBasicDescription{} {}
    explicit CAStreamBasicDescription(const AudioStreamBasicDescription& other)
        : AudioStreamBasicDescription(other) {}

    void SetFrom(const AudioStreamBasicDescription& other);

    // The canonical format: linear PCM of packed native 32-bit floats, one frame per packet. Sets
    // everything but the sample rate. A frame size beyond 32 bits wraps.
    void SetCanonical(unsigned int channels, bool interleaved);

    // Whether the samples are as SetCanonical sets them. The sample rate, the number of channels
    // and flags beyond float, endianness, signed integer, packed and aligned high are not tested.
    bool IsCanonical() const;

    bool IsPCM() const { return mFormatID == kAudioFormatLinearPCM; }
    bool IsInterleaved() const {
        return !IsPCM() || (mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
    }

    // Buffers in a list of this format, and channels in each of them.
    UInt32 NumberChannelStreams() const { return IsInterleaved() ? 1 : mChannelsPerFrame; }
    UInt32 NumberInterleavedChannels() const { return IsInterleaved() ? mChannelsPerFrame : 1; }

    // Bytes from one sample to the next channel's; 0 if the format does not say.
    UInt32 SampleWordSize() const;
    // Whether the samples leave bits of their words unused, so that the packed flag says something.
    bool PackednessIsSignificant() const;
    // Whether the samples can stand at either end of their words.
    bool AlignmentIsSignificant() const;

    // Every field equal.
    bool IsEqual(const AudioStreamBasicDescription& other) const;

    // Turns linear PCM of any sample type into the canonical one, keeping rate, channels and
    // interleaving. Other formats, and PCM marked as not mixable, stay as they are.
    static void NormalizeLinearPCMFormat(AudioStreamBasicDescription& format);
    // Zeroes every field.
    static void ResetFormat(AudioStreamBasicDescription& format);
    // Takes the fields that are zero in `format` from `defaults`.
    static void FillOutFormat(AudioStreamBasicDescription& format,
                              const AudioStreamBasicDescription& defaults);

    // Format and sample type, as "32-bit Float"; abbreviated "F32". Other formats give the id.
    std::string GetSimpleName(bool abbreviate = false) const;
    // All that the format says, in one line.
    std::string AsString() const;
};

// All fields equal; and the order of the fields, first to last.
bool operator==(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b);
bool operator<(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b);

// The four characters of a code, in quotes, or its decimal digits if one cannot be printed.
std::string CAStringForOSType(UInt32 code);

} // namespace qel::core
