// Lists for the tests of the ring buffer: byte buffers with a margin that nobody may touch.
#pragma once

#include "support/CARingBuffer.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

namespace qel::core {

// Owns `buffers` buffers of `bytes` bytes each, filled with kUntouched, with a margin behind.
class RingTestList {
public:
    static constexpr Byte kUntouched = 0xA5;
    static constexpr std::size_t kMargin = 64;

    RingTestList(UInt32 buffers, std::size_t bytes) : mBytes(bytes), mData(buffers) {
        const std::size_t tail = buffers > 1 ? buffers - std::size_t{1} : 0;
        mList.allocBytes(sizeof(AudioBufferList) + tail * sizeof(AudioBuffer), true);
        mList->mNumberBuffers = buffers;
        Reset();
    }

    // Fills the buffers with kUntouched and sets every mDataByteSize to the whole size.
    void Reset() {
        for (UInt32 i = 0; i < mList->mNumberBuffers; ++i) {
            mData[i].assign(mBytes + kMargin, kUntouched);
            mList->mBuffers[i] = {1, static_cast<UInt32>(mBytes), mData[i].data()};
        }
    }

    AudioBufferList* List() { return mList; }
    std::size_t Bytes() const { return mBytes; }
    UInt32 DataByteSize(UInt32 buffer) const { return mList->mBuffers[buffer].mDataByteSize; }
    void SetDataByteSize(UInt32 buffer, UInt32 size) {
        mList->mBuffers[buffer].mDataByteSize = size;
    }

    std::vector<Byte>& Data(UInt32 buffer) { return mData[buffer]; }

    template <class T>
    void Set(UInt32 buffer, std::size_t index, T value) {
        std::memcpy(mData[buffer].data() + index * sizeof value, &value, sizeof value);
    }

    template <class T>
    T Get(UInt32 buffer, std::size_t index) const {
        T value;
        std::memcpy(&value, mData[buffer].data() + index * sizeof value, sizeof value);
        return value;
    }

    bool UntouchedFrom(UInt32 buffer, std::size_t offset) const {
        return std::all_of(mData[buffer].begin() + static_cast<std::ptrdiff_t>(offset),
                           mData[buffer].end(), [](Byte b) { return b == kUntouched; });
    }

private:
    std::size_t mBytes;
    std::vector<std::vector<Byte>> mData;
    CAAutoFree<AudioBufferList> mList;
};

// Frame t of channel c in rings of 4-byte frames, for any t of 64 bits.
inline SInt32 RingTestValue(SInt64 time, UInt32 channel) {
    return static_cast<SInt32>(1 + static_cast<UInt32>(time) + 1000000 * channel);
}

// The time `frames` after `time`, wrapping at the end of 64 bits.
inline SInt64 RingTestTime(SInt64 time, UInt32 frames) {
    return static_cast<SInt64>(static_cast<UInt64>(time) + frames);
}

// A list with the values of the frames from `time` on.
inline RingTestList RingTestRun(UInt32 channels, UInt32 frames, SInt64 time) {
    RingTestList list(channels, frames * sizeof(SInt32));
    for (UInt32 c = 0; c < channels; ++c) {
        for (UInt32 n = 0; n < frames; ++n) {
            list.Set(c, n, RingTestValue(RingTestTime(time, n), c));
        }
    }
    return list;
}

using RingTestBounds = std::pair<SInt64, SInt64>;

inline RingTestBounds RingTestBoundsOf(const CARingBuffer& ring) {
    RingTestBounds bounds;
    EXPECT_EQ(ring.GetTimeBounds(bounds.first, bounds.second), kRingBufferOK);
    EXPECT_EQ(bounds, RingTestBounds(ring.StartTime(), ring.EndTime()));
    return bounds;
}

inline SInt32 RingTestStore(CARingBuffer& ring, UInt32 frames, SInt64 time) {
    RingTestList list = RingTestRun(static_cast<UInt32>(ring.ChannelCount()), frames, time);
    return ring.Store(list.List(), frames, time);
}

// Whether `ring` gives the values of the frames from `time` on, in all channels.
inline testing::AssertionResult RingTestHolds(const CARingBuffer& ring, UInt32 frames,
                                              SInt64 time) {
    const auto channels = static_cast<UInt32>(ring.ChannelCount());
    RingTestList list(channels, frames * sizeof(SInt32));
    if (ring.Fetch(list.List(), frames, time, false) != kRingBufferOK) {
        return testing::AssertionFailure() << "fetch failed";
    }
    for (UInt32 c = 0; c < channels; ++c) {
        for (UInt32 n = 0; n < frames; ++n) {
            if (list.Get<SInt32>(c, n) != RingTestValue(RingTestTime(time, n), c)) {
                return testing::AssertionFailure() << "channel " << c << ", frame " << time + n;
            }
        }
        if (list.DataByteSize(c) != frames * sizeof(SInt32)) {
            return testing::AssertionFailure() << "size of channel " << c;
        }
    }
    return testing::AssertionSuccess();
}

} // namespace qel::core
