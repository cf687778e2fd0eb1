#include "support/audio/CARingBuffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace qel::core {
namespace {

// Room for one channel's pointer at the head of the block.
constexpr UInt32 kBytesPerPointer = 8;
static_assert(sizeof(Byte*) <= kBytesPerPointer);

// Times at the ends of 64 bits stop there.
SInt64 SaturatingAdd(SInt64 a, SInt64 b) {
    SInt64 sum;
    if (!__builtin_add_overflow(a, b, &sum)) {
        return sum;
    }
    return b < 0 ? std::numeric_limits<SInt64>::min() : std::numeric_limits<SInt64>::max();
}

SInt64 SaturatingSubtract(SInt64 a, SInt64 b) {
    SInt64 difference;
    if (!__builtin_sub_overflow(a, b, &difference)) {
        return difference;
    }
    return b > 0 ? std::numeric_limits<SInt64>::min() : std::numeric_limits<SInt64>::max();
}

// A difference of times cut to signed 32 bits.
SInt32 Difference32(SInt64 a, SInt64 b) {
    return static_cast<SInt32>(
        static_cast<UInt32>(static_cast<UInt64>(a) - static_cast<UInt64>(b)));
}

// frame mod capacity, not negative; 0 for a capacity of 0.
UInt32 SlotOf(SInt64 frame, UInt32 capacity) {
    if (capacity == 0) {
        return 0;
    }
    const SInt64 remainder = frame % capacity;
    return static_cast<UInt32>(remainder < 0 ? remainder + capacity : remainder);
}

// A run of bytes of a buffer, in places that may lie outside of it.
struct ByteRun {
    SInt64 offset;
    SInt64 length; // not negative

    // The part of the run that is in the buffer, and not longer than the buffer's memory.
    ByteRun Within(const AudioBuffer& buffer) const {
        const SInt64 room = buffer.mData != nullptr ? buffer.mDataByteSize : 0;
        const SInt64 begin = std::clamp<SInt64>(offset, 0, room);
        const SInt64 end = std::clamp<SInt64>(SaturatingAdd(offset, length), 0, room);
        return {begin, end - begin};
    }
};

void ZeroABL(AudioBufferList* list, SInt64 destOffset, SInt64 nBytes) {
    for (UInt32 i = 0; i < list->mNumberBuffers; ++i) {
        const ByteRun run = ByteRun{destOffset, nBytes}.Within(list->mBuffers[i]);
        if (run.length > 0) {
            std::memset(static_cast<Byte*>(list->mBuffers[i].mData) + run.offset, 0,
                        static_cast<std::size_t>(run.length));
        }
    }
}

void ZeroRange(Byte* const* buffers, UInt32 channels, std::size_t offset, std::size_t nBytes) {
    for (UInt32 c = 0; c < channels && nBytes > 0; ++c) {
        std::memset(buffers[c] + offset, 0, nBytes);
    }
}

void FetchABL(AudioBufferList* list, SInt64 destOffset, Byte* const* buffers, UInt32 channels,
              std::size_t srcOffset, std::size_t nBytes) {
    for (UInt32 i = 0; i < std::min(list->mNumberBuffers, channels); ++i) {
        const AudioBuffer& buffer = list->mBuffers[i];
        const ByteRun run = ByteRun{destOffset, static_cast<SInt64>(nBytes)}.Within(buffer);
        if (run.length > 0) {
            const auto skipped = static_cast<std::size_t>(run.offset - destOffset);
            std::memcpy(static_cast<Byte*>(buffer.mData) + run.offset,
                        buffers[i] + srcOffset + skipped, static_cast<std::size_t>(run.length));
        }
    }
}

void StoreABL(Byte* const* buffers, UInt32 channels, std::size_t destOffset,
              const AudioBufferList* list, std::size_t srcOffset, std::size_t nBytes) {
    for (UInt32 i = 0; i < std::min(list->mNumberBuffers, channels); ++i) {
        const AudioBuffer& buffer = list->mBuffers[i];
        const ByteRun run =
            ByteRun{static_cast<SInt64>(srcOffset), static_cast<SInt64>(nBytes)}.Within(buffer);
        if (run.length > 0) {
            std::memcpy(buffers[i] + destOffset,
                        static_cast<const Byte*>(buffer.mData) + run.offset,
                        static_cast<std::size_t>(run.length));
        }
    }
}

} // namespace

void CARingBuffer::Allocate(SInt32 channels, UInt32 bytesPerFrame, UInt32 capacityFrames) {
    Deallocate();
    CAAutoFree<Byte> block;
    mCapacityBytes = MakeBlock(channels, bytesPerFrame, capacityFrames, block);
    mBlock = std::move(block);
    mBuffers = reinterpret_cast<Byte**>(mBlock.get());
    mChannelCount = channels;
    mBytesPerFrame = bytesPerFrame;
    mCapacityFrames = capacityFrames;
    for (TimeBounds& bounds : mTimeBoundsQueue) {
        bounds.startTime = 0;
        bounds.endTime = 0;
        bounds.updateCounter = 0;
    }
    mTimeBoundsQueuePtr = 0;
}

void CARingBuffer::Deallocate() {
    mBlock.free();
    mBuffers = nullptr;
    mChannelCount = 0;
    mCapacityBytes = 0;
    mCapacityFrames = 0;
}

