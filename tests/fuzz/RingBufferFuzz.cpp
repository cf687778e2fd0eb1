// Any order of operations on a ring, beside the model of the tests. Lists may have fewer or more
// buffers than the ring has channels, less room than the frames need, or no data.

#include "tests/fuzz/ByteProgram.h"
#include "tests/fuzz/Require.h"
#include "tests/support/audio/RingBufferModel.h"
#include "tests/support/audio/RingTestList.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <vector>

namespace qel::fuzz {
namespace {

using core::CARingBuffer;
using core::RingBufferModel;
using core::RingTestList;

constexpr SInt64 kFirst = std::numeric_limits<SInt64>::min();
constexpr SInt64 kLast = std::numeric_limits<SInt64>::max();
constexpr int kMostOperations = 64;
// Above this many bytes an allocation may fail, and below it may not.
constexpr UInt64 kSmallBytes = UInt64{1} << 22;

SInt64 Moved(SInt64 time, SInt64 by) {
    SInt64 sum = 0;
    return __builtin_add_overflow(time, by, &sum) ? (by < 0 ? kFirst : kLast) : sum;
}

class RingRun {
public:
    explicit RingRun(ByteProgram& program) : mProgram(program) { Allocate(); }

    void Run() {
        for (int i = 0; i < kMostOperations && !mProgram.AtEnd(); ++i) {
            Operate();
            CheckBounds();
        }
    }

private:
    void Operate() {
        switch (mProgram.Below(12)) {
        case 0:
            return Allocate();
        case 1:
            return AllocateAnything();
        case 4:
            return CheckAnyBounds();
        case 5:
            return StoreOddly();
        case 6:
            return FetchAnything();
        case 7:
        case 8:
            return Fetch();
        default:
            return Store();
        }
    }

    void Allocate() {
        constexpr UInt32 kBytesPerFrame[] = {4, 8, 1, 2, 3, 12, 40, 0};
        mChannels = mProgram.Seldom(16) ? 0 : 1 + mProgram.Below(5);
        mBytesPerFrame = mProgram.OneOf(kBytesPerFrame);
        const UInt32 capacity = mProgram.Below(200);
        mRing.Allocate(static_cast<SInt32>(mChannels), mBytesPerFrame, capacity);
        mModel.emplace(mChannels, mBytesPerFrame, capacity);
        Require(mRing.CapacityFrames() == capacity, "a ring has the capacity asked for");
    }

