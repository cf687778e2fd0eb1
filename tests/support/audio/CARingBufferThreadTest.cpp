#include "RingBufferTesting.h"
#include "support/audio/CARingBuffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace qel::core {
namespace {

// Bounds whose start tells the end, with steps of many sizes.
SInt64 EndFor(SInt64 start) {
    return start * 3 + (start % 7) * 1000;
}

TEST(CARingBufferThreadTest, ReaderGetsBoundsThatWerePublishedTogether) {
    constexpr SInt64 kVersions = 2000000;
    CARingBuffer ring;
    ring.Allocate(1, 4, 1);
    std::atomic<bool> done{false};
    std::atomic<int> reads{0};
    std::thread writer([&] {
        for (SInt64 start = 1; start <= kVersions || reads.load() < 1000; ++start) {
            ring.SetTimeBounds(start, EndFor(start));
        }
        done = true;
    });
    SInt64 last = 0;
    SInt64 torn = 0;
    SInt64 backward = 0;
    while (!done.load()) {
        SInt64 start = 0;
        SInt64 end = 0;
        if (ring.GetTimeBounds(start, end) == kRingBufferOK) {
            torn += end != EndFor(start) ? 1 : 0;
            backward += start < last ? 1 : 0;
            last = start;
            reads.fetch_add(1);
        }
    }
    writer.join();
    EXPECT_GE(reads.load(), 1000);
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(backward, 0);
}

TEST(CARingBufferThreadTest, ReaderOfARunningStoreSeesItsRangesOnly) {
    constexpr SInt64 kBlock = 3;
    constexpr SInt64 kCapacity = 10;
    constexpr SInt64 kBlocks = 500000;
    CARingBuffer ring;
    ring.Allocate(2, 4, kCapacity);
    std::atomic<bool> done{false};
    std::atomic<int> reads{0};
    std::atomic<SInt64> failed{0};
    std::thread writer([&] {
        RingTestList list = RingTestRun(2, kBlock, 0);
        for (SInt64 block = 0; block < kBlocks || reads.load() < 1000; ++block) {
            failed += ring.Store(list.List(), kBlock, block * kBlock) != kRingBufferOK ? 1 : 0;
        }
        done = true;
    });
    // The end is a whole number of blocks; the start is the oldest frame of a full ring, once room
    // has been made for the next block or when it has come in.
    const auto published = [](SInt64 start, SInt64 end) {
        const auto oldest = [](SInt64 newest) {
            return newest > kCapacity ? newest - kCapacity : 0;
        };
        return end % kBlock == 0 && (start == oldest(end) || start == oldest(end + kBlock));
    };
    SInt64 others = 0;
    while (!done.load()) {
        SInt64 start = 0;
        SInt64 end = 0;
        if (ring.GetTimeBounds(start, end) == kRingBufferOK) {
            others += published(start, end) ? 0 : 1;
            reads.fetch_add(1);
        }
    }
    writer.join();
    EXPECT_GE(reads.load(), 1000);
    EXPECT_EQ(others, 0);
    EXPECT_EQ(failed.load(), 0);
}

} // namespace
} // namespace qel::core
