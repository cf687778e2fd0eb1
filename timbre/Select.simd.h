// Gathers the chosen lanes of vectors at their beginning. Included once for every instruction set
// that the processor may offer, so there is no `#pragma once`. What several vectors have in common
// is looked up once for all of them.
//
// A table of lanes by mask takes the place of the instruction that compresses: of the x86 sets only
// AVX-512 has that one, and eight lanes keep the table at 2 KiB.

#if defined(QEL_TIMBRE_SELECT_SIMD_H) == defined(HWY_TARGET_TOGGLE)
#ifdef QEL_TIMBRE_SELECT_SIMD_H
#undef QEL_TIMBRE_SELECT_SIMD_H
#else
#define QEL_TIMBRE_SELECT_SIMD_H
#endif

#include "timbre/LaneTable.h"

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using TableTag = hn::CappedTag<float, kTableLanes>;
using Integers = hn::RebindToSigned<TableTag>;
using Lanes = decltype(hn::IndicesFromVec(TableTag(), hn::Zero(Integers())));

struct Selection {
    Lanes lanes;
    std::size_t count;
};

template <class Mask>
HWY_INLINE Selection Select(Mask mask) {
    const TableTag d;
    const Integers integers;
    const hn::Rebind<std::uint8_t, TableTag> bytes;
    std::uint8_t bits[8] = {};
    hn::StoreMaskBits(d, mask, bits);
    const std::uint8_t* lanes = kLaneTable.lanes[bits[0]];
    const auto indices = hn::PromoteTo(integers, hn::LoadU(bytes, lanes));
    return {hn::IndicesFromVec(d, indices), kLaneTable.counts[bits[0]]};
}

// Writes a whole vector, of which the selection's count comes first.
template <class V>
HWY_INLINE void StoreSelected(V v, const Selection& selection, float* out) {
    hn::StoreU(hn::TableLookupLanes(v, selection.lanes), TableTag(), out);
}

template <class V>
HWY_INLINE void StoreSelected(V v, const Selection& selection, std::int32_t* out) {
    const auto selected = hn::TableLookupLanes(hn::BitCast(TableTag(), v), selection.lanes);
    hn::StoreU(hn::BitCast(Integers(), selected), Integers(), out);
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#endif
