#include "refinement/AAReassignedFrames.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace qel::core {

AAReassignedFrames::AAReassignedFrames(const CARingBuffer& ring, UInt64 frames)
    : mRing(ring), mCount(static_cast<UInt32>(std::min<UInt64>(frames, ring.CapacityFrames()))),
      mHead(frames - mCount) {
    if (mHead > 0) {
        mAssembled.allocBytes(ring.BytesPerFrame(), true);
    }
}

const float* AAReassignedFrames::Frame(UInt32 channel, UInt32 frame) {
    const auto ringChannel = static_cast<SInt32>(channel);
    return mHead > 0 ? AssembledFrame(ringChannel, frame)
                     : reinterpret_cast<const float*>(mRing.SlotOfFrame(ringChannel, frame));
}

const float* AAReassignedFrames::AssembledFrame(SInt32 channel, UInt32 frame) {
    const UInt64 slotBytes = mRing.BytesPerFrame();
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
        const auto held = static_cast<SInt64>(mHead + from / slotBytes);
        std::memcpy(out, mRing.SlotOfFrame(channel, held) + within, run);
        out += run;
        place += run;
    }
    return mAssembled;
}

} // namespace qel::core
