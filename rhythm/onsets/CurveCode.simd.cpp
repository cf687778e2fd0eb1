// Codes are integers, so that vectors may have any width.

#include "rhythm/onsets/CurveCode.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/onsets/CurveCode.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "rhythm/onsets/CurveCodeBits.h"

#include <hwy/highway.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, 16>;
using Words = hn::RebindToUnsigned<Floats>;
constexpr std::size_t kLanes = hn::MaxLanes(Floats());

// By how many floats each value lies above the shrunken one after it, and zeros to the group's end.
HWY_INLINE void FindRises(const float* curve, std::size_t n, std::uint32_t* HWY_RESTRICT rises) {
    const Floats d;
    const auto pole = hn::Set(d, kOnsetSmoothingPole);
    std::size_t i = 0;
    for (; i + kLanes <= n; i += kLanes) {
        const auto shrunken = hn::Mul(pole, hn::LoadU(d, curve + i + 1));
        hn::Store(
            hn::Sub(hn::BitCast(Words(), hn::LoadU(d, curve + i)), hn::BitCast(Words(), shrunken)),
            Words(), rises + i);
    }
    for (; i < n; ++i) {
        rises[i] = std::bit_cast<std::uint32_t>(curve[i]) - Shrunken(curve[i + 1]);
    }
    std::fill(rises + n, rises + (n + kCodeGroup - 1) / kCodeGroup * kCodeGroup, 0u);
}

struct Group {
    std::uint32_t mask; // of the values that are not 0
    std::uint32_t greatest;
};

// Puts the values of a group that are not 0 one after the other, up to kLanes more after them.
HWY_INLINE Group TakeCoded(const std::uint32_t* HWY_RESTRICT rises,
                           std::uint32_t* HWY_RESTRICT coded) {
    const Words d;
    Group group{0, 0};
    auto greatest = hn::Zero(d);
    for (std::size_t i = 0; i < kCodeGroup; i += kLanes) {
        const auto values = hn::Load(d, rises + i);
        const auto areCoded = hn::Ne(values, hn::Zero(d));
        greatest = hn::Max(greatest, values);
#if HWY_TARGET <= HWY_AVX3
        hn::StoreU(hn::Compress(values, areCoded), d, coded + std::popcount(group.mask));
#endif
        Byte bits[8] = {};
        hn::StoreMaskBits(d, areCoded, bits);
        group.mask |= (bits[0] | std::uint32_t{bits[1]} << 8) << i;
    }
#if HWY_TARGET > HWY_AVX3
    // Elsewhere a vector is compressed by a table that the compiler copies for each of them.
    std::size_t count = 0;
    for (std::uint32_t rest = group.mask; rest != 0; rest &= rest - 1) {
        coded[count++] = rises[std::countr_zero(rest)];
    }
#endif
    group.greatest = hn::GetLane(hn::MaxOfLanes(d, greatest));
    return group;
}

std::size_t Encode(const float* curve, std::size_t n, Byte* out) {
    alignas(64) std::uint32_t rises[kMostCoded];
    FindRises(curve, n, rises);
    const std::size_t groups = (n + kCodeGroup - 1) / kCodeGroup;
    BitWriter writer(out + groups * kCodeHeadBytes);
    for (std::size_t g = 0; g < groups; ++g) {
        std::uint32_t coded[kCodeGroup + kLanes];
        const Group group = TakeCoded(rises + g * kCodeGroup, coded);
        const auto bits = static_cast<UInt32>(std::bit_width(group.greatest));
        WriteCodeHead(out + g * kCodeHeadBytes, {group.mask, bits});
        writer.PutAll(coded, static_cast<std::size_t>(std::popcount(group.mask)), bits);
    }
    return static_cast<std::size_t>(writer.Finish() - out);
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(Encode);

std::size_t EncodeCurve(const float* curve, UInt32 n, Byte* out) {
    return HWY_DYNAMIC_DISPATCH(Encode)(curve, n, out);
}

// From the last value to the first, as the low-pass goes.
void DecodeCurve(const Byte* code, UInt32 n, float* curve) {
    const UInt32 groups = (n + kCodeGroup - 1) / kCodeGroup;
    const Byte* const values = code + groups * kCodeHeadBytes;
    std::uint64_t place = 0; // in bits
    for (UInt32 g = 0; g < groups; ++g) {
        const CodeHead head = ReadCodeHead(code + g * kCodeHeadBytes);
        place += static_cast<std::uint64_t>(std::popcount(head.mask)) * head.bits;
    }
    float y = curve[n];
    for (UInt32 g = groups; g > 0; --g) {
        const UInt32 first = (g - 1) * kCodeGroup;
        const CodeHead head = ReadCodeHead(code + (g - 1) * kCodeHeadBytes);
        const std::uint64_t lowest = (std::uint64_t{1} << head.bits) - 1;
        for (UInt32 i = std::min(n, first + kCodeGroup); i > first; --i) {
            // All bits are set where there is a value, so that nothing branches.
            const std::uint64_t isCoded = ~std::uint64_t{0} * (head.mask >> (i - 1 - first) & 1);
            place -= head.bits & isCoded;
            std::uint64_t word = 0;
            std::memcpy(&word, values + place / 8, sizeof(word));
            const auto rise = static_cast<std::uint32_t>(word >> (place % 8) & lowest & isCoded);
            y = std::bit_cast<float>(Shrunken(y) + rise);
            curve[i - 1] = y;
        }
    }
}

} // namespace qel::core

#endif
