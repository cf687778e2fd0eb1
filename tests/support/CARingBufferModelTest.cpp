// Long random runs of operations beside a model that knows nothing of slots: frames addressed by
// time, each there or not.

#include "support/CARingBuffer.h"

#include "RingBufferTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr SInt64 kFirstTime = -500;
constexpr SInt64 kLastTime = 6000;

using Frame = std::vector<Byte>; // of all channels, one behind the other

class Model {
public:
    Model(UInt32 channels, UInt32 bytesPerFrame, UInt32 capacity)
        : mChannels(channels), mBytesPerFrame(bytesPerFrame), mCapacity(capacity),
          mFrames(kLastTime - kFirstTime) {}

    // The bounds of an empty model are told by mEnd alone.
    SInt64 start = 0;
    SInt64 end = 0;

    SInt32 Store(const std::vector<Frame>& frames, SInt64 time) {
        if (frames.size() > mCapacity) {
            return kRingBufferTooMuch;
        }
        if (time < end) {
            std::fill(mFrames.begin(), mFrames.end(), std::nullopt);
            start = end = time;
        }
        for (; end < time; ++end) {
            At(end) = Frame(std::size_t{mChannels} * mBytesPerFrame, 0);
        }
        for (const Frame& frame : frames) {
            At(end++) = frame;
        }
        for (; end - start > mCapacity; ++start) {
            At(start).reset();
        }
        return kRingBufferOK;
    }

    // What the buffer of `channel` has after a fetch that holds at least one frame.
    std::vector<Byte> Fetch(UInt32 channel, UInt32 frames, SInt64 time, std::vector<Byte> buffer) {
        std::vector<Byte> held;
        SInt64 before = 0;
        SInt64 behind = 0;
        for (SInt64 t = time; t < time + frames; ++t) {
            const auto& frame = t >= kFirstTime && t < kLastTime ? At(t) : mNone;
            if (frame.has_value()) {
                const auto first = frame->begin() + std::ptrdiff_t{channel} * mBytesPerFrame;
                held.insert(held.end(), first, first + mBytesPerFrame);
            } else {
                ++(held.empty() ? before : behind);
            }
        }
        Zero(buffer, 0, before * mBytesPerFrame);
        const auto count = static_cast<SInt64>(held.size()) / mBytesPerFrame;
        Zero(buffer, count + before, behind * mBytesPerFrame); // places in frames: meant
        std::copy(held.begin(), held.end(), buffer.begin() + before);
        return buffer;
    }

    bool HoldsOneOf(SInt64 time, UInt32 frames) const {
        return std::max(time, start) < std::min(time + frames, end);
    }

private:
    std::optional<Frame>& At(SInt64 time) {
        return mFrames[static_cast<std::size_t>(time - kFirstTime)];
    }
    static void Zero(std::vector<Byte>& buffer, SInt64 from, SInt64 count) {
        std::fill_n(buffer.begin() + from, count, Byte{0});
    }

    UInt32 mChannels;
    UInt32 mBytesPerFrame;
    UInt32 mCapacity;
    std::vector<std::optional<Frame>> mFrames;
    std::optional<Frame> mNone;
};

class RandomRun {
public:
    RandomRun(unsigned int seed, UInt32 channels, UInt32 bytesPerFrame, UInt32 capacity)
        : mRandom(seed), mChannels(channels), mBytesPerFrame(bytesPerFrame), mCapacity(capacity),
          mModel(channels, bytesPerFrame, capacity) {
        mRing.Allocate(static_cast<SInt32>(channels), bytesPerFrame, capacity);
    }

    void Store() {
        const auto frames = static_cast<UInt32>(
            Between(0, 9) == 0 ? Between(mCapacity + 1, mCapacity + 5) : Between(1, mCapacity));
        SInt64 time = mModel.end;
        const SInt64 kind = Between(0, 9);
        if (kind == 0) {
            time += Between(0, SInt64{2} * mCapacity); // a gap
        } else if (kind == 1) {
            time -= Between(0, 300);
        }
        if (time < kFirstTime || time + frames >= kLastTime) {
            time = Between(kFirstTime, 0); // back to the beginning of time
        }
        RingTestList list(mChannels, std::size_t{frames} * mBytesPerFrame);
        std::vector<Frame> content(frames);
        for (UInt32 c = 0; c < mChannels; ++c) {
            for (UInt32 b = 0; b < frames * mBytesPerFrame; ++b) {
                const auto byte = static_cast<Byte>(mRandom());
                list.Data(c)[b] = byte;
                content[b / mBytesPerFrame].resize(std::size_t{mChannels} * mBytesPerFrame);
                content[b / mBytesPerFrame][c * mBytesPerFrame + b % mBytesPerFrame] = byte;
            }
        }
        ASSERT_EQ(mRing.Store(list.List(), frames, time), mModel.Store(content, time));
        ASSERT_EQ(RingTestBoundsOf(mRing), RingTestBounds(mModel.start, mModel.end));
    }

    void Fetch() {
        const auto frames = static_cast<UInt32>(Between(1, SInt64{2} * mCapacity));
        const SInt64 time = Between(mModel.start - mCapacity, mModel.end);
        RingTestList list(mChannels, std::size_t{frames} * mBytesPerFrame);
        const std::vector<Byte> untouched = list.Data(0);
        ASSERT_EQ(mRing.Fetch(list.List(), frames, time, Between(0, 1) == 0), kRingBufferOK);
        for (UInt32 c = 0; c < mChannels; ++c) {
            if (mModel.HoldsOneOf(time, frames)) {
                ASSERT_EQ(list.Data(c), mModel.Fetch(c, frames, time, untouched))
                    << frames << " frames from " << time << " of [" << mModel.start << ", "
                    << mModel.end << ")";
            } else {
                ASSERT_TRUE(list.UntouchedFrom(c, list.Bytes())); // the margin
            }
        }
    }

    bool Coin() { return Between(0, 1) == 0; }

private:
    SInt64 Between(SInt64 least, SInt64 most) {
        return std::uniform_int_distribution<SInt64>(least, most)(mRandom);
    }

    std::mt19937 mRandom;
    UInt32 mChannels;
    UInt32 mBytesPerFrame;
    UInt32 mCapacity;
    Model mModel;
    CARingBuffer mRing;
};

TEST(CARingBufferModelTest, RandomStoresAndFetchesAgreeWithTheModel) {
    constexpr int kOperationsPerRing = 500;
    unsigned int seed = 1;
    for (const UInt32 channels : {1U, 2U, 5U}) {
        for (const UInt32 bytesPerFrame : {4U, 8U}) {
            for (const UInt32 capacity : {1U, 2U, 3U, 4U, 5U, 7U, 8U, 10U, 16U, 31U, 32U, 50U, 64U,
                                          99U, 128U, 177U, 200U}) {
                RandomRun run(seed++, channels, bytesPerFrame, capacity);
                for (int i = 0; i < kOperationsPerRing; ++i) {
                    if (run.Coin()) {
                        run.Store();
                    } else {
                        run.Fetch();
                    }
                    ASSERT_FALSE(testing::Test::HasFatalFailure())
                        << channels << " channels of " << bytesPerFrame << " bytes, capacity "
                        << capacity << ", operation " << i;
                }
            }
        }
    }
}

} // namespace
} // namespace qel::core
