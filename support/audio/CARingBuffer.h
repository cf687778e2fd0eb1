#pragma once

#include "support/runtime/CAAutoDisposer.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <array>
#include <atomic>
#include <cstddef>

namespace qel::core {

// Results of CARingBuffer.
enum : SInt32 {
    kRingBufferOK = 0,
    kRingBufferReadPastEnd = 1,       // the read starts inside and ends after the end
    kRingBufferReadAfterEnd = 2,      // the read lies wholly after the end
    kRingBufferTooMuch = 3,           // Store: more frames than the capacity. As a class of a
                                      // read: it passes the held range on both sides
    kRingBufferBoundsBusy = 4,        // eight attempts gave no consistent pair of bounds
    kRingBufferReadBeforeStart = -1,  // the read starts before the start and ends inside
    kRingBufferReadWhollyBefore = -2, // the read lies wholly before the start
};

// The result that is farther from 0; the second of two that are as far.
constexpr SInt32 worse(SInt32 a, SInt32 b) {
    return (a < 0 ? -SInt64{a} : SInt64{a}) > (b < 0 ? -SInt64{b} : SInt64{b}) ? a : b;
}

// A store of the last frames of several channels, addressed by time: frame numbers, not cursors.
// Frame t stands in slot t mod capacity of every channel, and all channels hold one range of times.
//
//   1. Allocate a capacity.
//   2. Store runs of frames. What falls out of the capacity is gone, gaps are filled with zeros,
//      and a run that starts before the end drops everything that was held.
//   3. Fetch any range. What is not held reads as zeros, up to the peculiarity told at Fetch.
//
// Threads: one writer (Store, SetTimeBounds, StartTime, EndTime) and one reader (Fetch,
// GetTimeBounds, CheckTimeBounds) may run side by side without a lock. The bounds are atomic: the
// reader gets a start and an end that were published together. The bytes of the frames are not: a
// reader that is overtaken during its copy reads bytes that are being written, and the check
// after the copy cannot tell (see CheckTimeBounds). Allocate and Deallocate need both
// threads' silence. Store and Fetch take no lock and allocate nothing.
class CARingBuffer {
public:
    CARingBuffer() = default;
    CARingBuffer(const CARingBuffer&) = delete;
    CARingBuffer& operator=(const CARingBuffer&) = delete;
    ~CARingBuffer() = default;

    // Drops everything and makes an empty ring with the bounds [0, 0), all slots zero. A capacity
    // of 0 is a ring that holds nothing. Raises std::bad_alloc, leaving the ring deallocated, if
    // memory is exhausted or if channels * (bytesPerFrame * capacityFrames + 8) needs more than 32
    // bits (that of one channel, where there is none).
    void Allocate(SInt32 channels, UInt32 bytesPerFrame, UInt32 capacityFrames);

    // Gives the memory back. The bounds keep their last values; nobody may Store or Fetch then.
    void Deallocate();

    SInt32 ChannelCount() const { return mChannelCount; }
    UInt32 BytesPerFrame() const { return mBytesPerFrame; } // of one channel
    UInt32 CapacityFrames() const { return mCapacityFrames; }
    UInt32 CapacityBytes() const { return mCapacityBytes; } // of one channel

    // Stores `frames` frames of every buffer of `list` at the times from `startWrite` on. The list
    // keeps its data. Channels without a buffer keep what their slots held; buffers without a
    // channel are not read. Nothing is read past a buffer's mDataByteSize: slots beyond keep what
    // they held. Times below 0 have slots like all others; frames with times beyond 64 bits are not
    // stored.
    //
    // Required by the contract: a count of 0 is no empty operation. It moves a whole capacity from
    // the list, as far as the list has it, over whatever is held. No caller may pass it.
    // Any cleanup changes no value, as no caller does.
    //
    // Returns kRingBufferOK, or kRingBufferTooMuch for more frames than the capacity, having done
    // nothing.
    SInt32 Store(const AudioBufferList* list, UInt32 frames, SInt64 startWrite);

