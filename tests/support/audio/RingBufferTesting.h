// What the tests of the ring buffer share: frames whose values tell their times.
#pragma once

#include "RingTestList.h"
#include "support/audio/CARingBuffer.h"

#include <gtest/gtest.h>

#include <utility>

namespace qel::core {

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
