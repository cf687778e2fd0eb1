#pragma once

#include "support/CAAutoDisposer.h"
#include "support/CARingBuffer.h"

#include <MacTypes.h>

namespace qel::core {

// What CARingBuffer::Fetch from time 0 would put into a list with room for the ring's capacity,
// frame by frame and without the list. As long as nothing has fallen out of the ring, those are the
// ring's own slots, read in place.
//
// When frames have fallen out, the peculiarity of Fetch shows: with `head` frames gone, the frames
// that are left begin `head` bytes into the list, bytes of 0 before them, and what does not fit its
// room is cut off. That puts floats together from the bytes of two, which is meant. Frames behind
// the room of the list are not there at all.
//
// One thread at a time; nobody may store into the ring meanwhile.
class AAReassignedFrames {
public:
    // `ring`, which must outlive this object, got the frames from 0 to `frames` - 1, each in one
    // Store, whether it had room for them or not. Raises std::bad_alloc.
    AAReassignedFrames(const CARingBuffer& ring, UInt64 frames);

    // How many frames the list would have, at most `frames`.
    UInt32 Count() const { return mCount; }

    // A frame below Count() of a channel of the ring: BytesPerFrame() bytes. They hold until the
    // next call and as long as the ring does.
    const float* Frame(UInt32 channel, UInt32 frame);

private:
    const float* AssembledFrame(SInt32 channel, UInt32 frame);

    const CARingBuffer& mRing;
    const UInt32 mCount;
    const UInt64 mHead; // frames that have fallen out
    CAAutoFree<float> mAssembled;
};

} // namespace qel::core
