// The low-pass of the detection curve, beside which something else is done. Included once for every
// instruction set that the processor may offer, so there is no `#pragma once`.
//
// Both bounds are in one vector, each with the operations of GoOn in its order.

#if defined(QEL_RHYTHM_LOW_PASS_ALONG_SIMD_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QEL_RHYTHM_LOW_PASS_ALONG_SIMD_H
#undef QEL_RHYTHM_LOW_PASS_ALONG_SIMD_H
#else
#define QEL_RHYTHM_LOW_PASS_ALONG_SIMD_H
#endif

#include "rhythm/onsets/LowPassRun.h"

#include <hwy/highway.h>

#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

class LowPassAlong {
public:
    explicit HWY_INLINE LowPassAlong(const LowPassRun& run) : mRun(run) {}
    HWY_INLINE void TakeSteps() { GoOn(mRun, kLowPassStepsPerSample); }
    HWY_INLINE void Save(LowPassRun& run) const { run = mRun; }

private:
    LowPassRun mRun;
};

#else

class LowPassAlong {
    using Bounds = hn::FixedTag<float, 4>; // of which two are used

public:
    explicit HWY_INLINE LowPassAlong(const LowPassRun& run)
        : mInputs(run.inputs), mCurve(run.curve), mLeft(run.left),
          mPole(hn::Set(Bounds(), kOnsetSmoothingPole)),
          mBounds(hn::InterleaveLower(Bounds(), hn::Set(Bounds(), run.bounds.least),
                                      hn::Set(Bounds(), run.bounds.greatest))) {}

    // Those of a sample, of which as many are left.
    HWY_INLINE void TakeSteps() {
        for (std::size_t step = 1; step <= kLowPassStepsPerSample; ++step) {
            const std::size_t i = mLeft - step;
            mBounds = hn::Add(hn::Mul(mPole, mBounds), hn::Set(Bounds(), mInputs[i]));
            mCurve[i] = hn::GetLane(mBounds);
        }
        mLeft -= kLowPassStepsPerSample;
    }

    HWY_INLINE void Save(LowPassRun& run) const {
        alignas(16) float bounds[4];
        hn::Store(mBounds, Bounds(), bounds);
        run.left = mLeft;
        run.bounds = {bounds[0], bounds[1]};
    }

private:
    const float* HWY_RESTRICT mInputs;
    float* HWY_RESTRICT mCurve;
    std::size_t mLeft;
    hn::Vec<Bounds> mPole;
    hn::Vec<Bounds> mBounds;
};

#endif

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#endif
