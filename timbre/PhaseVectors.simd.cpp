// Compiled for every instruction set, with the same results on all of them: nothing is contracted,
// and sums over bins run from the first bin to the last, one addition after the other.
//
// ContinuePhases carries two such sums through one loop. Both wait for their own last value, and
// the processor works out the steps of the next vector meanwhile. A second loop wraps what the
// first put down. kMostLanes bounds the scratch and is free.

#include "timbre/PhaseVectors.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "timbre/PhaseVectors.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "elementary/Vectors.simd.h"
#include "spectral/phase/Wrap.simd.h"

#include <hwy/highway.h>

#include <algorithm>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

constexpr std::size_t kMostLanes = 16;

using Capped = hn::CappedTag<float, kMostLanes>;
using One = hn::CappedTag<float, 1>;

// What is to be added to an angle and to all after it, both angles being within half a turn: from
// half a turn on, a difference has a turn too many, of its own sign.
template <class D, class V>
HWY_INLINE V StepOfWrapped(D d, V angle, V before) {
    const V difference = hn::Sub(angle, before);
    const V shifted = PlusPiNear(d, difference);
    const V wrapped = hn::Sub(shifted, hn::CopySign(hn::Set(d, kTurn), difference));
    const V step = hn::Sub(MinusPiWithinTurn(d, wrapped), difference);
    return hn::IfThenZeroElse(hn::Lt(hn::Abs(difference), hn::Set(d, kPi)), step);
}

// Angles and what is to be added to them, put together and wrapped.
template <class D>
HWY_INLINE void WrapAt(D d, const float* angles, float* phases) {
    hn::StoreU(WrapTurns(d, hn::Add(hn::LoadU(d, angles), hn::LoadU(d, phases))), d, phases);
}

struct Sums {
    float correction;
    float terms;
};

// What is to be added to the angles of one vector; both sums go on.
template <class D>
HWY_INLINE Sums ContinueAt(D d, const float* angles, const float* before, const float* terms,
                           Sums sums, float* corrections) {
    HWY_ALIGN float steps[kMostLanes];
    hn::Store(StepOfWrapped(d, hn::LoadU(d, angles), hn::LoadU(d, before)), d, steps);
    for (std::size_t lane = 0; lane < hn::Lanes(d); ++lane) {
        sums.correction += steps[lane];
        corrections[lane] = sums.correction;
        sums.terms += terms[lane];
    }
    return sums;
}

float Continue(const float* angles, const float* terms, float* phases, std::size_t count) {
    const Capped capped;
    const One one;
    const std::size_t lanes = hn::Lanes(capped);
    float first[kMostLanes] = {angles[0]}; // the angles before the first vector, none for the first
    for (std::size_t lane = 1; lane < std::min(lanes, count); ++lane) {
        first[lane] = angles[lane - 1];
    }
    const float* before = first;
    Sums sums{0.0f, 0.0f};
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        sums = ContinueAt(capped, angles + i, before, terms + i, sums, phases + i);
        before = angles + i + lanes - 1;
    }
    for (; i < count; ++i) {
        sums = ContinueAt(one, angles + i, before, terms + i, sums, phases + i);
        before = angles + i;
    }
    for (i = 0; i + lanes <= count; i += lanes) {
        WrapAt(capped, angles + i, phases + i);
    }
    for (; i < count; ++i) {
        WrapAt(one, angles + i, phases + i);
    }
    return sums.terms;
}

template <class D>
HWY_INLINE void FindErrorAt(D d, const float* magnitudes, const PhaseHistory& before,
                            std::size_t at, float* errors) {
    const auto growth = elementary::HWY_NAMESPACE::ExpOfLimited(
        d, hn::Add(hn::LoadU(d, before.mPhases + at), hn::LoadU(d, before.mDifferences + at)));
    const auto predicted = hn::Mul(hn::LoadU(d, before.mMagnitudes + at), growth);
    hn::StoreU(hn::Abs(hn::Sub(hn::LoadU(d, magnitudes + at), predicted)), d, errors + at);
}

void FindErrors(const float* magnitudes, PhaseHistory before, std::size_t count, float* errors) {
    const Capped capped;
    const One one;
    std::size_t i = 0;
    for (const std::size_t lanes = hn::Lanes(capped); i + lanes <= count; i += lanes) {
        FindErrorAt(capped, magnitudes, before, i, errors);
    }
    for (; i < count; ++i) {
        FindErrorAt(one, magnitudes, before, i, errors);
    }
}

// before - now, wrapped; what is now takes the place of what was before.
template <class D>
HWY_INLINE auto Differ(D d, const float* now, float* before) {
    const auto value = hn::LoadU(d, now);
    const auto difference = WrapDifference(d, hn::Sub(hn::LoadU(d, before), value));
    hn::StoreU(value, d, before);
    return difference;
}

void DifferOnce(const float* phases, float* before, std::size_t count, float* first) {
    const Capped capped;
    const One one;
    std::size_t i = 0;
    for (const std::size_t lanes = hn::Lanes(capped); i + lanes <= count; i += lanes) {
        hn::StoreU(Differ(capped, phases + i, before + i), capped, first + i);
    }
    for (; i < count; ++i) {
        hn::StoreU(Differ(one, phases + i, before + i), one, first + i);
    }
}

// Of the first differences in `weighted`.
template <class D>
HWY_INLINE void DifferTwiceAt(D d, const float* magnitudes, float* before, float* magnitudesBefore,
                              float* second, float* weighted) {
    const auto magnitude = hn::LoadU(d, magnitudes);
    const auto difference = Differ(d, weighted, before);
    hn::StoreU(magnitude, d, magnitudesBefore);
    hn::StoreU(difference, d, second);
    hn::StoreU(hn::Mul(magnitude, difference), d, weighted);
}

void DifferTwice(const float* magnitudes, float* before, float* magnitudesBefore, std::size_t count,
                 float* second, float* weighted) {
    const Capped capped;
    const One one;
    std::size_t i = 0;
    for (const std::size_t lanes = hn::Lanes(capped); i + lanes <= count; i += lanes) {
        DifferTwiceAt(capped, magnitudes + i, before + i, magnitudesBefore + i, second + i,
                      weighted + i);
    }
    for (; i < count; ++i) {
        DifferTwiceAt(one, magnitudes + i, before + i, magnitudesBefore + i, second + i,
                      weighted + i);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(FindErrors);
HWY_EXPORT(Continue);
HWY_EXPORT(DifferOnce);
HWY_EXPORT(DifferTwice);

void FindPredictionErrors(const float* magnitudes, const PhaseHistory& before, std::size_t count,
                          float* errors) {
    HWY_DYNAMIC_DISPATCH(FindErrors)(magnitudes, before, count, errors);
}

float ContinuePhases(const float* angles, const float* terms, float* phases, std::size_t count) {
    return count > 0 ? HWY_DYNAMIC_DISPATCH(Continue)(angles, terms, phases, count) : 0.0f;
}

void FollowPhases(const float* magnitudes, const float* phases, const PhaseHistory& history,
                  std::size_t count, float* second, float* weighted) {
    float* const first = weighted;
    HWY_DYNAMIC_DISPATCH(DifferOnce)(phases, history.mPhases, count, first);
    HWY_DYNAMIC_DISPATCH(DifferTwice)
    (magnitudes, history.mDifferences, history.mMagnitudes, count, second, weighted);
}

} // namespace qel::core

#endif
