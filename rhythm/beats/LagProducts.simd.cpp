// A vector of phases at a time goes through the whole signal, so that its sums stay in a register,
// and every sample is loaded once for its two products.
//
// The products of a phase are added in the order of time, by one lane alone, so that the width of
// vectors and their number do not reach the results. Four vectors run side by side because an
// addition takes about four cycles, and each waits for the last one of its lane.

#include "rhythm/beats/LagProducts.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/beats/LagProducts.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// The phases of `vectors` vectors that begin at `signal` and `sums`, `length` being counted from
// there. What the last row of `lag` samples does not have for all of them is added by itself.
template <std::size_t vectors, class D>
HWY_INLINE void AddPhases(D d, const float* signal, std::size_t length, std::size_t lag,
                          float* sums) {
    constexpr std::size_t kLanes = hn::MaxLanes(d);
    hn::Vec<D> sum[vectors];
    hn::Vec<D> now[vectors];
    for (std::size_t v = 0; v < vectors; ++v) {
        sum[v] = hn::LoadU(d, sums + v * kLanes);
        now[v] = hn::LoadU(d, signal + v * kLanes);
    }
    std::size_t later = lag;
    for (; later + vectors * kLanes <= length; later += lag) {
        for (std::size_t v = 0; v < vectors; ++v) {
            const auto next = hn::LoadU(d, signal + later + v * kLanes);
            sum[v] = hn::Add(sum[v], hn::Mul(next, now[v]));
            now[v] = next;
        }
    }
    for (std::size_t v = 0; v < vectors; ++v) {
        hn::StoreU(sum[v], d, sums + v * kLanes);
    }
    for (std::size_t p = 0; later + p < length; ++p) {
        sums[p] += signal[later + p] * signal[later + p - lag];
    }
}

template <std::size_t vectors, class D>
HWY_INLINE std::size_t AddAllPhases(D d, std::size_t from, const float* signal, std::size_t length,
                                    std::size_t lag, float* sums) {
    constexpr std::size_t kWidth = vectors * hn::MaxLanes(d);
    std::size_t p = from;
    for (; p + kWidth <= lag && p + kWidth <= length; p += kWidth) {
        AddPhases<vectors>(d, signal + p, length - p, lag, sums + p);
    }
    return p;
}

void AddByPhase(const float* signal, std::size_t length, std::size_t lag, float* sums) {
    constexpr std::size_t kVectors = 4;
    const hn::CappedTag<float, 8> full;
    std::size_t p = AddAllPhases<kVectors>(full, 0, signal, length, lag, sums);
    p = AddAllPhases<1>(full, p, signal, length, lag, sums);
    const hn::CappedTag<float, 4> half;
    p = AddAllPhases<1>(half, p, signal, length, lag, sums);
    const hn::CappedTag<float, 1> one;
    AddAllPhases<1>(one, p, signal, length, lag, sums);
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(AddByPhase);

void AddLagProducts(const float* signal, std::size_t length, std::size_t lag, float* sums) {
    HWY_DYNAMIC_DISPATCH(AddByPhase)(signal, length, lag, sums);
}

} // namespace qel::core

#endif
