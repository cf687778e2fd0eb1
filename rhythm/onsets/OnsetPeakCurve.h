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
    // `builder` must outlive this object, and stay as it is. Raises std::bad_alloc.
    explicit OnsetPeakCurve(const OnsetCurveBuilder& builder);

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
    const UInt32 mCertainChunks;
    const UInt32 mSize;
    CurveChunks mRest;
    float mGreatest = 1.0f;
    Slot mSlots[2];
};

} // namespace qel::core
