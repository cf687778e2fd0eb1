// Long random runs of operations beside the model.

#include "RingBufferModel.h"
#include "RingBufferTesting.h"
#include "support/audio/CARingBuffer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr SInt64 kFirstTime = -500;
constexpr SInt64 kLastTime = 6000;

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
        SInt64 time = mModel.End();
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
        std::vector<RingBufferModel::Frame> content(frames);
        for (UInt32 c = 0; c < mChannels; ++c) {
            for (UInt32 b = 0; b < frames * mBytesPerFrame; ++b) {
                const auto byte = static_cast<Byte>(mRandom());
                list.Data(c)[b] = byte;
                content[b / mBytesPerFrame].resize(std::size_t{mChannels} * mBytesPerFrame);
                content[b / mBytesPerFrame][c * mBytesPerFrame + b % mBytesPerFrame] = byte;
            }
        }
        ASSERT_EQ(mRing.Store(list.List(), frames, time), mModel.Store(content, time));
        ASSERT_EQ(RingTestBoundsOf(mRing), RingTestBounds(mModel.Start(), mModel.End()));
    }

    void Fetch() {
        const auto frames = static_cast<UInt32>(Between(1, SInt64{2} * mCapacity));
        const SInt64 time = Between(mModel.Start() - mCapacity, mModel.End());
        RingTestList list(mChannels, std::size_t{frames} * mBytesPerFrame);
        const std::vector<Byte> untouched = list.Data(0);
        ASSERT_EQ(mRing.Fetch(list.List(), frames, time, Between(0, 1) == 0), kRingBufferOK);
        for (UInt32 c = 0; c < mChannels; ++c) {
            if (mModel.HoldsOneOf(time, frames)) {
                ASSERT_EQ(list.Data(c), mModel.Fetch(c, frames, time, untouched))
                    << frames << " frames from " << time << " of [" << mModel.Start() << ", "
                    << mModel.End() << ")";
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
    RingBufferModel mModel;
    CARingBuffer mRing;
};

TEST(CARingBufferModelTest, RandomStoresAndFetchesAgreeWithTheModel) {
    constexpr int kOperationsPerRing = 500;
    unsigned int seed = 1;
    for (const UInt32 channels : {1u, 2u, 5u}) {
        for (const UInt32 bytesPerFrame : {4u, 8u}) {
            for (const UInt32 capacity : {1u, 2u, 3u, 4u, 5u, 7u, 8u, 10u, 16u, 31u, 32u, 50u, 64u,
                                          99u, 128u, 177u, 200u}) {
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
