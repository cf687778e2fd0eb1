// Vectors made from a formula, and the reversal of a vector.

#include <Accelerate/vDSP.h>

#include <algorithm>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPGenerate.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

void Ramp(float start, float step, Out c, size_t count) {
    size_t n = 0;
    if (c.stride == 1) {
        // Indices are counted as integers of 32 bits, which longer vectors leave at this point.
        const size_t counted = std::min(count, static_cast<size_t>(1) << 31);
        const Full full;
        const hn::RebindToSigned<Full> integers;
        for (const size_t lanes = hn::Lanes(full); n + lanes <= counted; n += lanes) {
            const auto index = hn::ConvertTo(full, hn::Iota(integers, static_cast<int32_t>(n)));
            hn::StoreU(hn::Add(hn::Set(full, start), hn::Mul(index, hn::Set(full, step))), full,
                       c.data + n);
        }
    }
    for (; n < count; ++n) {
        *c.At(n) = start + static_cast<float>(n) * step;
    }
}

void Polynomial(In coefficients, In x, Out c, size_t count, size_t degree) {
    Map(
        count, c,
        [coefficients, degree](auto d, auto v) HWY_ATTR {
            auto value = hn::Set(d, *coefficients.At(0));
            for (size_t p = 1; p <= degree; ++p) {
                value = hn::Add(hn::Mul(value, v), hn::Set(d, *coefficients.At(p)));
            }
            return value;
        },
        x);
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(Ramp);
HWY_EXPORT(Polynomial);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_vramp(const float* A, const float* B, float* C, vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Ramp)(*A, *B, {C, IC}, N);
}

void vDSP_vpoly(const float* A, vDSP_Stride IA, const float* B, vDSP_Stride IB, float* C,
                vDSP_Stride IC, vDSP_Length N, vDSP_Length P) {
    HWY_DYNAMIC_DISPATCH(Polynomial)({A, IA}, {B, IB}, {C, IC}, N, P);
}

void vDSP_vrvrs(float* C, vDSP_Stride IC, vDSP_Length N) {
    const Out vector{C, IC};
    for (vDSP_Length n = 0; n < N / 2; ++n) {
        std::swap(*vector.At(n), *vector.At(N - 1 - n));
    }
}

#endif
