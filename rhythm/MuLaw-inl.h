// The compression of energies in vectors. Logarithms are of double precision, correct to some units
// of its last place, which single precision does not see. Included once for every instruction set
// that the processor may offer, so there is no `#pragma once`.

#if defined(QEL_RHYTHM_MU_LAW_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QEL_RHYTHM_MU_LAW_INL_H
#undef QEL_RHYTHM_MU_LAW_INL_H
#else
#define QEL_RHYTHM_MU_LAW_INL_H
#endif

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>
#include <limits>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// ln x, at the ends of the range and beyond as well.
template <class D, class V>
HWY_INLINE V Logarithm(D d, V x) {
    const auto zero = hn::Zero(d);
    const auto infinity = hn::Set(d, std::numeric_limits<double>::infinity());
    auto log = hn::Log(d, x);
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

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#endif
