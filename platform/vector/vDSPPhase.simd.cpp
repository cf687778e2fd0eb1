// Angles of split-complex vectors.

#include <Accelerate/vDSP.h>

#include <numbers>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPPhase.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "elementary/Vectors.simd.h"
#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

// The arc tangent of x from 0 to 1: x + x^3 p(x^2), with the p of degree 7 whose greatest error
// relative to the arc tangent is least, 1.7e-8, in pairs of terms that do not wait for each other.
template <class D, class V>
HWY_INLINE V ArcTangent(D d, V x) {
    const auto pair = [&](float first, float second, V y) HWY_ATTR {
        return elementary::HWY_NAMESPACE::ProductPlus(hn::Set(d, second), y, hn::Set(d, first));
    };
    const V y = hn::Mul(x, x);
    const V y2 = hn::Mul(y, y);
    const V low = elementary::HWY_NAMESPACE::ProductPlus(pair(-0.142110556f, 0.106660046f, y), y2,
                                                         pair(-0.333331525f, 0.199937731f, y));
    const V high = elementary::HWY_NAMESPACE::ProductPlus(
        pair(-0.0163679309f, 0.00292069325f, y), y2, pair(-0.0755221471f, 0.0432118662f, y));
    return elementary::HWY_NAMESPACE::ProductPlus(
        elementary::HWY_NAMESPACE::ProductPlus(high, hn::Mul(y2, y2), low), hn::Mul(y, x), x);
}

// atan2(y, x). The arc tangent is taken of the smaller magnitude over the larger, so from 0 to 1,
// and turned into its octant.
template <class D, class V>
HWY_INLINE V Angle(D d, V y, V x) {
    const auto absY = hn::Abs(y);
    const auto absX = hn::Abs(x);
    const auto steep = hn::Gt(absY, absX);
    const auto smaller = hn::IfThenElse(steep, absX, absY);
    const auto larger = hn::IfThenElse(steep, absY, absX);
    // Equals have the ratio 1, two infinities too.
    const auto ratio =
        hn::IfThenElse(hn::Eq(absX, absY), hn::Set(d, 1.0f), hn::Div(smaller, larger));
    auto angle = ArcTangent(d, ratio);
    angle = hn::IfThenElse(steep, hn::Sub(hn::Set(d, std::numbers::pi_v<float> / 2), angle), angle);
    const hn::RebindToSigned<D> integers;
    const auto isLeft = hn::RebindMask(d, hn::Lt(hn::BitCast(integers, x), hn::Zero(integers)));
    angle = hn::IfThenElse(isLeft, hn::Sub(hn::Set(d, std::numbers::pi_v<float>), angle), angle);
    angle = hn::CopySignToAbs(angle, y);
    // Zero over zero is to be 0. Both parts are looked at: the larger of zero and NaN may be
    // either.
    return hn::IfThenZeroElse(hn::Eq(hn::Or(absX, absY), hn::Zero(d)), angle);
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
