// Logarithms and exponentials over whole vectors.

#include <Accelerate/vForce.h>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vForce.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

#include "platform/vector/Loops-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

// Gives `log`, which holds for positive finite x, the values at the ends of the range and beyond.
template <class D, class V>
HWY_INLINE V WithSpecialValues(D d, V x, V log) {
    const auto zero = hn::Zero(d);
    const auto infinity = hn::Set(d, std::numeric_limits<float>::infinity());
    const auto nan = hn::Set(d, std::numeric_limits<float>::quiet_NaN());
    log = hn::IfThenElse(hn::Eq(x, infinity), infinity, log);
    log = hn::IfThenElse(hn::Eq(x, zero), hn::Neg(infinity), log);
    return hn::IfThenElse(hn::Ge(x, zero), log, nan);
}

void NaturalLogarithm(In x, Out y, size_t count) {
    Map(
        count, y, [](auto d, auto v) HWY_ATTR { return WithSpecialValues(d, v, hn::Log(d, v)); },
        x);
}

void DecimalLogarithm(In x, Out y, size_t count) {
    Map(
        count, y, [](auto d, auto v) HWY_ATTR { return WithSpecialValues(d, v, hn::Log10(d, v)); },
        x);
}

// The function behind it holds up to an argument of 104, and takes a NaN for one that is very
// small.
template <class D, class V>
HWY_INLINE V Exponential(D d, V x) {
    const auto overflows = hn::Set(d, 100.0f);
    return hn::IfThenElse(hn::Eq(x, x), hn::Exp(d, hn::Min(x, overflows)), x);
}

void Exponentials(In x, Out y, size_t count) {
    Map(
        count, y, [](auto d, auto v) HWY_ATTR { return Exponential(d, v); }, x);
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(NaturalLogarithm);
HWY_EXPORT(DecimalLogarithm);
HWY_EXPORT(Exponentials);
} // namespace qel::platform

using namespace qel::platform;

void vvlogf(float* y, const float* x, const int* n) {
    if (*n > 0) {
        HWY_DYNAMIC_DISPATCH(NaturalLogarithm)({x, 1}, {y, 1}, static_cast<size_t>(*n));
    }
}

void vvlog10f(float* y, const float* x, const int* n) {
    if (*n > 0) {
        HWY_DYNAMIC_DISPATCH(DecimalLogarithm)({x, 1}, {y, 1}, static_cast<size_t>(*n));
    }
}

void vvexpf(float* y, const float* x, const int* n) {
    if (*n > 0) {
        HWY_DYNAMIC_DISPATCH(Exponentials)({x, 1}, {y, 1}, static_cast<size_t>(*n));
    }
}

#endif
