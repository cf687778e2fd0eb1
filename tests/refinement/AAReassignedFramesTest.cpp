// The frames that are assembled without a list, against the list that CARingBuffer::Fetch fills.

#include "refinement/AAReassignedFrames.h"

#include "support/audio/CARingBuffer.h"
#include "tests/support/audio/RingBufferTesting.h"

#include <gtest/gtest.h>

#include <cstring>

namespace qel::core {
namespace {

constexpr UInt32 kBytesPerFrame = 24;

// The bytes of frame `number` of two channels. No two bytes that follow each other are alike, and
// none is 0.
RingTestList FrameNumber(UInt64 number) {
    RingTestList one(2, kBytesPerFrame);
    for (UInt32 c = 0; c < 2; ++c) {
        for (UInt32 i = 0; i < kBytesPerFrame; ++i) {
            const UInt64 byte = (number * 2 + c) * kBytesPerFrame + i;
            one.Set(c, i, static_cast<Byte>(byte % 251 + 1));
        }
    }
    return one;
}

std::vector<Byte> BytesOf(const float* frame) {
    std::vector<Byte> bytes(kBytesPerFrame);
    std::memcpy(bytes.data(), frame, bytes.size());
    return bytes;
}

// With 1000 frames gone, everything has moved out of the list; with 5, floats are made of the bytes
// of two. The store has no more places than it must, and frames are read as they come.
TEST(AAReassignedFramesTest, AreTheBytesThatFetchPutsIntoItsList) {
    constexpr UInt32 kCapacity = 7;
    for (const UInt32 gone : {0u, 1u, 4u, 5u, 23u, 24u, 25u, 100u, 167u, 168u, 1000u}) {
        SCOPED_TRACE(gone);
        CARingBuffer ring;
        ring.Allocate(2, kBytesPerFrame, kCapacity);
        for (UInt32 f = 0; f < gone + kCapacity; ++f) {
            ring.Store(FrameNumber(f).List(), 1, f);
        }
        RingTestList list(2, kCapacity * kBytesPerFrame);
        ASSERT_EQ(ring.Fetch(list.List(), gone + kCapacity, 0, true), kRingBufferOK);

        FrameStore store(2, kBytesPerFrame, 3 * 2 * kBytesPerFrame);
        const UInt64 places = AAReassignedFrames::PlacesFor(gone, kBytesPerFrame);
        AAReassignedFrames frames(store, places, gone);
        for (UInt32 f = 0; f < kCapacity; ++f) {
            store.Store(*FrameNumber(gone + f).List(), 1, f % places);
            for (UInt32 c = 0; c < 2; ++c) {
                const auto begin = list.Data(c).begin() + f * kBytesPerFrame;
                EXPECT_EQ(BytesOf(frames.Frame(c, f)),
                          std::vector<Byte>(begin, begin + kBytesPerFrame))
                    << "channel " << c << ", frame " << f;
            }
        }
    }
}

TEST(AAReassignedFramesTest, AreReadInPlaceWhileNothingHasFallenOut) {
    FrameStore store(2, kBytesPerFrame);
    EXPECT_EQ(AAReassignedFrames::PlacesFor(0, kBytesPerFrame), 1u);
    AAReassignedFrames frames(store, 1, 0);
    for (UInt32 f = 0; f < 5; ++f) {
        store.Store(*FrameNumber(f).List(), 1, 0);
        for (UInt32 c = 0; c < 2; ++c) {
            EXPECT_EQ(static_cast<const void*>(frames.Frame(c, f)), store.Frame(c, 0));
        }
    }
}

} // namespace
} // namespace qel::core
