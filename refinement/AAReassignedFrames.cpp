#include "refinement/AAReassignedFrames.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace qel::core {

AAReassignedFrames::AAReassignedFrames(const FrameStore& store, UInt32 capacity, UInt64 frames)
    : mStore(store), mCapacity(capacity),
      mCount(static_cast<UInt32>(std::min<UInt64>(frames, capacity))), mHead(frames - mCount) {
    if (mHead > 0) {
        mAssembled.allocBytes(store.BytesPerFrame(), true);
    }
}

const Byte* AAReassignedFrames::Held(UInt32 channel, UInt64 frame) const {
    return mStore.Frame(channel, frame % mCapacity);
}

const float* AAReassignedFrames::Frame(UInt32 channel, UInt32 frame) {
    return mHead > 0 ? AssembledFrame(channel, frame)
                     : reinterpret_cast<const float*>(Held(channel, frame));
}

const float* AAReassignedFrames::AssembledFrame(UInt32 channel, UInt32 frame) {
    const UInt64 slotBytes = mStore.BytesPerFrame();
    UInt64 place = frame * slotBytes; // in the list
    const UInt64 end = place + slotBytes;
    auto* out = reinterpret_cast<Byte*>(mAssembled.get());
    if (place < mHead) {
        const UInt64 silent = std::min(mHead, end) - place;
        std::memset(out, 0, silent);
        out += silent;
        place += silent;
    }
    while (place < end) {
        // The first frame that is left has the number mHead, as that many are gone.
        const UInt64 from = place - mHead;
        const UInt64 within = from % slotBytes;
        const UInt64 run = std::min(end - place, slotBytes - within);
        std::memcpy(out, Held(channel, mHead + from / slotBytes) + within, run);
        out += run;
        place += run;
    }
    return mAssembled;
}

} // namespace qel::core
