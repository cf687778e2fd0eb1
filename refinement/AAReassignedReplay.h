#pragma once

#include "refinement/AAReassignedFrames.h"
#include "refinement/AAReassignedMatrix.h"
#include "refinement/AAReassignedPlaces.h"
#include "refinement/AAReassignedValues.h"
#include "support/audio/FrameStore.h"

#include <MacTypes.h>

namespace qel::core {

// Scatters frames of a stream that has ended, when they are worked out again: of a stream longer
// than declared, those that have not fallen out of the rings of the declared length. They go
// through AAReassignedFrames.
//
// One thread at a time.
class AAReassignedReplay {
public:
    // Of the stream `gone` frames have fallen out and `left` are left. `matrix`, which must outlive
    // this object, has the rows of all of them. Raises std::bad_alloc.
    AAReassignedReplay(UInt32 channels, UInt64 gone, UInt64 left, UInt32 bins,
                       AAReassignedMatrix& matrix);

    // Adds the next frame that is left. Raises std::bad_alloc.
    void Add(const AAReassignedValues& values);

private:
    const UInt32 mChannels;
    const UInt64 mPlaces; // of each store
    FrameStore mSpectra;
    FrameStore mFrequencies;
    FrameStore mTimes;
    AAReassignedFrames mSpectrumFrames;
    AAReassignedFrames mFrequencyFrames;
    AAReassignedFrames mTimeFrames;
    AAReassignedPlaces mScattered;
    AAReassignedMatrix& mMatrix;
    UInt64 mAdded = 0;
};

} // namespace qel::core
