#pragma once

#include <MacTypes.h>

#include <cstddef>

namespace qel::core {

// A chunk of the detection curve of onsets in fewer bytes, without loss.
//
// The low-pass makes a value from the one after it: it multiplies by the pole, which shrinks it,
// and adds an input, which is 0 for half of the samples of music. What is kept of a value is how
// many floats it lies above the shrunken one after it. That is 0 where the input was, and has 14
// to 17 bits elsewhere, as the input is small beside the value. Per group of 32 values there is a
// mask of those that are not 0, the number of bits of the greatest, and that many bits of each that
// is not 0: 9 to 10 bits a value for music, 18 for the densest curve.
inline constexpr UInt32 kMostCoded = 256;                          // values of a chunk
inline constexpr std::size_t kMostCodeBytes = 8 * 5 + 256 * 4 + 8; // written for any chunk

// Codes `n` values, at most kMostCoded, of 0 or more and not NaN, each not below the shrunken one
// after it. `curve` has the one after the last as well. Returns the bytes of the code; up to
// kMostCodeBytes are written. Any thread; no allocation.
std::size_t EncodeCurve(const float* curve, UInt32 n, Byte* out);

// The values that were coded, in front of curve[n], which is there. Eight bytes more than the code
// has are read.
void DecodeCurve(const Byte* code, UInt32 n, float* curve);

} // namespace qel::core
