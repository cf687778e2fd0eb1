#include "pitch/SpectrumThinning.h"

#include "elementary/Functions.h"
#include "spectral/VectorHelpers.h"

#include <cmath>
#include <numbers>

namespace qel::core {

namespace {

constexpr double kPi = std::numbers::pi;
constexpr int kHalfReach = SpectrumThinning::kReach / 2;

// The modified Bessel function of the first kind and order 0, by its series.
double BesselI0(double x) {
    double term = 1.0;
    double sum = 1.0;
    for (int k = 1; term > 1e-17 * sum; ++k) {
        term *= (x / (2.0 * k)) * (x / (2.0 * k));
        sum += term;
    }
    return sum;
}

// The interpolating function, `distance` coarse places away. Seen from the middle of the frame, the
// samples lie within a quarter of the coarse transform's period and their copies from three
// quarters on, so that the sinc, whose edge is at the half, may be cut off slowly. Kaiser's window
// of that transition, 1/2, and kReach places damps the copies by 14.36 / 2 * kReach + 7.95 = 151 dB
// and has the shape 0.1102 * (151 - 8.7).
//
// J. F. Kaiser, Nonrecursive digital filter design using the I0-sinh window function, Proc. IEEE
// Symp. Circuits and Systems, 1974.
double Interpolation(double distance) {
    constexpr double kShape = 15.7;
    if (distance == std::floor(distance)) {
        return distance == 0.0 ? 1.0 : 0.0; // what both transforms have is taken as it is
    }
    const double part = distance / kHalfReach;
    const double window = BesselI0(kShape * std::sqrt(1.0 - part * part)) / BesselI0(kShape);
    return window * elementary::Sin(kPi * distance) / (kPi * distance);
}

// The language's own product calls a function of the compiler's library for what is no number.
std::complex<double> Product(std::complex<double> a, std::complex<double> b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

} // namespace

UInt32 SpectrumThinning::CoarseSize(UInt32 fineSize, UInt32 frameSamples) {
    // Without copies that are clear of the frame nothing can be left out.
    const bool isShort = frameSamples < fineSize / 2;
    return isShort ? 2 * NextPowerOfTwo(frameSamples) : fineSize;
}

SpectrumThinning::SpectrumThinning(UInt32 fineSize, UInt32 frameSamples)
    : mCoarseSize(CoarseSize(fineSize, frameSamples)), mStep(fineSize / mCoarseSize),
      mFactors(std::size_t{mStep} * kReach) {
    // The phase of a sample in the middle of the frame, per coarse place.
    const double turn = kPi * frameSamples / mCoarseSize;
    for (UInt32 between = 0; between < mStep; ++between) {
        for (UInt32 i = 0; i < kReach; ++i) {
            const double distance =
                static_cast<double>(between) / mStep + kHalfReach - 1.0 - static_cast<double>(i);
            const double weight = Interpolation(distance);
            mFactors[between * kReach + i] = {weight * elementary::Cos(-turn * distance),
                                              weight * elementary::Sin(-turn * distance)};
        }
    }
}

void SpectrumThinning::Add(UInt32 finePlace, std::complex<double> weight,
                           std::complex<double>* coarse) const {
    const UInt32 mask = mCoarseSize - 1;
    const UInt32 first = finePlace / mStep - (kHalfReach - 1); // around 0 it wraps, as spectra do
    const std::complex<double>* const factors = &mFactors[(finePlace % mStep) * kReach];
    for (UInt32 i = 0; i < kReach; ++i) {
        coarse[(first + i) & mask] += Product(weight, factors[i]);
    }
}

} // namespace qel::core
