#pragma once

#include "rhythm/onsets/CurveChunks.h"
#include "rhythm/onsets/OnsetCurveBuilder.h"
#include "rhythm/onsets/PeakCurve.h"

#include <MacTypes.h>

namespace qel::core {

// The detection curve of a stream as it stands when it ends.
//
// An infinite sum makes the curve infinite from there to its start, also where it was certain
// before. The greatest value is infinite then, and no normalized value is above 0, so that neither
// has peaks.
class OnsetPeakCurve final : public PeakCurve {
public:
    // Ends the pass of `builder`, which must outlive this object, and stay as it is then. Raises
    // std::bad_alloc.
    explicit OnsetPeakCurve(OnsetCurveBuilder& builder);

    UInt32 Size() const override { return mSize; }
    void Normalize() override;
    Bounds BoundsOf(UInt32 chunk) const override;
    const float* Values(UInt32 chunk) override;

private:
    // Neighbours are in different slots.
    struct Slot {
        UInt64 chunk;
        float values[kChunk + 1];
    };
    const CurveChunks& PartOf(UInt32 chunk) const;
    UInt32 WithinPart(UInt32 chunk) const;

    const CurveChunks& mCertain;
    UInt32 mCertainChunks = 0;
    const UInt32 mSize;
    CurveChunks mRest;
    float mGreatest = 1.0f;
    Slot mSlots[2];
};

} // namespace qel::core
