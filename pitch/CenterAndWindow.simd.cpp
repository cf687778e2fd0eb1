// One pass in place of two over the frame. Sum and product are rounded one by one, as in two
// passes; a value depends on no other, so that vectors may have any width. The mean is left to
// vDSP_meanv, whose order of additions is the same everywhere.

#include "pitch/CenterAndWindow.h"

#include <Accelerate/Accelerate.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pitch/CenterAndWindow.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

template <class D>
HWY_INLINE void ShiftAndMultiply(D d, float* values, float offset, const float* factors) {
    const auto shifted = hn::Add(hn::LoadU(d, values), hn::Set(d, offset));
    hn::StoreU(hn::Mul(shifted, hn::LoadU(d, factors)), d, values);
}

// values[n] = (values[n] + offset) * factors[n].
void ShiftAndMultiplyAll(float* values, float offset, const float* factors, std::size_t count) {
    const hn::ScalableTag<float> full;
    const std::size_t lanes = hn::Lanes(full);
    std::size_t n = 0;
    for (; n + lanes <= count; n += lanes) {
        ShiftAndMultiply(full, values + n, offset, factors + n);
    }
    for (; n < count; ++n) {
        ShiftAndMultiply(hn::CappedTag<float, 1>(), values + n, offset, factors + n);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(ShiftAndMultiplyAll);

void CenterAndWindow(float* values, const float* window, UInt32 count) {
    float mean = 0.0f;
    vDSP_meanv(values, 1, &mean, count);
    HWY_DYNAMIC_DISPATCH(ShiftAndMultiplyAll)(values, -mean, window, count);
}

} // namespace qel::core

#endif
