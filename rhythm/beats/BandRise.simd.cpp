// Two short sums per frame. A term goes to one of kBandRiseStep partial sums by its number, and the
// fold of these is written out, so that the order of additions is the same for vectors of any
// width. Neither the number nor the fold may change: the sums would be other ones in their last
// bits. The maximum is free in its order, as it rounds nothing.

#include "rhythm/beats/BandRise.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/beats/BandRise.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <cstddef>
#include <limits>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr float kDecibelsPerDecade = 20.0f;
constexpr float kDynamicRangeDecibels = 80.0f;

using Step = hn::CappedTag<float, kBandRiseStep>;
constexpr std::size_t kLanes = hn::MaxLanes(Step());

HWY_INLINE float Highest(const float* logEnergies, std::size_t bands) {
    const Step d;
    const auto scale = hn::Set(d, kDecibelsPerDecade);
    auto highest = hn::Set(d, -std::numeric_limits<float>::infinity());
    for (std::size_t b = 0; b < bands; b += kLanes) {
        const auto level = hn::Mul(hn::LoadU(d, logEnergies + b), scale);
        // False for what is no number, which is never the highest.
        highest = hn::IfThenElse(hn::Gt(level, highest), level, highest);
    }
    return hn::GetLane(hn::MaxOfLanes(d, highest));
}

// The sum of term(n) for n below `count`: that of n goes to partial sum n mod kBandRiseStep.
template <class Term>
HWY_INLINE float SumOf(std::size_t count, const Term& term) {
    const Step d;
    HWY_ALIGN float p[kBandRiseStep];
    for (std::size_t lane = 0; lane < kBandRiseStep; lane += kLanes) {
        auto sum = hn::Zero(d);
        for (std::size_t n = lane; n < count; n += kBandRiseStep) {
            sum = hn::Add(sum, term(n));
        }
        hn::Store(sum, d, p + lane);
    }
    return ((p[0] + p[4]) + (p[2] + p[6])) + ((p[1] + p[5]) + (p[3] + p[7]));
}

void SumRises(const float* logEnergies, float* levels, std::size_t bands, float& sum) {
    const Step d;
    const auto scale = hn::Set(d, kDecibelsPerDecade);
    const auto floor = hn::Set(d, Highest(logEnergies, bands) - kDynamicRangeDecibels);
    sum = SumOf(bands, [&](std::size_t b) HWY_ATTR {
        auto level = hn::Mul(hn::LoadU(d, logEnergies + b), scale);
        level = hn::IfThenElse(hn::Ge(level, floor), level, floor);
        const auto rise = hn::Sub(level, hn::LoadU(d, levels + b));
        hn::StoreU(level, d, levels + b);
        return hn::IfThenElseZero(hn::Ge(rise, hn::Zero(d)), rise);
    });
}

void SumValues(const float* values, std::size_t count, float& sum) {
    sum = SumOf(count, [&](std::size_t n) HWY_ATTR { return hn::LoadU(Step(), values + n); });
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(SumRises);
HWY_EXPORT(SumValues);

float BandRise(const float* logEnergies, float* levels, std::size_t bands) {
    float sum = 0.0f;
    HWY_DYNAMIC_DISPATCH(SumRises)(logEnergies, levels, bands, sum);
    return sum / static_cast<float>(bands);
}

float LowestMean(const float* values, std::size_t count) {
    float sum = 0.0f;
    HWY_DYNAMIC_DISPATCH(SumValues)(values, count, sum);
    return sum / static_cast<float>(count);
}

} // namespace qel::core

#endif
