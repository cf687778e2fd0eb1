#pragma once

namespace qel::core {

// Replaces each of `count` angles in radians by the one from -pi to pi that differs from it by a
// multiple of 2 pi, in steps of 2.4e-7: 0 comes to 8.7e-8. At the ends the order of operations
// decides: sums with pi are as if formed in double precision and rounded, the rest is single
// precision, so that pi and -pi, rounded to single precision, change places. What is not a number
// or infinite becomes NaN. Any thread.
//
// Required by the contract: that order of operations and those precisions. Any cleanup changes
// phases in their last bits, and at the ends by a turn.
void WrapAngles(float* angles, unsigned count);

// Makes a row of angles continuous: adds to each the multiple of 2 pi that brings it within pi of
// the one before. Required by the contract: a difference of exactly pi in single precision is taken
// for one of -pi, and one of -pi for pi. The other way, all phases after it differ by turns.
//
// in, out  `count` angles in radians; not the same memory. With a count of 0 nothing is written.
//
// An angle that is not a number, or infinite, makes all from there on NaN. Any thread.
void UnWrap(const float* in, float* out, unsigned count);

} // namespace qel::core
