// Changes of sign. 64 elements at a time become one word of sign bits.

#include <Accelerate/vDSP.h>

#include <algorithm>
#include <bit>
#include <cstdint>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "platform/vector/vDSPZeroCrossings.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "platform/vector/Loops.simd.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace qel::platform {
namespace HWY_NAMESPACE {

// Bit n is set if element n of `a` is below zero; count is at most 64.
HWY_INLINE uint64_t NegativeBits(In a, size_t count) {
    uint64_t bits = 0;
    size_t n = 0;
    if (a.stride == 1) {
        const hn::CappedTag<float, 8> d;
        for (const size_t lanes = hn::Lanes(d); n + lanes <= count; n += lanes) {
            uint8_t chunk[8] = {};
            hn::StoreMaskBits(d, hn::Lt(hn::LoadU(d, a.data + n), hn::Zero(d)), chunk);
            bits |= static_cast<uint64_t>(chunk[0]) << n;
        }
    }
    for (; n < count; ++n) {
        bits |= static_cast<uint64_t>(*a.At(n) < 0.0f) << n;
    }
    return bits;
}

void CountCrossings(In a, size_t limit, vDSP_Length* last, vDSP_Length* found, size_t count) {
    *last = 0;
    *found = 0;
    if (count == 0) {
        return;
    }
    uint64_t before = *a.At(0) < 0.0f ? 1 : 0;
    for (size_t n = 0; n < count && *found < limit; n += 64) {
        const size_t valid = std::min<size_t>(64, count - n);
        const uint64_t negative = NegativeBits({a.At(n), a.stride}, valid);
        uint64_t changes = negative ^ (negative << 1 | before);
        if (valid < 64) {
            changes &= (uint64_t{1} << valid) - 1;
        }
        before = negative >> 63;
        while (*found + static_cast<size_t>(std::popcount(changes)) > limit) {
            changes ^= std::bit_floor(changes);
        }
        if (changes != 0) {
            *found += static_cast<size_t>(std::popcount(changes));
            *last = n + 63 - static_cast<size_t>(std::countl_zero(changes));
        }
    }
    *last *= static_cast<vDSP_Length>(a.stride);
}

} // namespace HWY_NAMESPACE
} // namespace qel::platform
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::platform {
HWY_EXPORT(CountCrossings);
} // namespace qel::platform

using namespace qel::platform;

void vDSP_nzcros(const float* A, vDSP_Stride IA, vDSP_Length B, vDSP_Length* C, vDSP_Length* D,
                 vDSP_Length N) {
    HWY_DYNAMIC_DISPATCH(CountCrossings)({A, IA}, B, C, D, N);
}

#endif
