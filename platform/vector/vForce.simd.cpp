// Logarithms and exponentials over whole vectors.

#include <Accelerate/vForce.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vForce.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "elementary/Vectors.simd.h"
#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

constexpr float kPerLog10 = 0.434294482f; // 1 / ln 10

void NaturalLogarithm(In x, Out y, size_t count) {
    Map(
        count, y, [](auto d, auto v) HWY_ATTR { return elementary::HWY_NAMESPACE::Log(d, v); }, x);
}

void DecimalLogarithm(In x, Out y, size_t count) {
    Map(
        count, y,
        [](auto d, auto v) HWY_ATTR {
            return hn::Mul(elementary::HWY_NAMESPACE::Log(d, v), hn::Set(d, kPerLog10));
        },
        x);
}

void Exponentials(In x, Out y, size_t count) {
    Map(
        count, y, [](auto d, auto v) HWY_ATTR { return elementary::HWY_NAMESPACE::Exp(d, v); }, x);
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
