#pragma once

#include <Accelerate/Accelerate.h>
#include <MacTypes.h>

#include <array>

namespace qel::core {

// Real transforms in a plain function style, for code that keeps its state in records.

// What CreateAudioFFT hands out. It serves transforms of its own length, and of shorter ones.
struct AudioFFTContext {
    FFTSetup mSetup;
    float* mScratch;     // made by the first RealFFTInterleaved: two halves, zeroed
    float* mScratchImag; // the second half
    UInt32 mLog2Length;  // the length that the setup and the scratch are made for
};

// Makes a context for transforms of 2^log2Length samples.
//
// log2Length  0 to 30
// outContext  receives the context, which DisposeAudioFFT gives back; null on failure
//
// One thread at a time per context.
// Returns 0; -50 if outContext is null; -108 if memory is exhausted or log2Length out of range.
OSStatus CreateAudioFFT(int log2Length, AudioFFTContext** outContext);

// The forward transform in place, from 2^log2Length samples packed in pairs (real[m] = x[2m],
// imag[m] = x[2m + 1]) to the packed spectrum of vDSP_fft_zrip, twice the plain transform. With a
// length beyond the context's the samples stay as they are.
void RealFFT(AudioFFTContext* context, unsigned int log2Length, float* real, float* imag);

// The plain transform X of N = 2^log2Length samples: out[2k] + i out[2k + 1] = X[k] for k below
// N / 2. Required by the contract: the Nyquist term is dropped, so that out[1] is 0. Keeping it
// gives callers another out[1].
//
// `in` and `out` have N floats and may be the same; of a single sample nothing is written. The
// context's scratch is made on first use.
// Returns 0; -108 if memory is exhausted; -50 for a length beyond the context's.
OSStatus RealFFTInterleaved(AudioFFTContext* context, unsigned int log2Length, const float* in,
                            float* out);

// Gives a context back; null is allowed.
void DisposeAudioFFT(AudioFFTContext* context);

// A raised cosine of height 32768, the full scale of 16-bit samples:
// 32768 sin^2(pi (k + 0.5) / 1024). It is symmetric, its peak lies between the two middle entries,
// and no entry is 0.
extern const std::array<float, 1024> sFFTWindowCoeffs;

// Whether vector instructions may be used: 1, on every processor.
int HasVectorUnit();

} // namespace qel::core
