// Element by element arithmetic on real vectors.

#include <Accelerate/vDSP.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPArithmetic.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

void Add(In a, In b, Out c, size_t count) {
    Map(
        count, c, [](auto, auto x, auto y) HWY_ATTR { return hn::Add(x, y); }, a, b);
}

void Subtract(In a, In b, Out c, size_t count) {
    Map(
        count, c, [](auto, auto x, auto y) HWY_ATTR { return hn::Sub(x, y); }, a, b);
}

void Multiply(In a, In b, Out c, size_t count) {
    Map(
        count, c, [](auto, auto x, auto y) HWY_ATTR { return hn::Mul(x, y); }, a, b);
}

void Divide(In a, In b, Out c, size_t count) {
    Map(
        count, c, [](auto, auto x, auto y) HWY_ATTR { return hn::Div(x, y); }, a, b);
}

void ProductDifference(In a, In b, In c, In d, Out e, size_t count) {
    Map(
        count, e,
        [](auto, auto p, auto q, auto r, auto s)
            HWY_ATTR { return hn::Sub(hn::Mul(p, q), hn::Mul(r, s)); },
        a, b, c, d);
}

void Absolute(In a, Out c, size_t count) {
    Map(
        count, c, [](auto, auto x) HWY_ATTR { return hn::Abs(x); }, a);
}

void Square(In a, Out c, size_t count) {
    Map(
        count, c, [](auto, auto x) HWY_ATTR { return hn::Mul(x, x); }, a);
}

void AddScalar(In a, float b, Out c, size_t count) {
    Map(
        count, c, [b](auto d, auto x) HWY_ATTR { return hn::Add(x, hn::Set(d, b)); }, a);
}

void MultiplyScalar(In a, float b, Out c, size_t count) {
    Map(
        count, c, [b](auto d, auto x) HWY_ATTR { return hn::Mul(x, hn::Set(d, b)); }, a);
}

void DivideScalar(In a, float b, Out c, size_t count) {
    Map(
        count, c, [b](auto d, auto x) HWY_ATTR { return hn::Div(x, hn::Set(d, b)); }, a);
}

void MultiplyScalarAdd(In a, float b, In c, Out d, size_t count) {
    Map(
        count, d,
        [b](auto tag, auto x, auto y) HWY_ATTR { return hn::Add(hn::Mul(x, hn::Set(tag, b)), y); },
        a, c);
}

void MultiplyScalarAddScalar(In a, float b, float c, Out d, size_t count) {
    Map(
        count, d,
        [b, c](auto tag, auto x)
            HWY_ATTR { return hn::Add(hn::Mul(x, hn::Set(tag, b)), hn::Set(tag, c)); },
        a);
}

void Threshold(In a, float b, Out c, size_t count) {
    Map(
        count, c,
        [b](auto d, auto x) HWY_ATTR {
            const auto floor = hn::Set(d, b);
            return hn::IfThenElse(hn::Ge(x, floor), x, floor);
        },
        a);
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(Add);
HWY_EXPORT(Subtract);
HWY_EXPORT(Multiply);
HWY_EXPORT(Divide);
HWY_EXPORT(ProductDifference);
HWY_EXPORT(Absolute);
HWY_EXPORT(Square);
HWY_EXPORT(AddScalar);
HWY_EXPORT(MultiplyScalar);
HWY_EXPORT(DivideScalar);
HWY_EXPORT(MultiplyScalarAdd);
HWY_EXPORT(MultiplyScalarAddScalar);
HWY_EXPORT(Threshold);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_vadd(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, float* C,
               vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Add)({A, IA}, {B, IB}, {C, IC}, N);
}

void vDSP_vsub(const float* B, vDSP_Stride IB, const float* A, vDSP_Stride IA, float* C,
               vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Subtract)({A, IA}, {B, IB}, {C, IC}, N);
}

void vDSP_vmul(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, float* C,
               vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Multiply)({A, IA}, {B, IB}, {C, IC}, N);
}

void vDSP_vdiv(const float* B, vDSP_Stride IB, const float* A, vDSP_Stride IA, float* C,
               vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Divide)({A, IA}, {B, IB}, {C, IC}, N);
}

void vDSP_vmmsb(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, const float* C,
                vDSP_Stride IC, const float* D, vDSP_Stride ID, float* E, vDSP_Stride IE,
                vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(ProductDifference)({A, IA}, {B, IB}, {C, IC}, {D, ID}, {E, IE}, N);
}

void vDSP_vabs(const float* A, vDSP_Stride IA, float* C, vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Absolute)({A, IA}, {C, IC}, N);
}

void vDSP_vsq(const float* A, vDSP_Stride IA, float* C, vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Square)({A, IA}, {C, IC}, N);
}

void vDSP_vsadd(const float* A, vDSP_Stride IA, const float* B, float* C, vDSP_Stride IC,
                vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(AddScalar)({A, IA}, *B, {C, IC}, N);
}

void vDSP_vsmul(const float* A, vDSP_Stride IA, const float* B, float* C, vDSP_Stride IC,
                vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(MultiplyScalar)({A, IA}, *B, {C, IC}, N);
}

void vDSP_vsdiv(const float* A, vDSP_Stride IA, const float* B, float* C, vDSP_Stride IC,
                vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(DivideScalar)({A, IA}, *B, {C, IC}, N);
}

void vDSP_vsma(const float* A, vDSP_Stride IA, const float* B, const float* C, vDSP_Stride IC,
               float* D, vDSP_Stride ID, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(MultiplyScalarAdd)({A, IA}, *B, {C, IC}, {D, ID}, N);
}

void vDSP_vsmsa(const float* A, vDSP_Stride IA, const float* B, const float* C, float* D,
                vDSP_Stride ID, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(MultiplyScalarAddScalar)({A, IA}, *B, *C, {D, ID}, N);
}

void vDSP_vthr(const float* A, vDSP_Stride IA, const float* B, float* C, vDSP_Stride IC,
               vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Threshold)({A, IA}, *B, {C, IC}, N);
}

#endif
