#pragma once

#include <MacTypes.h>

#include <array>
#include <complex>

namespace qel::core {

// The spectrum of one kernel of a constant-Q transform: a complex sine of `qFactor` periods in
// `length` samples, under a Hamming window that is divided by the length.
//
// A Hamming window is three complex sines, and the sum over the samples of a sine is known in
// closed form. The phase, however, is formed in single precision, and is off by up to 1.5e-5
// radians in each sample. What that does to the spectrum, up to 1e-6 of its peak in short kernels,
// is added to first order, from sums of these differences over kBlocks parts of the kernel.
//
// Immutable after construction.
class ToneSpectrum {
public:
    // The magnitude of the spectrum at two bins and more from its centre stays below this, where a
    // bin is the sample rate by the length, and the kernel has at least kLeastLength samples. The
    // greatest side lobe of the window is 0.00397.
    static constexpr float kSideLobes = 0.0042f;
    static constexpr UInt32 kLeastLength = 64;

    // How far the spectrum is from that of samples in double precision with the same phases,
    // relative to its peak.
    static constexpr double kRelativeError = 1e-7;

    // length  samples, at least 1
    // size    places around the circle
    ToneSpectrum(UInt32 length, float qFactor, UInt32 size);

    // The sum over all samples n of kernel[n] e^(-2 pi i n place / size).
    std::complex<double> At(UInt32 place) const;

    // Where the spectrum may be above kSideLobes: from First() to before End(), of all places.
    UInt32 First() const { return mFirst; }
    UInt32 End() const { return mEnd; }

private:
    static constexpr UInt32 kBlocks = 64;

    void SumDifferences();
    std::complex<double> Windowed(double angle) const;
    std::complex<double> Differences(double angle) const;

    UInt32 mLength;
    UInt32 mSize;
    float mStep;            // of the phase, from sample to sample
    double mHalfWindowSine; // of half the angle that the window advances per sample
    double mHalfWindowCosine;
    double mSideSine; // of half the angle that it advances over the length
    double mSideCosine;
    UInt32 mBlockLength;
    std::array<double, kBlocks> mDifferences = {}; // of phases, windowed, summed by block
    UInt32 mFirst = 0;
    UInt32 mEnd;
};

} // namespace qel::core
