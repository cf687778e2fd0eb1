#pragma once

#include <MacTypes.h>

#include <complex>
#include <cstddef>
#include <vector>

namespace qel::core {

// Moves weights over the spectrum of a frame to a coarser spectrum of the same frame.
//
// The spectrum of N samples that zeros fill up to a long transform is smooth: the transform of 2 N
// points tells it at all places between, each as a sum over the nearest coarse places
// (band-limited interpolation). A weight at a fine place is therefore worth as much as weights at
// kReach coarse places, and who weighs spectra by a fixed row needs the shorter transform only.
//
// Immutable after construction; any number of threads may use one.
class SpectrumThinning {
public:
    // How far the product with a spectrum moves, relative to the sum of the magnitudes of all
    // weights times the sum of those of all samples.
    static constexpr double kRelativeError = 1e-7;

    // The coarse places that one fine place is interpolated from.
    static constexpr UInt32 kReach = 20;

    // The least transform that determines the spectrum of `frameSamples` samples everywhere, in
    // points: a power of two, and never above `fineSize`, which it is where the frame is too long
    // to leave anything out.
    static UInt32 CoarseSize(UInt32 fineSize, UInt32 frameSamples);

    // fineSize      points of the transform that the weights are for, a power of two
    // frameSamples  what the frames have before the zeros, at least 1
    // Raises std::bad_alloc.
    SpectrumThinning(UInt32 fineSize, UInt32 frameSamples);

    // Points of the coarse transform.
    UInt32 Size() const { return mCoarseSize; }

    // Adds to `coarse`, which has Size() places, what `weight` at a fine place is worth.
    void Add(UInt32 finePlace, std::complex<double> weight, std::complex<double>* coarse) const;

private:
    UInt32 mCoarseSize;
    UInt32 mStep; // fine places per coarse place
    // For each place between two coarse ones, mStep of them, kReach factors.
    std::vector<std::complex<double>> mFactors;
};

} // namespace qel::core
