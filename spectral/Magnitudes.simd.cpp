// A magnitude depends on no other and its root is rounded correctly, and extrema round nothing, so
// that vectors may have any width. The squares must not be contracted with their sum, which would
// round once where others round twice.

#include "spectral/Magnitudes.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "spectral/Magnitudes.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <limits>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Full = hn::ScalableTag<float>;
using One = hn::CappedTag<float, 1>;

template <class V>
HWY_INLINE V Modulus(V re, V im) {
    return hn::Sqrt(hn::Add(hn::Mul(re, re), hn::Mul(im, im)));
}

// Magnitudes are not negative. The comparisons are false for what is no number, which therefore
// never replaces what was found so far.
template <class V>
HWY_INLINE V Greater(V best, V x) {
    return hn::IfThenElse(hn::Gt(x, best), x, best);
}

template <class V>
HWY_INLINE V Less(V best, V x) {
    return hn::IfThenElse(hn::Lt(x, best), x, best);
}

template <class D>
HWY_INLINE hn::Vec<D> StoreMagnitudes(D d, const DSPSplitComplex& values, std::size_t n,
                                      float* out) {
    const auto magnitudes = Modulus(hn::LoadU(d, values.realp + n), hn::LoadU(d, values.imagp + n));
    hn::StoreU(magnitudes, d, out + n);
    return magnitudes;
}

void WithRange(const DSPSplitComplex& values, float* out, std::size_t count,
               MagnitudeRange& range) {
    const Full full;
    const One one;
    const std::size_t lanes = hn::Lanes(full);
    HWY_ALIGN float kept[hn::MaxLanes(full)];
    auto least = hn::Set(full, std::numeric_limits<float>::infinity());
    auto greatest = hn::Zero(full);
    std::size_t n = 0;
    for (; n + lanes <= count; n += lanes) {
        const auto magnitudes = StoreMagnitudes(full, values, n, out);
        least = Less(least, magnitudes);
        greatest = Greater(greatest, magnitudes);
    }
    auto lowest = hn::Set(one, std::numeric_limits<float>::infinity());
    auto highest = hn::Zero(one);
    for (; n < count; ++n) {
        const auto magnitude = StoreMagnitudes(one, values, n, out);
        lowest = Less(lowest, magnitude);
        highest = Greater(highest, magnitude);
    }
    hn::Store(least, full, kept);
    for (std::size_t i = 0; i < lanes; ++i) {
        lowest = Less(lowest, hn::LoadU(one, kept + i));
    }
    hn::Store(greatest, full, kept);
    for (std::size_t i = 0; i < lanes; ++i) {
        highest = Greater(highest, hn::LoadU(one, kept + i));
    }
    range = {hn::GetLane(lowest), hn::GetLane(highest)};
}

template <class D>
HWY_INLINE void MoveOne(D d, const DSPSplitComplex& values, std::size_t n, float* out) {
    const auto re = hn::LoadU(d, values.realp + n + 1);
    const auto im = hn::LoadU(d, values.imagp + n + 1);
    hn::StoreU(re, d, values.realp + n);
    hn::StoreU(im, d, values.imagp + n);
    hn::StoreU(Modulus(re, im), d, out + n);
}

// In ascending order, so that every value is read before its place is written.
void MovingDown(const DSPSplitComplex& values, float* out, std::size_t count) {
    const Full full;
    const std::size_t lanes = hn::Lanes(full);
    std::size_t n = 0;
    for (; n + lanes <= count; n += lanes) {
        MoveOne(full, values, n, out);
    }
    for (; n < count; ++n) {
        MoveOne(One(), values, n, out);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(WithRange);
HWY_EXPORT(MovingDown);

MagnitudeRange MagnitudesAndRange(const DSPSplitComplex& values, float* out, std::size_t count) {
    MagnitudeRange range;
    HWY_DYNAMIC_DISPATCH(WithRange)(values, out, count, range);
    return range;
}

void MoveDownWithMagnitudes(const DSPSplitComplex& values, float* out, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(MovingDown)(values, out, count);
}

} // namespace qel::core

#endif
