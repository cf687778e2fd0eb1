#pragma once

#include "support/audio/FrameStore.h"

#include <MacTypes.h>

#include <cstddef>

namespace qel::core {

// The detection curve of onsets of one channel, in chunks of kFrames values. A chunk takes about
// 310 bytes of music and an entry of 12, where its floats would take 1024.
//
//   1. Construct; Reserve for a length that is expected.
//   2. AppendEmpty, then Put each of them, in any order.
//   3. Read.
//
// One thread at a time.
class CurveChunks {
public:
    static constexpr UInt32 kFrames = 256;

    CurveChunks();

    // For `frames` values of any curve of music. Only what is put takes memory, where the system
    // gives memory as it is touched. Raises std::bad_alloc.
    void Reserve(UInt64 frames);

    // Raises std::bad_alloc with all as it was.
    void AppendEmpty(UInt64 chunks);
    // `n` values of the curve, kFrames but in the last chunk of a stream, and the one after them.
    // Raises std::bad_alloc with all as it was.
    void Put(UInt64 chunk, const float* curve, UInt32 n);

    UInt64 Count() const { return mEntries.Frames(); }
    // The values of a chunk, as many as were put, and the one after them.
    void Read(UInt64 chunk, UInt32 n, float* curve) const;
    // Bounds of the values of a chunk, to 1 in 128 of each.
    float LeastOf(UInt64 chunk) const;
    float GreatestOf(UInt64 chunk) const;
    // Of all chunks, exactly; 0 without any.
    float Greatest() const { return mGreatest; }

    // As of FrameStore.
    void TouchTables();
    bool PrepareAhead();

private:
    // Bounds are the upper halves of floats.
    struct Entry {
        UInt32 place; // of its code
        float next;
        UInt16 least;
        UInt16 greatest;
    };
    Entry EntryOf(UInt64 chunk) const;

    FrameStore mEntries;
    FrameStore mCode; // frames of one byte
    float mGreatest = 0.0f;
};

} // namespace qel::core