    void AllocateAnything() {
        // Of many channels or with a sign that is out of place.
        const auto channels = static_cast<SInt32>(mProgram.Long()) >> (mProgram.Coin() ? 16 : 0);
        if (channels > (1 << 20)) {
            return; // pointers alone
        }
        const UInt32 bytesPerFrame = mProgram.Long();
        const UInt32 capacity = mProgram.Long();
        const auto bytes = static_cast<long double>(channels != 0 ? channels : 1) *
                           (static_cast<long double>(bytesPerFrame) * capacity + 8.0L);
        bool thrown = false;
        try {
            mRing.Allocate(channels, bytesPerFrame, capacity);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        Require(thrown || (bytes >= 0 && bytes < 0x1p32L), "a block of 2^32 bytes is refused");
        Require(!thrown || bytes < 0 || bytes > kSmallBytes, "a small block is there");
        Require(!thrown || mRing.ChannelCount() == 0, "a failed allocation leaves nothing");
        Allocate();
    }

    // A run of frames after the end, after a gap, before the end, or anywhere.
    SInt64 TimeOfStore() {
        switch (mProgram.Below(8)) {
        case 0:
            return Moved(mModel->End(), mProgram.Below(300));
        case 1:
            return Moved(mModel->End(), -SInt64{mProgram.Below(300)});
        case 2:
            return static_cast<SInt64>(mProgram.Quad());
        case 3: {
            const SInt64 end = mProgram.Coin() ? kFirst : kLast;
            return Moved(end, mProgram.Below(40) - SInt64{20});
        }
        default:
            return mModel->End();
        }
    }

    UInt32 SomeFrames(UInt32 most) { return 1 + mProgram.Below(std::max<UInt32>(most, 1)); }

    RingTestList Noise(UInt32 frames, std::vector<RingBufferModel::Frame>& content) {
        RingTestList list(mChannels, std::size_t{frames} * mBytesPerFrame);
        content.assign(frames, RingBufferModel::Frame(std::size_t{mChannels} * mBytesPerFrame));
        for (UInt32 c = 0; c < mChannels; ++c) {
            for (UInt32 b = 0; b < frames * mBytesPerFrame; ++b) {
                mNoise = mNoise * 1664525 + 1013904223;
                const auto byte = static_cast<Byte>(mNoise >> 24);
                list.Data(c)[b] = byte;
                content[b / mBytesPerFrame][c * mBytesPerFrame + b % mBytesPerFrame] = byte;
            }
        }
        return list;
    }

    void Store() {
        const UInt32 frames = SomeFrames(mModel->Capacity() + mProgram.Seldom(8));
        const SInt64 time = TimeOfStore();
        std::vector<RingBufferModel::Frame> content;
        RingTestList list = Noise(frames, content);
        Require(mRing.Store(list.List(), frames, time) == mModel->Store(content, time),
                "a store answers as the model does");
    }

    // No caller may store nothing, or lists that do not fit: whatever then is held, no memory is
    // touched that is not the list's.
    void StoreOddly() {
        RingTestList list = OddList();
        const SInt64 time = TimeOfStore();
        mRing.Store(list.List(), mProgram.Below(mModel->Capacity() + 1), time);
        Allocate();
    }

    RingTestList OddList() {
        const UInt32 buffers = mProgram.Below(8);
        RingTestList list(buffers, mProgram.Below(2000));
        for (UInt32 i = 0; i < list.List()->mNumberBuffers; ++i) {
            AudioBuffer& buffer = list.List()->mBuffers[i];
            if (mProgram.Seldom(4)) {
                buffer.mData = nullptr;
            } else if (mProgram.Seldom(4)) {
                buffer.mDataByteSize = mProgram.Below(buffer.mDataByteSize + 1);
            }
        }
        return list;
    }

    void Fetch() {
        const UInt32 frames = SomeFrames(2 * mModel->Capacity());
        const SInt64 time = Moved(mModel->Start(), mProgram.Below(2 * mModel->Capacity() + 1) -
                                                       static_cast<SInt64>(mModel->Capacity()));
        const std::size_t bytes = std::size_t{frames} * mBytesPerFrame;
        const std::size_t room =
            mProgram.Seldom(4) ? mProgram.Below(static_cast<UInt32>(bytes) + 1) : bytes;
        RingTestList list(mChannels + (mProgram.Seldom(8) ? 2 : 0), room);
        Require(mRing.Fetch(list.List(), frames, time, mProgram.Coin()) == core::kRingBufferOK,
                "a fetch without a second thread succeeds");
        const std::vector<Byte> untouched(room, RingTestList::kUntouched);
        for (UInt32 c = 0; c < mChannels; ++c) {
            Require(list.UntouchedFrom(c, room), "nothing is written beyond a buffer's room");
            if (mModel->HoldsOneOf(time, frames)) {
                const std::vector<Byte> expected = mModel->Fetch(c, frames, time, untouched);
                Require(std::equal(expected.begin(), expected.end(), list.Data(c).begin()),
                        "a fetch gives what the model has");
            }
        }
    }

    void FetchAnything() {
        RingTestList list = OddList();
        const UInt32 frames = mProgram.Coin() ? mProgram.Long() : mProgram.Below(300);
        const SInt64 time = TimeOfStore();
        mRing.Fetch(list.List(), frames, time, mProgram.Coin());
        for (UInt32 i = 0; i < list.List()->mNumberBuffers; ++i) {
            Require(list.UntouchedFrom(i, list.Bytes()), "no margin is written");
            Require(list.DataByteSize(i) <= list.Bytes(), "no more is told than there is room for");
        }
    }

    void CheckAnyBounds() {
        SInt64 start = TimeOfStore();
        SInt64 end = TimeOfStore();
        const SInt64 expectedStart = std::max(start, mModel->Start());
        const SInt64 expectedEnd = std::min(end, mModel->End());
        Require(mRing.CheckTimeBounds(start, end) == core::kRingBufferOK, "bounds are there");
        Require(start == expectedStart && end == expectedEnd, "a range is clamped to the bounds");
    }

    void CheckBounds() {
        SInt64 start = 0;
        SInt64 end = 0;
        Require(mRing.GetTimeBounds(start, end) == core::kRingBufferOK, "bounds can be read");
        Require(start == mRing.StartTime() && end == mRing.EndTime(),
                "there is one pair of bounds");
        Require(start == mModel->Start() && end == mModel->End(), "bounds are the model's");
    }

    ByteProgram& mProgram;
    CARingBuffer mRing;
    std::optional<RingBufferModel> mModel;
    UInt32 mChannels = 0;
    UInt32 mBytesPerFrame = 0;
    UInt32 mNoise = 1;
};

} // namespace
} // namespace qel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qel::fuzz::ByteProgram program(data, size);
    qel::fuzz::RingRun(program).Run();
    return 0;
}
