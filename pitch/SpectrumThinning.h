#pragma once

#include <MacTypes.h>

#include <complex>
#include <cstddef>
#include <vector>

namespace qel::core {

// Moves weights over the spectrum of a frame to a coarser spectrum of the same frame.
//
// The spectrum of N samples that zeros fill up to a long transform is smooth: the transform of 2 N
// points tells it at all places between. A short sum over the nearest coarse places does, if the
// frame has been weighted before by what the sum takes from its ends (gridding with a Kaiser-Bessel
// kernel). A weight at a fine place is therefore worth as much as weights at kReach coarse places,
// and who weighs spectra by a fixed row needs the shorter transform only.
//
// Immutable after construction; any number of threads may use one.
//
// J. I. Jackson, C. H. Meyer, D. G. Nishimura and A. Macovski, Selection of a convolution function
// for Fourier inversion using gridding, IEEE Trans. Medical Imaging 10(3), 1991.
class SpectrumThinning {
public:
    // How far the product with a spectrum moves, relative to the sum of the magnitudes of all
    // weights times the sum of those of all samples.
    static constexpr double kRelativeError = 2e-8;

    // The coarse places that one fine place is interpolated from.
    static constexpr UInt32 kReach = 10;

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
    // Fine places per coarse place; with 1 nothing is left out.
    UInt32 Step() const { return mStep; }

    // How many coarse places a fine one is worth weights at: kReach, or 1 if nothing is left out.
    UInt32 Reach() const { return mStep == 1 ? 1 : kReach; }

    // What the samples of a frame are to be multiplied by before the coarse transform: at its ends
    // up to three times as much as in its middle. 1 if nothing is left out.
    std::vector<double> FrameWeights() const;

    // The first of these coarse places, the others being the next ones around the circle; below 0
    // it counts from its end.
    int First(UInt32 finePlace) const;

    // Adds to coarse[0] to coarse[Reach() - 1], the places from First(finePlace) on, what `weight`
    // at a fine place is worth.
    void Add(UInt32 finePlace, std::complex<double> weight, std::complex<double>* coarse) const;

private:
    UInt32 mCoarseSize;
    UInt32 mStep;
    UInt32 mFrameSamples;
    // For each place between two coarse ones, mStep of them, kReach factors.
    std::vector<std::complex<double>> mFactors;
};

} // namespace qel::core
