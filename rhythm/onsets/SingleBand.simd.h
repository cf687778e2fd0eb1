// A single filter of the bank in vector lanes. Included once for every instruction set that the
// processor may offer, so there is no `#pragma once`.
//
// All forms do the operations of gfb_Analyze in its order, so that a band has the same bits here
// and in a lane of its own. The negative factor in place of a difference, and the -0 that is added,
// round nothing; +0 would turn a -0 to +0.

#if defined(QEL_RHYTHM_SINGLE_BAND_SIMD_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QEL_RHYTHM_SINGLE_BAND_SIMD_H
#undef QEL_RHYTHM_SINGLE_BAND_SIMD_H
#else
#define QEL_RHYTHM_SINGLE_BAND_SIMD_H
#endif

#include "rhythm/onsets/GammatoneBands.h"

#include <hwy/highway.h>

#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR

// A vector holds one band, so that none is ever left over.
struct SingleBand {
    HWY_INLINE SingleBand(const GammatoneBands&, std::size_t) {}
    HWY_INLINE float Step(float) { return 0.0f; }
    HWY_INLINE void Save(GammatoneBands&, std::size_t) const {}
};

#elif HWY_MAX_BYTES >= 32

// One filter with its stages in lanes, the last stage first, so that the output is lane 0: real
// parts in the lower half of a vector, imaginary parts in the upper one. In a step all stages are
// computed from the old values, so that nothing keeps them apart.
class SingleBand {
    using Stages = hn::FixedTag<float, 4>;
    using Parts = hn::FixedTag<float, 8>;

public:
    HWY_INLINE SingleBand(const GammatoneBands& bands, std::size_t band)
        : mRealPole(hn::Set(Parts(), bands.realPole[band])),
          mImagPole(hn::Combine(Parts(), hn::Set(Stages(), bands.imagPole[band]),
                                hn::Set(Stages(), -bands.imagPole[band]))) {
        alignas(32) float parts[8];
        for (std::size_t stage = 0; stage < 4; ++stage) {
            parts[3 - stage] = bands.real[stage][band];
            parts[7 - stage] = bands.imag[stage][band];
        }
        mParts = hn::Load(Parts(), parts);
    }

    // The real output for a sample times the gain.
    HWY_INLINE float Step(float scaled) {
        const Parts d;
        // -0 added to an imaginary part changes nothing.
        const auto input = hn::Combine(d, hn::Set(Stages(), -0.0f), hn::Set(Stages(), scaled));
        const auto behind = hn::CombineShiftRightBytes<4>(d, input, mParts);
        const auto exchanged = hn::ConcatLowerUpper(d, mParts, mParts);
        const auto turned = hn::Add(hn::Mul(mRealPole, mParts), hn::Mul(mImagPole, exchanged));
        mParts = hn::Add(turned, behind);
        return hn::GetLane(mParts);
    }

    HWY_INLINE void Save(GammatoneBands& bands, std::size_t band) const {
        alignas(32) float parts[8];
        hn::Store(mParts, Parts(), parts);
        for (std::size_t stage = 0; stage < 4; ++stage) {
            bands.real[stage][band] = parts[3 - stage];
            bands.imag[stage][band] = parts[7 - stage];
        }
    }

private:
    hn::Vec<Parts> mRealPole;
    hn::Vec<Parts> mImagPole; // negative in the lower half
    hn::Vec<Parts> mParts;
};

#else

// One filter with its stages in lanes, the last stage first, so that the output is lane 0. In a
// step all stages are computed from the old values, so that nothing keeps them apart.
class SingleBand {
    using Stages = hn::FixedTag<float, 4>;

public:
    HWY_INLINE SingleBand(const GammatoneBands& bands, std::size_t band)
        : mRealPole(hn::Set(Stages(), bands.realPole[band])),
          mImagPole(hn::Set(Stages(), bands.imagPole[band])) {
        alignas(16) float re[4];
        alignas(16) float im[4];
        for (std::size_t stage = 0; stage < 4; ++stage) {
            re[3 - stage] = bands.real[stage][band];
            im[3 - stage] = bands.imag[stage][band];
        }
        mRe = hn::Load(Stages(), re);
        mIm = hn::Load(Stages(), im);
    }

    // The real output for a sample times the gain.
    HWY_INLINE float Step(float scaled) {
        const Stages d;
        const auto behindRe = hn::CombineShiftRightBytes<4>(d, hn::Set(d, scaled), mRe);
        // -0 added changes nothing.
        const auto behindIm = hn::CombineShiftRightBytes<4>(d, hn::Set(d, -0.0f), mIm);
        const auto turnedRe = hn::Sub(hn::Mul(mRealPole, mRe), hn::Mul(mImagPole, mIm));
        const auto turnedIm = hn::Add(hn::Mul(mRealPole, mIm), hn::Mul(mImagPole, mRe));
        mRe = hn::Add(turnedRe, behindRe);
        mIm = hn::Add(turnedIm, behindIm);
        return hn::GetLane(mRe);
    }

    HWY_INLINE void Save(GammatoneBands& bands, std::size_t band) const {
        alignas(16) float re[4];
        alignas(16) float im[4];
        hn::Store(mRe, Stages(), re);
        hn::Store(mIm, Stages(), im);
        for (std::size_t stage = 0; stage < 4; ++stage) {
            bands.real[stage][band] = re[3 - stage];
            bands.imag[stage][band] = im[3 - stage];
        }
    }

private:
    hn::Vec<Stages> mRealPole;
    hn::Vec<Stages> mImagPole;
    hn::Vec<Stages> mRe;
    hn::Vec<Stages> mIm;
};

#endif

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#endif
