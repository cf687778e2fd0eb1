// Counts are integers, so that vectors may have any width. Both are counted, as one is not the
// number of values less the other: NaN is in neither.

#include "rhythm/onsets/LevelCounts.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/onsets/LevelCounts.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

void CountByLevel(const float* x, std::size_t n, float level, LevelCounts& counts) {
    const hn::ScalableTag<float> d;
    const hn::RebindToSigned<decltype(d)> whole;
    const auto wanted = hn::Set(d, level);
    const std::size_t lanes = hn::Lanes(d);
    // A mask is -1 in every lane that it holds for.
    auto low = hn::Zero(whole);
    auto high = hn::Zero(whole);
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes) {
        const auto values = hn::LoadU(d, x + i);
        low = hn::Sub(low, hn::BitCast(whole, hn::VecFromMask(d, hn::Le(values, wanted))));
        high = hn::Sub(high, hn::BitCast(whole, hn::VecFromMask(d, hn::Gt(values, wanted))));
    }
    counts.notAbove += static_cast<std::size_t>(hn::GetLane(hn::SumOfLanes(whole, low)));
    counts.above += static_cast<std::size_t>(hn::GetLane(hn::SumOfLanes(whole, high)));
    for (; i < n; ++i) {
        counts.notAbove += x[i] <= level ? 1u : 0u;
        counts.above += x[i] > level ? 1u : 0u;
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(CountByLevel);

void AddLevelCounts(const float* x, std::size_t n, float level, LevelCounts& counts) {
    HWY_DYNAMIC_DISPATCH(CountByLevel)(x, n, level, counts);
}

} // namespace qel::core

#endif
