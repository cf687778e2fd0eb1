#pragma once

#include <vector>

#include <MacTypes.h>

namespace qel::core {

// A peak of a log magnitude spectrum.
struct Peak {
    bool mMatched;       // a track has taken it
    float mBin;          // the place of the vertex, in bins
    float mFrequency;    // Hz
    float mMagnitude;    // the height of the vertex, linear
    float mLogMagnitude; // the natural logarithm of the magnitude of the bin below the maximum
    float mPhase;        // radians
};

// One frame of one channel, as the peak search reads it. All arrays have `numBins` floats.
struct PeakSpectrum {
    const float* mLogMagnitudes; // natural logarithms
    UInt32 mNumBins;
    Float64 mSampleRate;       // Hz
    UInt32 mFrameSize;         // samples: bin k lies at k * mSampleRate / mFrameSize
    const float* mFrequencies; // Hz of what lies in each bin; null: peaks take that of their place
    const float* mPhases;      // radians; null with mFrequencies
};

// The most peaks that so many bins can have: neighbours of a peak are none.
constexpr UInt32 MostPeaks(UInt32 numBins) {
    return numBins > 0 ? (numBins - 1) / 2 : 0;
}

// Replaces `peaks` by those of the spectrum that are above `threshold` (a natural logarithm), in
// rising order of bin. A peak is a bin above the one before it and not below the one behind it, so
// that a flat top counts at its left end; the first and the last bin are none. Its place and height
// are those of the parabola through the three logarithms. Where they are no numbers, as beside an
// infinite magnitude, there is no peak. Allocates nothing where `peaks` has room for MostPeaks.
void FindSpectralPeaks(const PeakSpectrum& spectrum, float threshold, std::vector<Peak>& peaks);

} // namespace qel::core
