#pragma once

#include "refinement/AAReassignedAhead.h"
#include "refinement/AAReassignedMatrix.h"
#include "refinement/AAReassignedPlaces.h"
#include "refinement/AAReassignedValues.h"

#include <MacTypes.h>

#include <vector>

namespace qel::core {

// Scatters the values of frames as they come, with the sums that scattering all of them at the end
// would give, bit by bit: a cell gets its values frame by frame, and within a frame bin by bin.
//
// Values beyond the last row go to the last row, and until the stream ends it is not known which
// row that is. Therefore a frame is scattered when the next one comes, and what it sends to a row
// for which no frame has come waits (see AAReassignedAhead).
//
//   1. Construct, and Reserve.
//   2. Add, frame by frame.
//   3. Finish, once. After that, only the matrix is there.
//
// One thread at a time.
class AAReassignedScatter {
public:
    // For at most `mostFrames` frames.
    AAReassignedScatter(UInt32 channels, UInt32 bins, UInt64 mostFrames);

    // Makes room for `frames` frames. Raises std::bad_alloc.
    void Reserve(UInt64 frames) { mMatrix.MakeRoom(frames); }
    UInt64 Room() const { return mMatrix.Room(); }

    // Adds the next frame. When room is exhausted, as much again as there is is allocated. When it
    // raises std::bad_alloc, the matrix is of no use any more.
    void Add(const AAReassignedValues& values);
    UInt64 Frames() const { return mFrames; }

    // Scatters what waits. There must be a frame.
    AAReassignedMatrix& Finish();

private:
    // A frame of a channel that waits for the next one.
    struct Held {
        std::vector<float> spectrum; // interleaved
        AAReassignedPlaces places;
        AAReassignedAhead ahead;
    };
    void ScatterHeld();

    AAReassignedMatrix mMatrix;
    std::vector<Held> mHeld; // per channel
    const UInt64 mMostFrames;
    UInt64 mFrames = 0;
};

} // namespace qel::core
