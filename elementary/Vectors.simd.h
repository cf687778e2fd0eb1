// Logarithms and exponentials of single-precision vectors: the same bits on every instruction set,
// as no product is fused with a sum. Included once for every instruction set that the processor may
// offer, so there is no `#pragma once`.

#if defined(QEL_ELEMENTARY_VECTORS_SIMD_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QEL_ELEMENTARY_VECTORS_SIMD_H
#undef QEL_ELEMENTARY_VECTORS_SIMD_H
#else
#define QEL_ELEMENTARY_VECTORS_SIMD_H
#endif

#include <hwy/highway.h>

#include <limits>

HWY_BEFORE_NAMESPACE();
namespace qel::elementary {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// a * b + c, the product rounded before the sum. Highway's operation of that kind is fused where
// the processor can, so that its result depends on the processor.
template <class V>
HWY_INLINE V ProductPlus(V a, V b, V c) {
    return hn::Add(hn::Mul(a, b), c);
}

// ln x of normal positive numbers, within 2 units in the last place: x is 2^k (1 + f) with 1 + f
// from sqrt(1/2) to sqrt(2), and the logarithm of 1 + f is f - s (f - R), where s is f / (2 + f)
// and R a polynomial in s^2. Coefficients and the two parts of the logarithm of 2 are those of
// fdlibm (Sun Microsystems, 1993).
template <class D, class V = hn::Vec<D>>
HWY_INLINE V LogOfNormal(D d, V x) {
    const hn::RebindToSigned<D> integers;
    const auto rootOfHalf = hn::Set(integers, 0x3F3504F3); // the bits of sqrt(1/2)
    const auto fromRoot = hn::Sub(hn::BitCast(integers, x), rootOfHalf);
    const V k = hn::ConvertTo(d, hn::ShiftRight<23>(fromRoot));
    const auto mantissa = hn::And(fromRoot, hn::Set(integers, 0x7FFFFF));
    const V y = hn::BitCast(d, hn::Add(mantissa, rootOfHalf));
    const V one = hn::Set(d, 1.0f);
    const V f = hn::Sub(y, one);
    const V s = hn::Div(f, hn::Add(y, one));
    const V s2 = hn::Mul(s, s);
    const V s4 = hn::Mul(s2, s2);
    const V odd = ProductPlus(hn::Set(d, 0.28498786688f), s4, hn::Set(d, 0.66666662693f));
    const V even = ProductPlus(hn::Set(d, 0.24279078841f), s4, hn::Set(d, 0.40000972152f));
    const V r = ProductPlus(odd, s2, hn::Mul(even, s4));
    const V lowPart = hn::Mul(k, hn::Set(d, 9.0580006145e-6f));
    const V rest = hn::Sub(hn::Sub(hn::Mul(s, hn::Sub(f, r)), lowPart), f);
    return hn::Sub(hn::Mul(k, hn::Set(d, 0.69313812256f)), rest);
}

// ln x of any x: -infinity of 0, no number below it.
template <class D, class V = hn::Vec<D>>
HWY_INLINE V Log(D d, V x) {
    const V zero = hn::Zero(d);
    const V infinity = hn::Set(d, std::numeric_limits<float>::infinity());
    const V nan = hn::Set(d, std::numeric_limits<float>::quiet_NaN());
    // Denormal numbers are taken 2^25 times as large.
    const auto isSmall = hn::Lt(x, hn::Set(d, std::numeric_limits<float>::min()));
    const V normal = hn::IfThenElse(isSmall, hn::Mul(x, hn::Set(d, 0x1p25f)), x);
    const V raised = hn::IfThenElseZero(isSmall, hn::Set(d, 17.3286795f)); // ln 2^25
    V log = hn::Sub(LogOfNormal(d, normal), raised);
    log = hn::IfThenElse(hn::Eq(x, infinity), infinity, log);
    log = hn::IfThenElse(hn::Eq(x, zero), hn::Neg(infinity), log);
    return hn::IfThenElse(hn::Ge(x, zero), log, nan);
}

// An exponential before its power of two: 2^n times `fraction`.
template <class V>
struct ScaledExp {
    V fraction;
    V shiftedN; // n + kAllWhole
};

constexpr float kAllWhole = 12582912.0f; // 1.5 * 2^23: sums with it are whole, and end in n

// exp x for x from -104 to 89: 2^n exp r with r within half a logarithm of 2. Of exp r = 1 + r +
// r^2 p(r), the p is the one of degree 4 with the least relative error, 3.1e-9.
template <class D, class V>
HWY_INLINE ScaledExp<V> MakeScaledExp(D d, V x) {
    constexpr float kPerLog2 = 1.44269502f;
    constexpr float kLog2 = 0.693145752f; // 16 bits, so that whole multiples are exact
    constexpr float kRestOfLog2 = 1.42860677e-06f;
    const V shiftedN = ProductPlus(x, hn::Set(d, kPerLog2), hn::Set(d, kAllWhole));
    const V n = hn::Sub(shiftedN, hn::Set(d, kAllWhole));
    const V r =
        hn::Sub(hn::Sub(x, hn::Mul(n, hn::Set(d, kLog2))), hn::Mul(n, hn::Set(d, kRestOfLog2)));
    const V r2 = hn::Mul(r, r);
    const V low = ProductPlus(r, hn::Set(d, 0.166665211f), hn::Set(d, 0.49999994f));
    const V high = ProductPlus(r, hn::Set(d, 0.00836871658f), hn::Set(d, 0.041668389f));
    const V p = ProductPlus(ProductPlus(r2, hn::Set(d, 0.00138145988f), high), r2, low);
    return {hn::Add(ProductPlus(p, r2, r), hn::Set(d, 1.0f)), shiftedN};
}

// exp x for x from -80 to 80, within 2 units in the last place.
template <class D, class V>
HWY_INLINE V ExpOfLimited(D d, V x) {
    const hn::RebindToSigned<D> integers;
    const ScaledExp<V> scaled = MakeScaledExp(d, x);
    const auto exponents = hn::ShiftLeft<23>(hn::BitCast(integers, scaled.shiftedN));
    return hn::BitCast(d, hn::Add(hn::BitCast(integers, scaled.fraction), exponents));
}

// exp x of any x, within 2 units in the last place unless it is denormal. The power of two is
// multiplied in two steps, as the ends of the range lie beyond those of single powers.
template <class D, class V>
HWY_INLINE V Exp(D d, V x) {
    const hn::RebindToSigned<D> integers;
    const V limited = hn::Min(hn::Max(x, hn::Set(d, -104.0f)), hn::Set(d, 89.0f));
    const ScaledExp<V> scaled = MakeScaledExp(d, limited);
    const auto n = hn::Sub(hn::BitCast(integers, scaled.shiftedN),
                           hn::BitCast(integers, hn::Set(d, kAllWhole)));
    const auto half = hn::ShiftRight<1>(n);
    const auto bias = hn::Set(integers, 127);
    const V first = hn::BitCast(d, hn::ShiftLeft<23>(hn::Add(half, bias)));
    const V second = hn::BitCast(d, hn::ShiftLeft<23>(hn::Add(hn::Sub(n, half), bias)));
    const V exp = hn::Mul(hn::Mul(scaled.fraction, first), second);
    return hn::IfThenElse(hn::Eq(x, x), exp, x);
}

} // namespace HWY_NAMESPACE
} // namespace qel::elementary
HWY_AFTER_NAMESPACE();

#endif
