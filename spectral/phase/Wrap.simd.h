// Angles brought between -pi and pi, in vectors. Included once for every instruction set that the
// processor may offer, so there is no `#pragma once`.
//
// Sums with pi are as if formed in double precision and rounded, the rest is single precision. As
// sums of floats: the rounding error of x + pi is a float itself, and takes in what the
// single-precision pi lacks.
//
// The differences that give the error look as if they cancelled. They are exact only in this order
// and without contraction, and must not be simplified.

#if defined(QEL_SPECTRAL_WRAP_SIMD_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QEL_SPECTRAL_WRAP_SIMD_H
#undef QEL_SPECTRAL_WRAP_SIMD_H
#else
#define QEL_SPECTRAL_WRAP_SIMD_H
#endif

#include <hwy/highway.h>

#include <numbers>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr float kPi = std::numbers::pi_v<float>;
constexpr float kTurn = 2.0f * kPi;
// What the single-precision pi lacks: -8.7e-8.
constexpr float kRestOfPi =
    static_cast<float>(std::numbers::pi - static_cast<double>(std::numbers::pi_v<float>));

// x + (pi + piRest), rounded once, for pi of either sign.
template <class V>
HWY_INLINE V PlusPi(V x, V pi, V piRest) {
    const V sum = hn::Add(x, pi);
    const V added = hn::Sub(sum, x);
    const V error = hn::Add(hn::Sub(x, hn::Sub(sum, added)), hn::Sub(pi, added));
    return hn::Add(sum, hn::Add(error, piRest));
}

// The same of pi itself and of x within two turns below and any above: of two numbers, the error is
// the smaller one less what came of it. Where x is below -4, the sum is exact.
template <class D, class V>
HWY_INLINE V PlusPiNear(D d, V x) {
    const V pi = hn::Set(d, kPi);
    const V sum = hn::Add(x, pi);
    const V error = hn::Sub(hn::Min(x, pi), hn::Sub(sum, hn::Max(x, pi)));
    return hn::Add(sum, hn::Add(error, hn::Set(d, kRestOfPi)));
}

// x - pi, rounded once, for x from 0 to a turn, or little outside: below 4 the rounding error is
// found with pi as the greater number, and from there on the difference is exact.
template <class D, class V>
HWY_INLINE V MinusPiWithinTurn(D d, V x) {
    const V pi = hn::Set(d, kPi);
    const V difference = hn::Sub(x, pi);
    const V error = hn::Sub(x, hn::Add(difference, pi));
    return hn::Add(difference, hn::Sub(error, hn::Set(d, kRestOfPi)));
}

// An angle plus pi, without its whole turns.
template <class D, class V>
HWY_INLINE V FractionOfTurn(D d, V radians) {
    const V turn = hn::Set(d, kTurn);
    const V shifted = PlusPi(radians, hn::Set(d, kPi), hn::Set(d, kRestOfPi));
    return hn::Sub(shifted, hn::Mul(hn::Floor(hn::Div(shifted, turn)), turn));
}

// Of any angle.
template <class D, class V>
HWY_INLINE V Wrap(D d, V radians) {
    return PlusPi(FractionOfTurn(d, radians), hn::Set(d, -kPi), hn::Set(d, -kRestOfPi));
}

// The same to the last bit of an angle within 1000 turns, whose roundings keep what is left within
// a thousandth of a turn's ends.
template <class D, class V>
HWY_INLINE V WrapTurns(D d, V radians) {
    return MinusPiWithinTurn(d, FractionOfTurn(d, radians));
}

// The same to the last bit of an angle within one and a half turns, where comparisons tell the
// turns.
template <class D, class V>
HWY_INLINE V WrapDifference(D d, V radians) {
    const V turn = hn::Set(d, kTurn);
    const V shifted = PlusPiNear(d, radians);
    const V above = hn::IfThenElseZero(hn::Ge(shifted, turn), turn);
    const V excess = hn::IfThenElse(hn::Lt(shifted, hn::Zero(d)), hn::Neg(turn), above);
    return MinusPiWithinTurn(d, hn::Sub(shifted, excess));
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#endif
