#include "platform/vector/PackedRealPasses.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/PackedRealPasses.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Full = hn::ScalableTag<float>;
using One = hn::CappedTag<float, 1>;

void Interleave(const float* re, const float* im, float* interleaved, size_t points) {
    size_t n = 0;
    const Full full;
    for (const size_t lanes = hn::Lanes(full); n + lanes <= points; n += lanes) {
        hn::StoreInterleaved2(hn::LoadU(full, re + n), hn::LoadU(full, im + n), full,
                              interleaved + 2 * n);
    }
    for (; n < points; ++n) {
        interleaved[2 * n] = re[n];
        interleaved[2 * n + 1] = im[n];
    }
}

void Deinterleave(const float* interleaved, float* re, float* im, size_t points) {
    size_t n = 0;
    const Full full;
    for (const size_t lanes = hn::Lanes(full); n + lanes <= points; n += lanes) {
        hn::Vec<Full> real;
        hn::Vec<Full> imaginary;
        hn::LoadInterleaved2(full, interleaved + 2 * n, real, imaginary);
        hn::StoreU(real, full, re + n);
        hn::StoreU(imaginary, full, im + n);
    }
    for (; n < points; ++n) {
        re[n] = interleaved[2 * n];
        im[n] = interleaved[2 * n + 1];
    }
}

// With A at k and B at M - k (in reversed lanes), E = A + conj B, O = A - conj B and the factor
// F = -sine + i cosine: A becomes E + F O, B becomes conj(E - F O).
template <class V>
HWY_INLINE void Butterfly(V cosine, V sine, V& aRe, V& aIm, V& bRe, V& bIm) {
    const V eRe = hn::Add(aRe, bRe);
    const V eIm = hn::Sub(aIm, bIm);
    const V oRe = hn::Sub(aRe, bRe);
    const V oIm = hn::Add(aIm, bIm);
    const V tRe = hn::Add(hn::Mul(sine, oRe), hn::Mul(cosine, oIm));
    const V tIm = hn::Sub(hn::Mul(cosine, oRe), hn::Mul(sine, oIm));
    aRe = hn::Sub(eRe, tRe);
    aIm = hn::Add(eIm, tIm);
    bRe = hn::Add(eRe, tRe);
    bIm = hn::Sub(tIm, eIm);
}

// Calls step(tag, k) for blocks of k that cover 1 to points / 2, each together with its mirror. The
// last block ends at points / 2 and may overlap the one before: passes are out of place.
template <class Step>
HWY_INLINE void ForMirroredBlocks(size_t points, const Step& step) {
    const size_t middle = points / 2;
    const Full full;
    const size_t lanes = hn::Lanes(full);
    if (middle < lanes) {
        for (size_t k = 1; k <= middle; ++k) {
            step(One(), k);
        }
        return;
    }
    for (size_t k = 1; k + lanes <= middle; k += lanes) {
        step(full, k);
    }
    step(full, middle - lanes + 1);
}

void Split(const float* z, const PackedRealFactors& factors, float* re, float* im, size_t points) {
    re[0] = 2.0f * (z[0] + z[1]);
    im[0] = 2.0f * (z[0] - z[1]);
    ForMirroredBlocks(points, [&](auto d, size_t k) HWY_ATTR {
        using V = hn::Vec<decltype(d)>;
        const size_t mirror = points - k - (hn::Lanes(d) - 1);
        V aRe, aIm, bRe, bIm;
        hn::LoadInterleaved2(d, z + 2 * k, aRe, aIm);
        hn::LoadInterleaved2(d, z + 2 * mirror, bRe, bIm);
        bRe = hn::Reverse(d, bRe);
        bIm = hn::Reverse(d, bIm);
        // The forward factor is -sine - i cosine.
        Butterfly(hn::Neg(hn::LoadU(d, factors.cosines + k)), hn::LoadU(d, factors.sines + k), aRe,
                  aIm, bRe, bIm);
        hn::StoreU(aRe, d, re + k);
        hn::StoreU(aIm, d, im + k);
        hn::StoreU(hn::Reverse(d, bRe), d, re + mirror);
        hn::StoreU(hn::Reverse(d, bIm), d, im + mirror);
    });
}

void Merge(const float* re, const float* im, const PackedRealFactors& factors, float* exchanged,
           size_t points) {
    exchanged[0] = re[0] - im[0];
    exchanged[1] = re[0] + im[0];
    ForMirroredBlocks(points, [&](auto d, size_t k) HWY_ATTR {
        using V = hn::Vec<decltype(d)>;
        const size_t mirror = points - k - (hn::Lanes(d) - 1);
        V aRe = hn::LoadU(d, re + k);
        V aIm = hn::LoadU(d, im + k);
        V bRe = hn::Reverse(d, hn::LoadU(d, re + mirror));
        V bIm = hn::Reverse(d, hn::LoadU(d, im + mirror));
        Butterfly(hn::LoadU(d, factors.cosines + k), hn::LoadU(d, factors.sines + k), aRe, aIm, bRe,
                  bIm);
        hn::StoreInterleaved2(aIm, aRe, d, exchanged + 2 * k);
        hn::StoreInterleaved2(hn::Reverse(d, bIm), hn::Reverse(d, bRe), d, exchanged + 2 * mirror);
    });
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {

HWY_EXPORT(Interleave);
HWY_EXPORT(Deinterleave);
HWY_EXPORT(Split);
HWY_EXPORT(Merge);

void InterleavePass(const float* re, const float* im, float* interleaved, std::size_t points) {
    HWY_DYNAMIC_DISPATCH(Interleave)(re, im, interleaved, points);
}

void DeinterleavePass(const float* interleaved, float* re, float* im, std::size_t points) {
    HWY_DYNAMIC_DISPATCH(Deinterleave)(interleaved, re, im, points);
}

void SplitPass(const float* z, const PackedRealFactors& factors, float* re, float* im,
               std::size_t points) {
    HWY_DYNAMIC_DISPATCH(Split)(z, factors, re, im, points);
}

void MergePass(const float* re, const float* im, const PackedRealFactors& factors, float* exchanged,
               std::size_t points) {
    HWY_DYNAMIC_DISPATCH(Merge)(re, im, factors, exchanged, points);
}

} // namespace qel::platform

#endif
