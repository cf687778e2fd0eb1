// Angles of split-complex vectors.

#include <Accelerate/vDSP.h>
#include <limits>
#include <numbers>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPPhase.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

#include "platform/vector/Loops-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

// atan2(y, x). The arc tangent is taken of the smaller magnitude over the larger, so from 0 to 1,
// and turned into its octant.
template <class D, class V>
HWY_INLINE V Angle(D d, V y, V x) {
    const auto zero = hn::Zero(d);
    const auto one = hn::Set(d, 1.0f);
    const auto infinity = hn::Set(d, std::numeric_limits<float>::infinity());
    const auto absY = hn::Abs(y);
    const auto absX = hn::Abs(x);
    const auto steep = hn::Gt(absY, absX);
    const auto smaller = hn::IfThenElse(steep, absX, absY);
    const auto larger = hn::IfThenElse(steep, absY, absX);
    auto ratio = hn::Div(smaller, larger);
    ratio =
        hn::IfThenElse(hn::And(hn::Eq(smaller, infinity), hn::Eq(larger, infinity)), one, ratio);
    auto angle = hn::Atan(d, ratio);
    angle = hn::IfThenElse(steep, hn::Sub(hn::Set(d, std::numbers::pi_v<float> / 2), angle), angle);
    angle = hn::IfThenElse(hn::Lt(hn::CopySign(one, x), zero),
                           hn::Sub(hn::Set(d, std::numbers::pi_v<float>), angle), angle);
    angle = hn::CopySign(angle, y);
    // Zero over zero is NaN up to here, and 0 is wanted. Both parts are looked at: the larger of
    // zero and NaN may be either.
    return hn::IfThenZeroElse(hn::And(hn::Eq(absX, zero), hn::Eq(absY, zero)), angle);
}

void Phase(ComplexIn a, Out c, size_t count) {
    Map(
        count, c, [](auto d, auto re, auto im) HWY_ATTR { return Angle(d, im, re); }, a.re, a.im);
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(Phase);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_zvphas(const DSPSplitComplex* A, vDSP_Stride IA, float* C, vDSP_Stride IC,
                 vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Phase)({A, IA}, {C, IC}, N);
}

#endif
