// Looks up neighbours in arrays for all lanes of a vector. Included once for every instruction set
// that the processor may offer, so there is no `#pragma once`. A row is loaded for each lane, and
// rows are transposed. On a Zen 3, with eight lanes, gathers take one and a half times as long for
// one column, and more than three times as long for three.

#if defined(QEL_TIMBRE_ROWS_SIMD_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QEL_TIMBRE_ROWS_SIMD_H
#undef QEL_TIMBRE_ROWS_SIMD_H
#else
#define QEL_TIMBRE_ROWS_SIMD_H
#endif

#include "timbre/Select.simd.h"

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

// Of each lane the element at its index and the three after it.
template <class V>
struct Columns {
    V first;
    V second;
    V third;
    V fourth;
};

#if HWY_TARGET == HWY_SCALAR

template <class D>
HWY_INLINE Columns<hn::Vec<D>> LookUp(D d, const float* from, const std::int32_t* indices) {
    const float* const row = from + *indices;
    return {hn::LoadU(d, row), hn::LoadU(d, row + 1), hn::LoadU(d, row + 2), hn::LoadU(d, row + 3)};
}

#else

// The row of one lane, and in a vector of eight lanes also that of the fourth lane after it.
template <class D>
HWY_INLINE hn::Vec<D> Row(D d, const float* from, const std::int32_t* indices) {
    const hn::CappedTag<float, 4> four;
    const auto row = hn::LoadU(four, from + indices[0]);
    if constexpr (hn::MaxLanes(d) == kTableLanes) {
        return hn::Combine(d, hn::LoadU(four, from + indices[4]), row);
    } else {
        return row;
    }
}

// All four elements of a row must exist, also those that are not used. There is an index for
// each lane.
template <class D>
HWY_INLINE Columns<hn::Vec<D>> LookUp(D d, const float* from, const std::int32_t* indices) {
    const hn::Repartition<double, D> pairs;
    const auto row0 = Row(d, from, indices);
    const auto row1 = Row(d, from, indices + 1);
    const auto row2 = Row(d, from, indices + 2);
    const auto row3 = Row(d, from, indices + 3);
    const auto lower01 = hn::BitCast(pairs, hn::InterleaveLower(d, row0, row1));
    const auto lower23 = hn::BitCast(pairs, hn::InterleaveLower(d, row2, row3));
    const auto upper01 = hn::BitCast(pairs, hn::InterleaveUpper(d, row0, row1));
    const auto upper23 = hn::BitCast(pairs, hn::InterleaveUpper(d, row2, row3));
    return {hn::BitCast(d, hn::InterleaveLower(pairs, lower01, lower23)),
            hn::BitCast(d, hn::InterleaveUpper(pairs, lower01, lower23)),
            hn::BitCast(d, hn::InterleaveLower(pairs, upper01, upper23)),
            hn::BitCast(d, hn::InterleaveUpper(pairs, upper01, upper23))};
}

#endif

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#endif
