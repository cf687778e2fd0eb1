// Four steps in one pass from the last value to the first. The low-pass waits for its own last
// output at every value, and the logarithms of the values to come are worked out meanwhile.

#include "rhythm/OnsetCurve.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/OnsetCurve.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <cmath>
#include <cstddef>
#include <hwy/highway.h>

#include "rhythm/MuLaw-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr float kDifferenceWeight = 0.8999999761581421f;
constexpr float kMuLawFactor = 10.0f;
// exp(-1 / 882): a first-order low-pass with a time constant of 20 ms at 44.1 kHz.
constexpr float kSmoothingPole = 0.998866856098175f;
constexpr float kSmoothingGain = 1.0f - kSmoothingPole;

constexpr std::size_t kBlock = 16; // values that the low-pass takes while the next are made

// What the low-pass adds to its state for as many values as `d` has lanes. Reads one more.
template <class D>
HWY_INLINE void FormInputs(D d, const float* x, double scale, float* inputs) {
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

HWY_INLINE void FormBlock(const float* x, double scale, float* inputs) {
    const hn::CappedTag<double, kBlock> d;
    for (std::size_t i = 0; i < kBlock; i += hn::Lanes(d))
        FormInputs(d, x + i, scale, inputs + i);
}

// From the last value to the first. Returns the first.
HWY_INLINE float Smooth(const float* inputs, std::size_t n, float last, float* out) {
    float y = last;
    for (std::size_t i = n; i > 0; --i) {
        y = kSmoothingPole * y + inputs[i - 1];
        out[i - 1] = y;
    }
    return y;
}

// `n` is above 0.
void MakeCurve(const float* sum, float* curve, std::size_t n) {
    const double scale = 1.0 / std::log(1.0 + kMuLawFactor);
    const std::size_t last = n - 1;
    const std::size_t head = last % kBlock; // values in front of whole blocks
    float headInputs[kBlock];
    for (std::size_t i = 0; i < head; ++i)
        FormInputs(hn::CappedTag<double, 1>(), sum + i, scale, headInputs + i);

    float inputs[2][kBlock];
    if (last > head)
        FormBlock(sum + (last - kBlock), scale, inputs[0]);
    float y = 0.0f;
    curve[last] = y;
    std::size_t turn = 0;
    for (std::size_t end = last; end > head; end -= kBlock, turn ^= 1) {
        // Before values are replaced in place whose first one the block in front needs.
        if (end - kBlock > head)
            FormBlock(sum + (end - 2 * kBlock), scale, inputs[turn ^ 1]);
        y = Smooth(inputs[turn], kBlock, y, curve + (end - kBlock));
    }
    Smooth(headInputs, head, y, curve);
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(MakeCurve);

void MakeOnsetCurve(const float* sum, float* curve, UInt32 n) {
    if (n > 0)
        HWY_DYNAMIC_DISPATCH(MakeCurve)(sum, curve, n);
}

} // namespace qel::core

#endif
