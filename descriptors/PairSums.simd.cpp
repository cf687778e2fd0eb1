// Element n goes to partial sum n % kPartialSums, whatever the width of a vector. What a vector has
// beyond the end of a curve is taken as 0, which changes no sum: one loop, whose end alone can be
// mispredicted, does for the short curves of a frame.

#include "descriptors/PairSums.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "descriptors/PairSums.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <cstddef>
#include <utility>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kPartialSums = RoughnessCurves::kReadable;
using Wide = hn::CappedTag<float, 16>;
constexpr std::size_t kLanes = hn::MaxLanes(Wide());
constexpr std::size_t kVectors = kPartialSums / kLanes;

// Adds the upper half of the partial sums to the lower one, and so on down to one vector.
template <std::size_t kHalf, class V, std::size_t... kIndices>
HWY_INLINE void FoldVectors(V* sums, std::index_sequence<kIndices...>) {
    ((sums[kIndices] = hn::Add(sums[kIndices], sums[kIndices + kHalf])), ...);
    if constexpr (kHalf > 1) {
        FoldVectors<kHalf / 2>(sums, std::make_index_sequence<kHalf / 2>());
    }
}

// The same within a vector of kCount, down to one sum.
template <std::size_t kCount>
HWY_INLINE float FoldLanes(float* partials) {
    if constexpr (kCount > 1) {
        constexpr std::size_t kHalf = kCount / 2;
        const hn::CappedTag<float, kHalf> d;
        hn::Store(hn::Add(hn::Load(d, partials), hn::Load(d, partials + kHalf)), d, partials);
        return FoldLanes<kHalf>(partials);
    } else {
        return partials[0];
    }
}

template <class V, std::size_t... kIndices>
HWY_INLINE void AddProducts(V* sums, const float* a, const float* b,
                            std::index_sequence<kIndices...>) {
    const Wide d;
    ((sums[kIndices] = hn::Add(sums[kIndices], hn::Mul(hn::LoadU(d, a + kIndices * kLanes),
                                                       hn::LoadU(d, b + kIndices * kLanes)))),
     ...);
}

// The first `count` of a block alone.
template <class V, std::size_t... kIndices>
HWY_INLINE void AddFirstProducts(V* sums, const float* a, const float* b, std::size_t count,
                                 std::index_sequence<kIndices...>) {
    const Wide d;
    const auto places = hn::Iota(d, 0.0f);
    const auto addOne = [&](V& sum, std::size_t first) HWY_ATTR {
        const float rest = static_cast<float>(count) - static_cast<float>(first);
        const auto product = hn::Mul(hn::LoadU(d, a + first), hn::LoadU(d, b + first));
        sum = hn::Add(sum, hn::IfThenElseZero(hn::Lt(places, hn::Set(d, rest)), product));
    };
    (addOne(sums[kIndices], kIndices * kLanes), ...);
}

HWY_INLINE float SumOfProducts(const float* a, const float* b, std::size_t count) {
    const Wide d;
    constexpr std::make_index_sequence<kVectors> kAll;
    hn::Vec<Wide> sums[kVectors];
    for (auto& sum : sums) {
        sum = hn::Zero(d);
    }
    std::size_t n = 0;
    for (; n + kPartialSums <= count; n += kPartialSums) {
        AddProducts(sums, a + n, b + n, kAll);
    }
    AddFirstProducts(sums, a + n, b + n, count - n, kAll);
    FoldVectors<kVectors / 2>(sums, std::make_index_sequence<kVectors / 2>());
    HWY_ALIGN float partials[kLanes];
    hn::Store(sums[0], d, partials);
    return FoldLanes<kLanes>(partials);
}

float SumOfPairs(const RoughnessCurves& curves, std::span<const unsigned int> peakBins,
                 const float* indicators) {
    float sum = 0.0f;
    for (std::size_t i = 0; i + 1 < peakBins.size(); ++i) {
        const unsigned int bin = peakBins[i];
        const std::span<const float> fast = curves.FastFrom(bin, peakBins[i + 1] - bin);
        sum += SumOfProducts(fast.data(), indicators + bin + 1, fast.size());
    }
    return sum;
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(SumOfPairs);

float SumOfFastPairs(const RoughnessCurves& curves, std::span<const unsigned int> peakBins,
                     const float* indicators) {
    return HWY_DYNAMIC_DISPATCH(SumOfPairs)(curves, peakBins, indicators);
}

} // namespace qel::core

#endif
