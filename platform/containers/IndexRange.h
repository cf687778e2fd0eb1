#pragma once

#include <CoreFoundation/CFBase.h>

#include <algorithm>

namespace qel::platform {

// Whether the whole range is within the indices from 0 to count - 1.
constexpr bool LiesWithin(CFRange range, CFIndex count) noexcept {
    return range.location >= 0 && range.length >= 0 && range.location <= count &&
           range.length <= count - range.location;
}

// The part of a range that is within the indices from 0 to count - 1. A negative length is none.
constexpr CFRange Overlap(CFRange range, CFIndex count) noexcept {
    if (range.length <= 0 || range.location >= count) {
        return {0, 0};
    }
    const CFIndex first = std::max<CFIndex>(range.location, 0);
    // What a negative location uses up of the length; a sum of opposite signs cannot overflow.
    const CFIndex length = range.location < 0 ? range.length + range.location : range.length;
    return {first, std::clamp<CFIndex>(length, 0, count - first)};
}

} // namespace qel::platform
