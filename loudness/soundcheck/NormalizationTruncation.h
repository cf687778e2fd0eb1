#pragma once

#include <algorithm>
#include <cmath>
#include <concepts>
#include <limits>

namespace qel::core {

// The whole part of `value`, stopped at the ends of the type; 0 for what is no number.
template <std::integral Integer>
requires(sizeof(Integer) <= 4) // so that a double holds its ends
    Integer TruncateTo(double value) {
    if (std::isnan(value)) {
        return 0;
    }
    return static_cast<Integer>(std::clamp(value, double{std::numeric_limits<Integer>::min()},
                                           double{std::numeric_limits<Integer>::max()}));
}

} // namespace qel::core
