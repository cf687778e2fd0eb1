// Wrapping costs a division per angle: it is done in vectors, compiled for every instruction set.
// Nothing is contracted, so that results are the same on all of them.
//
// The running sum of the corrections is a loop by itself, one addition after the other: a sum by
// vectors would round in another order, and phases would differ from
// there on.

#include "spectral/phase/UnWrap.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "spectral/phase/UnWrap.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "spectral/phase/Wrap.simd.h"

#include <hwy/highway.h>

#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

using Full = hn::ScalableTag<float>;
using One = hn::CappedTag<float, 1>;

// What is to be added to an angle and to all after it.
template <class D, class V>
HWY_INLINE V Step(D d, V angle, V before) {
    const V difference = hn::Sub(angle, before);
    const V step = hn::Sub(Wrap(d, difference), difference);
    return hn::IfThenZeroElse(hn::Lt(hn::Abs(difference), hn::Set(d, kPi)), step);
}

void WrapAll(float* angles, std::size_t count) {
    const Full full;
    std::size_t i = 0;
    for (const std::size_t lanes = hn::Lanes(full); i + lanes <= count; i += lanes) {
        hn::StoreU(Wrap(full, hn::LoadU(full, angles + i)), full, angles + i);
    }
    const One one;
    for (; i < count; ++i) {
        hn::StoreU(Wrap(one, hn::LoadU(one, angles + i)), one, angles + i);
    }
}

void Steps(const float* in, float* out, std::size_t count) {
    const Full full;
    std::size_t i = 1;
    for (const std::size_t lanes = hn::Lanes(full); i + lanes <= count; i += lanes) {
        hn::StoreU(Step(full, hn::LoadU(full, in + i), hn::LoadU(full, in + i - 1)), full, out + i);
    }
    const One one;
    for (; i < count; ++i) {
        hn::StoreU(Step(one, hn::LoadU(one, in + i), hn::LoadU(one, in + i - 1)), one, out + i);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(WrapAll);
HWY_EXPORT(Steps);

void WrapAngles(float* angles, unsigned count) {
    HWY_DYNAMIC_DISPATCH(WrapAll)(angles, count);
}

void UnWrap(const float* in, float* out, unsigned count) {
    if (count == 0) {
        return;
    }
    HWY_DYNAMIC_DISPATCH(Steps)(in, out, count);
    float correction = 0.0f;
    for (unsigned i = 1; i < count; ++i) {
        correction += out[i];
        out[i] = in[i] + correction;
    }
    out[0] = in[0];
}

} // namespace qel::core

#endif
