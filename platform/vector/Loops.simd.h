// The three loops that the vector functions are made of: a map to one vector, a map to a complex
// vector, and a reduction. Included once for every instruction set that the processor may offer,
// so there is no `#pragma once`.
//
// An operation is a generic lambda over vectors of any width, written with HWY_ATTR. The loops call
// it with full vectors where all strides are 1, and with single lanes for the rest and for any
// other stride, so that an element's value depends neither on its place nor on the stride. Products
// are never fused with sums, so that elements are the same on every processor.

#if defined(QEL_PLATFORM_LOOPS_SIMD_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QEL_PLATFORM_LOOPS_SIMD_H
#undef QEL_PLATFORM_LOOPS_SIMD_H
#else
#define QEL_PLATFORM_LOOPS_SIMD_H
#endif

#include "platform/vector/VectorArguments.h"

#include <hwy/highway.h>

#include <cstddef>
#include <utility>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Full = hn::ScalableTag<float>;
using One = hn::CappedTag<float, 1>;

// A complex value per lane.
template <class V>
struct Complex {
    V re;
    V im;
};

template <class V>
HWY_INLINE Complex<V> Pair(V re, V im) {
    return {re, im};
}

// out[n] = operation(tag, inputs[n]...) for n below count.
template <class Operation, class... Inputs>
HWY_INLINE void Map(size_t count, Out out, const Operation& operation, Inputs... inputs) {
    size_t n = 0;
    if (out.stride == 1 && (... && (inputs.stride == 1))) {
        const Full full;
        for (const size_t lanes = hn::Lanes(full); n + lanes <= count; n += lanes) {
            hn::StoreU(operation(full, hn::LoadU(full, inputs.data + n)...), full, out.data + n);
        }
    }
    const One one;
    for (; n < count; ++n) {
        hn::StoreU(operation(one, hn::LoadU(one, inputs.At(n))...), one, out.At(n));
    }
}

// The same for a complex result.
template <class Operation, class... Inputs>
HWY_INLINE void MapComplex(size_t count, Out re, Out im, const Operation& operation,
                           Inputs... inputs) {
    size_t n = 0;
    if (re.stride == 1 && (... && (inputs.stride == 1))) {
        const Full full;
        for (const size_t lanes = hn::Lanes(full); n + lanes <= count; n += lanes) {
            const auto result = operation(full, hn::LoadU(full, inputs.data + n)...);
            hn::StoreU(result.re, full, re.data + n);
            hn::StoreU(result.im, full, im.data + n);
        }
    }
    const One one;
    for (; n < count; ++n) {
        const auto result = operation(one, hn::LoadU(one, inputs.At(n))...);
        hn::StoreU(result.re, one, re.At(n));
        hn::StoreU(result.im, one, im.At(n));
    }
}

// How many partial results a reduction keeps: element n goes to partial result n % kPartialResults.
// The number is that of no particular instruction set, so that sums come out the same on all of
// them.
constexpr size_t kPartialResults = 32;

// Combines 2 * kHalf partial results, upper half with lower, down to the first.
template <size_t kHalf, class Combine>
HWY_INLINE void FoldPartials(float* partials, const Combine& combine) {
    const hn::CappedTag<float, kHalf> d;
    for (size_t p = 0; p < kHalf; p += hn::Lanes(d)) {
        hn::Store(combine(d, hn::Load(d, partials + p), hn::Load(d, partials + kHalf + p)), d,
                  partials + p);
    }
    if constexpr (kHalf > 1) {
        FoldPartials<kHalf / 2>(partials, combine);
    }
}

// Combines the elements at n with the partial results, a vector of them after the other. The
// indices are constants, so that partial results stay in registers throughout a loop.
template <class D, class V, class Combine, class Operation, size_t... kIndices, class... Inputs>
HWY_INLINE void CombinePartials(D d, V* sums, std::index_sequence<kIndices...>, size_t n,
                                const Combine& combine, const Operation& operation,
                                Inputs... inputs) {
    const auto combineOne = [&](V& sum, size_t at) HWY_ATTR {
        sum = combine(d, sum, operation(d, hn::LoadU(d, inputs.data + at)...));
    };
    (combineOne(sums[kIndices], n + kIndices * hn::MaxLanes(d)), ...);
}

// combine(tag, ..., operation(tag, inputs[n]...)) over all n below count, from `start`, which must
// be neutral: combine(start, x) is x.
template <class Operation, class Combine, class... Inputs>
HWY_INLINE float Reduce(size_t count, float start, const Combine& combine,
                        const Operation& operation, Inputs... inputs) {
    HWY_ALIGN float partials[kPartialResults];
    const hn::CappedTag<float, 16> wide;
    constexpr size_t kLanes = hn::MaxLanes(wide);
    constexpr size_t kVectors = kPartialResults / kLanes;
    const bool isDense = (... && (inputs.stride == 1));
    hn::Vec<decltype(wide)> sums[kVectors];
    for (auto& sum : sums) {
        sum = hn::Set(wide, start);
    }
    size_t n = 0;
    if (isDense) {
        for (; n + kPartialResults <= count; n += kPartialResults) {
            CombinePartials(wide, sums, std::make_index_sequence<kVectors>(), n, combine, operation,
                            inputs...);
        }
    }
    for (size_t v = 0; v < kVectors; ++v) {
        hn::Store(sums[v], wide, partials + v * kLanes);
    }
    if (isDense) {
        for (; n + kLanes <= count; n += kLanes) {
            float* partial = partials + n % kPartialResults;
            const auto elements = operation(wide, hn::LoadU(wide, inputs.data + n)...);
            hn::Store(combine(wide, hn::Load(wide, partial), elements), wide, partial);
        }
    }
    const One one;
    for (; n < count; ++n) {
        float* partial = partials + n % kPartialResults;
        const auto element = operation(one, hn::LoadU(one, inputs.At(n))...);
        hn::StoreU(combine(one, hn::LoadU(one, partial), element), one, partial);
    }
    FoldPartials<kPartialResults / 2>(partials, combine);
    return partials[0];
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#endif
