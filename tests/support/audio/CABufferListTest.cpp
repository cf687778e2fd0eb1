#include "support/audio/CABufferList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>
#include <string>

namespace qel::core {
namespace {

using List = CAAutoDelete<CABufferList>;

List NewList(unsigned int channels, bool interleaved = false) {
    CAStreamBasicDescription format;
    format.SetCanonical(channels, interleaved);
    return CABufferList::New("test list", format);
}

AudioBuffer& Buffer(CABufferList* list, UInt32 index) {
    return list->GetModifiableBufferList().mBuffers[index];
}

unsigned char* Bytes(CABufferList* list, UInt32 index) {
    return static_cast<unsigned char*>(Buffer(list, index).mData);
}

// Byte n of buffer c becomes a number that no other byte near has.
unsigned char Pattern(UInt32 buffer, UInt32 n) {
    return static_cast<unsigned char>(1 + buffer * 97 + n * 13);
}

void FillPattern(CABufferList* list) {
    for (UInt32 c = 0; c < list->GetBufferList().mNumberBuffers; ++c) {
        for (UInt32 n = 0; n < Buffer(list, c).mDataByteSize; ++n) {
            Bytes(list, c)[n] = Pattern(c, n);
        }
    }
}

bool HasPattern(CABufferList* list, UInt32 buffer, UInt32 first, UInt32 count) {
    for (UInt32 n = 0; n < count; ++n) {
        if (Bytes(list, buffer)[n] != Pattern(buffer, first + n)) {
            return false;
        }
    }
    return true;
}

bool IsZero(CABufferList* list, UInt32 buffer, UInt32 from) {
    const unsigned char* const bytes = Bytes(list, buffer);
    return std::all_of(bytes + from, bytes + Buffer(list, buffer).mDataByteSize,
                       [](unsigned char b) { return b == 0; });
}

TEST(CABufferListTest, NewListHasTheFormatsBuffersAndNoMemory) {
    const List separate(NewList(3));
    const AudioBufferList& list = separate->GetBufferList();
    ASSERT_EQ(list.mNumberBuffers, 3u);
    for (UInt32 c = 0; c < 3; ++c) {
        EXPECT_EQ(list.mBuffers[c].mNumberChannels, 1u);
        EXPECT_EQ(list.mBuffers[c].mDataByteSize, 0u);
        EXPECT_EQ(list.mBuffers[c].mData, nullptr);
    }
    EXPECT_STREQ(separate->Name(), "test list");

    const List interleaved(NewList(3, true));
    EXPECT_EQ(interleaved->GetBufferList().mNumberBuffers, 1u);
    EXPECT_EQ(interleaved->GetBufferList().mBuffers[0].mNumberChannels, 3u);
}

TEST(CABufferListTest, OneBufferGetsWhatIsAskedFor) {
    const List list(NewList(1));
    list->AllocateBuffers(13);
    EXPECT_EQ(list->GetNumBytes(), 13u);
    EXPECT_TRUE(IsZero(list, 0, 0));
}

TEST(CABufferListTest, StrideOfSeveralBuffersFollowsTheRule) {
    struct Case {
        UInt32 mAsked;
        UInt32 mStride;
    };
    // ((asked + 15) without its low five bits) + 16, worked out by hand.
    for (const Case c : {Case{1, 16}, Case{12, 16}, Case{16, 16}, Case{17, 48}, Case{32, 48},
                         Case{48, 48}, Case{49, 80}, Case{4096, 4112}}) {
        const List list(NewList(2));
        list->AllocateBuffers(c.mAsked);
        EXPECT_EQ(list->GetNumBytes(), c.mStride) << c.mAsked;
        EXPECT_EQ(Buffer(list, 1).mDataByteSize, c.mStride) << c.mAsked;
        EXPECT_EQ(Bytes(list, 1) - Bytes(list, 0), static_cast<std::ptrdiff_t>(c.mStride));
        EXPECT_TRUE(IsZero(list, 0, 0));
        EXPECT_TRUE(IsZero(list, 1, 0));
    }
}

TEST(CABufferListTest, SmallerOrEqualRequestKeepsTheBuffers) {
    const List list(NewList(2));
    list->AllocateBuffers(100);
    FillPattern(list);
    const unsigned char* const before = Bytes(list, 0);
    list->AllocateBuffers(20);
    list->AllocateBuffers(list->GetNumBytes());
    EXPECT_EQ(Bytes(list, 0), before);
    EXPECT_TRUE(HasPattern(list, 1, 0, list->GetNumBytes()));
}

TEST(CABufferListTest, GrowingKeepsContentAndZeroesTheRest) {
    const List list(NewList(2));
    list->AllocateBuffers(100);
    const UInt32 old = list->GetNumBytes();
    FillPattern(list);
    list->AllocateBuffers(1000);
    for (UInt32 c = 0; c < 2; ++c) {
        EXPECT_TRUE(HasPattern(list, c, 0, old));
        EXPECT_TRUE(IsZero(list, c, old));
    }
}

TEST(CABufferListTest, ConsumedBytesAreGoneAfterGrowing) {
    const List list(NewList(2));
    list->AllocateBuffers(100);
    const UInt32 old = list->GetNumBytes();
    FillPattern(list);
    list->BytesConsumed(30);
    EXPECT_EQ(list->GetNumBytes(), old - 30);
    EXPECT_TRUE(HasPattern(list, 0, 30, old - 30));
    list->AllocateBuffers(1000);
    EXPECT_TRUE(HasPattern(list, 1, 30, old - 30));
    EXPECT_TRUE(IsZero(list, 1, old - 30));
}

TEST(CABufferListTest, ConsumingMoreThanThereIsStopsAtTheEnd) {
    const List list(NewList(1));
    list->AllocateBuffers(8);
    const unsigned char* const begin = Bytes(list, 0);
    list->BytesConsumed(20);
    EXPECT_EQ(list->GetNumBytes(), 0u);
    EXPECT_EQ(Bytes(list, 0), begin + 8);
}

TEST(CABufferListTest, DeallocatingClearsEveryBuffer) {
    const List list(NewList(2));
    list->AllocateBuffers(100);
    list->DeallocateBuffers();
    for (UInt32 c = 0; c < 2; ++c) {
        EXPECT_EQ(Buffer(list, c).mData, nullptr);
        EXPECT_EQ(Buffer(list, c).mDataByteSize, 0u);
    }
    list->AllocateBuffers(16);
    EXPECT_EQ(list->GetNumBytes(), 16u);
}

TEST(CABufferListTest, ListWithoutBuffersAllocatesNothing) {
    const List list(NewList(0));
    list->AllocateBuffers(100);
    list->BytesConsumed(10);
    list->DeallocateBuffers();
    EXPECT_EQ(list->GetNumBytes(), 0u);
}

TEST(CABufferListTest, StrideBeyond32BitsRaisesBadAllocAndKeepsTheList) {
    const List list(NewList(2));
    list->AllocateBuffers(16);
    FillPattern(list);
    EXPECT_THROW(list->AllocateBuffers(std::numeric_limits<UInt32>::max()), std::bad_alloc);
    EXPECT_EQ(list->GetNumBytes(), 16u);
    EXPECT_TRUE(HasPattern(list, 1, 0, 16));
}

TEST(CABufferListTest, CopyMovesTheSourceAndPointsTheOwnerThere) {
    const List store(NewList(2));
    const List source(NewList(2));
    const List owner(NewList(2));
    store->AllocateBuffers(64);
    source->AllocateBuffers(40);
    const UInt32 held = source->GetNumBytes();
    FillPattern(source);
    store->CopyAllFrom(source, owner);
    for (UInt32 c = 0; c < 2; ++c) {
        EXPECT_EQ(Bytes(owner, c), Bytes(store, c));
        EXPECT_EQ(Buffer(owner, c).mDataByteSize, held);
        EXPECT_TRUE(HasPattern(owner, c, 0, held));
        EXPECT_EQ(Buffer(source, c).mDataByteSize, 0u);
    }
}

TEST(CABufferListTest, CopyWithTheSourceAsOwnerConsumesNothing) {
    const List store(NewList(2));
    const List source(NewList(2));
    store->AllocateBuffers(64);
    source->AllocateBuffers(40);
    const UInt32 held = source->GetNumBytes();
    FillPattern(source);
    store->CopyAllFrom(source, source);
    EXPECT_EQ(Bytes(source, 1), Bytes(store, 1));
    EXPECT_EQ(source->GetNumBytes(), held);
    EXPECT_TRUE(HasPattern(source, 1, 0, held));
}

TEST(CABufferListTest, CopyStopsAtTheRoomThereIs) {
    const List store(NewList(1));
    const List source(NewList(1));
    const List owner(NewList(1));
    store->AllocateBuffers(8);
    source->AllocateBuffers(20);
    FillPattern(source);
    store->CopyAllFrom(source, owner);
    EXPECT_EQ(owner->GetNumBytes(), 8u);
    EXPECT_TRUE(HasPattern(owner, 0, 0, 8));
}

TEST(CABufferListTest, RoomStaysAfterAShortCopyIntoTheListItself) {
    const List store(NewList(1));
    const List source(NewList(1));
    store->AllocateBuffers(32);
    source->AllocateBuffers(32);
    FillPattern(source);
    source->BytesConsumed(28);
    store->CopyAllFrom(source, store);
    EXPECT_EQ(store->GetNumBytes(), 4u);
    const List longer(NewList(1));
    longer->AllocateBuffers(32);
    FillPattern(longer);
    store->CopyAllFrom(longer, store);
    EXPECT_EQ(store->GetNumBytes(), 32u);
    EXPECT_TRUE(HasPattern(store, 0, 0, 32));
}

TEST(CABufferListTest, GrowingCopyTakesTheSourceInPlaceOfTheOldContent) {
    const List store(NewList(2));
    const List source(NewList(2));
    const List owner(NewList(2));
    store->AllocateBuffers(16);
    std::memset(Bytes(store, 0), 0xEE, 16);
    source->AllocateBuffers(40);
    const UInt32 held = source->GetNumBytes();
    FillPattern(source);
    store->AllocateBuffersAndCopyFrom(200, source, owner);
    EXPECT_EQ(store->GetNumBytes(), 208u); // (215 without its low five bits) + 16
    for (UInt32 c = 0; c < 2; ++c) {
        EXPECT_TRUE(HasPattern(store, c, 0, held));
        EXPECT_TRUE(IsZero(store, c, held));
        EXPECT_EQ(Bytes(owner, c), Bytes(store, c));
        EXPECT_EQ(Buffer(owner, c).mDataByteSize, held);
    }
    EXPECT_EQ(source->GetNumBytes(), 0u);
}

TEST(CABufferListTest, GrowingCopyFromTheListItselfKeepsWhatIsNotConsumed) {
    const List list(NewList(2));
    list->AllocateBuffers(48);
    FillPattern(list);
    list->BytesConsumed(8);
    list->AllocateBuffersAndCopyFrom(100, list, list);
    EXPECT_EQ(list->GetNumBytes(), 40u);
    EXPECT_TRUE(HasPattern(list, 0, 8, 40));
    EXPECT_TRUE(HasPattern(list, 1, 8, 40));
}

TEST(CABufferListTest, GrowingCopyWithoutNeedCopiesIntoTheMemoryThereIs) {
    const List store(NewList(1));
    const List source(NewList(1));
    store->AllocateBuffers(64);
    const unsigned char* const memory = Bytes(store, 0);
    source->AllocateBuffers(20);
    FillPattern(source);
    store->AllocateBuffersAndCopyFrom(30, source, source);
    EXPECT_EQ(Bytes(source, 0), memory);
    EXPECT_TRUE(HasPattern(source, 0, 0, 20));
}

TEST(CABufferListTest, PrintingShowsBuffersAndFirstValues) {
    const List list(NewList(2));
    list->AllocateBuffers(16);
    static_cast<float*>(Buffer(list, 1).mData)[0] = 0.5f;
    std::FILE* const stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    CAShowAudioBufferList(stream, list->GetBufferList(), 2);
    std::rewind(stream);
    char text[200] = {};
    EXPECT_GT(std::fread(text, 1, sizeof text - 1, stream), 0u);
    std::fclose(stream);
    EXPECT_EQ(std::string(text), "AudioBufferList: 2 buffers\n"
                                 "  [0] 1 channels, 16 bytes: 0 0\n"
                                 "  [1] 1 channels, 16 bytes: 0.5 0\n");
}

} // namespace
} // namespace qel::core
