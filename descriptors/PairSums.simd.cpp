// Sums start at the last bin before a curve at which a load is aligned. That turns the partial sums
// of a lower peak around. Folding halves onto each other does not see it, as the two that are added
// are the same. Where a curve has no value there is 0 in its memory, or it is taken as 0, which
// changes no sum.

#include "descriptors/PairSums.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "descriptors/PairSums.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kBlock = RoughnessCurves::kBlock;
using Wide = hn::CappedTag<float, 16>;
constexpr std::size_t kLanes = hn::MaxLanes(Wide());
constexpr std::size_t kVectors = kBlock / kLanes;

// Sums are folded to this many by each lower peak for itself, and then for several lower peaks at
// once.
constexpr std::size_t kFolded = 4;
constexpr std::size_t kPeaksAtOnce = 16;

// Adds the upper half of the partial sums to the lower one, and so on.
template <std::size_t kHalf, class V, std::size_t... kIndices>
HWY_INLINE void FoldVectors(V* sums, std::index_sequence<kIndices...>) {
    ((sums[kIndices] = hn::Add(sums[kIndices], sums[kIndices + kHalf])), ...);
    if constexpr (kHalf > 1 && kHalf * kLanes > kFolded) {
        FoldVectors<kHalf / 2>(sums, std::make_index_sequence<kHalf / 2>());
    }
}

#if HWY_MAX_BYTES >= 32
template <class D, class V>
HWY_INLINE void FoldLanes(D d, V sums, float* folded) {
    if constexpr (hn::MaxLanes(D()) == kFolded) {
        hn::StoreU(sums, d, folded);
    } else {
        const hn::Half<D> half;
        FoldLanes(half, hn::Add(hn::LowerHalf(half, sums), hn::UpperHalf(half, sums)), folded);
    }
}
#endif

// 32 partial sums to 4.
template <class V>
HWY_INLINE void Fold(V* sums, float* folded) {
    FoldVectors<kVectors / 2>(sums, std::make_index_sequence<kVectors / 2>());
#if HWY_MAX_BYTES >= 32
    FoldLanes(Wide(), sums[0], folded);
#else
    for (std::size_t k = 0; k * kLanes < kFolded; ++k) {
        hn::StoreU(sums[k], Wide(), folded + k * kLanes);
    }
#endif
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
    const hn::RebindToSigned<Wide> places;
    const auto end = hn::Set(places, static_cast<std::int32_t>(count));
    const auto addOne = [&](V& sum, std::size_t first) HWY_ATTR {
        const auto isBefore = hn::Gt(end, hn::Iota(places, static_cast<std::int32_t>(first)));
        const auto product = hn::Mul(hn::LoadU(d, a + first), hn::LoadU(d, b + first));
        sum = hn::Add(sum, hn::IfThenElseZero(hn::RebindMask(d, isBefore), product));
    };
    (addOne(sums[kIndices], kIndices * kLanes), ...);
}

// Of one lower peak.
HWY_INLINE void SumOfProducts(const float* a, const float* b, std::size_t count, float* folded) {
    const Wide d;
    constexpr std::make_index_sequence<kVectors> kAll;
    hn::Vec<Wide> sums[kVectors];
    for (auto& sum : sums) {
        sum = hn::Zero(d);
    }
    std::size_t n = 0;
    for (; n + kBlock <= count; n += kBlock) {
        AddProducts(sums, a + n, b + n, kAll);
    }
    AddFirstProducts(sums, a + n, b + n, count - n, kAll);
    Fold(sums, folded);
}

// The last folds of kPeaksAtOnce lower peaks.
HWY_INLINE void FinishSums(const float* folded, float* sums) {
    const hn::CappedTag<float, kPeaksAtOnce> d;
    for (std::size_t n = 0; n < kPeaksAtOnce; n += hn::Lanes(d)) {
        hn::Vec<decltype(d)> v0, v1, v2, v3;
        hn::LoadInterleaved4(d, folded + n * kFolded, v0, v1, v2, v3);
        hn::Store(hn::Add(hn::Add(v0, v2), hn::Add(v1, v3)), d, sums + n);
    }
}

