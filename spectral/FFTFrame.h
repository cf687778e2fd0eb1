#pragma once

#include "spectral/FFTSetupOwner.h"
#include "support/runtime/CAAutoDisposer.h"

#include <Accelerate/Accelerate.h>
#include <MacTypes.h>

namespace qel::core {

// The windows that FFTFrame makes. 2, 4, and every number that is not listed, are the Gaussian.
enum FFTFrameWindow {
    kWindowHann = 0,
    kWindowHamming = 1,
    kWindowBlackman = 3,
    kWindowSine = 5,
};

// One real transform of one buffer at a time, and its power spectrum: a transform that needs no
// ring. With N the transform length and X the plain transform of the samples,
//
//   1. FFT(samples)           spectrum entry k = X[k] / N for k below N / 2, entry 0 the mean
//   2. GetMagnitudeInPlace()  entry k = |X[k]|^2 / N^2, no phase
//   3. InverseFFT(out)        back to samples
//
// Step 2 may be left out. Required by the contract: the Nyquist term is thrown away in step 1, so
// that what comes back has no component at half the sample rate. Keeping it changes all
// autocorrelations.
//
// Nothing is allocated but by Initialize. The destructor is not virtual: nobody deletes a subclass
// through this class. One thread at a time.
class FFTFrame {
public:
    // Unusable until Initialize.
    FFTFrame() = default;
    // See Initialize.
    explicit FFTFrame(int size);
    FFTFrame(const FFTFrame&) = delete;
    FFTFrame& operator=(const FFTFrame&) = delete;
    ~FFTFrame() = default;

    // The forward transform of N samples, which stay as they are, with FixSpectrum after it.
    virtual void FFT(float* samples);
    // Replaces the spectrum by its squared magnitude, in spite of the name, with zero phase.
    virtual void GetMagnitudeInPlace();
    // Turns the packed, doubled spectrum of the transform into the one described above.
    virtual void FixSpectrum();

    // Makes ready for transforms of `size` samples, a power of two from 2 to 2^30, with a spectrum
    // of zeros. What was there before is given back.
    // Raises std::bad_alloc when memory is exhausted and for sizes outside of that range; the frame
    // is then unusable until the next Initialize.
    void Initialize(int size);

    // The inverse transform of the spectrum into N samples, without scaling: from the spectrum of
    // FFT it gives the samples back, less their Nyquist term. The spectrum is used up.
    void InverseFFT(float* out);

    // Multiplies `count` samples by a window in place.
    void ApplyWindow(float* samples, const float* window, unsigned int count) const;

    // Fills `window` with `length` values of a periodic window (an FFTFrameWindow, or any other
    // number for a Gaussian that is exp(-8.82) at its start) and returns their sum. The last
    // argument has no effect.
    float CreateWindow(float* window, unsigned int length, int type, float unused) const;

protected:
    UInt32 mHalfSize = 0;
    UInt32 mSize = 0;
    UInt32 mLog2Size = 0;
    FFTSetupOwner mSetup;
    DSPSplitComplex mSpectrum = {nullptr, nullptr}; // each N floats, of which half are used

private:
    CAAutoFree<float> mReal; // what mSpectrum points at
    CAAutoFree<float> mImag;
};

} // namespace qel::core
