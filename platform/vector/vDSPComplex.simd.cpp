// Arithmetic on split-complex vectors, and the way between the split and the interleaved form.

#include <Accelerate/vDSP.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPComplex.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

void ComplexAdd(ComplexIn a, ComplexIn b, ComplexOut c, size_t count) {
    MapComplex(
        count, c.re, c.im,
        [](auto, auto ar, auto ai, auto br, auto bi)
            HWY_ATTR { return Pair(hn::Add(ar, br), hn::Add(ai, bi)); },
        a.re, a.im, b.re, b.im);
}

void ComplexMultiply(ComplexIn a, ComplexIn b, ComplexOut c, size_t count) {
    MapComplex(
        count, c.re, c.im,
        [](auto, auto ar, auto ai, auto br, auto bi) HWY_ATTR {
            return Pair(hn::Sub(hn::Mul(ar, br), hn::Mul(ai, bi)),
                        hn::Add(hn::Mul(ar, bi), hn::Mul(ai, br)));
        },
        a.re, a.im, b.re, b.im);
}

void ConjugateMultiply(ComplexIn a, ComplexIn b, ComplexOut c, size_t count) {
    MapComplex(
        count, c.re, c.im,
        [](auto, auto ar, auto ai, auto br, auto bi) HWY_ATTR {
            return Pair(hn::Add(hn::Mul(ar, br), hn::Mul(ai, bi)),
                        hn::Sub(hn::Mul(ar, bi), hn::Mul(ai, br)));
        },
        a.re, a.im, b.re, b.im);
}

void ComplexMultiplyReal(ComplexIn a, In b, ComplexOut c, size_t count) {
    MapComplex(
        count, c.re, c.im,
        [](auto, auto re, auto im, auto factor)
            HWY_ATTR { return Pair(hn::Mul(re, factor), hn::Mul(im, factor)); },
        a.re, a.im, b);
}

void SquaredModulus(ComplexIn a, Out c, size_t count) {
    Map(
        count, c,
        [](auto, auto re, auto im) HWY_ATTR { return hn::Add(hn::Mul(re, re), hn::Mul(im, im)); },
        a.re, a.im);
}

void Modulus(ComplexIn a, Out c, size_t count) {
    Map(
        count, c,
        [](auto, auto re, auto im)
            HWY_ATTR { return hn::Sqrt(hn::Add(hn::Mul(re, re), hn::Mul(im, im))); },
        a.re, a.im);
}

// Interleaved pairs, `stride` floats apart, to split form.
void PairsToSplit(In pairs, ComplexOut z, size_t count) {
    size_t n = 0;
    if (pairs.stride == 2 && z.re.stride == 1) {
        const Full full;
        for (const size_t lanes = hn::Lanes(full); n + lanes <= count; n += lanes) {
            hn::Vec<Full> re;
            hn::Vec<Full> im;
            hn::LoadInterleaved2(full, pairs.data + 2 * n, re, im);
            hn::StoreU(re, full, z.re.data + n);
            hn::StoreU(im, full, z.im.data + n);
        }
    }
    for (; n < count; ++n) {
        const float* pair = pairs.At(n);
        *z.re.At(n) = pair[0];
        *z.im.At(n) = pair[1];
    }
}

// Split form to interleaved pairs, `stride` floats apart.
void SplitToPairs(ComplexIn z, Out pairs, size_t count) {
    size_t n = 0;
    if (pairs.stride == 2 && z.re.stride == 1) {
        const Full full;
        for (const size_t lanes = hn::Lanes(full); n + lanes <= count; n += lanes) {
            hn::StoreInterleaved2(hn::LoadU(full, z.re.data + n), hn::LoadU(full, z.im.data + n),
                                  full, pairs.data + 2 * n);
        }
    }
    for (; n < count; ++n) {
        float* pair = pairs.At(n);
        pair[0] = *z.re.At(n);
        pair[1] = *z.im.At(n);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(ComplexAdd);
HWY_EXPORT(ComplexMultiply);
HWY_EXPORT(ConjugateMultiply);
HWY_EXPORT(ComplexMultiplyReal);
HWY_EXPORT(SquaredModulus);
HWY_EXPORT(Modulus);
HWY_EXPORT(PairsToSplit);
HWY_EXPORT(SplitToPairs);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_zvadd(const DSPSplitComplex* A, vDSP_Stride IA, const DSPSplitComplex* B, vDSP_Stride IB,
                const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(ComplexAdd)({A, IA}, {B, IB}, {C, IC}, N);
}

void vDSP_zvmul(const DSPSplitComplex* A, vDSP_Stride IA, const DSPSplitComplex* B, vDSP_Stride IB,
                const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length N, int Conjugate) {
    if (Conjugate < 0) {
        HWY_DYNAMIC_DISPATCH(ConjugateMultiply)({A, IA}, {B, IB}, {C, IC}, N);
    } else {
        HWY_DYNAMIC_DISPATCH(ComplexMultiply)({A, IA}, {B, IB}, {C, IC}, N);
    }
}

void vDSP_zvcmul(const DSPSplitComplex* A, vDSP_Stride IA, const DSPSplitComplex* B, vDSP_Stride IB,
                 const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(ConjugateMultiply)({A, IA}, {B, IB}, {C, IC}, N);
}

void vDSP_zrvmul(const DSPSplitComplex* A, vDSP_Stride IA, const float* B, vDSP_Stride IB,
                 const DSPSplitComplex* C, vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(ComplexMultiplyReal)({A, IA}, {B, IB}, {C, IC}, N);
}

void vDSP_zvabs(const DSPSplitComplex* A, vDSP_Stride IA, float* C, vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Modulus)({A, IA}, {C, IC}, N);
}

void vDSP_zvmags(const DSPSplitComplex* A, vDSP_Stride IA, float* C, vDSP_Stride IC,
                 vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(SquaredModulus)({A, IA}, {C, IC}, N);
}

void vDSP_ctoz(const DSPComplex* C, vDSP_Stride IC, const DSPSplitComplex* Z, vDSP_Stride IZ,
               vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(PairsToSplit)({reinterpret_cast<const float*>(C), IC}, {Z, IZ}, N);
}

void vDSP_ztoc(const DSPSplitComplex* Z, vDSP_Stride IZ, DSPComplex* C, vDSP_Stride IC,
               vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(SplitToPairs)({Z, IZ}, {reinterpret_cast<float*>(C), IC}, N);
}

#endif
