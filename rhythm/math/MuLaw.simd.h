// The compression of energies in vectors. Logarithms are of double precision, correct to some units
// of its last place, which single precision does not see. Included once for every instruction set
// that the processor may offer, so there is no `#pragma once`.
//
// Products and sums are rounded one by one, also where the processor could do both at once, and the
// terms of the polynomial stay in their order. A fused or reordered step gives other bits on some
// processors, and a few of them reach the rounded result.

#if defined(QEL_RHYTHM_MU_LAW_SIMD_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QEL_RHYTHM_MU_LAW_SIMD_H
#undef QEL_RHYTHM_MU_LAW_SIMD_H
#else
#define QEL_RHYTHM_MU_LAW_SIMD_H
#endif

#include "elementary/Vectors.simd.h"

#include <hwy/highway.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <numbers>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// ln x for positive finite x that are not denormal, to 1e-15 of it. With x = 2^e m and m about 1,
// it is e ln 2 + ln m, and ln m = 2 artanh s = 2 s (1 + s^2 / 3 + s^4 / 5 + ...) for s = (m - 1) /
// (m + 1). From 1 / 3 on, the series is replaced by a polynomial of degree 5 in s^2, fitted in
// Chebyshev's points: an error of 7e-16 before rounding.
template <class D, class V>
HWY_INLINE V LogarithmOfNormal(D d, V x) {
    const hn::Rebind<uint64_t, D> bits;
    constexpr auto kOne = std::bit_cast<uint64_t>(1.0);
    constexpr auto kRootHalf = std::bit_cast<uint64_t>(std::numbers::sqrt2 / 2.0); // of the least m
    static_assert(kOne == 0x3FF0000000000000 && kRootHalf == 0x3FE6A09E667F3BCD);
    constexpr int kMantissaBits = 52;
    // A number of 52 bits in the place of the mantissa of 2^52 is added to it.
    constexpr double kShift = 0x1p52;
    constexpr double kExponentBias = 1023.0;

    const auto shifted = hn::Add(hn::BitCast(bits, x), hn::Set(bits, kOne - kRootHalf));
    const auto exponent =
        hn::Or(hn::ShiftRight<kMantissaBits>(shifted), hn::BitCast(bits, hn::Set(d, kShift)));
    const auto e = hn::Sub(hn::BitCast(d, exponent), hn::Set(d, kShift + kExponentBias));
    const auto mantissa = hn::And(shifted, hn::Set(bits, (uint64_t{1} << kMantissaBits) - 1));
    const auto m = hn::BitCast(d, hn::Add(mantissa, hn::Set(bits, kRootHalf)));

    const auto one = hn::Set(d, 1.0);
    const auto s = hn::Div(hn::Sub(m, one), hn::Add(m, one));
    const auto z = hn::Mul(s, s);
    const auto zz = hn::Mul(z, z);
    const auto low = elementary::HWY_NAMESPACE::ProductPlus(z, hn::Set(d, 0.20000000005606099761),
                                                            hn::Set(d, 0.33333333333331040218));
    const auto middle = elementary::HWY_NAMESPACE::ProductPlus(z, hn::Set(d, 0.1111143123842477031),
                                                               hn::Set(d, 0.14285712068258174181));
    const auto high = elementary::HWY_NAMESPACE::ProductPlus(z, hn::Set(d, 0.083109735450886997441),
                                                             hn::Set(d, 0.090700926012466231795));
    const auto series = elementary::HWY_NAMESPACE::ProductPlus(
        zz, elementary::HWY_NAMESPACE::ProductPlus(zz, high, middle), low);
    const auto twice = hn::Add(s, s);
    const auto logOfM = elementary::HWY_NAMESPACE::ProductPlus(hn::Mul(twice, z), series, twice);
    return elementary::HWY_NAMESPACE::ProductPlus(e, hn::Set(d, std::numbers::ln2), logOfM);
}

// ln x, at the ends of the range and beyond as well.
template <class D, class V>
HWY_INLINE V Logarithm(D d, V x) {
    const auto zero = hn::Zero(d);
    const auto infinity = hn::Set(d, std::numeric_limits<double>::infinity());
    auto log = LogarithmOfNormal(d, x);
    log = hn::IfThenElse(hn::Eq(x, infinity), infinity, log);
    log = hn::IfThenElse(hn::Eq(x, zero), hn::Neg(infinity), log);
    return hn::IfThenElse(hn::Ge(x, zero), log,
                          hn::Set(d, std::numeric_limits<double>::quiet_NaN()));
}

// ln(1 + mu x) * scale of single-precision values, as many as `d` has lanes.
template <class D, class V>
HWY_INLINE V CompressedVector(D d, V x, float mu, double scale) {
    const hn::Rebind<float, D> single;
    const auto scaled = hn::Mul(x, hn::Set(single, mu));
    const auto sum = hn::Add(hn::Set(d, 1.0), hn::PromoteTo(d, scaled));
    return hn::DemoteTo(single, hn::Mul(Logarithm(d, sum), hn::Set(d, scale)));
}

// The same for values of 0 or more.
template <class D, class V>
HWY_INLINE V CompressedMagnitudes(D d, V x, float mu, double scale) {
    const hn::Rebind<float, D> single;
    const auto scaled = hn::Mul(x, hn::Set(single, mu));
    const auto infinity = hn::Set(single, std::numeric_limits<float>::infinity());
    const auto sum = hn::Add(hn::Set(d, 1.0), hn::PromoteTo(d, scaled));
    const auto log = hn::DemoteTo(single, hn::Mul(LogarithmOfNormal(d, sum), hn::Set(d, scale)));
    return hn::IfThenElse(hn::Eq(scaled, infinity), infinity, log);
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#endif
