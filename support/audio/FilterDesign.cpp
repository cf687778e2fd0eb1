#include "support/audio/FilterDesign.h"

#include "elementary/Functions.h"

#include <cmath>
#include <numbers>

namespace qel::core {

UInt32 GCD(UInt32 a, UInt32 b) {
    while (b != 0) {
        const UInt32 remainder = a % b;
        a = b;
        b = remainder;
    }
    return a;
}

double Izero(double x) {
    constexpr double kNegligible = 1e-21; // a term this small against the sum changes it no more
    double sum = 1.0;
    double term = 1.0;
    // Terms rise until k passes |x| / 2. If the sum overflows on the way, it stays infinite.
    for (double k = 1.0; term >= sum * kNegligible && std::isfinite(sum); k += 1.0) {
        const double t = x / 2.0 / k;
        term = term * t * t;
        sum += term;
    }
    return sum;
}

namespace {

double Window(SInt64 n, UInt32 length, double alpha, double izeroOfAlpha) {
    const SInt64 last = SInt64{length} - 1;
    const double x = std::abs(static_cast<double>(2 * n - last)) / static_cast<double>(last);
    return Izero(alpha * std::sqrt(1.0 - x * x)) / izeroOfAlpha;
}

} // namespace

double KaiserWindow(SInt64 n, UInt32 length, double alpha) {
    return Window(n, length, alpha, Izero(alpha));
}

KaiserSinc::KaiserSinc(UInt32 length, double cyclesPerSample, double alpha)
    : mLength(length), mCyclesPerSample(cyclesPerSample), mAlpha(alpha),
      mIzeroOfAlpha(Izero(alpha)) {}

double KaiserSinc::Tap(SInt64 i) const {
    if (i < 0 || i >= SInt64{mLength}) {
        return 0.0;
    }
    const double t = static_cast<double>(i) - (static_cast<double>(mLength) - 1.0) / 2.0;
    if (t == 0.0) {
        return 2.0 * mCyclesPerSample;
    }
    return elementary::Sin(2.0 * std::numbers::pi * mCyclesPerSample * t) / std::numbers::pi / t *
           Window(i, mLength, mAlpha, mIzeroOfAlpha);
}

double FilterCoefficients(SInt64 i, UInt32 length, double cyclesPerSample, double alpha) {
    return KaiserSinc(length, cyclesPerSample, alpha).Tap(i);
}

} // namespace qel::core
