#include "support/CARingBuffer.h"

#include "RingBufferTesting.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>

namespace qel::core {
namespace {

SInt32 StoreRunGrowing(CARingBuffer& ring, UInt32 frames, SInt64 time) {
    RingTestList list = RingTestRun(static_cast<UInt32>(ring.ChannelCount()), frames, time);
    return ring.StoreGrowing(list.List(), frames, time);
}

TEST(CARingBufferGrowthTest, GrowingKeepsFramesAndBounds) {
    for (SInt64 begin = -25; begin < 25; ++begin) {
        for (const UInt32 capacity : {11U, 13U, 20U, 64U}) {
            CARingBuffer ring;
            ring.Allocate(3, 4, 10);
            EXPECT_EQ(RingTestStore(ring, 9, begin), kRingBufferOK);
            const RingTestBounds before = RingTestBoundsOf(ring);
            ring.Grow(capacity);
            EXPECT_EQ(ring.CapacityFrames(), capacity);
            EXPECT_EQ(ring.CapacityBytes(), 4 * capacity);
            EXPECT_EQ(RingTestBoundsOf(ring), before);
            EXPECT_TRUE(RingTestHolds(ring, 9, begin));
            EXPECT_EQ(RingTestStore(ring, 2, begin + 9), kRingBufferOK);
            EXPECT_TRUE(RingTestHolds(ring, 11, begin)) << "room for all there is";
        }
    }
}

TEST(CARingBufferGrowthTest, SmallerCapacityOrNoAllocationChangesNothing) {
    CARingBuffer ring;
    ring.Grow(10);
    EXPECT_EQ(ring.CapacityFrames(), 0U);
    EXPECT_EQ(StoreRunGrowing(ring, 1, 0), kRingBufferTooMuch);
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 10, 0), kRingBufferOK);
    ring.Grow(5);
    EXPECT_EQ(ring.CapacityFrames(), 10U);
    EXPECT_TRUE(RingTestHolds(ring, 10, 0));
}

TEST(CARingBufferGrowthTest, GrowthBeyond32BitsRaisesBadAllocAndKeepsTheRing) {
    CARingBuffer ring;
    ring.Allocate(2, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 10, 0), kRingBufferOK);
    EXPECT_THROW(ring.Grow(1U << 29), std::bad_alloc);
    RingTestList list = RingTestRun(2, 1, 0);
    EXPECT_THROW(ring.StoreGrowing(list.List(), 1, SInt64{1} << 40), std::bad_alloc);
    EXPECT_THROW(ring.StoreGrowing(list.List(), 1, std::numeric_limits<SInt64>::max()),
                 std::bad_alloc);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(0, 10));
    EXPECT_TRUE(RingTestHolds(ring, 10, 0));
}

TEST(CARingBufferGrowthTest, WithinTheCapacityNothingGrows) {
    CARingBuffer ring;
    ring.Allocate(2, 4, 100);
    for (SInt64 time = 0; time < 100; time += 20) {
        EXPECT_EQ(StoreRunGrowing(ring, 20, time), kRingBufferOK);
    }
    EXPECT_EQ(ring.CapacityFrames(), 100U);
    EXPECT_TRUE(RingTestHolds(ring, 100, 0));
}

TEST(CARingBufferGrowthTest, NothingFallsOutFromNoCapacityOn) {
    CARingBuffer ring;
    ring.Allocate(2, 4, 0);
    SInt64 time = 0;
    for (const UInt32 frames : {1U, 1U, 5U, 3U, 100U, 1U, 7U, 1000U}) {
        EXPECT_EQ(StoreRunGrowing(ring, frames, time), kRingBufferOK);
        time += frames;
        EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(0, time));
        EXPECT_TRUE(RingTestHolds(ring, static_cast<UInt32>(time), 0));
    }
}

TEST(CARingBufferGrowthTest, GapIsHeldAndBackwardStoreStillDropsAll) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 4);
    EXPECT_EQ(StoreRunGrowing(ring, 4, 0), kRingBufferOK);
    EXPECT_EQ(StoreRunGrowing(ring, 2, 30), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(0, 32));
    EXPECT_TRUE(RingTestHolds(ring, 4, 0));
    RingTestList gap(1, 4 * 26);
    EXPECT_EQ(ring.Fetch(gap.List(), 26, 4, false), kRingBufferOK);
    for (UInt32 n = 0; n < 26; ++n) {
        EXPECT_EQ(gap.Get<SInt32>(0, n), 0) << n;
    }
    const UInt32 capacity = ring.CapacityFrames();
    EXPECT_EQ(StoreRunGrowing(ring, capacity, 31), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(31, 31 + SInt64{capacity}));
    EXPECT_EQ(ring.CapacityFrames(), capacity) << "what is dropped needs no room";
    EXPECT_EQ(StoreRunGrowing(ring, capacity + 1, 2), kRingBufferOK);
    EXPECT_TRUE(RingTestHolds(ring, capacity + 1, 2));
}

TEST(CARingBufferGrowthTest, CountOfZeroDoesNothing) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 4);
    EXPECT_EQ(RingTestStore(ring, 4, 0), kRingBufferOK);
    RingTestList list = RingTestRun(1, 4, 100);
    EXPECT_EQ(ring.StoreGrowing(list.List(), 0, 1), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(0, 4));
    EXPECT_TRUE(RingTestHolds(ring, 4, 0));
}

TEST(CARingBufferGrowthTest, FramesMovedByGrowingStayBelowTheFramesStored) {
    constexpr SInt64 kFrames = 200000;
    CARingBuffer ring;
    ring.Allocate(1, 4, 0);
    SInt64 moved = 0;
    UInt32 capacity = 0;
    for (SInt64 time = 0; time < kFrames; ++time) {
        SInt32 value = RingTestValue(time, 0);
        AudioBufferList list{1, {{1, sizeof value, &value}}};
        ASSERT_EQ(ring.StoreGrowing(&list, 1, time), kRingBufferOK);
        if (ring.CapacityFrames() != capacity) {
            moved += time; // all that was held before this frame
            capacity = ring.CapacityFrames();
        }
    }
    // Capacities double, so the moves sum up to 1 + 2 + 4 + ... below twice the last.
    EXPECT_LT(moved, 2 * kFrames);
    EXPECT_LT(ring.CapacityFrames(), 2 * kFrames);
    EXPECT_TRUE(RingTestHolds(ring, kFrames, 0));
}

} // namespace
} // namespace qel::core
