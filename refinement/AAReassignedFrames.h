#pragma once

#include "support/CAAutoDisposer.h"
#include "support/FrameStore.h"

#include <MacTypes.h>

namespace qel::core {

// What CARingBuffer::Fetch from time 0 would put into a list with room for the capacity, frame by
// frame and without the list, if the frames were in a ring of that capacity. As long as nothing has
// fallen out, those are the store's own frames, read in place.
//
// When frames have fallen out, the peculiarity of Fetch shows: with `head` frames gone, the frames
// that are left begin `head` bytes into the list, bytes of 0 before them, and what does not fit its
// room is cut off. Frames beyond the room of the list are not there at all.
//
// Required by the contract: floats are so put together from the bytes of two. Counting `head` in
// frames changes all values of streams of which frames have fallen out.
//
// One thread at a time; nobody may store into the ring meanwhile.
class AAReassignedFrames {
public:
    // `store`, which must outlive this object, got the frames from 0 to `frames` - 1, frame t in
    // place t mod `capacity`; with a capacity of 0 it got none. Raises std::bad_alloc.
    AAReassignedFrames(const FrameStore& store, UInt32 capacity, UInt64 frames);

    // How many frames the list would have, at most `frames`.
    UInt32 Count() const { return mCount; }

    // A frame below Count() of a channel of the store: BytesPerFrame() bytes. They hold until the
    // next call and as long as the store does.
    const float* Frame(UInt32 channel, UInt32 frame);

private:
    const Byte* Held(UInt32 channel, UInt64 frame) const;
    const float* AssembledFrame(UInt32 channel, UInt32 frame);

    const FrameStore& mStore;
    const UInt32 mCapacity;
    const UInt32 mCount;
    const UInt64 mHead; // frames that have fallen out
    CAAutoFree<float> mAssembled;
};

} // namespace qel::core