// Makes a zeroed block with its pointers; the result is the size of a channel in bytes.
UInt32 CARingBuffer::MakeBlock(SInt32 channels, UInt32 bytesPerFrame, UInt32 capacityFrames,
                               CAAutoFree<Byte>& block) {
    constexpr UInt64 kLargest = std::numeric_limits<UInt32>::max();
    const UInt64 capacityBytes = UInt64{bytesPerFrame} * capacityFrames;
    if (channels < 0 || capacityBytes > kLargest - kBytesPerPointer ||
        static_cast<UInt64>(channels) * (capacityBytes + kBytesPerPointer) > kLargest) {
        throw std::bad_alloc();
    }
    const auto count = static_cast<std::size_t>(channels);
    block.allocBytes(count * (capacityBytes + kBytesPerPointer), true);
    auto** const pointers = reinterpret_cast<Byte**>(block.get());
    for (std::size_t c = 0; c < count; ++c) {
        pointers[c] = block + count * kBytesPerPointer + c * capacityBytes;
    }
    return static_cast<UInt32>(capacityBytes);
}

SInt32 CARingBuffer::FrameOffset(SInt64 frame) const {
    if (mCapacityFrames == 0) {
        return 0;
    }
    const auto remainder = static_cast<UInt64>(frame % SInt64{mCapacityFrames});
    return static_cast<SInt32>(static_cast<UInt32>(remainder * mBytesPerFrame));
}

// FrameOffset for the ring's own use: within a channel's region also where that is negative or
// needs 32 bits without a sign.
std::size_t CARingBuffer::SlotOffset(SInt64 frame) const {
    return std::size_t{SlotOf(frame, mCapacityFrames)} * mBytesPerFrame;
}

SInt32 CARingBuffer::Store(const AudioBufferList* list, UInt32 frames, SInt64 startWrite) {
    if (frames > mCapacityFrames) {
        return kRingBufferTooMuch;
    }
    const SInt64 endWrite = SaturatingAdd(startWrite, frames);
    MakeRoom(startWrite, endWrite);
    const SInt64 end = EndTime();
    if (startWrite > end) {
        ZeroGap(end, startWrite);
    }
    const auto channels = static_cast<UInt32>(mChannelCount);
    const std::size_t first = SlotOffset(startWrite);
    const std::size_t last = SlotOffset(endWrite);
    // At the end of 64 bits no frame may have a time.
    // Required by the contract: a count of 0 goes on, and moves a whole capacity. Returning early
    // changes no value, as no caller passes 0.
    const bool hasTimes = startWrite < endWrite || frames == 0;
    if (first < last) {
        StoreABL(mBuffers, channels, first, list, 0, last - first);
    } else if (hasTimes) {
        const std::size_t untilWrap = mCapacityBytes - first;
        StoreABL(mBuffers, channels, first, list, 0, untilWrap);
        StoreABL(mBuffers, channels, 0, list, untilWrap, last);
    }
    SetTimeBounds(StartTime(), endWrite);
    return kRingBufferOK;
}

// Withdraws what is going to be overwritten before a byte of it changes.
void CARingBuffer::MakeRoom(SInt64 startWrite, SInt64 endWrite) {
    if (startWrite < EndTime()) {
        SetTimeBounds(startWrite, startWrite);
    } else if (SaturatingSubtract(endWrite, StartTime()) > mCapacityFrames) {
        const SInt64 newStart = endWrite - mCapacityFrames;
        SetTimeBounds(newStart, std::max(newStart, EndTime()));
    }
}

void CARingBuffer::ZeroGap(SInt64 from, SInt64 to) {
    const auto channels = static_cast<UInt32>(mChannelCount);
    const std::size_t first = SlotOffset(from);
    const std::size_t last = SlotOffset(to);
    if (first < last) {
        ZeroRange(mBuffers, channels, first, last - first);
    } else {
        ZeroRange(mBuffers, channels, first, mCapacityBytes - first);
        ZeroRange(mBuffers, channels, 0, last);
    }
}

SInt32 CARingBuffer::Fetch(AudioBufferList* list, UInt32 frames, SInt64 startRead,
                           bool outOfBoundsOK) const {
    const SInt64 wantedStart = startRead;
    const SInt64 wantedEnd = SaturatingAdd(startRead, frames);
    SInt64 endRead = wantedEnd;
    const SInt32 result = CheckTimeBounds(startRead, endRead);
    const SInt64 size = SaturatingSubtract(endRead, startRead);
    if (result != kRingBufferOK && (!outOfBoundsOK || size <= 0)) {
        return result;
    }

    // Required by the contract: `head` and `size` are frames where the offsets are bytes. Scaling
    // them changes what comes of fetches that reach out of the bounds.
    const SInt64 head = Difference32(startRead, wantedStart);
    const SInt64 tail = Difference32(wantedEnd, endRead);
    if (head > 0) {
        ZeroABL(list, 0, head * mBytesPerFrame);
    }
    if (tail > 0) {
        ZeroABL(list, SaturatingAdd(size, head), tail * mBytesPerFrame);
    }

    const auto channels = static_cast<UInt32>(mChannelCount);
    const std::size_t first = SlotOffset(startRead);
    const std::size_t last = SlotOffset(endRead);
    SInt64 copied = 0;
    if (first < last) {
        copied = static_cast<SInt64>(last - first);
        FetchABL(list, head, mBuffers, channels, first, last - first);
    } else {
        const std::size_t untilWrap = mCapacityBytes - first;
        copied = static_cast<SInt64>(untilWrap + last);
        FetchABL(list, head, mBuffers, channels, first, untilWrap);
        FetchABL(list, head + static_cast<SInt64>(untilWrap), mBuffers, channels, 0, last);
    }
    for (UInt32 i = 0; i < list->mNumberBuffers; ++i) {
        AudioBuffer& buffer = list->mBuffers[i];
        const SInt64 length = i < channels ? ByteRun{head, copied}.Within(buffer).length : 0;
        buffer.mDataByteSize = static_cast<UInt32>(length);
    }
    return worse(result, CheckTimeBounds(startRead, endRead));
}

} // namespace qel::core
