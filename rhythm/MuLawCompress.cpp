// The compression of energies, several at a time. Logarithms are of double precision, correct to
// some units of its last place, which single precision does not see.

#include <cmath>
#include <cstddef>
#include <limits>

#include "rhythm/RhythmMath.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/MuLawCompress.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

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

template <class D>
HWY_INLINE void CompressVector(D d, const float* x, float mu, double scale, float* y) {
    const hn::Rebind<float, D> single;
    const auto scaled = hn::Mul(hn::LoadU(single, x), hn::Set(single, mu));
    const auto sum = hn::Add(hn::Set(d, 1.0), hn::PromoteTo(d, scaled));
    const auto quotient = hn::Mul(Logarithm(d, sum), hn::Set(d, scale));
    hn::StoreU(hn::DemoteTo(single, quotient), single, y);
}

void Compress(const float* x, std::size_t n, float mu, double scale, float* y) {
    const hn::ScalableTag<double> full;
    const hn::CappedTag<double, 1> one;
    const std::size_t lanes = hn::Lanes(full);
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        CompressVector(full, x + i, mu, scale, y + i);
    for (; i < n; ++i)
        CompressVector(one, x + i, mu, scale, y + i);
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(Compress);

void MuLawCompress(const float* x, unsigned int n, float* y, float mu) {
    HWY_DYNAMIC_DISPATCH(Compress)(x, n, mu, 1.0 / std::log(1.0 + mu), y);
}

} // namespace qel::core

#endif
