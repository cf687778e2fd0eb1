// The frames that are assembled without a list, against the list that CARingBuffer::Fetch fills.

#include "refinement/AAReassignedFrames.h"

#include "support/CARingBuffer.h"
#include "tests/support/RingBufferTesting.h"

#include <gtest/gtest.h>

#include <cstring>

namespace qel::core {
namespace {

constexpr UInt32 kBytesPerFrame = 24;

// A ring of two channels with room for `capacity` frames, into which `frames` frames were stored,
// and a store with the same frames in places of that number. No two bytes that follow each other
// are alike, and none is 0.
class FilledRing {
public:
    FilledRing(UInt32 capacity, UInt64 frames) : store(2, kBytesPerFrame, 3 * 2 * kBytesPerFrame) {
        ring.Allocate(2, kBytesPerFrame, capacity);
        RingTestList one(2, kBytesPerFrame);
        Byte next = 1;
        for (UInt64 f = 0; f < frames; ++f) {
            for (UInt32 c = 0; c < 2; ++c) {
                for (UInt32 i = 0; i < kBytesPerFrame; ++i) {
                    one.Set(c, i, next);
                    next = static_cast<Byte>(next % 251 + 1);
                }
            }
            ring.Store(one.List(), 1, static_cast<SInt64>(f));
            if (capacity > 0) {
                store.Store(*one.List(), 1, f % capacity);
            }
        }
    }
    CARingBuffer ring;
    FrameStore store; // blocks of three frames
};

std::vector<Byte> BytesOf(const float* frame) {
    std::vector<Byte> bytes(kBytesPerFrame);
    std::memcpy(bytes.data(), frame, bytes.size());
    return bytes;
}

// With 1000 frames gone, everything has moved out of the list; with 5, floats are made of the bytes
// of two.
TEST(AAReassignedFramesTest, AreTheBytesThatFetchPutsIntoItsList) {
    constexpr UInt32 kCapacity = 7;
    for (const UInt32 gone : {0u, 1u, 4u, 5u, 23u, 24u, 25u, 100u, 167u, 168u, 1000u}) {
        SCOPED_TRACE(gone);
        const UInt32 stored = kCapacity + gone;
        const FilledRing filled(kCapacity, stored);
        RingTestList list(2, kCapacity * kBytesPerFrame);
        ASSERT_EQ(filled.ring.Fetch(list.List(), stored, 0, true), kRingBufferOK);

        AAReassignedFrames frames(filled.store, kCapacity, stored);
        ASSERT_EQ(frames.Count(), kCapacity);
        for (UInt32 c = 0; c < 2; ++c) {
            for (UInt32 f = 0; f < kCapacity; ++f) {
                const auto begin = list.Data(c).begin() + f * kBytesPerFrame;
                EXPECT_EQ(BytesOf(frames.Frame(c, f)),
                          std::vector<Byte>(begin, begin + kBytesPerFrame))
                    << "channel " << c << ", frame " << f;
            }
        }
    }
}

TEST(AAReassignedFramesTest, AreReadInPlaceWhileNothingHasFallenOut) {
    const FilledRing filled(5, 5);
    AAReassignedFrames frames(filled.store, 5, 5);
    for (UInt32 c = 0; c < 2; ++c) {
        for (UInt32 f = 0; f < 5; ++f) {
            EXPECT_EQ(static_cast<const void*>(frames.Frame(c, f)), filled.store.Frame(c, f));
        }
    }
}

TEST(AAReassignedFramesTest, OfARingThatIsNotFullAreThoseThatWereStored) {
    const FilledRing filled(5, 3);
    EXPECT_EQ(AAReassignedFrames(filled.store, 5, 3).Count(), 3u);
    EXPECT_EQ(AAReassignedFrames(filled.store, 5, 0).Count(), 0u);
}

TEST(AAReassignedFramesTest, OfARingWithoutCapacityThereAreNone) {
    const FilledRing filled(0, 9);
    EXPECT_EQ(AAReassignedFrames(filled.store, 0, 9).Count(), 0u);
}

} // namespace
} // namespace qel::core
