#include "support/audio/CABufferList.h"

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <utility>

namespace qel::core {

CAAutoDelete<CABufferList> CABufferList::New(const char* name,
                                             const CAStreamBasicDescription& format) {
    return CAAutoDelete<CABufferList>(
        new CABufferList(name, format.NumberChannelStreams(), format.NumberInterleavedChannels()));
}

CABufferList::CABufferList(const char* name, UInt32 buffers, UInt32 channelsPerBuffer)
    : mName(name) {
    // The record has one buffer in itself; the others are its tail.
    const std::size_t tail = buffers > 1 ? buffers - std::size_t{1} : 0;
    mList.allocBytes(sizeof(AudioBufferList) + tail * sizeof(AudioBuffer), true);
    mList->mNumberBuffers = buffers;
    for (UInt32 i = 0; i < buffers; ++i) {
        mList->mBuffers[i].mNumberChannels = channelsPerBuffer;
    }
}

UInt32 CABufferList::GetNumBytes() const {
    return mList->mNumberBuffers > 0 ? mList->mBuffers[0].mDataByteSize : 0;
}

UInt32 CABufferList::StrideFor(UInt32 bytes) const {
    if (mList->mNumberBuffers <= 1) {
        return bytes;
    }
    const std::uint64_t stride = ((std::uint64_t{bytes} + 15) & ~std::uint64_t{31}) + 16;
    if (stride > std::numeric_limits<UInt32>::max()) {
        throw std::bad_alloc();
    }
    return static_cast<UInt32>(stride);
}

void CABufferList::AllocateBuffers(UInt32 bytes) {
    if (GetNumBytes() >= bytes) {
        return;
    }
    const UInt32 stride = StrideFor(bytes);
    const UInt32 buffers = mList->mNumberBuffers;
    CAAutoArrayDelete<unsigned char> memory;
    memory.alloc(std::size_t{stride} * buffers);
    for (UInt32 i = 0; i < buffers; ++i) {
        AudioBuffer& buffer = mList->mBuffers[i];
        unsigned char* const start = memory + std::size_t{stride} * i;
        if (buffer.mData != nullptr) {
            std::memcpy(start, buffer.mData, std::min(buffer.mDataByteSize, stride));
        }
        buffer.mData = start;
        buffer.mDataByteSize = stride;
    }
    mBufferMemory = std::move(memory);
    mStride = stride;
}

void CABufferList::AllocateBuffersAndCopyFrom(UInt32 bytes, CABufferList* source,
                                              CABufferList* owner) {
    if (GetNumBytes() >= bytes) {
        CopyAllFrom(source, owner);
        return;
    }
    // The old memory lives until the copy is made, for the source may be this list.
    const UInt32 stride = StrideFor(bytes);
    CAAutoArrayDelete<unsigned char> memory;
    memory.alloc(std::size_t{stride} * mList->mNumberBuffers);
    const UInt32 consumed = source->GetNumBytes();
    for (UInt32 i = 0; i < mList->mNumberBuffers; ++i) {
        const AudioBuffer from = source->BufferOrNone(i);
        unsigned char* const start = memory + std::size_t{stride} * i;
        mList->mBuffers[i].mData = start;
        mList->mBuffers[i].mDataByteSize = stride;
        owner->TakeCopy(i, from, start, stride);
    }
    mBufferMemory = std::move(memory);
    mStride = stride;
    if (owner != source) {
        source->BytesConsumed(consumed);
    }
}

void CABufferList::CopyAllFrom(CABufferList* source, CABufferList* owner) {
    const UInt32 consumed = source->GetNumBytes();
    for (UInt32 i = 0; i < mList->mNumberBuffers; ++i) {
        owner->TakeCopy(i, source->BufferOrNone(i), mList->mBuffers[i].mData, Room(i));
    }
    if (owner != source) {
        source->BytesConsumed(consumed);
    }
}

void CABufferList::DeallocateBuffers() {
    for (UInt32 i = 0; i < mList->mNumberBuffers; ++i) {
        mList->mBuffers[i].mData = nullptr;
        mList->mBuffers[i].mDataByteSize = 0;
    }
    mBufferMemory.free();
    mStride = 0;
}

void CABufferList::BytesConsumed(UInt32 bytes) {
    for (UInt32 i = 0; i < mList->mNumberBuffers; ++i) {
        AudioBuffer& buffer = mList->mBuffers[i];
        const UInt32 dropped = std::min(bytes, buffer.mDataByteSize);
        if (dropped > 0) {
            buffer.mData = static_cast<unsigned char*>(buffer.mData) + dropped;
            buffer.mDataByteSize -= dropped;
        }
    }
}

AudioBuffer CABufferList::BufferOrNone(UInt32 index) const {
    return index < mList->mNumberBuffers ? mList->mBuffers[index] : AudioBuffer{};
}

// Bytes from a buffer's pointer to the end of its memory. The size field is no measure of that: it
// tells how much of a buffer is in use once a copy has been moved into it.
std::size_t CABufferList::Room(UInt32 index) const {
    const AudioBuffer& buffer = mList->mBuffers[index];
    const auto* const data = static_cast<const unsigned char*>(buffer.mData);
    const unsigned char* const begin = mBufferMemory + mStride * index;
    const std::less_equal<> before;
    if (mBufferMemory != nullptr && before(begin, data) && before(data, begin + mStride)) {
        return static_cast<std::size_t>(begin + mStride - data);
    }
    return buffer.mDataByteSize;
}

// Moves the content of `from` to `to`, which has `room` bytes, and points this list's buffer there.
void CABufferList::TakeCopy(UInt32 index, const AudioBuffer& from, void* to, std::size_t room) {
    const auto copied = static_cast<UInt32>(std::min<std::size_t>(from.mDataByteSize, room));
    if (copied > 0) {
        std::memmove(to, from.mData, copied);
    }
    if (index < mList->mNumberBuffers) {
        mList->mBuffers[index].mData = to;
        mList->mBuffers[index].mDataByteSize = copied;
    }
}

void CAShowAudioBufferList(std::FILE* stream, const AudioBufferList& list, UInt32 maxFloats) {
    std::fprintf(stream, "AudioBufferList: %" PRIu32 " buffers\n", list.mNumberBuffers);
    for (UInt32 i = 0; i < list.mNumberBuffers; ++i) {
        const AudioBuffer& buffer = list.mBuffers[i];
        std::fprintf(stream, "  [%" PRIu32 "] %" PRIu32 " channels, %" PRIu32 " bytes:", i,
                     buffer.mNumberChannels, buffer.mDataByteSize);
        const auto* const bytes = static_cast<const unsigned char*>(buffer.mData);
        const std::size_t held = bytes != nullptr ? buffer.mDataByteSize / sizeof(float) : 0;
        for (std::size_t n = 0; n < std::min<std::size_t>(held, maxFloats); ++n) {
            float value; // the pointer may have been advanced to any byte
            std::memcpy(&value, bytes + n * sizeof value, sizeof value);
            std::fprintf(stream, " %g", static_cast<double>(value));
        }
        std::fputc('\n', stream);
    }
}

} // namespace qel::core
