#include "pitch/FrameTransformPasses.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pitch/FrameTransformPasses.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <cstddef>
#include <numbers>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

template <class D>
HWY_INLINE void StoreTurned(D d, hn::Vec<D> real, hn::Vec<D> imag, const TurnFactors& factors,
                            const DSPSplitComplex& out, std::size_t n) {
    const auto cosine = hn::LoadU(d, factors.cosines + n);
    const auto sine = hn::LoadU(d, factors.sines + n);
    hn::StoreU(hn::Add(hn::Mul(real, cosine), hn::Mul(imag, sine)), d, out.realp + n);
    hn::StoreU(hn::Sub(hn::Mul(imag, cosine), hn::Mul(real, sine)), d, out.imagp + n);
}

// Samples a quarter of the frame apart meet in the eighth roots of unity: 1, (1 - i) / sqrt(2), -i,
// (-1 - i) / sqrt(2) and their powers.
template <class D>
HWY_INLINE void FoldAt(D d, const float* frame, const TurnFactors (&factors)[kTurns], float* folded,
                       const DSPSplitComplex (&turned)[kTurns], std::size_t n, std::size_t count) {
    const auto sample0 = hn::LoadU(d, frame + n);
    const auto sample1 = hn::LoadU(d, frame + n + count);
    const auto sample2 = hn::LoadU(d, frame + n + 2 * count);
    const auto sample3 = hn::LoadU(d, frame + n + 3 * count);
    const auto sum = hn::Add(sample1, sample3);
    const auto difference = hn::Sub(sample1, sample3);
    hn::StoreU(hn::Add(sample0, sample2), d, folded + n);
    hn::StoreU(sum, d, folded + n + count);
    const auto root = hn::Set(d, std::numbers::sqrt2_v<float> / 2.0f);
    const auto across = hn::Mul(root, difference);
    const auto down = hn::Mul(root, sum);
    StoreTurned(d, hn::Add(sample0, across), hn::Neg(hn::Add(sample2, down)), factors[0], turned[0],
                n);
    StoreTurned(d, hn::Sub(sample0, sample2), hn::Neg(difference), factors[1], turned[1], n);
    StoreTurned(d, hn::Sub(sample0, across), hn::Sub(sample2, down), factors[2], turned[2], n);
}

void FoldAll(const float* frame, const TurnFactors (&factors)[kTurns], float* folded,
             const DSPSplitComplex (&turned)[kTurns], std::size_t count) {
    const hn::ScalableTag<float> full;
    const std::size_t lanes = hn::Lanes(full);
    std::size_t n = 0;
    for (; n + lanes <= count; n += lanes) {
        FoldAt(full, frame, factors, folded, turned, n, count);
    }
    for (; n < count; ++n) {
        FoldAt(hn::CappedTag<float, 1>(), frame, factors, folded, turned, n, count);
    }
}

void MergeParts(const PlaceParts& parts, float* out, std::size_t groups) {
    const hn::ScalableTag<float> full;
    constexpr std::size_t kFour = 4;
    const std::size_t lanes = hn::Lanes(full);
    const auto sign = hn::Set(full, parts.sign);
    HWY_ALIGN float low[kFour * hn::MaxLanes(full)];
    HWY_ALIGN float high[kFour * hn::MaxLanes(full)];
    const hn::CappedTag<float, kFour> quad;
    std::size_t k = 0;
    for (; k + lanes <= groups; k += lanes) {
        const auto backwards = [&](std::size_t turn) HWY_ATTR {
            return hn::Mul(sign, hn::Reverse(full, hn::LoadU(full, parts.ends[turn] - k - lanes)));
        };
        hn::Vec<decltype(full)> place0;
        hn::Vec<decltype(full)> place4;
        hn::LoadInterleaved2(full, parts.fourth + 2 * k, place0, place4);
        hn::StoreInterleaved4(place0, hn::LoadU(full, parts.turned[0] + k),
                              hn::LoadU(full, parts.turned[1] + k),
                              hn::LoadU(full, parts.turned[2] + k), full, low);
        hn::StoreInterleaved4(place4, backwards(2), backwards(1), backwards(0), full, high);
        for (std::size_t i = 0; i < kFour * lanes; i += hn::MaxLanes(quad)) {
            // The fours of both halves take turns.
            float* const to = out + 8 * k + 2 * (i - i % kFour) + i % kFour;
            hn::StoreU(hn::Load(quad, low + i), quad, to);
            hn::StoreU(hn::Load(quad, high + i), quad, to + kFour);
        }
    }
    for (; k < groups; ++k) {
        float* const to = out + 8 * k;
        const auto back = -1 - static_cast<std::ptrdiff_t>(k);
        to[0] = parts.fourth[2 * k];
        to[4] = parts.fourth[2 * k + 1];
        for (std::size_t turn = 0; turn < kTurns; ++turn) {
            to[1 + turn] = parts.turned[turn][k];
            to[7 - turn] = parts.sign * parts.ends[turn][back];
        }
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(FoldAll);
HWY_EXPORT(MergeParts);

void FoldFrame(const float* frame, const TurnFactors (&factors)[kTurns], float* folded,
               const DSPSplitComplex (&turned)[kTurns], std::size_t count) {
    HWY_DYNAMIC_DISPATCH(FoldAll)(frame, factors, folded, turned, count);
}

void MergePlaces(const DSPSplitComplex& fourth, const DSPSplitComplex (&turned)[kTurns],
                 std::size_t count, const DSPSplitComplex& out, std::size_t groups) {
    const auto merge = [&](float* DSPSplitComplex::*part, float sign) {
        const float* const at[kTurns] = {turned[0].*part, turned[1].*part, turned[2].*part};
        HWY_DYNAMIC_DISPATCH(MergeParts)
        ({fourth.*part, {at[0], at[1], at[2]}, {at[0] + count, at[1] + count, at[2] + count}, sign},
         out.*part, groups);
    };
    merge(&DSPSplitComplex::realp, 1.0f);
    merge(&DSPSplitComplex::imagp, -1.0f);
}

} // namespace qel::core

#endif
