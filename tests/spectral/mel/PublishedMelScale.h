// The published form of the scale, in double precision.
#pragma once

#include <cmath>

namespace qel::core::test {

inline double MelOf(double hz) {
    return hz < 1000 ? hz * 3 / 200 : 15 + 27 * std::log(hz / 1000) / std::log(6.4);
}

inline double HzOf(double mel) {
    return mel < 15 ? mel * 200 / 3 : 1000 * std::pow(6.4, (mel - 15) / 27);
}

} // namespace qel::core::test