    // Reads `frames` frames from `startRead` into `list`, whose mDataByteSize must tell the room of
    // each buffer; nothing is written beyond it. It is then set to the bytes that were copied, so
    // whoever fetches again into the same list sets it anew (CABufferList::AllocateBuffers does).
    //
    // The frames that are held come out, the others are zeroed.
    //
    // Required by the contract: where the range reaches out of the bounds, the places in the list
    // are counted in frames but used as bytes. Any cleanup changes the results of readers that
    // reach out. With `head` frames missing before the held ones, the first head * bytesPerFrame
    // bytes are zeroed, then the held frames are copied to byte `head`; with `tail` frames missing
    // after `size` held ones, tail * bytesPerFrame bytes from byte size + head on are zeroed
    // before the copy. A reader inside the bounds sees none of this.
    //
    // A range without any held frame moves, in place of nothing, a whole capacity from slot
    // `startRead` (clamped) on, as far as the room goes. At the end of the bounds, that is all
    // slots from the oldest to the newest. A range wholly outside of the bounds gets bytes of the
    // ring without meaning: readers keep their reads at or below the end.
    //
    // Returns kRingBufferOK, or kRingBufferBoundsBusy; with `outOfBoundsOK`, the copy is done even
    // then.
    SInt32 Fetch(AudioBufferList* list, UInt32 frames, SInt64 startRead, bool outOfBoundsOK) const;

    // The slot of frame `frame` in a channel below ChannelCount(), for a reader in the writer's
    // thread that copies nothing: BytesPerFrame() bytes, zero if nothing was ever stored there.
    // Frames that fell out show what took their slot. The ring must have a capacity.
    const Byte* SlotOfFrame(SInt32 channel, SInt64 frame) const {
        return mBuffers[channel] + SlotOffset(frame);
    }

    // The times of the first frame held and of the one after the last, as published together.
    // Returns kRingBufferOK; or kRingBufferBoundsBusy if the writer got in between eight times,
    // and then the two may not belong together.
    SInt32 GetTimeBounds(SInt64& startTime, SInt64& endTime) const;

    // Clamps a range of times to the bounds. Required by the contract: the range is classed after
    // the clamp, and so never as reaching out. Classing it before makes fetches fail that succeed
    // today.
    //
    // Returns kRingBufferOK, or kRingBufferBoundsBusy with the range as it was. The end of a range
    // wholly outside comes out before its start.
    SInt32 CheckTimeBounds(SInt64& startRead, SInt64& endRead) const;

    // The class of a range of times against bounds: one of the results but kRingBufferBoundsBusy.
    static SInt32 ClassifyRange(SInt64 startRead, SInt64 endRead, SInt64 startTime, SInt64 endTime);

    // Publishes new bounds; they must not be farther apart than the capacity.
    void SetTimeBounds(SInt64 startTime, SInt64 endTime);

    // The bounds as the writer knows them.
    SInt64 StartTime() const { return Current().startTime.load(std::memory_order_relaxed); }
    SInt64 EndTime() const { return Current().endTime.load(std::memory_order_relaxed); }

    // (frame mod capacity) * bytesPerFrame, where the remainder has the sign of `frame`, cut to 32
    // bits. 0 for a capacity of 0.
    SInt32 FrameOffset(SInt64 frame) const;

private:
    friend class CARingBufferTestAccess;

    static constexpr UInt32 kTimeBoundsQueueSize = 32;
    static constexpr UInt32 kTimeBoundsQueueMask = kTimeBoundsQueueSize - 1;

    // One version of the bounds.
    struct TimeBounds {
        std::atomic<SInt64> startTime{0};
        std::atomic<SInt64> endTime{0};
        std::atomic<UInt32> updateCounter{0}; // the version that this entry was written for
    };

    const TimeBounds& Current() const {
        return mTimeBoundsQueue[mTimeBoundsQueuePtr.load(std::memory_order_relaxed) &
                                kTimeBoundsQueueMask];
    }
    static UInt32 MakeBlock(SInt32 channels, UInt32 bytesPerFrame, UInt32 capacityFrames,
                            CAAutoFree<Byte>& block);
    std::size_t SlotOffset(SInt64 frame) const;
    void MakeRoom(SInt64 startWrite, SInt64 endWrite);
    void ZeroGap(SInt64 from, SInt64 to);

    CAAutoFree<Byte> mBlock;   // a pointer per channel, then mCapacityBytes bytes per channel
    Byte** mBuffers = nullptr; // the head of mBlock
    SInt32 mChannelCount = 0;
    UInt32 mBytesPerFrame = 0;
    UInt32 mCapacityFrames = 0;
    UInt32 mCapacityBytes = 0;
    std::array<TimeBounds, kTimeBoundsQueueSize> mTimeBoundsQueue;
    std::atomic<UInt32> mTimeBoundsQueuePtr{0}; // version of the current entry; may wrap
};

} // namespace qel::core
