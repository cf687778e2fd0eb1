#include "RingBufferTesting.h"
#include "support/audio/CARingBuffer.h"

#include <gtest/gtest.h>

#include <limits>

namespace qel::core {

// Reaches into the queue of bounds, for states that a test cannot wait for.
class CARingBufferTestAccess {
public:
    // As if the writer were always in between.
    static void SpoilCurrentBounds(CARingBuffer& ring) {
        auto& queue = ring.mTimeBoundsQueue;
        auto& bounds = queue[ring.mTimeBoundsQueuePtr & CARingBuffer::kTimeBoundsQueueMask];
        bounds.updateCounter = bounds.updateCounter + 1;
    }
    // As if that many versions had been published, the current one last.
    static void SetVersion(CARingBuffer& ring, UInt32 version) {
        auto& bounds = ring.mTimeBoundsQueue[version & CARingBuffer::kTimeBoundsQueueMask];
        bounds.startTime = ring.StartTime();
        bounds.endTime = ring.EndTime();
        bounds.updateCounter = version;
        ring.mTimeBoundsQueuePtr = version;
    }
    static UInt32 Version(const CARingBuffer& ring) { return ring.mTimeBoundsQueuePtr; }
};

namespace {

constexpr SInt64 kEarliest = std::numeric_limits<SInt64>::min();
constexpr SInt64 kLatest = std::numeric_limits<SInt64>::max();

TEST(CARingBufferBoundsTest, RangesAreClassedByHowTheyPassTheBounds) {
    EXPECT_EQ(CARingBuffer::ClassifyRange(10, 20, 10, 20), kRingBufferOK);
    EXPECT_EQ(CARingBuffer::ClassifyRange(15, 21, 10, 20), kRingBufferReadPastEnd);
    EXPECT_EQ(CARingBuffer::ClassifyRange(20, 21, 10, 20), kRingBufferReadPastEnd);
    EXPECT_EQ(CARingBuffer::ClassifyRange(21, 25, 10, 20), kRingBufferReadAfterEnd);
    EXPECT_EQ(CARingBuffer::ClassifyRange(9, 21, 10, 20), kRingBufferTooMuch);
    EXPECT_EQ(CARingBuffer::ClassifyRange(9, 20, 10, 20), kRingBufferReadBeforeStart);
    EXPECT_EQ(CARingBuffer::ClassifyRange(9, 10, 10, 20), kRingBufferReadBeforeStart);
    EXPECT_EQ(CARingBuffer::ClassifyRange(5, 9, 10, 20), kRingBufferReadWhollyBefore);
}

TEST(CARingBufferBoundsTest, EveryRangeIsClampedAndThenPasses) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    ring.SetTimeBounds(10, 20);
    const SInt64 cases[][4] = {{10, 20, 10, 20}, {15, 25, 15, 20}, {5, 15, 10, 15},
                               {5, 25, 10, 20},  {30, 40, 30, 20}, {0, 5, 10, 5}};
    for (const auto& [start, end, clampedStart, clampedEnd] : cases) {
        SInt64 s = start;
        SInt64 e = end;
        EXPECT_EQ(ring.CheckTimeBounds(s, e), kRingBufferOK);
        EXPECT_EQ(s, clampedStart);
        EXPECT_EQ(e, clampedEnd);
    }
}

TEST(CARingBufferBoundsTest, BoundsThatAreNeverConsistentAreBusy) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 8, 0), kRingBufferOK);
    CARingBufferTestAccess::SpoilCurrentBounds(ring);
    SInt64 start = -1;
    SInt64 end = -1;
    EXPECT_EQ(ring.GetTimeBounds(start, end), kRingBufferBoundsBusy);
    EXPECT_EQ(start, 0) << "the last copy comes out";
    EXPECT_EQ(end, 8);
    start = -5;
    end = 50;
    EXPECT_EQ(ring.CheckTimeBounds(start, end), kRingBufferBoundsBusy);
    EXPECT_EQ(start, -5);
    EXPECT_EQ(end, 50);
}

TEST(CARingBufferBoundsTest, FetchWithBusyBoundsCopiesOnlyIfAllowed) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 8, 0), kRingBufferOK);
    CARingBufferTestAccess::SpoilCurrentBounds(ring);
    RingTestList list(1, 16);
    EXPECT_EQ(ring.Fetch(list.List(), 4, 2, false), kRingBufferBoundsBusy);
    EXPECT_TRUE(list.UntouchedFrom(0, 0));
    EXPECT_EQ(ring.Fetch(list.List(), 0, 2, true), kRingBufferBoundsBusy);
    EXPECT_TRUE(list.UntouchedFrom(0, 0));
    EXPECT_EQ(ring.Fetch(list.List(), 4, 2, true), kRingBufferBoundsBusy);
    EXPECT_EQ(list.Get<SInt32>(0, 3), RingTestValue(5, 0));
}

