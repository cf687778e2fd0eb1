#pragma once

#include <MacTypes.h>

namespace qel::core {

// What is returned, up to the client, when the progress callback asks to stop.
inline constexpr SInt32 kStopped = -128;

inline constexpr float kSecondsPerMinute = 60.0f;

// Functions on vectors of floats that the rhythm features share. None keeps state; all may run in
// any thread, and raise std::bad_alloc when memory for their scratch is exhausted.

// The element one place above the middle of the `n` sorted ones (of an even number, the mean of the
// two that stand above the lower middle): 4 for 1 to 5, 4.5 for 1 to 6. Of one or two elements it
// is the largest, of none it is 0. NaN counts as larger than every number. `x` is not changed.
//
// Required by the contract: the textbook's median is one place lower. With that one, other
// values pass for onsets.
void ComputeMedianOfFloatVector(const float* x, unsigned int n, float& median);

// The autocorrelation of `n` values at the lags 0 to n - 1, n up to 2^30. It is circular: with N
// the next power of two, x is padded with zeros to N, and
//
//   out[lag] = (c[lag] - (-1)^lag |X[N/2]|^2 / N) / N,  c[lag] = sum of x[i] x[(i + lag) mod N],
//
// where X[N/2] is the transform at half the sample rate, which FFTFrame drops. The scale depends on
// N. Of a single value it is the square. `x` and `out` may be the same.
//
// Required by the contract: long lags wrap. A longer transform changes all values.
void ComputeAutocorrelationFFT(const float* x, unsigned int n, float* out);

// The polynomial of `degree` that fits the points (x[i], y[i]) best in the least-squares sense.
//
// n             points, below 2^31
// coefficients  receives degree + 1 values, that of the highest power first
//
// With no more points than the degree there is no one best fit: the result is the polynomial of
// degree n - 1 through the points, its higher coefficients 0; all 0 without points. Where several x
// are equal, so that fewer than degree + 1 differ, the coefficients mean nothing.
void polyfit(const float* x, const float* y, unsigned int n, float* coefficients,
             unsigned int degree);

// Compresses energies as hearing does: y[i] = ln(1 + mu x[i]) / ln(1 + mu), so that 0 stays 0 and 1
// stays 1. The product is formed in single precision, sum, logarithms and quotient in double: the
// result is the exact one for that product, rounded to one of its neighbours in single precision.
// -infinity where 1 + mu x is 0, NaN where it is below. `x` and `y` may be the same.
void MuLawCompress(const float* x, unsigned int n, float* y, float mu);

// Receives the fraction that is done and the context; the first argument is null. Returns 0 to go
// on, anything else to stop.
using ConvolveProgress = int (*)(void* unused, float done, void* context);

// The full linear convolution of `a` and `b`: na + nb - 1 values to `out`, which overlaps neither.
// Each is summed in single precision from the lowest index of `b` up. An empty `a` gives nothing.
//
// progress   may be null. Called after the outputs 0, 2000, 4000, ... below nb, with
//            stepsDone * stepsWeight + stepIndex * stepWeight + i / nb * 0.3 * stepWeight,
//            where i is that output. The outputs up to i are then written, and no others.
//
// Returns 0, or -128 at once when `progress` asks to stop; later outputs then stay as they were.
SInt32 Convolve(const float* a, unsigned int na, const float* b, unsigned int nb, float* out,
                ConvolveProgress progress, void* progressContext, unsigned int stepsDone,
                float stepsWeight, unsigned int stepIndex, float stepWeight);

} // namespace qel::core
