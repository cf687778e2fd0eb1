#include "support/FilterDesign.h"

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

double KaiserWindow(SInt64 n, UInt32 length, double alpha) {
    const SInt64 last = SInt64{length} - 1;
    const double x = std::abs(static_cast<double>(2 * n - last)) / static_cast<double>(last);
    return Izero(alpha * std::sqrt(1.0 - x * x)) / Izero(alpha);
}

double FilterCoefficients(SInt64 i, UInt32 length, double cyclesPerSample, double alpha) {
    if (i < 0 || i >= SInt64{length}) {
        return 0.0;
    }
    const double t = static_cast<double>(i) - (static_cast<double>(length) - 1.0) / 2.0;
    if (t == 0.0) {
        return 2.0 * cyclesPerSample;
    }
    return elementary::Sin(2.0 * std::numbers::pi * cyclesPerSample * t) / std::numbers::pi / t *
           KaiserWindow(i, length, alpha);
}

} // namespace qel::core
