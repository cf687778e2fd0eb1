#pragma once

#include "rhythm/onsets/CurveChunks.h"
#include "rhythm/onsets/LowPassRun.h"
#include "rhythm/onsets/PendingInputs.h"

#include <MacTypes.h>

namespace qel::core {

// Makes the detection curve of one channel while its stream goes on, although the low-pass runs
// from the stream's end to its start.
//
// The low-pass forgets. From bounds that hold for every value that the curve can have, it goes back
// over the inputs that have come, until both bounds are the same float; some 23,000 samples, half a
// second, in music. From there on to the front the curve is certain to the last bit, whatever
// comes, and goes into chunks; its inputs are dropped. Such a pass begins when kPassSamples have
// come since the last certain value. It is divided into runs of a chunk, which go on by a few steps
// for each sample that comes, so that no push works long.
//
// Where the bounds stay apart, as in a sum that is exactly periodic, the inputs are kept, and the
// next pass begins when there are twice as many.
//
//   1. Construct.
//   2. MakeRoom, then Append and going on with Run, in any order, for each push.
//   3. Finish gives the rest of the curve as if the stream ended here. The stream may go on.
//
// One thread at a time.
class OnsetCurveBuilder {
public:
    // For a stream of `frames` frames, which may become longer. Raises std::bad_alloc.
    explicit OnsetCurveBuilder(UInt64 frames);
    OnsetCurveBuilder(const OnsetCurveBuilder&) = delete;
    OnsetCurveBuilder& operator=(const OnsetCurveBuilder&) = delete;

    // For `n` more sums. Raises std::bad_alloc with all as it was.
    void MakeRoom(UInt32 n) { mInputs.MakeRoom(n); }
    void Append(const float* sums, UInt32 n);
    // Forgets all sums. For a stream without a pass.
    void Restart();
    // What to go on with; nothing is left of it where there is nothing to do, and where memory for
    // the chunk that ended is exhausted, which the next call tries again. Holds until that.
    LowPassRun& Run();

    // Chunks of the certain part of the curve, at least Certain() / CurveChunks::kFrames.
    const CurveChunks& Chunks() const { return mChunks; }
    UInt64 Certain() const { return mInputs.First(); } // values
    UInt64 Frames() const { return mFrames; }
    // The chunks from Certain() on, of a stream that ends here, into `rest`, which has none.
    // Raises std::bad_alloc.
    void Finish(CurveChunks& rest);

    // As of FrameStore.
    bool PrepareAhead() { return mChunks.PrepareAhead(); }

private:
    enum class Pass { kNone, kBounding, kFollowing };

    static void WarmUp();
    void Begin();
    void EndRun();
    void Bound(UInt64 first);
    void Follow(UInt64 first);
    void BeginRun();
    void EndPass();

    PendingInputs mInputs; // from the last certain value on
    UInt64 mFrames = 0;    // one more than inputs
    float mLastSum = 0.0f; // whose input needs the next one
    CurveChunks mChunks;
    UInt64 mEnough; // inputs with which the next pass begins
    Pass mPass = Pass::kNone;
    UInt64 mAt = 0;         // where the pass is, at a chunk's start
    UInt64 mCertainEnd = 0; // of what becomes certain by the pass
    LowPassRun mRun;        // over the chunk before mAt; its bounds are equal while it follows
    float mCurve[CurveChunks::kFrames + 1]; // of that chunk, and the value after it
};

} // namespace qel::core
