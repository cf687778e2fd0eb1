// Four steps in one pass from the last value to the first. The low-pass waits for its own last
// output at every value, and the logarithms of the values to come are worked out meanwhile.
//
// Only the low-pass has an order, from the last value to the first, with one product and one sum
// for each. It must not be unrolled into powers of the pole, which rounds otherwise. Its inputs
// depend on no other input, so that kStep and kBlock are free, as long as a block is whole steps.

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
// exp(-x): a first-order low-pass with a time constant of 20 ms at 44.1 kHz. The next term of the
// series is 7e-14, far below a unit of a float.
constexpr double kSmoothingStep = 1.0 / (0.02 * 44100.0);
constexpr auto kSmoothingPole = static_cast<float>(
    1.0 - kSmoothingStep * (1.0 - kSmoothingStep / 2.0 * (1.0 - kSmoothingStep / 3.0)));
static_assert(std::bit_cast<std::uint32_t>(kSmoothingPole) == 0x3F7FB5BD);
constexpr float kSmoothingGain = 1.0f - kSmoothingPole;

using CappedDoubles = hn::CappedTag<double, 8>;
constexpr std::size_t kStep = hn::MaxLanes(CappedDoubles()); // values that are made at a time
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

// From the last value to the first. Returns the first.
HWY_INLINE float Smooth(const float* inputs, std::size_t n, float last, float* out) {
    float y = last;
    for (std::size_t i = n; i > 0; --i) {
        y = kSmoothingPole * y + inputs[i - 1];
        out[i - 1] = y;
    }
    return y;
}

// Lets the low-pass take a block of inputs and forms those of the block in front, if there is one,
// step by step in between: a whole block of them is more than a processor looks ahead. Where values
// are replaced in place, the block in front needs the first of this one before it is replaced.
// Returns the block's first value.
template <bool hasNext>
HWY_INLINE float TakeBlock(const float* inputs, float last, float* out, const float* next,
                           double scale, float* nextInputs) {
    float y = last;
    for (std::size_t i = kBlock; i > 0; i -= kStep) {
        if constexpr (hasNext) {
            FormInputs(CappedDoubles(), next + (i - kStep), scale, nextInputs + (i - kStep));
        }
        y = Smooth(inputs + (i - kStep), kStep, y, out + (i - kStep));
    }
    return y;
}

// `n` is above 0.
void MakeCurve(const float* sum, float* curve, std::size_t n) {
    const double scale = 1.0 / elementary::Log(1.0 + kMuLawFactor);
    const std::size_t last = n - 1;
    const std::size_t head = last % kBlock; // values in front of whole blocks
    float headInputs[kBlock];
    for (std::size_t i = 0; i < head; ++i) {
        FormInputs(hn::CappedTag<double, 1>(), sum + i, scale, headInputs + i);
    }

    float inputs[2][kBlock];
    if (last > head) {
        for (std::size_t i = 0; i < kBlock; i += kStep) {
            FormInputs(CappedDoubles(), sum + (last - kBlock) + i, scale, inputs[0] + i);
        }
    }
    float y = 0.0f;
    curve[last] = y;
    std::size_t turn = 0;
    std::size_t start = last; // of what is done
    for (; start - head > kBlock; turn ^= 1) {
        start -= kBlock;
        y = TakeBlock<true>(inputs[turn], y, curve + start, sum + (start - kBlock), scale,
                            inputs[turn ^ 1]);
    }
    if (start > head) {
        y = TakeBlock<false>(inputs[turn], y, curve + head, nullptr, scale, nullptr);
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
    if (n > 0) {
        HWY_DYNAMIC_DISPATCH(MakeCurve)(sum, curve, n);
    }
}

} // namespace qel::core

#endif
