#pragma once

#include <cmath>
#include <numbers>

namespace qel::core {

namespace detail {

// The greatest integer that is not above x, in operations that a compiler turns into vectors.
inline float Floor(float x) {
    constexpr float kAllAreIntegers = 8388608.0F; // 2^23 and above
    const float magnitude = std::fabs(x);
    const float nearest = std::copysign((magnitude + kAllAreIntegers) - kAllAreIntegers, x);
    const float floor = nearest > x ? nearest - 1.0F : nearest;
    return magnitude < kAllAreIntegers ? floor : x;
}

} // namespace detail

// The angle from -pi to pi that differs from `radians` by a multiple of 2 pi, in steps of 2.4e-7:
// 0 comes to 8.7e-8. At the ends the order of operations decides: sums with pi are formed in double
// precision and rounded, the rest is single precision, so that pi and -pi, rounded to single
// precision, change places. All of that is meant.
inline float WrapAngle(float radians) {
    constexpr float kTurn = 2.0F * std::numbers::pi_v<float>;
    const auto shifted = static_cast<float>(static_cast<double>(radians) + std::numbers::pi);
    const float wrapped = shifted - detail::Floor(shifted / kTurn) * kTurn;
    return static_cast<float>(static_cast<double>(wrapped) - std::numbers::pi);
}

// Makes a row of angles continuous: adds to each the multiple of 2 pi that brings it within pi of
// the one before. A difference of exactly pi in single precision is taken for one of -pi,
// and one of -pi for pi, which is meant.
//
// in, out  `count` angles in radians; not the same memory. With a count of 0 nothing is written.
//
// An angle that is not a number, or infinite, makes all from there on NaN. Any thread.
void UnWrap(const float* in, float* out, unsigned count);

} // namespace qel::core