TEST(CARingBufferBoundsTest, VersionsWrapWithoutHarm) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    CARingBufferTestAccess::SetVersion(ring, std::numeric_limits<UInt32>::max() - 40);
    for (SInt64 time = 0; time < 100; ++time) {
        EXPECT_EQ(RingTestStore(ring, 1, time), kRingBufferOK);
        EXPECT_TRUE(RingTestHolds(ring, 1, time));
    }
    EXPECT_LT(CARingBufferTestAccess::Version(ring), 1000u);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(90, 100));
}

TEST(CARingBufferBoundsTest, OffsetsHaveTheSignOfTheTime) {
    CARingBuffer ring;
    ring.Allocate(1, 8, 10);
    EXPECT_EQ(ring.FrameOffset(0), 0);
    EXPECT_EQ(ring.FrameOffset(23), 24);
    EXPECT_EQ(ring.FrameOffset(-3), -24);
    EXPECT_EQ(ring.FrameOffset(-20), 0);
    EXPECT_EQ(ring.FrameOffset(kLatest), 56);    // 2^63 - 1 ends in 7
    EXPECT_EQ(ring.FrameOffset(kEarliest), -64); // -2^63 ends in 8
}

TEST(CARingBufferBoundsTest, NegativeTimesAreHeldLikeAllOthers) {
    CARingBuffer ring;
    ring.Allocate(2, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 6, -8), kRingBufferOK); // before the end at 0
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(-8, -2));
    EXPECT_EQ(RingTestStore(ring, 5, -2), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(-7, 3));
    EXPECT_TRUE(RingTestHolds(ring, 10, -7));
}

TEST(CARingBufferBoundsTest, TimesAtTheEndsOf64BitsStayInTheRing) {
    CARingBuffer ring;
    ring.Allocate(1, 4, 10);
    EXPECT_EQ(RingTestStore(ring, 10, kEarliest), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(kEarliest, kEarliest + 10));
    RingTestList list(1, 40);
    EXPECT_EQ(ring.Fetch(list.List(), 10, kEarliest, false), kRingBufferOK);
    EXPECT_EQ(list.Get<SInt32>(0, 9), RingTestValue(kEarliest + 9, 0));
    EXPECT_EQ(RingTestStore(ring, 4, kLatest - 4), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(kLatest - 10, kLatest));
    list.Reset();
    EXPECT_EQ(ring.Fetch(list.List(), 10, kLatest - 10, false), kRingBufferOK);
    EXPECT_EQ(list.Get<SInt32>(0, 5), 0);
    EXPECT_EQ(list.Get<SInt32>(0, 6), RingTestValue(kLatest - 4, 0));
    EXPECT_EQ(RingTestStore(ring, 10, kLatest - 2), kRingBufferOK); // two of them have a time
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(kLatest - 2, kLatest));
    EXPECT_EQ(ring.Fetch(list.List(), 10, kLatest, true), kRingBufferOK);
    list.Reset();
    EXPECT_EQ(ring.Fetch(list.List(), 10, kEarliest, true), kRingBufferOK);
    EXPECT_TRUE(list.UntouchedFrom(0, 40)); // what comes out has no meaning: see below
}

// What comes out has no meaning, but it comes from the ring and goes into the list.
TEST(CARingBufferBoundsTest, FramesBeyond64BitsDisturbNothingThatIsHeld) {
    CARingBuffer ring;
    ring.Allocate(1, sizeof(SInt32), 10);
    EXPECT_EQ(RingTestStore(ring, 6, kLatest - 6), kRingBufferOK);
    EXPECT_EQ(RingTestStore(ring, 4, kLatest), kRingBufferOK);
    EXPECT_EQ(RingTestBoundsOf(ring), RingTestBounds(kLatest - 10, kLatest)); // a gap in front
    EXPECT_TRUE(RingTestHolds(ring, 6, kLatest - 6));
}

TEST(CARingBufferBoundsTest, RangesWhollyOutsideStayInTheListAndAreNotRefused) {
    for (const SInt64 time : {SInt64{-1000}, SInt64{35}, SInt64{65}, SInt64{1} << 31,
                              SInt64{1} << 33, kEarliest, kLatest}) {
        CARingBuffer ring;
        ring.Allocate(2, 4, 10);
        EXPECT_EQ(RingTestStore(ring, 10, 45), kRingBufferOK);
        for (const UInt32 frames : {1u, 7u, 10u, 100u, 0xFFFFFFFFu}) {
            RingTestList list(2, 52);
            EXPECT_EQ(ring.Fetch(list.List(), frames, time, false), kRingBufferOK);
            EXPECT_LE(list.DataByteSize(1), 40u);
            EXPECT_TRUE(list.UntouchedFrom(1, 52));
        }
    }
}

} // namespace
} // namespace qel::core
