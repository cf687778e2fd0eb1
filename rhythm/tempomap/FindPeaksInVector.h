#pragma once

namespace qel::core {

// Appends the peaks of x to `indices` and `values`, at place `count` and after, and adds their
// number to `count`, which the caller clears. A peak is an element that
//
//   - is not below `threshold`;
//   - is above each other one from `window` places before it to `window` - 1 after it, as far as x
//     reaches, by more than `margin`;
//   - has `window` elements before it: earlier ones are no peaks, and neither is the last element;
//   - lies more than `window` places after the peak before it. Where two are nearer the earlier
//     one stands, whatever their heights.
//
// Required by the contract: peaks at the beginning are left out, and the higher of two near peaks
// is not preferred. Either cleanup changes tempi.
//
// With a window of 0 nothing is a peak, as nothing is compared; neither is NaN. There must be room
// for n more entries. Any thread.
void FindPeaksInVector(const float* x, unsigned int n, unsigned int* indices, float* values,
                       unsigned int& count, float threshold, float margin, unsigned int window);

} // namespace qel::core
