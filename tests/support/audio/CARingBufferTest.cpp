#include "support/audio/CARingBuffer.h"

#include "RingBufferTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <vector>

namespace qel::core {

namespace {

static_assert(!std::is_copy_constructible_v<CARingBuffer>);
static_assert(worse(-1, 1) == 1);
static_assert(worse(2, -1) == 2);
static_assert(worse(1, -1) == -1);
static_assert(worse(0, 4) == 4);
static_assert(worse(std::numeric_limits<SInt32>::min(), 4) == std::numeric_limits<SInt32>::min());

TEST(CARingBufferTest, NewRingHoldsNothing) {
    const CARingBuffer ring;
    EXPECT_EQ(ring.ChannelCount(), 0);
    EXPECT_EQ(ring.CapacityFrames(), 0u);
    EXPECT_EQ(ring.CapacityBytes(), 0u);
    EXPECT_EQ(ring.FrameOffset(7), 0);
}

TEST(CARingBufferTest, AllocatedRingIsEmptyAndZero) {
    CARingBuffer ring;
    ring.Allocate(2, 4, 10);
    EXPECT_EQ(ring.ChannelCount(), 2);
    EXPECT_EQ(ring.BytesPerFrame(), 4u);
    EXPECT_EQ(ring.CapacityFrames(), 10u);
    EXPECT_EQ(ring.CapacityBytes(), 40u);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(0, 0));
    RingTestList list(2, 40);
    EXPECT_EQ(ring.Fetch(list.List(), 10, 0, false), kRingBufferOK);
    EXPECT_EQ(list.Data(1)[39], 0);
    EXPECT_TRUE(list.UntouchedFrom(1, 40));
}

TEST(CARingBufferTest, DeallocatingKeepsTheBoundsAndAllocatingAgainClearsThem) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 4, 3), kRingBufferOK);
    ring.Deallocate();
    EXPECT_EQ(ring.ChannelCount(), 0);
    EXPECT_EQ(ring.CapacityFrames(), 0u);
    EXPECT_EQ(ring.CapacityBytes(), 0u);
    EXPECT_EQ(ring.BytesPerFrame(), 4u);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(0, 7));
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(0, 0));
    EXPECT_EQ(RingTestStore(ring, 1, 4), kRingBufferOK);
    RingTestList list(1, 20);
    EXPECT_EQ(ring.Fetch(list.List(), 5, 0, false), kRingBufferOK);
    EXPECT_EQ(list.Get<SInt32>(0, 3), 0) << "kept over allocations";
    EXPECT_EQ(list.Get<SInt32>(0, 4), RingTestValue(4, 0));
}

TEST(CARingBufferTest, SizeBeyond32BitsRaisesBadAlloc) {
    CARingBuffer ring;
    EXPECT_THROW(ring.Allocate(1, 1u << 16, 1u << 16), std::bad_alloc);
    EXPECT_THROW(ring.Allocate(1, 1, 0xFFFFFFF8u), std::bad_alloc);
    EXPECT_THROW(ring.Allocate(2, 4, 1u << 29), std::bad_alloc);
    EXPECT_THROW(ring.Allocate(1 << 30, 4, 0), std::bad_alloc);
    EXPECT_THROW(ring.Allocate(-1, 4, 1), std::bad_alloc);
    EXPECT_EQ(ring.CapacityFrames(), 0u);
    EXPECT_EQ(RingTestStore(ring, 1, 0), kRingBufferTooMuch);
}

TEST(CARingBufferTest, StoringTheWholeCapacityFillsTheRing) {
    for (const SInt64 time : {SInt64{0}, SInt64{10}, SInt64{13}}) {
        CARingBuffer ring;
        ring.Allocate(2, 4, 10);
        EXPECT_EQ(RingTestStore(ring, 10, time), kRingBufferOK);
        EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(time, time + 10));
        EXPECT_TRUE(RingTestHolds(ring, 10, time));
    }
}

