#pragma once

#include "rhythm/onsets/CurveChunks.h"
#include "rhythm/onsets/OnsetCurve.h"
#include "rhythm/onsets/PendingSums.h"

#include <MacTypes.h>

namespace qel::core {

// Makes the detection curve of one channel while its stream goes on, although the low-pass runs
// from the stream's end to its start.
//
// The low-pass forgets. From bounds that hold for every value that the curve can have, it goes back
// over the sums that have come, until both bounds are the same float; some 23,000 samples, half a
// second, in music. From there on to the front the curve is certain to the last bit, whatever
// comes, and goes into chunks; its sums are dropped. Such a pass begins when kPassSamples have
// come since the last certain value, and takes a chunk at a time, so that no push works long.
//
// Where the bounds stay apart, as in a sum that is exactly periodic, the sums are kept, and the
// next pass begins when there are twice as many.
//
//   1. Construct.
//   2. MakeRoom, Append and Work for each push.
//   3. Finish gives the rest of the curve as if the stream ended here. The stream may go on.
//
// One thread at a time.
class OnsetCurveBuilder {
public:
    // For a stream of `frames` frames, which may become longer. Raises std::bad_alloc.
    explicit OnsetCurveBuilder(UInt64 frames);

    // For `n` more sums. Raises std::bad_alloc with all as it was.
    void MakeRoom(UInt32 n) { mSums.MakeRoom(n); }
    void Append(const float* sums, UInt32 n) { mSums.Append(sums, n); }
    // Goes on with the pass, if there is one, by somewhat more samples than have come. When it
    // raises std::bad_alloc, the work is done by the next calls.
    void Work(UInt32 samples);

    // Chunks of the certain part of the curve, at least Certain() / CurveChunks::kFrames.
    const CurveChunks& Chunks() const { return mChunks; }
    UInt64 Certain() const { return mSums.First(); } // values
    UInt64 Frames() const { return mSums.End(); }
    // The chunks from Certain() on, of a stream that ends here, into `rest`, which has none.
    // Raises std::bad_alloc.
    void Finish(CurveChunks& rest) const;

    // As of FrameStore.
    bool PrepareAhead() { return mChunks.PrepareAhead(); }

private:
    enum class Pass { kNone, kBounding, kFollowing };

    static void WarmUp();
    bool Step();
    bool Begin();
    void BoundChunk();
    void FollowChunk();
    void EndWithout();

    PendingSums mSums; // from the last certain value on
    CurveChunks mChunks;
    UInt64 mEnough;     // sums with which the next pass begins
    UInt64 mCredit = 0; // samples that the pass may go on by
    Pass mPass = Pass::kNone;
    UInt64 mAt = 0;           // where the pass is, at a chunk's start
    UInt64 mCertainEnd = 0;   // of what becomes certain by the pass
    OnsetCurveBounds mBounds; // of the value at mAt; equal while it follows
};

} // namespace qel::core
