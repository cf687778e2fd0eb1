#pragma once

#include "platform/audio/PCMFormat.h"
#include "platform/audio/SampleConversion.h"

#include <AudioToolbox/AudioConverter.h>

#include <cstddef>
#include <memory>

namespace qel::platform {

// Brings linear PCM to floats, at its own rate and with its own channels, pulling its input from a
// callback. Input that the callback gave is not copied: the converter keeps its place in it over
// as many calls as it lasts, and asks again when all is used.
class PCMConverter {
public:
    // Whom to ask for input.
    struct Input {
        AudioConverterRef converter; // what the callback is told
        AudioConverterComplexInputDataProc proc;
        void* userData;
    };

    // Whether there is a conversion between two formats: 0 or a kAudioConverterErr status.
    static OSStatus Check(const AudioStreamBasicDescription& source,
                          const AudioStreamBasicDescription& destination) noexcept;

    // For formats that have passed Check, of the same channels. Raises std::bad_alloc.
    PCMConverter(const PCMFormat& source, const PCMFormat& destination);

    PCMConverter(const PCMConverter&) = delete;
    PCMConverter& operator=(const PCMConverter&) = delete;

    // Makes up to `packets` packets; afterwards it is their number. Statuses as of
    // AudioConverterFillComplexBuffer. Raises what the callback raises, after which the next call
    // asks again.
    OSStatus Fill(const Input& input, UInt32& packets, AudioBufferList& output);

private:
    OSStatus CheckOutput(UInt32 packets, const AudioBufferList& output) const noexcept;
    OSStatus Ask(const Input& input, UInt32 packets);
    void PrepareList() noexcept;
    OSStatus Take(UInt32 packets) noexcept;
    void Convert(UInt32 packets, UInt32 outputPlace, const AudioBufferList& output) noexcept;
    void ConvertChannel(UInt32 channel, std::size_t firstFrame, std::size_t frames,
                        std::byte* outputChannel) const noexcept;

    const PCMFormat mSource;
    const PCMFormat mDestination;
    const SampleConversion mConversion;
    const std::unique_ptr<std::byte[]> mListMemory;
    AudioBufferList* const mInput; // in mListMemory, with an entry for each buffer of the source
    UInt32 mHeldPackets = 0;       // in mInput's buffers, not yet converted
    std::size_t mHeldPlace = 0;    // packets before them in mInput's buffers
};

} // namespace qel::platform
