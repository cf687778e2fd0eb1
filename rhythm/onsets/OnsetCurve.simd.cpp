// The inputs of the low-pass depend on no other input, so that they are made many at a time. The
// low-pass itself is in LowPassRun.h.

#include "rhythm/onsets/OnsetCurve.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/onsets/OnsetCurve.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "elementary/Functions.h"
#include "rhythm/math/MuLaw.simd.h"

#include <hwy/highway.h>

#include <bit>
#include <cstddef>
#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr float kDifferenceWeight = 0.9f;
static_assert(std::bit_cast<std::uint32_t>(kDifferenceWeight) == 0x3F666666);
constexpr float kMuLawFactor = 10.0f;
static_assert(std::bit_cast<std::uint32_t>(kOnsetSmoothingPole) == 0x3F7FB5BD);
constexpr float kSmoothingGain = 1.0f - kOnsetSmoothingPole;

using CappedDoubles = hn::CappedTag<double, 8>;
constexpr std::size_t kStep = hn::MaxLanes(CappedDoubles()); // values that are made at a time

// The inputs of as many values as `d` has lanes. Reads one more.
template <class D>
HWY_INLINE void FormVector(D d, const float* x, double scale, float* inputs) {
    const hn::Rebind<float, D> single;
    const auto value = hn::LoadU(single, x);
    const auto fall = hn::Sub(value, hn::LoadU(single, x + 1));
    const auto difference = hn::Add(hn::Mul(fall, hn::Set(single, kDifferenceWeight)),
                                    hn::Mul(hn::Set(single, 1.0f - kDifferenceWeight), value));
    const auto zero = hn::Zero(single);
    const auto rectified = hn::IfThenElse(hn::Ge(difference, zero), difference, zero);
    const auto compressed = CompressedMagnitudes(d, rectified, kMuLawFactor, scale);
    hn::StoreU(hn::Mul(hn::Set(single, kSmoothingGain), compressed), single, inputs);
}

// Where sums are replaced in place, none is read after it was.
void FormInputs(const float* sum, float* inputs, std::size_t n) {
    static const double scale = 1.0 / elementary::Log(1.0 + kMuLawFactor);
    std::size_t i = 0;
    for (; i + kStep <= n; i += kStep) {
        FormVector(CappedDoubles(), sum + i, scale, inputs + i);
    }
    for (; i < n; ++i) {
        FormVector(hn::CappedTag<double, 1>(), sum + i, scale, inputs + i);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(FormInputs);

void FormOnsetInputs(const float* sum, float* inputs, UInt32 n) {
    HWY_DYNAMIC_DISPATCH(FormInputs)(sum, inputs, n);
}

} // namespace qel::core

#endif
