#pragma once

#include <MacTypes.h>

namespace qel::core {

// What a sinc under a Kaiser window is made of. All may run in any thread; none keeps state.

// The greatest common divisor; the other number if one is 0.
UInt32 GCD(UInt32 a, UInt32 b);

// The modified Bessel function of the first kind, order 0, by its power series, to the last places
// of double precision. Infinite where it exceeds the range of a double, from about |x| = 713 on.
double Izero(double x);

// The Kaiser window of `length` taps (2 or more) with shape `alpha` at tap `n` below `length`:
// 1 in the middle, 1 / Izero(alpha) at the ends.
double KaiserWindow(SInt64 n, UInt32 length, double alpha);

// The taps of FilterCoefficients one after the other, to the last bit, at half the cost: what they
// have in common is formed once.
class KaiserSinc {
public:
    KaiserSinc(UInt32 length, double cyclesPerSample, double alpha);
    double Tap(SInt64 i) const;

private:
    UInt32 mLength;
    double mCyclesPerSample;
    double mAlpha;
    double mIzeroOfAlpha;
};

// Tap `i` of the low-pass prototype of `length` taps, a sinc with its cutoff at `cyclesPerSample`
// under the Kaiser window; 0 for taps outside.
double FilterCoefficients(SInt64 i, UInt32 length, double cyclesPerSample, double alpha);

} // namespace qel::core