TEST(CARingBufferTest, StoringMoreThanTheCapacityIsRefused) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 6, 0), kRingBufferOK);
    EXPECT_EQ(RingTestStore(ring, 11, 6), kRingBufferTooMuch);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(0, 6));
    EXPECT_TRUE(RingTestHolds(ring, 6, 0));
}

TEST(CARingBufferTest, OldestFramesFallOut) {
    CARingBuffer ring;
    ring.Allocate(3, 4, 100);
    for (SInt64 time = 0; time < 150; time += 10) {
        EXPECT_EQ(RingTestStore(ring, 10, time), kRingBufferOK);
    }
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(50, 150));
    EXPECT_TRUE(RingTestHolds(ring, 100, 50));
}

TEST(CARingBufferTest, BackwardStoreDropsWhatWasHeld) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 8, 0), kRingBufferOK);
    EXPECT_EQ(RingTestStore(ring, 3, 7), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(7, 10));
    EXPECT_TRUE(RingTestHolds(ring, 3, 7));
}

TEST(CARingBufferTest, GapReadsAsZerosAlsoWhereItWraps) {
    for (const SInt64 begin : {SInt64{10}, SInt64{15}}) {
        CARingBuffer ring;
        ring.Allocate(2, 4, 10);
        EXPECT_EQ(RingTestStore(ring, 10, begin - 10), kRingBufferOK); // no slot is zero
        EXPECT_EQ(RingTestStore(ring, 2, begin), kRingBufferOK);
        EXPECT_EQ(RingTestStore(ring, 2, begin + 8), kRingBufferOK);
        EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(begin, begin + 10));
        EXPECT_TRUE(RingTestHolds(ring, 2, begin));
        EXPECT_TRUE(RingTestHolds(ring, 2, begin + 8));
        RingTestList gap(2, 24);
        EXPECT_EQ(ring.Fetch(gap.List(), 6, begin + 2, false), kRingBufferOK);
        for (UInt32 n = 0; n < 6; ++n) {
            EXPECT_EQ(gap.Get<SInt32>(1, n), 0) << n;
        }
    }
}

TEST(CARingBufferTest, GapLongerThanTheCapacityLeavesZerosBeforeTheRun) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 10, 0), kRingBufferOK);
    EXPECT_EQ(RingTestStore(ring, 3, 1000), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(993, 1003));
    RingTestList list(1, 40);
    EXPECT_EQ(ring.Fetch(list.List(), 10, 993, false), kRingBufferOK);
    EXPECT_EQ(list.Get<SInt32>(0, 6), 0);
    EXPECT_EQ(list.Get<SInt32>(0, 7), RingTestValue(1000, 0));
}

// The place of what is fetched counts frames, the length of the zeros counts bytes.
TEST(CARingBufferTest, ReadClampedInFrontPutsTheFramesAsManyBytesInAsFramesAreMissing) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 4, 7), kRingBufferOK); // bounds [1, 11), zeros up to 7
    RingTestList list(1, 100);
    EXPECT_EQ(ring.Fetch(list.List(), 13, -2, false), kRingBufferOK);
    EXPECT_EQ(list.DataByteSize(0), 40u);
    std::vector<Byte> expected(12, 0); // 3 frames missing before 1: 12 bytes of zeros
    expected.resize(3 + 24, 0);        // then from byte 3 on the six frames of the gap
    for (SInt64 t = 7; t < 11; ++t) {
        const SInt32 value = RingTestValue(t, 0);
        const auto* const bytes = reinterpret_cast<const Byte*>(&value);
        expected.insert(expected.end(), bytes, bytes + sizeof value);
    }
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), list.Data(0).begin()));
    EXPECT_TRUE(list.UntouchedFrom(0, expected.size()));
}

