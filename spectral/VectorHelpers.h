#pragma once

#include <MacTypes.h>

namespace qel::core {

// Small functions on vectors of floats that the features share. None keeps state or allocates; all
// may run in any thread.

// The frequency in Hz of a bin of a transform of `size` points, at `sampleRate` Hz.
float BinToFreq(unsigned int bin, unsigned int size, float sampleRate);

// Appends the elements that are greater than both neighbours and than `threshold`, in ascending
// order, to `indices` and `values`, and counts on in `count`, which the caller clears. The first
// and the last element have one neighbour only and are no maxima; neither is a flat top.
// There must be room for (length - 1) / 2 more entries.
void FindLocalMaxima(const float* data, unsigned int length, unsigned int* indices, float* values,
                     unsigned int& count, float threshold);

// Counts the elements of `data` in `binCount` bins of width (maximum - minimum + 1) / binCount from
// `minimum` on. The 1 is part of the definition, whatever the scale of the data: it keeps the
// maximum below the last edge. With no bins, nothing happens.
//
// Required by the contract: whatever lies beyond the last bin counts there, and so do values a
// whole bin or more below the minimum, and NaN. Leaving them out changes the counts.
void ComputeHistogram(const float* data, unsigned int length, float* histogram, float minimum,
                      float maximum, unsigned int binCount);

// Negative elements become 0. `in` and `out` may be the same.
void HalfWaveRectify(const float* in, unsigned int length, float* out);

// Swaps the halves of a vector in place. With an odd length the last element stays where it is.
void ZeroShift(float* data, unsigned int length);

// The zero bits above the highest bit that is set; 32 for 0.
int CountLeadingZeroes(int value);

// The smallest k with 2^k >= n: 32 - CountLeadingZeroes(n - 1). As n - 1 wraps, 0 gives 32.
UInt32 Log2Ceil(unsigned int n);

// The smallest power of two that is not below n; 1 for 0. Above 2^31 there is none, and the
// result is 0.
UInt32 NextPowerOfTwo(unsigned int n);

// Divides by the largest element, which is not the largest magnitude. If that is 0, the result is
// not finite.
void NormalizeFloatVector(float* v, unsigned int n);

// One step of a recursive filter of order 1 or more on one input value, in the transposed second
// direct form. `a` and `b` have order + 1 coefficients, a[0] counts as 1; `z` is the state, `order`
// values, zero at the beginning.
inline void filter(const float* a, const float* b, unsigned int order, float* z, float x,
                   float& y) {
    const float output = z[0] + b[0] * x;
    for (unsigned int i = 0; i + 1 < order; ++i) {
        z[i] = (b[i + 1] * x + z[i + 1]) - output * a[i + 1];
    }
    z[order - 1] = b[order] * x - output * a[order];
    y = output;
}

} // namespace qel::core
