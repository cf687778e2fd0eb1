// How a CARingBuffer hands its bounds from the writer to the reader.

#include "support/audio/CARingBuffer.h"

#include <algorithm>

namespace qel::core {
namespace {

constexpr int kBoundsAttempts = 8;

} // namespace

void CARingBuffer::SetTimeBounds(SInt64 startTime, SInt64 endTime) {
    const UInt32 version = mTimeBoundsQueuePtr.load(std::memory_order_relaxed);
    const UInt32 next = version + 1;
    TimeBounds& bounds = mTimeBoundsQueue[next & kTimeBoundsQueueMask];
    bounds.startTime.store(startTime, std::memory_order_release);
    bounds.endTime.store(endTime, std::memory_order_release);
    bounds.updateCounter.store(next, std::memory_order_release);
    // A full barrier. There is one writer, so that the swap cannot fail.
    UInt32 expected = version;
    mTimeBoundsQueuePtr.compare_exchange_strong(expected, next, std::memory_order_seq_cst);
}

// An entry is overwritten for the version 32 steps later, which begins once the pointer has gone 31
// steps on. As the counter is written last, it alone would pass an entry that is half overwritten;
// but whoever has read a time of the later version also sees the pointer that far: the times are
// stored with release and loaded with acquire order.
SInt32 CARingBuffer::GetTimeBounds(SInt64& startTime, SInt64& endTime) const {
    for (int attempt = 0; attempt < kBoundsAttempts; ++attempt) {
        const UInt32 version = mTimeBoundsQueuePtr.load(std::memory_order_acquire);
        const TimeBounds& bounds = mTimeBoundsQueue[version & kTimeBoundsQueueMask];
        startTime = bounds.startTime.load(std::memory_order_acquire);
        endTime = bounds.endTime.load(std::memory_order_acquire);
        if (bounds.updateCounter.load(std::memory_order_acquire) != version) {
            continue;
        }
        const UInt32 steps = mTimeBoundsQueuePtr.load(std::memory_order_acquire) - version;
        if (steps < kTimeBoundsQueueSize - 1) {
            return kRingBufferOK;
        }
    }
    return kRingBufferBoundsBusy;
}

SInt32 CARingBuffer::CheckTimeBounds(SInt64& startRead, SInt64& endRead) const {
    SInt64 startTime = 0;
    SInt64 endTime = 0;
    const SInt32 result = GetTimeBounds(startTime, endTime);
    if (result != kRingBufferOK) {
        return result;
    }
    startRead = std::max(startRead, startTime);
    endRead = std::min(endRead, endTime);
    return ClassifyRange(startRead, endRead, startTime, endTime);
}

SInt32 CARingBuffer::ClassifyRange(SInt64 startRead, SInt64 endRead, SInt64 startTime,
                                   SInt64 endTime) {
    if (startRead < startTime) {
        if (endRead > endTime) {
            return kRingBufferTooMuch;
        }
        return endRead < startTime ? kRingBufferReadWhollyBefore : kRingBufferReadBeforeStart;
    }
    if (endRead <= endTime) {
        return kRingBufferOK;
    }
    return startRead <= endTime ? kRingBufferReadPastEnd : kRingBufferReadAfterEnd;
}

} // namespace qel::core
