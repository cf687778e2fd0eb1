#pragma once

#include "support/audio/FrameStore.h"
#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

namespace qel::core {

// What CARingBuffer::Fetch from time 0 would put into a list with room for the capacity, frame by
// frame and without the list, if the frames were in a ring of that capacity. As long as nothing has
// fallen out, those are the stored frames, read in place.
//
// When frames have fallen out, the peculiarity of Fetch shows: with `gone` frames gone, the frames
// that are left begin `gone` bytes into the list, bytes of 0 before them, and what does not fit its
// room is cut off.
//
// Required by the contract: floats are so put together from the bytes of two. Counting `gone` in
// frames changes all values of streams of which frames have fallen out.
//
// A frame of the list has bytes of its own stored frame, and of those up to PlacesFor before it.
//
// One thread at a time.
class AAReassignedFrames {
public:
    // How many stored frames there must be at a time: the one of the frame that is read, and the
    // ones before it.
    static UInt64 PlacesFor(UInt64 gone, UInt32 bytesPerFrame);

    // `store`, which must outlive this object, gets the frames that are left in order, number n,
    // from 0 on, in place n mod `places`. Raises std::bad_alloc.
    AAReassignedFrames(const FrameStore& store, UInt64 places, UInt64 gone);

    // A frame of a channel of the list: BytesPerFrame() bytes. They hold until the next call and as
    // long as the store does. The store must have the frames up to that number, and no later one.
    const float* Frame(UInt32 channel, UInt64 frame);

private:
    const Byte* Held(UInt32 channel, UInt64 frame) const;
    const float* AssembledFrame(UInt32 channel, UInt64 frame);

    const FrameStore& mStore;
    const UInt64 mPlaces;
    const UInt64 mGone; // frames
    CAAutoFree<float> mAssembled;
};

} // namespace qel::core
