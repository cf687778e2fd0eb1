#pragma once

#include <MacTypes.h>

namespace qel::core {

// Turns the sum of the bands into the detection curve of onsets:
//
//   1. ComputeWeightedDifference with a weight of 0.9; the last value, which nothing follows, is 0
//   2. HalfWaveRectify
//   3. MuLawCompress with a factor of 10
//   4. a first-order low-pass with a time constant of 882 samples from the last value to the first,
//      so that its ringing stands in front of an event and the peak stays at the event's onset
//
// The values are those of the four steps to the last bit. In front of an infinite one they are
// infinite too, where `filter` has something that is no number.
// `sum` and `curve` may be the same. Keeps no state, allocates nothing, runs in any thread.
void MakeOnsetCurve(const float* sum, float* curve, UInt32 n);

} // namespace qel::core
