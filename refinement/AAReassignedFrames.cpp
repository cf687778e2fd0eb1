#include "refinement/AAReassignedFrames.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace qel::core {

UInt64 AAReassignedFrames::PlacesFor(UInt64 gone, UInt32 bytesPerFrame) {
    return (gone + bytesPerFrame - 1) / bytesPerFrame + 1;
}

AAReassignedFrames::AAReassignedFrames(const FrameStore& store, UInt64 places, UInt64 gone)
    : mStore(store), mPlaces(places), mGone(gone) {
    if (mGone > 0) {
        mAssembled.allocBytes(store.BytesPerFrame(), true);
    }
}

const Byte* AAReassignedFrames::Held(UInt32 channel, UInt64 frame) const {
    return mStore.Frame(channel, frame % mPlaces);
}

const float* AAReassignedFrames::Frame(UInt32 channel, UInt64 frame) {
    return mGone > 0 ? AssembledFrame(channel, frame)
                     : reinterpret_cast<const float*>(Held(channel, frame));
}

const float* AAReassignedFrames::AssembledFrame(UInt32 channel, UInt64 frame) {
    const UInt64 slotBytes = mStore.BytesPerFrame();
    UInt64 place = frame * slotBytes; // in the list
    const UInt64 end = place + slotBytes;
    auto* out = reinterpret_cast<Byte*>(mAssembled.get());
    if (place < mGone) {
        const UInt64 silent = std::min(mGone, end) - place;
        std::memset(out, 0, silent);
        out += silent;
        place += silent;
    }
    while (place < end) {
        // In bytes as many as frames are gone.
        const UInt64 from = place - mGone;
        const UInt64 within = from % slotBytes;
        const UInt64 run = std::min(end - place, slotBytes - within);
        std::memcpy(out, Held(channel, from / slotBytes) + within, run);
        out += run;
        place += run;
    }
    return mAssembled;
}

} // namespace qel::core
