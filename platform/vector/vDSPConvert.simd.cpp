// Floats to integers.

#include <Accelerate/vDSP.h>

#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPConvert.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

constexpr float kBehindLargest = 2147483648.0f; // 2^31, the first that 32 bits do not hold

// Every element goes through the vector operation, so that all round alike.
template <class D>
HWY_INLINE hn::Vec<hn::RebindToSigned<D>> Rounded(D d, hn::Vec<D> x) {
    const hn::RebindToSigned<D> integers;
    const auto fits = hn::Lt(hn::Abs(x), hn::Set(d, kBehindLargest));
    const auto nearest = hn::NearestInt(hn::IfThenElseZero(fits, x));
    return hn::IfThenElse(hn::RebindMask(integers, fits), nearest,
                          hn::Set(integers, std::numeric_limits<int32_t>::min()));
}

void Round(In a, int* c, vDSP_Stride stride, size_t count) {
    size_t n = 0;
    if (a.stride == 1 && stride == 1) {
        const Full full;
        const hn::RebindToSigned<Full> integers;
        for (const size_t lanes = hn::Lanes(full); n + lanes <= count; n += lanes) {
            hn::StoreU(Rounded(full, hn::LoadU(full, a.data + n)), integers, c + n);
        }
    }
    const One one;
    for (; n < count; ++n) {
        c[static_cast<vDSP_Stride>(n) * stride] =
            hn::GetLane(Rounded(one, hn::LoadU(one, a.At(n))));
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(Round);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_vfixr32(const float* A, vDSP_Stride IA, int* C, vDSP_Stride IC, vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(Round)({A, IA}, C, IC, N);
}

#endif
