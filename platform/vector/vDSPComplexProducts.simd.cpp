// Sums of products of split-complex vectors.

#include <Accelerate/vDSP.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPComplexProducts.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

// How many partial sums a product keeps, so that it comes out the same on every instruction set.
// Fewer than other reductions: products of kernels are short, and have two sums.
constexpr size_t kComplexPartials = 16;

template <class V>
HWY_INLINE Complex<V> Product(V ar, V ai, V br, V bi) {
    return {hn::Sub(hn::Mul(ar, br), hn::Mul(ai, bi)), hn::Add(hn::Mul(ar, bi), hn::Mul(ai, br))};
}

template <class V>
HWY_INLINE Complex<V> ConjugateProduct(V ar, V ai, V br, V bi) {
    return {hn::Add(hn::Mul(ar, br), hn::Mul(ai, bi)), hn::Sub(hn::Mul(ar, bi), hn::Mul(ai, br))};
}

HWY_INLINE float Fold(float* partials) {
    for (size_t half = kComplexPartials / 2; half > 0; half /= 2) {
        for (size_t p = 0; p < half; ++p) {
            partials[p] += partials[half + p];
        }
    }
    return partials[0];
}

// *c = sum of product(a[n], b[n]) over all n below count.
template <class Operation>
HWY_INLINE void SumOfProducts(ComplexIn a, ComplexIn b, ComplexOut c, size_t count,
                              const Operation& product) {
    HWY_ALIGN float re[kComplexPartials] = {};
    HWY_ALIGN float im[kComplexPartials] = {};
    size_t n = 0;
    if (a.re.stride == 1 && b.re.stride == 1) {
        const hn::CappedTag<float, kComplexPartials> wide;
        using V = hn::Vec<decltype(wide)>;
        constexpr size_t kLanes = hn::MaxLanes(wide);
        constexpr size_t kVectors = kComplexPartials / kLanes;
        V sumsRe[kVectors];
        V sumsIm[kVectors];
        for (size_t v = 0; v < kVectors; ++v) {
            sumsRe[v] = hn::Zero(wide);
            sumsIm[v] = hn::Zero(wide);
        }
        for (; n + kComplexPartials <= count; n += kComplexPartials) {
            for (size_t v = 0; v < kVectors; ++v) {
                const size_t at = n + v * kLanes;
                const Complex<V> term =
                    product(hn::LoadU(wide, a.re.data + at), hn::LoadU(wide, a.im.data + at),
                            hn::LoadU(wide, b.re.data + at), hn::LoadU(wide, b.im.data + at));
                sumsRe[v] = hn::Add(sumsRe[v], term.re);
                sumsIm[v] = hn::Add(sumsIm[v], term.im);
            }
        }
        for (size_t v = 0; v < kVectors; ++v) {
            hn::Store(sumsRe[v], wide, re + v * kLanes);
            hn::Store(sumsIm[v], wide, im + v * kLanes);
        }
    }
    const One one;
    for (; n < count; ++n) {
        const auto term = product(hn::LoadU(one, a.re.At(n)), hn::LoadU(one, a.im.At(n)),
                                  hn::LoadU(one, b.re.At(n)), hn::LoadU(one, b.im.At(n)));
        re[n % kComplexPartials] += hn::GetLane(term.re);
        im[n % kComplexPartials] += hn::GetLane(term.im);
    }
    *c.re.data = Fold(re);
    *c.im.data = Fold(im);
}

void DotProduct(ComplexIn a, ComplexIn b, ComplexOut c, size_t count) {
    SumOfProducts(a, b, c, count, [](auto ar, auto ai, auto br, auto bi) HWY_ATTR {
        return Product(ar, ai, br, bi);
    });
}

void InnerProduct(ComplexIn a, ComplexIn b, ComplexOut c, size_t count) {
    SumOfProducts(a, b, c, count, [](auto ar, auto ai, auto br, auto bi) HWY_ATTR {
        return ConjugateProduct(ar, ai, br, bi);
    });
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(DotProduct);
HWY_EXPORT(InnerProduct);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_zdotpr(const DSPSplitComplex* A, vDSP_Stride IA, const DSPSplitComplex* B, vDSP_Stride IB,
                 const DSPSplitComplex* C, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(DotProduct)({A, IA}, {B, IB}, {C, 1}, N);
}

void vDSP_zidotpr(const DSPSplitComplex* A, vDSP_Stride IA, const DSPSplitComplex* B,
                  vDSP_Stride IB, const DSPSplitComplex* C, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(InnerProduct)({A, IA}, {B, IB}, {C, 1}, N);
}

#endif