TEST(CARingBufferTest, ReadClampedBehindZeroesFromAsManyBytesOnAsFramesAreHeld) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 5, 0), kRingBufferOK);
    RingTestList list(1, 80);
    EXPECT_EQ(ring.Fetch(list.List(), 15, 2, false), kRingBufferOK);
    EXPECT_EQ(list.DataByteSize(0), 12u);
    for (UInt32 n = 0; n < 3; ++n) {
        EXPECT_EQ(list.Get<SInt32>(0, n), RingTestValue(2 + n, 0));
    }
    // 3 frames held, 12 missing: zeros over the bytes from 3 to 50.
    for (std::size_t b = 12; b < 51; ++b) {
        EXPECT_EQ(list.Data(0)[b], 0) << b;
    }
    EXPECT_TRUE(list.UntouchedFrom(0, 51));
}

TEST(CARingBufferTest, ReadAtTheEndMovesAllSlotsOldestFirst) {
    CARingBuffer ring;
    ring.Allocate(2, 4, 5);
    RingTestList list(2, 20);
    EXPECT_EQ(RingTestStore(ring, 3, 0), kRingBufferOK);
    EXPECT_EQ(ring.Fetch(list.List(), 5, 3, true), kRingBufferOK);
    EXPECT_EQ(list.DataByteSize(1), 20u);
    for (UInt32 n = 0; n < 5; ++n) {
        EXPECT_EQ(list.Get<SInt32>(1, n), n < 2 ? 0 : RingTestValue(SInt64{n} - 2, 1));
    }
    EXPECT_EQ(RingTestStore(ring, 4, 3), kRingBufferOK);
    list.Reset();
    EXPECT_EQ(ring.Fetch(list.List(), 5, 7, true), kRingBufferOK);
    for (UInt32 n = 0; n < 5; ++n) {
        EXPECT_EQ(list.Get<SInt32>(0, n), RingTestValue(2 + SInt64{n}, 0));
    }
}

TEST(CARingBufferTest, SlotOfAFrameShowsWhatAFetchWouldCopy) {
    CARingBuffer ring;
    ring.Allocate(2, 4, 5);
    ASSERT_EQ(RingTestStore(ring, 3, 0), kRingBufferOK);
    ASSERT_EQ(RingTestStore(ring, 4, 3), kRingBufferOK);
    RingTestList list(2, 20);
    ASSERT_EQ(ring.Fetch(list.List(), 5, 2, false), kRingBufferOK);
    for (SInt32 c = 0; c < 2; ++c) {
        for (UInt32 n = 0; n < 5; ++n) {
            SInt32 value = 0;
            std::memcpy(&value, ring.SlotOfFrame(c, 2 + SInt64{n}), sizeof value);
            EXPECT_EQ(value, list.Get<SInt32>(static_cast<UInt32>(c), n));
            EXPECT_EQ(value, RingTestValue(2 + SInt64{n}, static_cast<UInt32>(c)));
        }
    }
}

TEST(CARingBufferTest, SlotOfAFrameThatWasNotStoredIsZero) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 3);
    ASSERT_EQ(RingTestStore(ring, 1, 0), kRingBufferOK);
    SInt32 value = -1;
    std::memcpy(&value, ring.SlotOfFrame(0, 2), sizeof value);
    EXPECT_EQ(value, 0);
}

TEST(CARingBufferTest, ReadAtTheEndZeroesTheRestOfALargerList) {
    CARingBuffer ring;
    ring.Allocate(1, 8, 2);
    RingTestList list(1, 100);
    EXPECT_EQ(ring.Fetch(list.List(), 3, 0, true), kRingBufferOK);
    EXPECT_EQ(list.DataByteSize(0), 16u);
    EXPECT_EQ(list.Data(0)[23], 0);
    EXPECT_TRUE(list.UntouchedFrom(0, 24));
}

