#pragma once

#include "loudness/soundcheck/NormalizationData.h"

namespace qel::core {

// Inside of the normalization engine: from the packed spectrum of an excerpt to the figures.

// Takes in one channel's excerpt.
//
// real, imag        its spectrum, doubled, with the Nyquist term in imag[0]
// peakValue         its highest sample, on the scale of 16-bit samples
// channel           0 or 1
// timeMilliseconds  where it lies
//
// Required by the contract: band 0 counts the Nyquist term with the DC term. Leaving it out changes
// all values.
void NormalizationAnalysis(NormalizationData* data, const float* real, const float* imag,
                           SInt32 peakValue, UInt32 channel, UInt32 timeMilliseconds);

// The same for both channels, from the record's four arrays. The peaks are truncated here.
void NormalizationAnalysisStereo(NormalizationData* data, float peakLeft, float peakRight,
                                 UInt32 timeMilliseconds);

struct StereoPeaks {
    float left;
    float right;
};

// Windows 1024 interleaved frames into the record's four arrays, packed for the transform, and
// returns the largest magnitude of each channel before that.
StereoPeaks WindowStereoSamplesVector(NormalizationData* data, const float* samples);

// NormalizationProcessFloats for two channels. Always 0.
OSStatus NormalizationProcessStereoVector(NormalizationData* data, const float* samples,
                                          UInt32 timeMilliseconds);

} // namespace qel::core
