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

// Where the interpolating function, whose transform is wanted from 0 to 1/4 of the coarse
// transform's period, begins to be small: at 3/4, where the copies of the frame begin.
constexpr double kShape = kPi * SpectrumThinning::kReach * 0.75;

// The interpolating function, `distance` coarse places away: Kaiser's window, but for its scale.
double Interpolation(double distance) {
    const double part = distance / kHalfReach;
    return BesselI0(kShape * std::sqrt(1.0 - part * part));
}

// Its transform at `time`, in periods of the coarse transform from the middle of the frame, up to
// 1/4.
double InterpolationTransform(double time) {
    const double angle = kPi * SpectrumThinning::kReach * time;
    const double root = std::sqrt(kShape * kShape - angle * angle);
    const double sinh = 0.5 * (elementary::Exp(root) - elementary::Exp(-root));
    return SpectrumThinning::kReach * sinh / root;
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
      mFrameSamples(frameSamples), mFactors(std::size_t{mStep} * kReach) {
    // The phase of a sample in the middle of the frame, per coarse place.
    const double turn = kPi * frameSamples / mCoarseSize;
    const double scale = 1.0 / BesselI0(kShape);
    for (UInt32 between = 0; between < mStep; ++between) {
        for (UInt32 i = 0; i < kReach; ++i) {
            const double distance =
                static_cast<double>(between) / mStep + kHalfReach - 1.0 - static_cast<double>(i);
            const double weight = scale * Interpolation(distance);
            mFactors[between * kReach + i] = {weight * elementary::Cos(-turn * distance),
                                              weight * elementary::Sin(-turn * distance)};
        }
    }
}

std::vector<double> SpectrumThinning::FrameWeights() const {
    std::vector<double> weights(mFrameSamples, 1.0);
    const double scale = BesselI0(kShape);
    for (UInt32 n = 0; mStep > 1 && n < mFrameSamples; ++n) {
        const double time = (n - 0.5 * mFrameSamples) / mCoarseSize;
        weights[n] = scale / InterpolationTransform(time);
    }
    return weights;
}

int SpectrumThinning::First(UInt32 finePlace) const {
    return mStep == 1 ? static_cast<int>(finePlace)
                      : static_cast<int>(finePlace / mStep) - (kHalfReach - 1);
}

void SpectrumThinning::Add(UInt32 finePlace, std::complex<double> weight,
                           std::complex<double>* coarse) const {
    if (mStep == 1) {
        coarse[0] += weight;
        return;
    }
    const std::complex<double>* const factors = &mFactors[(finePlace % mStep) * kReach];
    for (UInt32 i = 0; i < kReach; ++i) {
        coarse[i] += Product(weight, factors[i]);
    }
}

} // namespace qel::core