float SumFastPairs(const RoughnessCurves& curves, std::span<const unsigned int> peakBins,
                   const float* indicators) {
    HWY_ALIGN float folded[kPeaksAtOnce * kFolded] = {};
    HWY_ALIGN float sums[kPeaksAtOnce];
    const std::size_t lowerPeaks = std::max<std::size_t>(peakBins.size(), 1) - 1;
    float sum = 0.0f;
    for (std::size_t from = 0; from < lowerPeaks; from += kPeaksAtOnce) {
        const std::size_t count = std::min(kPeaksAtOnce, lowerPeaks - from);
        for (std::size_t k = 0; k < count; ++k) {
            const unsigned int bin = peakBins[from + k];
            const auto fast = curves.FastFrom(bin, peakBins[from + k + 1] - bin);
            const std::size_t place = (bin + std::size_t{1}) % kLanes;
            SumOfProducts(fast.data() - place, indicators + (bin + std::size_t{1} - place),
                          place + fast.size(), folded + k * kFolded);
        }
        FinishSums(folded, sums);
        for (std::size_t k = 0; k < count; ++k) {
            sum += sums[k];
        }
    }
    return sum;
}

// The partial sums of slow pairs.
constexpr std::size_t kSlowSums = 8;
using Eight = hn::CappedTag<float, kSlowSums>;

// The sum of curve[n] times the lesser of `limit` and amplitudes[n], where both start `place` bins
// before the curve's first value, which has the index `place`.
HWY_INLINE float LimitedSum(const float* curve, const float* amplitudes, float limit,
                            std::size_t place, std::size_t used, std::size_t size) {
    const Eight d;
    const std::size_t inLanes = size / kSlowSums * kSlowSums; // the others all go to one sum
    const std::size_t end = std::min((used + kSlowSums - 1) / kSlowSums * kSlowSums, inLanes);
    // Twice, so that the eight can be read on from any place.
    HWY_ALIGN float sums[2 * kSlowSums];
    const auto limits = hn::Set(d, limit);
    for (std::size_t lane = 0; lane < kSlowSums; lane += hn::Lanes(d)) {
        const auto product = [&](std::size_t n) HWY_ATTR {
            const auto amplitude = hn::Min(hn::LoadU(d, amplitudes + n + lane), limits);
            return hn::Mul(hn::LoadU(d, curve + n + lane), amplitude);
        };
        const auto isBefore = [&](std::size_t index) HWY_ATTR {
            const hn::RebindToSigned<Eight> signedTag;
            const auto lanes = hn::Iota(signedTag, static_cast<std::int32_t>(lane));
            const auto bound = hn::Set(signedTag, static_cast<std::int32_t>(index));
            return hn::RebindMask(d, hn::Gt(bound, lanes));
        };
        // Not what is before the curve, where an amplitude may be infinite.
        auto sum =
            hn::IfThenElseZero(hn::AndNot(isBefore(place), isBefore(place + end)), product(0));
        std::size_t n = kSlowSums;
        for (; n + kSlowSums <= place + end; n += kSlowSums) {
            sum = hn::Add(sum, product(n));
        }
        if (n < place + end) {
            sum = hn::Add(sum, hn::IfThenElseZero(isBefore(place + end - n), product(n)));
        }
        hn::Store(sum, d, sums + lane);
        hn::Store(sum, d, sums + kSlowSums + lane);
    }
    const float* const turned = sums + place % kSlowSums;
    float sum = turned[0];
    for (std::size_t n = inLanes; n < std::min(used, size); ++n) {
        const float amplitude = amplitudes[place + n];
        sum += curve[place + n] * std::min(amplitude, limit);
    }
    for (std::size_t lane = 1; lane < kSlowSums; ++lane) {
        sum += turned[lane];
    }
    return sum;
}

float SumSlowPairs(const RoughnessCurves& curves, std::span<const unsigned int> peakBins,
                   const float* amplitudes) {
    float sum = 0.0f;
    for (std::size_t i = 0; i + 1 < peakBins.size() && peakBins[i] < peakBins.size(); ++i) {
        const float limit = amplitudes[peakBins[i]];
        if (limit != 0.0f) {
            const std::size_t above = peakBins[i] + std::size_t{1};
            const std::size_t used = std::max(peakBins.size(), above) - above;
            const std::size_t place = above % kSlowSums;
            const auto slow = curves.Slow(peakBins[i]);
            sum += LimitedSum(slow.data() - place, amplitudes + (above - place), limit, place, used,
                              slow.size());
        }
    }
    return sum;
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(SumFastPairs);
HWY_EXPORT(SumSlowPairs);

float SumOfFastPairs(const RoughnessCurves& curves, std::span<const unsigned int> peakBins,
                     const float* indicators) {
    return HWY_DYNAMIC_DISPATCH(SumFastPairs)(curves, peakBins, indicators);
}

float SumOfSlowPairs(const RoughnessCurves& curves, std::span<const unsigned int> peakBins,
                     const float* amplitudes) {
    return HWY_DYNAMIC_DISPATCH(SumSlowPairs)(curves, peakBins, amplitudes);
}

} // namespace qel::core

#endif
