#pragma once

#include "rhythm/onsets/PeakCurve.h"

#include <MacTypes.h>

namespace qel::core {

// How onsets are found in a detection curve. None of these keeps state; all may run in any thread.

// out[i] = (x[i] - x[i + 1]) * weight + (1 - weight) * x[i] for i below n - 1: the fall to the next
// value mixed with the value itself. out[n - 1] is not written. `x` and `out` may be the same.
//
// Required by the contract: it looks forward, as the smoothing that follows runs backward. A
// difference to the value before moves all onsets.
void ComputeWeightedDifference(const float* x, unsigned int n, float* out, float weight);

// The most entries that the two searches below write for a curve of `n` values.
unsigned int MaxPeaks(unsigned int n, int minDistance);

// Appends the elements that are greater than both neighbours and than `threshold`, in ascending
// order, to `indices` and `values`, and counts on in `count`, which the caller clears. With
// `minDistance` above 0, one that lies less than that from the one accepted before is passed over.
// Required by the contract: of two near peaks the first wins, whatever their heights. Preferring
// the higher one moves onsets. There must be room for MaxPeaks(x.Size(), minDistance) entries.
void FindLocalMaximaWithDist(PeakCurve& x, unsigned int* indices, float* values,
                             unsigned int& count, float threshold, int minDistance);

// Whether ComputeMedianOfFloatVector of the `n` values of `x` from `first` on, followed by a 0 if
// `zeroBehind` is set, is greater than `level`: the same answer to the last bit, without a copy,
// and read only where the bounds of chunks do not decide.
bool IsMedianAbove(PeakCurve& x, unsigned int first, unsigned int n, bool zeroBehind, float level);

// Receives a figure between progressStart and progressEnd; the first argument is null. Returns 0 to
// go on, anything else to stop.
using PeakProgress = int (*)(void* unused, float done, void* context);

// The onsets of a curve. Divides `x` by its greatest value, then appends to `indices` and `values`
// the local maxima above 0, at least window / 4 from the one before, that
//
//   - are not below the median of the values up to `window` to both sides (the value after the
//     last counts as 0 where the window reaches there), and
//   - are at least `window` after every onset accepted so far; one that reaches `strongLevel` may
//     also be up to 1024 after it. Required by the contract: a strong one
//     farther off than that and still in the window is refused. Accepting it adds onsets.
//
// A curve without a value above 0 has no onsets; it leaves `x` not finite.
//
// window    any number. Of 0 and below, every local maximum is an onset.
// count     cleared by the caller; room as for FindLocalMaximaWithDist with window / 4
// progress  may be null. Called at the candidates 0, 100, 200, ... with the fraction of candidates
//           that are done, between progressStart and progressEnd.
//
// Returns 0, or -128 at once when `progress` asks to stop. Raises std::bad_alloc.
SInt32 FindPeaksAdaptivleyInVector(PeakCurve& x, unsigned int* indices, float* values,
                                   unsigned int& count, int window, float strongLevel,
                                   float progressStart, float progressEnd, PeakProgress progress,
                                   void* progressContext);

} // namespace qel::core
