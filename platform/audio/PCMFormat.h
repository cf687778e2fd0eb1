#pragma once

#include "platform/audio/SampleConversion.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <cstddef>
#include <optional>

namespace qel::platform {

// A stream of linear PCM, as a consistent record describes it. Its packets are its frames.
struct PCMFormat {
    Float64 rateHz; // as the record has it, unchecked
    UInt32 channels;
    bool isInterleaved; // also where one channel leaves nothing to interleave
    SampleLayout sample;

    UInt32 BufferCount() const noexcept { return isInterleaved ? 1 : channels; }
    UInt32 ChannelsPerBuffer() const noexcept { return isInterleaved ? channels : 1; }

    // Bytes of one frame in each buffer.
    std::size_t BytesPerFrame() const noexcept {
        return ChannelsPerBuffer() * sample.containerBytes;
    }

    // Floats of 32 bits in the machine's byte order.
    bool IsCanonicalFloat() const noexcept;
};

// Reads a record, or gives nothing if it is not linear PCM, contradicts itself, or is of a kind
// for which there is no conversion.
std::optional<PCMFormat> ReadPCMFormat(const AudioStreamBasicDescription& record) noexcept;

} // namespace qel::platform
