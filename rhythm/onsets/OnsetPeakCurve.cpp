#include "rhythm/onsets/OnsetPeakCurve.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <limits>

namespace qel::core {

namespace {

constexpr UInt64 kNone = std::numeric_limits<UInt64>::max();

} // namespace

static_assert(PeakCurve::kChunk == CurveChunks::kFrames);

OnsetPeakCurve::OnsetPeakCurve(OnsetCurveBuilder& builder)
    : mCertain(builder.Chunks()),
      mSize(static_cast<UInt32>(builder.Frames())), mSlots{{kNone, {}}, {kNone, {}}} {
    builder.Finish(mRest);
    mCertainChunks = static_cast<UInt32>(builder.Certain() / kChunk);
}

// Every value is divided as it is read.
void OnsetPeakCurve::Normalize() {
    mGreatest = std::max(mCertain.Greatest(), mRest.Greatest());
}

const CurveChunks& OnsetPeakCurve::PartOf(UInt32 chunk) const {
    return chunk < mCertainChunks ? mCertain : mRest;
}

UInt32 OnsetPeakCurve::WithinPart(UInt32 chunk) const {
    return chunk < mCertainChunks ? chunk : chunk - mCertainChunks;
}

// Division is monotonic, rounding included.
PeakCurve::Bounds OnsetPeakCurve::BoundsOf(UInt32 chunk) const {
    const CurveChunks& part = PartOf(chunk);
    const UInt32 within = WithinPart(chunk);
    return {part.LeastOf(within) / mGreatest, part.GreatestOf(within) / mGreatest, true};
}

const float* OnsetPeakCurve::Values(UInt32 chunk) {
    Slot& slot = mSlots[chunk % 2];
    if (slot.chunk != chunk) {
        const UInt32 n = SizeOf(chunk);
        PartOf(chunk).Read(WithinPart(chunk), n, slot.values);
        vDSP_vsdiv(slot.values, 1, &mGreatest, slot.values, 1, n + 1);
        slot.chunk = chunk;
    }
    return slot.values;
}

} // namespace qel::core
