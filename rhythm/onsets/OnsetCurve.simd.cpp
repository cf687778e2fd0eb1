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
constexpr float kSmoothingPole = kOnsetSmoothingPole;
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

// What takes the inputs of the low-pass: the curve itself.
struct OneCurve {
    HWY_INLINE void Take(float input, std::size_t i) {
        y = kSmoothingPole * y + input;
        curve[i] = y;
    }

    float y;
    float* curve;
};

// Two curves of which only the last value stays.
struct TwoCurves {
    HWY_INLINE void Take(float input, std::size_t) {
        least = kSmoothingPole * least + input;
        greatest = kSmoothingPole * greatest + input;
    }

    float least;
    float greatest;
};

// Lets `curves` take `n` inputs from the last one to the first, which is that of value `first`.
template <class Curves>
HWY_INLINE void Smooth(const float* inputs, std::size_t n, std::size_t first, Curves& curves) {
    for (std::size_t i = n; i > 0; --i) {
        curves.Take(inputs[i - 1], first + i - 1);
    }
}

// Lets the low-pass take the block of inputs of the values from `first` on and forms those of the
// block in front, if there is one, step by step in between: a whole block of them is more than a
// processor looks ahead. Where values are replaced in place, the block in front needs the first of
// this one before it is replaced.
template <bool hasNext, class Curves>
HWY_INLINE void TakeBlock(const float* inputs, std::size_t first, Curves& curves, const float* next,
                          double scale, float* nextInputs) {
    for (std::size_t i = kBlock; i > 0; i -= kStep) {
        if constexpr (hasNext) {
            FormInputs(CappedDoubles(), next + (i - kStep), scale, nextInputs + (i - kStep));
        }
        Smooth(inputs + (i - kStep), kStep, first + (i - kStep), curves);
    }
}

// Reads n + 1 values.
template <class Curves>
HWY_INLINE void Run(const float* sum, std::size_t n, Curves& curves) {
    static const double scale = 1.0 / elementary::Log(1.0 + kMuLawFactor);
    const std::size_t head = n % kBlock; // values in front of whole blocks
    float headInputs[kBlock];
    for (std::size_t i = 0; i < head; ++i) {
        FormInputs(hn::CappedTag<double, 1>(), sum + i, scale, headInputs + i);
    }

    float inputs[2][kBlock];
    if (n > head) {
        for (std::size_t i = 0; i < kBlock; i += kStep) {
            FormInputs(CappedDoubles(), sum + (n - kBlock) + i, scale, inputs[0] + i);
        }
    }
    std::size_t turn = 0;
    std::size_t start = n; // of what is done
    for (; start - head > kBlock; turn ^= 1) {
        start -= kBlock;
        TakeBlock<true>(inputs[turn], start, curves, sum + (start - kBlock), scale,
                        inputs[turn ^ 1]);
    }
    if (start > head) {
        TakeBlock<false>(inputs[turn], head, curves, nullptr, scale, nullptr);
    }
    Smooth(headInputs, head, 0, curves);
}

void MakeCurve(const float* sum, float* curve, std::size_t n, float next) {
    OneCurve one{next, curve};
    Run(sum, n, one);
}

OnsetCurveBounds BoundsBefore(const float* sum, std::size_t n, OnsetCurveBounds bounds) {
    TwoCurves two{bounds.least, bounds.greatest};
    Run(sum, n, two);
    return {two.least, two.greatest};
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(MakeCurve);
HWY_EXPORT(BoundsBefore);

void MakeOnsetCurve(const float* sum, float* curve, UInt32 n, float next) {
    HWY_DYNAMIC_DISPATCH(MakeCurve)(sum, curve, n, next);
}

OnsetCurveBounds OnsetCurveBoundsBefore(const float* sum, UInt32 n, OnsetCurveBounds bounds) {
    return HWY_DYNAMIC_DISPATCH(BoundsBefore)(sum, n, bounds);
}

} // namespace qel::core

#endif