TEST(CARingBufferTest, StoringZeroFramesMovesAWholeCapacity) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 6);
    EXPECT_EQ(RingTestStore(ring, 4, 0), kRingBufferOK);
    RingTestList list = RingTestRun(1, 6, 100);
    EXPECT_EQ(ring.Store(list.List(), 0, 4), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(0, 4));
    RingTestList out(1, 16);
    EXPECT_EQ(ring.Fetch(out.List(), 4, 0, false), kRingBufferOK);
    for (UInt32 n = 0; n < 4; ++n) { // value 0 of the list went to slot 4
        EXPECT_EQ(out.Get<SInt32>(0, n), RingTestValue(102 + SInt64{n}, 0));
    }
}

TEST(CARingBufferTest, StoringZeroFramesStopsWhereTheListEnds) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 6);
    EXPECT_EQ(RingTestStore(ring, 6, 0), kRingBufferOK);
    RingTestList list = RingTestRun(1, 2, 100);
    EXPECT_EQ(ring.Store(list.List(), 0, 6), kRingBufferOK);
    RingTestList out(1, 24);
    EXPECT_EQ(ring.Fetch(out.List(), 6, 0, false), kRingBufferOK);
    EXPECT_EQ(out.Get<SInt32>(0, 1), RingTestValue(101, 0));
    EXPECT_EQ(out.Get<SInt32>(0, 2), RingTestValue(2, 0));
}

TEST(CARingBufferTest, RingOfNoCapacityRefusesFramesAndReadsZeros) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 0);
    EXPECT_EQ(RingTestStore(ring, 1, 0), kRingBufferTooMuch);
    RingTestList list(1, 8);
    EXPECT_EQ(ring.Store(list.List(), 0, 5), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(5, 5));
    EXPECT_EQ(ring.Fetch(list.List(), 2, 5, false), kRingBufferOK);
    EXPECT_EQ(list.Get<SInt32>(0, 1), 0);
    EXPECT_EQ(list.DataByteSize(0), 0u);
    EXPECT_EQ(ring.FrameOffset(5), 0);
}

TEST(CARingBufferTest, ListsOfOtherWidthThanTheRingTouchOnlyWhatBothHave) {
    CARingBuffer ring;
    ring.Allocate(2, 4, 4);
    RingTestList wide = RingTestRun(3, 4, 0);
    EXPECT_EQ(ring.Store(wide.List(), 4, 0), kRingBufferOK);
    RingTestList narrow = RingTestRun(1, 4, 10);
    EXPECT_EQ(ring.Store(narrow.List(), 4, 4), kRingBufferOK);
    RingTestList out(3, 16);
    EXPECT_EQ(ring.Fetch(out.List(), 4, 4, false), kRingBufferOK);
    EXPECT_EQ(out.Get<SInt32>(0, 3), RingTestValue(13, 0));
    EXPECT_EQ(out.Get<SInt32>(1, 3), RingTestValue(3, 1)) << "a channel without a buffer";
    EXPECT_TRUE(out.UntouchedFrom(2, 0));
    EXPECT_EQ(out.DataByteSize(2), 0u);
    RingTestList one(1, 16);
    EXPECT_EQ(ring.Fetch(one.List(), 4, 4, false), kRingBufferOK);
    EXPECT_EQ(one.Get<SInt32>(0, 0), RingTestValue(10, 0));
}

TEST(CARingBufferTest, FetchStopsAtTheRoomOfTheList) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 10, 5), kRingBufferOK);
    RingTestList list(1, 40);
    list.SetDataByteSize(0, 30);
    EXPECT_EQ(ring.Fetch(list.List(), 10, 5, false), kRingBufferOK);
    EXPECT_EQ(list.DataByteSize(0), 30u);
    EXPECT_EQ(list.Get<SInt32>(0, 6), RingTestValue(11, 0));
    EXPECT_TRUE(list.UntouchedFrom(0, 30));
    list.Reset();
    list.List()->mBuffers[0].mData = nullptr;
    EXPECT_EQ(ring.Fetch(list.List(), 20, 0, false), kRingBufferOK);
    EXPECT_EQ(list.DataByteSize(0), 0u);
}

} // namespace
} // namespace qel::core
