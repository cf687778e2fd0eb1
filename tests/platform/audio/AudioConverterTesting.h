// What the tests of the audio converter share: records, samples written byte by byte, a callback
// that gives bytes in portions, and buffers that notice writes beyond what they hold.
#pragma once

#include <AudioToolbox/AudioConverter.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

namespace qel::testing {

inline constexpr Float64 kRateHz = 44100.0;

inline constexpr AudioFormatFlags kSigned = kAudioFormatFlagIsSignedInteger;
inline constexpr AudioFormatFlags kHigh = kAudioFormatFlagIsAlignedHigh;
inline constexpr AudioFormatFlags kPacked = kAudioFormatFlagIsPacked;
inline constexpr AudioFormatFlags kNonInterleaved = kAudioFormatFlagIsNonInterleaved;

inline bool IsNativeBigEndian() {
    return kAudioFormatFlagsNativeEndian != 0;
}

// A record of linear PCM; containerBytes 0 is what the bits fill.
inline AudioStreamBasicDescription PCM(UInt32 bits, AudioFormatFlags flags, UInt32 channels = 1,
                                       UInt32 containerBytes = 0) {
    AudioStreamBasicDescription format = {};
    format.mSampleRate = kRateHz;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = flags;
    const bool isInterleaved = (flags & kAudioFormatFlagIsNonInterleaved) == 0;
    format.mBytesPerFrame =
        (containerBytes == 0 ? bits / 8 : containerBytes) * (isInterleaved ? channels : 1);
    format.mBytesPerPacket = format.mBytesPerFrame;
    format.mFramesPerPacket = 1;
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = bits;
    return format;
}

inline AudioStreamBasicDescription Canonical(UInt32 channels = 1, bool isInterleaved = true) {
    const AudioFormatFlags flags = kAudioFormatFlagsNativeFloatPacked;
    return PCM(32, isInterleaved ? flags : flags | kAudioFormatFlagIsNonInterleaved, channels);
}

inline constexpr AudioFormatFlags kSigned16 =
    kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked | kAudioFormatFlagsNativeEndian;

struct ConverterDeleter {
    void operator()(AudioConverterRef converter) const { AudioConverterDispose(converter); }
};
using Converter = std::unique_ptr<OpaqueAudioConverter, ConverterDeleter>;

// The status of making a converter, which is disposed of; an unspecified error if the reference
// does not fit the status.
inline OSStatus StatusOfNew(const AudioStreamBasicDescription& source,
                            const AudioStreamBasicDescription& destination) {
    AudioConverterRef converter = nullptr;
    const OSStatus status = AudioConverterNew(&source, &destination, &converter);
    const bool isMade = converter != nullptr;
    if (isMade) {
        AudioConverterDispose(converter);
    }
    return isMade == (status == noErr) ? status : OSStatus{kAudioConverterErr_UnspecifiedError};
}

// Null if the converter cannot be made.
inline Converter NewConverter(const AudioStreamBasicDescription& source,
                              const AudioStreamBasicDescription& destination) {
    AudioConverterRef converter = nullptr;
    AudioConverterNew(&source, &destination, &converter);
    return Converter(converter);
}

// A list of any number of buffers, each in memory of its own size, so that the address checks see
// every byte beyond.
class BufferList {
public:
    BufferList(const std::vector<std::vector<std::uint8_t>>& contents, UInt32 channelsEach = 1)
        : mBytes(contents),
          mRecord(offsetof(AudioBufferList, mBuffers) + contents.size() * sizeof(AudioBuffer)) {
        Get().mNumberBuffers = static_cast<UInt32>(contents.size());
        for (std::size_t i = 0; i < mBytes.size(); ++i) {
            mBytes[i].shrink_to_fit();
            Buffer(i) = {channelsEach, static_cast<UInt32>(mBytes[i].size()), mBytes[i].data()};
        }
    }

    AudioBufferList& Get() { return *reinterpret_cast<AudioBufferList*>(mRecord.data()); }
    AudioBuffer& Buffer(std::size_t i) {
        AudioBuffer* const buffers = Get().mBuffers;
        return buffers[i];
    }
    float Float(std::size_t buffer, std::size_t index) const {
        float value;
        std::memcpy(&value, mBytes[buffer].data() + index * sizeof value, sizeof value);
        return value;
    }
    const std::vector<std::uint8_t>& Bytes(std::size_t buffer) const { return mBytes[buffer]; }

private:
    std::vector<std::vector<std::uint8_t>> mBytes;
    std::vector<std::byte> mRecord;
};

// An output list for floats, with `frames` frames of room in each buffer.
inline BufferList OutputList(UInt32 channels, bool isInterleaved, std::size_t frames) {
    const std::size_t each = frames * sizeof(float) * (isInterleaved ? channels : 1);
    return BufferList(std::vector(isInterleaved ? 1 : channels, std::vector<std::uint8_t>(each)),
                      isInterleaved ? channels : 1);
}

// A callback in the form of a function object, and what it was asked.
struct Source {
    using Give = std::function<OSStatus(UInt32& packets, AudioBufferList& list)>;
    Give give;
    AudioConverterRef converter = nullptr;
    std::vector<UInt32> asked = {};
    bool hadDescriptions = false;
    bool hadOtherConverter = false;

    static OSStatus Proc(AudioConverterRef converter, UInt32* packets, AudioBufferList* list,
                         AudioStreamPacketDescription** descriptions, void* userData) {
        auto* self = static_cast<Source*>(userData);
        self->asked.push_back(*packets);
        self->hadDescriptions |= descriptions != nullptr;
        self->hadOtherConverter |= converter != self->converter;
        return self->give(*packets, *list);
    }
};

struct Filled {
    OSStatus status;
    UInt32 packets;
};

inline Filled Fill(const Converter& converter, Source& source, UInt32 packets, BufferList& output) {
    source.converter = converter.get();
    const OSStatus status = AudioConverterFillComplexBuffer(converter.get(), Source::Proc, &source,
                                                            &packets, &output.Get(), nullptr);
    return {status, packets};
}

// Gives all of the buffers at once, then no packets.
inline Source AllAtOnce(BufferList& input, UInt32 packets) {
    return Source{[&input, left = packets](UInt32& count, AudioBufferList& list) mutable {
        count = left;
        left = 0;
        for (UInt32 i = 0; i < list.mNumberBuffers; ++i) {
            AudioBuffer* const buffers = list.mBuffers;
            buffers[i] = input.Buffer(i);
        }
        return noErr;
    }};
}

} // namespace qel::testing
