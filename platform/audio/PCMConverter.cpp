#include "platform/audio/PCMConverter.h"

#include <algorithm>
#include <cmath>

namespace qel::platform {

namespace {

bool IsRate(Float64 rateHz) {
    return std::isfinite(rateHz) && rateHz > 0.0;
}

std::size_t ListBytes(UInt32 buffers) {
    return offsetof(AudioBufferList, mBuffers) + buffers * sizeof(AudioBuffer);
}

// Where the first sample of a channel lies in a list of that format.
std::byte* ChannelStart(const PCMFormat& format, const AudioBufferList& list, UInt32 channel) {
    const AudioBuffer* const buffers = list.mBuffers;
    if (!format.isInterleaved) {
        return static_cast<std::byte*>(buffers[channel].mData);
    }
    return static_cast<std::byte*>(buffers[0].mData) + channel * format.sample.containerBytes;
}

} // namespace

OSStatus PCMConverter::Check(const AudioStreamBasicDescription& source,
                             const AudioStreamBasicDescription& destination) noexcept {
    const auto from = ReadPCMFormat(source);
    const auto to = ReadPCMFormat(destination);
    if (!from || !to || !to->IsCanonicalFloat() || from->channels != to->channels) {
        return kAudioConverterErr_FormatNotSupported;
    }
    if (!IsRate(from->rateHz)) {
        return kAudioConverterErr_InputSampleRateOutOfRange;
    }
    if (!IsRate(to->rateHz)) {
        return kAudioConverterErr_OutputSampleRateOutOfRange;
    }
    return from->rateHz == to->rateHz ? OSStatus{noErr} : kAudioConverterErr_FormatNotSupported;
}

PCMConverter::PCMConverter(const PCMFormat& source, const PCMFormat& destination)
    : mSource(source), mDestination(destination), mConversion(source.sample),
      mListMemory(std::make_unique<std::byte[]>(ListBytes(source.BufferCount()))),
      mInput(reinterpret_cast<AudioBufferList*>(mListMemory.get())) {}

OSStatus PCMConverter::Fill(const Input& input, UInt32& packets, AudioBufferList& output) {
    const UInt32 wanted = packets;
    packets = 0;
    OSStatus status = CheckOutput(wanted, output);
    if (status != noErr) {
        return status;
    }
    while (packets < wanted) {
        if (mHeldPackets == 0) {
            status = Ask(input, wanted - packets);
            if (status != noErr || mHeldPackets == 0) {
                break;
            }
        }
        const UInt32 count = std::min(mHeldPackets, wanted - packets);
        Convert(count, packets, output);
        packets += count;
    }
    AudioBuffer* const buffers = output.mBuffers;
    for (UInt32 i = 0; i < output.mNumberBuffers; ++i) {
        buffers[i].mDataByteSize = static_cast<UInt32>(packets * mDestination.BytesPerFrame());
    }
    return status;
}

OSStatus PCMConverter::CheckOutput(UInt32 packets, const AudioBufferList& output) const noexcept {
    if (output.mNumberBuffers != mDestination.BufferCount()) {
        return kAudio_ParamError;
    }
    const UInt64 bytes = UInt64{packets} * mDestination.BytesPerFrame();
    const AudioBuffer* const buffers = output.mBuffers;
    for (UInt32 i = 0; i < output.mNumberBuffers; ++i) {
        if (buffers[i].mData == nullptr && packets != 0) {
            return kAudio_ParamError;
        }
        if (buffers[i].mDataByteSize < bytes) {
            return kAudioConverterErr_InvalidOutputSize;
        }
    }
    return noErr;
}

OSStatus PCMConverter::Ask(const Input& input, UInt32 packets) {
    PrepareList();
    UInt32 given = packets;
    const OSStatus status = input.proc(input.converter, &given, mInput, nullptr, input.userData);
    return status != noErr ? status : Take(given);
}

void PCMConverter::PrepareList() noexcept {
    mInput->mNumberBuffers = mSource.BufferCount();
    std::fill_n(mInput->mBuffers, mSource.BufferCount(),
                AudioBuffer{mSource.ChannelsPerBuffer(), 0, nullptr});
}

OSStatus PCMConverter::Take(UInt32 packets) noexcept {
    if (packets == 0) {
        return noErr;
    }
    if (mInput->mNumberBuffers != mSource.BufferCount()) {
        return kAudio_ParamError;
    }
    const AudioBuffer* const buffers = mInput->mBuffers;
    std::size_t whole = packets;
    for (UInt32 i = 0; i < mInput->mNumberBuffers; ++i) {
        if (buffers[i].mData == nullptr && buffers[i].mDataByteSize != 0) {
            return kAudio_ParamError;
        }
        whole = std::min(whole, buffers[i].mDataByteSize / mSource.BytesPerFrame());
    }
    mHeldPackets = static_cast<UInt32>(whole);
    mHeldPlace = 0;
    return noErr;
}

void PCMConverter::Convert(UInt32 packets, UInt32 outputPlace,
                           const AudioBufferList& output) noexcept {
    if (mSource.isInterleaved && mDestination.isInterleaved) {
        mConversion({
            .source = ChannelStart(mSource, *mInput, 0) + mHeldPlace * mSource.BytesPerFrame(),
            .sourceStrideBytes = mSource.sample.containerBytes,
            .destination =
                ChannelStart(mDestination, output, 0) + outputPlace * mDestination.BytesPerFrame(),
            .destinationStrideBytes = sizeof(float),
            .count = std::size_t{packets} * mSource.channels,
        });
    } else {
        // In blocks, so that what one channel brought into the cache serves the others.
        constexpr UInt32 kBlockFrames = 256;
        for (UInt32 done = 0; done < packets; done += std::min(kBlockFrames, packets - done)) {
            const UInt32 frames = std::min(kBlockFrames, packets - done);
            for (UInt32 channel = 0; channel < mSource.channels; ++channel) {
                ConvertChannel(channel, mHeldPlace + done, frames,
                               ChannelStart(mDestination, output, channel) +
                                   (std::size_t{outputPlace} + done) *
                                       mDestination.BytesPerFrame());
            }
        }
    }
    mHeldPackets -= packets;
    mHeldPlace += packets;
}

void PCMConverter::ConvertChannel(UInt32 channel, std::size_t firstFrame, std::size_t frames,
                                  std::byte* outputChannel) const noexcept {
    mConversion({
        .source = ChannelStart(mSource, *mInput, channel) + firstFrame * mSource.BytesPerFrame(),
        .sourceStrideBytes = mSource.BytesPerFrame(),
        .destination = outputChannel,
        .destinationStrideBytes = mDestination.BytesPerFrame(),
        .count = frames,
    });
}

} // namespace qel::platform
