#include "support/audio/FrameStore.h"

#include "RingBufferTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <random>
#include <sys/resource.h>

namespace qel::core {
namespace {

constexpr UInt32 kFrameBytes = sizeof(SInt32);

void AppendRun(FrameStore& store, UInt32 channels, UInt32 frames) {
    const auto first = static_cast<SInt64>(store.Frames());
    RingTestList list = RingTestRun(channels, frames, first);
    store.Append(*list.List(), frames);
}

SInt32 ValueAt(const FrameStore& store, UInt32 channel, UInt64 frame) {
    SInt32 value = 0;
    std::memcpy(&value, store.Frame(channel, frame), sizeof value);
    return value;
}

testing::AssertionResult Holds(const FrameStore& store, UInt32 channels, UInt64 first,
                               UInt64 frames) {
    for (UInt32 c = 0; c < channels; ++c) {
        std::vector<SInt32> copy(frames);
        store.Copy(c, first, frames, copy.data());
        for (UInt64 n = 0; n < frames; ++n) {
            const SInt32 expected = RingTestValue(static_cast<SInt64>(first + n), c);
            if (copy[n] != expected || ValueAt(store, c, first + n) != expected) {
                return testing::AssertionFailure() << "channel " << c << ", frame " << first + n;
            }
        }
    }
    return testing::AssertionSuccess();
}

TEST(FrameStoreTest, NewStoreHasNothing) {
    const FrameStore store(2, kFrameBytes);
    EXPECT_EQ(store.Frames(), 0u);
    EXPECT_EQ(store.Room(), 0u);
    EXPECT_EQ(store.BlockCount(), 0u);
    store.Copy(0, 0, 0, nullptr);
}

// Blocks of 5 frames after none, or after reserved ones of another number.
TEST(FrameStoreTest, RunsOfAnyLengthComeOutAcrossBlocks) {
    std::mt19937 random(1);
    for (const UInt32 channels : {1u, 2u, 3u}) {
        for (const UInt64 reserved : {0u, 1u, 4u, 5u, 13u}) {
            FrameStore store(channels, kFrameBytes, std::size_t{5} * channels * kFrameBytes);
            store.Reserve(reserved);
            for (int run = 0; run < 40; ++run) {
                AppendRun(store, channels, static_cast<UInt32>(random() % 14));
            }
            const UInt64 frames = store.Frames();
            ASSERT_GT(frames, 100u);
            for (UInt64 first = 0; first <= frames; ++first) {
                ASSERT_TRUE(Holds(store, channels, first, random() % (frames - first + 1)));
            }
        }
    }
}

TEST(FrameStoreTest, FramesStayWhereTheyAreWhileTheRunGrows) {
    FrameStore store(2, kFrameBytes, 64);
    store.Reserve(3);
    std::vector<const Byte*> places;
    for (UInt64 frame = 0; frame < 5000; ++frame) {
        AppendRun(store, 2, 1);
        places.push_back(store.Frame(1, frame));
    }
    for (UInt64 frame = 0; frame < 5000; ++frame) {
        ASSERT_EQ(store.Frame(1, frame), places[frame]) << frame;
    }
    EXPECT_TRUE(Holds(store, 2, 0, 5000));
}

TEST(FrameStoreTest, ReservedFramesAreOnePiece) {
    FrameStore store(2, kFrameBytes, 16);
    store.Reserve(1000);
    AppendRun(store, 2, 1000);
    EXPECT_EQ(store.BlockCount(), 1u);
    EXPECT_EQ(store.BytesOfBlock(0), 2 * 1000 * kFrameBytes);
    EXPECT_EQ(store.Frame(1, 999), store.Frame(1, 0) + 999 * kFrameBytes);
    AppendRun(store, 2, 1);
    EXPECT_EQ(store.BlockCount(), 2u);
    EXPECT_EQ(store.BytesOfBlock(1), 16u);
    EXPECT_EQ(store.Room(), 1002u);
    EXPECT_TRUE(Holds(store, 2, 0, 1001));
}

TEST(FrameStoreTest, RoomThatIsMadeAheadIsUsed) {
    FrameStore store(1, kFrameBytes, 4 * kFrameBytes);
    store.MakeRoom(9);
    EXPECT_EQ(store.Room(), 12u);
    EXPECT_EQ(store.Frames(), 0u);
    store.Reserve(100); // too late: there are blocks
    AppendRun(store, 1, 12);
    EXPECT_EQ(store.BlockCount(), 3u);
    EXPECT_TRUE(Holds(store, 1, 0, 12));
}

TEST(FrameStoreTest, FramesAreStoredOverThoseThatThereAre) {
    FrameStore store(1, kFrameBytes, 4 * kFrameBytes);
    AppendRun(store, 1, 10);
    RingTestList list = RingTestRun(1, 5, 1000);
    store.Store(*list.List(), 5, 3);
    EXPECT_EQ(store.Frames(), 10u);
    store.Store(*list.List(), 5, 8);
    EXPECT_EQ(store.Frames(), 13u);
    const SInt32 expected[] = {0, 1, 2, 1000, 1001, 1002, 1003, 1004, 1000, 1001, 1002, 1003, 1004};
    for (UInt64 frame = 0; frame < 13; ++frame) {
        EXPECT_EQ(ValueAt(store, 0, frame), RingTestValue(expected[frame], 0)) << frame;
    }
}

TEST(FrameStoreTest, WhatTheListLacksIsZero) {
    FrameStore store(3, kFrameBytes, 2 * 3 * kFrameBytes);
    AppendRun(store, 3, 4);
    RingTestList list = RingTestRun(2, 4, 7);
    list.SetDataByteSize(1, 5); // a value and a quarter
    store.Store(*list.List(), 4, 0);
    for (UInt64 frame = 0; frame < 4; ++frame) {
        EXPECT_EQ(ValueAt(store, 0, frame), RingTestValue(static_cast<SInt64>(7 + frame), 0));
        EXPECT_EQ(ValueAt(store, 2, frame), 0);
    }
    EXPECT_EQ(ValueAt(store, 1, 0), RingTestValue(7, 1));
    EXPECT_EQ(store.Frame(1, 1)[0], list.Data(1)[4]);
    EXPECT_EQ(store.Frame(1, 1)[1], 0);
    EXPECT_EQ(ValueAt(store, 1, 2), 0);
    list.List()->mBuffers[0].mData = nullptr;
    store.Store(*list.List(), 1, 0);
    EXPECT_EQ(ValueAt(store, 0, 0), 0);
}

TEST(FrameStoreTest, BuffersWithoutAChannelAreNotRead) {
    FrameStore store(1, kFrameBytes);
    RingTestList list = RingTestRun(2, 3, 0);
    list.List()->mBuffers[1].mData = nullptr;
    store.Append(*list.List(), 3);
    EXPECT_TRUE(Holds(store, 1, 0, 3));
}

TEST(FrameStoreTest, AFrameLongerThanABlockHasOneForItself) {
    FrameStore store(2, 40, 16);
    RingTestList list(2, 120);
    store.Append(*list.List(), 3);
    EXPECT_EQ(store.BlockCount(), 3u);
    EXPECT_EQ(store.BytesOfBlock(2), 80u);
    EXPECT_EQ(store.Frame(1, 2)[39], RingTestList::kUntouched);
}

TEST(FrameStoreTest, ClearingKeepsTheFirstBlockAlone) {
    for (const UInt64 reserved : {0u, 7u}) {
        FrameStore store(1, kFrameBytes, 4 * kFrameBytes);
        store.Reserve(reserved);
        AppendRun(store, 1, 30);
        const Byte* const first = store.Frame(0, 0);
        store.Clear();
        EXPECT_EQ(store.Frames(), 0u);
        EXPECT_EQ(store.BlockCount(), 1u);
        EXPECT_EQ(store.Room(), reserved != 0 ? reserved : 4u);
        AppendRun(store, 1, 30);
        EXPECT_EQ(store.Frame(0, 0), first);
        EXPECT_TRUE(Holds(store, 1, 0, 30));
    }
}

TEST(FrameStoreTest, AStoreWithoutChannelsCountsFrames) {
    FrameStore store(0, kFrameBytes);
    RingTestList list(0, 0);
    store.Append(*list.List(), 1000);
    EXPECT_EQ(store.Frames(), 1000u);
}

// 2^32 - 1 bytes less 8 for each channel.
TEST(FrameStoreTest, BeyondFourGigabytesRaisesBadAllocAndKeepsTheStore) {
    FrameStore store(2, kFrameBytes);
    EXPECT_EQ(store.MostFrames(), (4294967295u / 2 - 8) / 4);
    EXPECT_THROW(store.Reserve(store.MostFrames() + 1), std::bad_alloc);
    AppendRun(store, 2, 10);
    RingTestList list(2, 0);
    EXPECT_THROW(store.Append(*list.List(), static_cast<UInt32>(store.MostFrames() - 9)),
                 std::bad_alloc);
    EXPECT_EQ(store.Frames(), 10u);
    EXPECT_TRUE(Holds(store, 2, 0, 10));
}

// Steps of TouchAhead until there is none.
int StepsAhead(FrameStore& store) {
    int steps = 0;
    while (store.TouchAhead()) {
        ++steps;
    }
    return steps;
}

// Two pages of 4096 bytes per channel are there, and so is each that follows when it is needed.
TEST(FrameStoreTest, EachStepTouchesAPageOfAChannel) {
    constexpr UInt32 kChannels = 2;
    constexpr UInt32 kPageFrames = 4096 / kFrameBytes;
    FrameStore store(kChannels, kFrameBytes);
    EXPECT_FALSE(store.TouchAhead()) << "without a block";
    store.Reserve(16 * kPageFrames);
    EXPECT_EQ(StepsAhead(store), 2 * kChannels);
    for (int page = 0; page < 10; ++page) {
        AppendRun(store, kChannels, 1);
        EXPECT_EQ(StepsAhead(store), kChannels);
        AppendRun(store, kChannels, kPageFrames - 1);
        EXPECT_EQ(StepsAhead(store), 0);
    }
    EXPECT_TRUE(Holds(store, kChannels, 0, 10 * kPageFrames));
}

TEST(FrameStoreTest, PreparingAheadChangesNoFrame) {
    std::mt19937 random(2);
    for (const UInt32 channels : {1u, 3u}) {
        for (const UInt64 reserved : {0u, 1u, 5000u}) {
            FrameStore store(channels, kFrameBytes, std::size_t{1500} * channels * kFrameBytes);
            store.Reserve(reserved);
            for (int run = 0; run < 200; ++run) {
                AppendRun(store, channels, static_cast<UInt32>(random() % 100));
                store.PrepareAhead();
            }
            EXPECT_TRUE(Holds(store, channels, 0, store.Frames()));
            store.Clear();
            store.PrepareAhead();
            AppendRun(store, channels, 3000);
            EXPECT_TRUE(Holds(store, channels, 0, 3000));
        }
    }
}

// Appends 400 pages to a store in small runs. The pages that the system had to map meanwhile.
long FaultsOfStoring(bool preparesAhead) {
    constexpr UInt32 kRun = 64;
    constexpr int kRuns = 400 * 4096 / (kRun * kFrameBytes);
    const auto faults = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_minflt;
    };
    FrameStore store(1, kFrameBytes);
    store.Reserve(UInt64{kRuns} * kRun);
    RingTestList list = RingTestRun(1, kRun, 0);
    long ofStoring = 0;
    for (int run = 0; run < kRuns; ++run) {
        if (preparesAhead) {
            store.PrepareAhead();
        }
        const long before = faults();
        store.Append(*list.List(), kRun);
        ofStoring += faults() - before;
    }
    return ofStoring;
}

// Where the system has large pages, there are few either way.
TEST(FrameStoreTest, StoringWaitsForNoPageThatIsPreparedAhead) {
    EXPECT_LE(FaultsOfStoring(true), FaultsOfStoring(false) / 20);
}

TEST(FrameStoreTest, TheNextBlockIsAddedWhenTheLastOneIsHalfFull) {
    FrameStore store(1, kFrameBytes, 100 * kFrameBytes);
    EXPECT_FALSE(store.PrepareAhead()) << "the first block is the owner's";
    AppendRun(store, 1, 49);
    while (store.PrepareAhead()) {
    }
    EXPECT_EQ(store.BlockCount(), 1u);
    AppendRun(store, 1, 1);
    EXPECT_TRUE(store.PrepareAhead());
    EXPECT_EQ(store.BlockCount(), 2u);
    while (store.PrepareAhead()) {
    }
    EXPECT_EQ(store.BlockCount(), 2u);
}

// A declared length that is true asks for nothing more.
TEST(FrameStoreTest, NoBlockIsAddedAheadOfTheEndOfReservedFrames) {
    FrameStore store(1, kFrameBytes, 100 * kFrameBytes);
    store.Reserve(200);
    AppendRun(store, 1, 200);
    EXPECT_FALSE(store.PrepareAhead());
    EXPECT_EQ(store.BlockCount(), 1u);
    AppendRun(store, 1, 60);
    EXPECT_TRUE(store.PrepareAhead());
    EXPECT_EQ(store.BlockCount(), 3u);
}

} // namespace
} // namespace qel::core
