// Distances from harmonics are found in vectors, compiled for every instruction set. Nothing is
// contracted, so that results are the same on all of them.

#include "timbre/Inharmonicity.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "timbre/Inharmonicity.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr float kAllWhole = 0x1p23f; // from here on, floats are whole numbers

// |x - round(x)| to the last bit. What is infinite or not a number gives not a number, and is kept
// from the conversion to integers, where some instruction sets have no answer for it.
template <class D, class V>
HWY_INLINE V DistanceFromWhole(D d, V x) {
    const hn::RebindToSigned<D> integers;
    const V size = hn::Abs(x);
    const auto hasFraction = hn::Lt(size, hn::Set(d, kAllWhole));
    const auto whole = hn::ConvertTo(integers, hn::IfThenElseZero(hasFraction, size));
    const V fraction = hn::Sub(size, hn::ConvertTo(d, whole));
    const V distance = hn::Min(fraction, hn::Sub(hn::Set(d, 1.0f), fraction));
    return hn::IfThenElse(hasFraction, distance, hn::Sub(size, size));
}

struct WeightedErrors {
    float weight = 0.0f;
    float error = 0.0f;
};

// Adds a vector of partials to the sums, one after the other.
template <class D>
HWY_INLINE void Add(D d, const float* magnitudes, const float* frequencies, float fundamental,
                    WeightedErrors& sums) {
    HWY_ALIGN float errors[hn::MaxLanes(d)];
    const auto ratio = hn::Div(hn::LoadU(d, frequencies), hn::Set(d, fundamental));
    const auto weight = hn::Mul(hn::LoadU(d, magnitudes), hn::Set(d, 4.0f));
    hn::Store(hn::Mul(weight, DistanceFromWhole(d, ratio)), d, errors);
    for (std::size_t lane = 0; lane < hn::Lanes(d); ++lane) {
        sums.weight += magnitudes[lane];
        sums.error += errors[lane];
    }
}

// Each sum waits for the one before it; meanwhile the processor looks at the partials to come.
float MeanError(const float* magnitudes, const float* frequencies, std::size_t count,
                float fundamental) {
    const hn::ScalableTag<float> full;
    WeightedErrors sums;
    std::size_t i = 0;
    for (const std::size_t lanes = hn::Lanes(full); i + lanes <= count; i += lanes) {
        Add(full, magnitudes + i, frequencies + i, fundamental, sums);
    }
    const hn::CappedTag<float, 1> one;
    for (; i < count; ++i) {
        Add(one, magnitudes + i, frequencies + i, fundamental, sums);
    }
    return sums.weight == 0.0f || sums.error == 0.0f ? 0.0f : sums.error / sums.weight;
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(MeanError);

void ComputeInharmonicity(const float* magnitudes, const float* frequencies, unsigned int count,
                          const float* fundamental, float* out) {
    *out = HWY_DYNAMIC_DISPATCH(MeanError)(magnitudes, frequencies, count, *fundamental);
}

} // namespace qel::core

#endif
