// What CARingBuffer promises, without slots: a run of frames that begins at a time.
#pragma once

#include "support/audio/CARingBuffer.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <limits>
#include <vector>

namespace qel::core {

class RingBufferModel {
public:
    using Frame = std::vector<Byte>; // of all channels, one after the other

    RingBufferModel(UInt32 channels, UInt32 bytesPerFrame, UInt32 capacity)
        : mChannels(channels), mBytesPerFrame(bytesPerFrame), mCapacity(capacity) {}

    SInt64 Start() const { return mStart; }
    SInt64 End() const { return mStart + static_cast<SInt64>(mHeld.size()); }
    UInt32 Capacity() const { return mCapacity; }

    // Frames whose times are beyond 64 bits are not stored.
    SInt32 Store(const std::vector<Frame>& frames, SInt64 time) {
        if (frames.size() > mCapacity) {
            return kRingBufferTooMuch;
        }
        if (time < End()) {
            Drop(time);
        }
        FillGap(time);
        const UInt64 storable = std::min<UInt64>(frames.size(), Distance(time, kLast));
        mHeld.insert(mHeld.end(), frames.begin(),
                     frames.begin() + static_cast<std::ptrdiff_t>(storable));
        while (mHeld.size() > mCapacity) {
            mHeld.pop_front();
            ++mStart;
        }
        return kRingBufferOK;
    }

    // What the buffer of `channel` has after a fetch that holds at least one frame. Nothing beyond
    // the buffer's size is told.
    std::vector<Byte> Fetch(UInt32 channel, UInt32 frames, SInt64 time,
                            std::vector<Byte> buffer) const {
        const SInt64 wanted = static_cast<SInt64>(std::min<UInt64>(frames, Distance(time, kLast)));
        std::vector<Byte> held;
        SInt64 before = 0;
        SInt64 behind = 0;
        for (SInt64 t = time; t < time + wanted; ++t) {
            if (t >= mStart && t < End()) {
                const Frame& frame = mHeld[static_cast<std::size_t>(t - mStart)];
                const auto first = frame.begin() + std::ptrdiff_t{channel} * mBytesPerFrame;
                held.insert(held.end(), first, first + mBytesPerFrame);
            } else {
                ++(t < mStart ? before : behind);
            }
        }
        const SInt64 count = wanted - before - behind;
        Put(buffer, 0, std::vector<Byte>(static_cast<std::size_t>(before * mBytesPerFrame)));
        // Places in frames: meant.
        Put(buffer, count + before,
            std::vector<Byte>(static_cast<std::size_t>(behind * mBytesPerFrame)));
        Put(buffer, before, held);
        return buffer;
    }

    bool HoldsOneOf(SInt64 time, UInt32 frames) const {
        const SInt64 end =
            time + static_cast<SInt64>(std::min<UInt64>(frames, Distance(time, kLast)));
        return std::max(time, Start()) < std::min(end, End());
    }

private:
    static constexpr SInt64 kLast = std::numeric_limits<SInt64>::max(); // the last end there is

    static UInt64 Distance(SInt64 from, SInt64 to) {
        return static_cast<UInt64>(to) - static_cast<UInt64>(from);
    }

    void Drop(SInt64 start) {
        mHeld.clear();
        mStart = start;
    }

    // Zeros up to `time`, as far as a capacity has room for them.
    void FillGap(SInt64 time) {
        const UInt64 gap = Distance(End(), time);
        if (gap > mCapacity) {
            Drop(time - mCapacity);
        }
        mHeld.insert(mHeld.end(), std::min<UInt64>(gap, mCapacity),
                     Frame(std::size_t{mChannels} * mBytesPerFrame, 0));
    }

    // Writes bytes into the buffer, those that would lie past its end left out.
    static void Put(std::vector<Byte>& buffer, SInt64 at, const std::vector<Byte>& bytes) {
        const SInt64 room = std::max<SInt64>(static_cast<SInt64>(buffer.size()) - at, 0);
        std::copy_n(bytes.begin(), std::min<SInt64>(room, static_cast<SInt64>(bytes.size())),
                    buffer.begin() + std::min<SInt64>(at, static_cast<SInt64>(buffer.size())));
    }

    UInt32 mChannels;
    UInt32 mBytesPerFrame;
    UInt32 mCapacity;
    SInt64 mStart = 0;
    std::deque<Frame> mHeld;
};

} // namespace qel::core
