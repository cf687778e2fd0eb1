// Sums, means and the dot product.

#include <Accelerate/vDSP.h>

#include <cmath>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPReductions.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

void Sum(In a, float* result, size_t count) {
    *result = Reduce(
        count, 0.0f, [](auto, auto x, auto y) HWY_ATTR { return hn::Add(x, y); },
        [](auto, auto x) HWY_ATTR { return x; }, a);
}

void SumOfMagnitudes(In a, float* result, size_t count) {
    *result = Reduce(
        count, 0.0f, [](auto, auto x, auto y) HWY_ATTR { return hn::Add(x, y); },
        [](auto, auto x) HWY_ATTR { return hn::Abs(x); }, a);
}

void SumOfProducts(In a, In b, float* result, size_t count) {
    *result = Reduce(
        count, 0.0f, [](auto, auto x, auto y) HWY_ATTR { return hn::Add(x, y); },
        [](auto, auto x, auto y) HWY_ATTR { return hn::Mul(x, y); }, a, b);
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(Sum);
HWY_EXPORT(SumOfMagnitudes);
HWY_EXPORT(SumOfProducts);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_sve(const float* A, vDSP_Stride IA, float* C, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Sum)({A, IA}, C, N);
}

void vDSP_svemg(const float* A, vDSP_Stride IA, float* C, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(SumOfMagnitudes)({A, IA}, C, N);
}

void vDSP_svesq(const float* A, vDSP_Stride IA, float* C, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(SumOfProducts)({A, IA}, {A, IA}, C, N);
}

void vDSP_meanv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N) {
    vDSP_sve(A, IA, C, N);
    if (N > 0) {
        *C /= static_cast<float>(N);
    }
}

void vDSP_rmsqv(const float* A, vDSP_Stride IA, float* C, vDSP_Length N) {
    vDSP_svesq(A, IA, C, N);
    if (N > 0) {
        *C = std::sqrt(*C / static_cast<float>(N));
    }
}

void vDSP_dotpr(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, float* C,
                vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(SumOfProducts)({A, IA}, {B, IB}, C, N);
}

#endif
