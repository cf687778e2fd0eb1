// The compression of energies, several at a time. A value depends on no other, so that vectors may
// have any width. The rest goes through the same function with a single lane, not through a
// library's logarithm: that one rounds otherwise, and a value would depend on its place in the
// array.

#include "rhythm/math/RhythmMath.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/math/MuLawCompress.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "elementary/Functions.h"
#include "rhythm/math/MuLaw.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

template <class D>
HWY_INLINE void CompressVector(D d, const float* x, float mu, double scale, float* y) {
    const hn::Rebind<float, D> single;
    hn::StoreU(CompressedVector(d, hn::LoadU(single, x), mu, scale), single, y);
}

void Compress(const float* x, std::size_t n, float mu, double scale, float* y) {
    const hn::ScalableTag<double> full;
    const hn::CappedTag<double, 1> one;
    const std::size_t lanes = hn::Lanes(full);
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        CompressVector(full, x + i, mu, scale, y + i);
    }
    for (; i < n; ++i) {
        CompressVector(one, x + i, mu, scale, y + i);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(Compress);

void MuLawCompress(const float* x, unsigned int n, float* y, float mu) {
    HWY_DYNAMIC_DISPATCH(Compress)(x, n, mu, 1.0 / elementary::Log(1.0 + mu), y);
}

} // namespace qel::core

#endif
