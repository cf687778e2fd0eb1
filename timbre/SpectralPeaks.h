#pragma once

#include <MacTypes.h>

#include <vector>

namespace qel::core {

// A peak of a log magnitude spectrum.
struct Peak {
    bool mMatched;       // a track has taken it
    float mBin;          // the place of the vertex, in bins
    float mFrequency;    // Hz, where a spectrum brings frequencies
    float mMagnitude;    // the height of the vertex, linear
    float mLogMagnitude; // the natural logarithm of the magnitude of the bin below the maximum
    float mPhase;        // radians, likewise
};

// One frame of one channel, as the peak search reads it. All arrays have `numBins` floats; after
// the logarithms there is room for a vector.
struct PeakSpectrum {
    const float* mLogMagnitudes; // natural logarithms
    UInt32 mNumBins;
    const float* mFrequencies; // Hz of what lies in each bin; null: peaks have none but their place
    const float* mPhases;      // radians; null with mFrequencies
};

// The most peaks that so many bins can have: neighbours of a peak are none.
constexpr UInt32 MostPeaks(UInt32 numBins) {
    return numBins > 0 ? (numBins - 1) / 2 : 0;
}

// Room after the elements of an array for a whole vector of any processor.
constexpr UInt32 kVectorRoom = 16;

// The peaks of a frame, an array for each of their values, so that they are worked on in vectors.
// Only the first mCount elements of an array count; there is room for a vector after them.
struct PeakList {
    // With room for the most peaks that a spectrum of `numBins` bins can have. Raises
    // std::bad_alloc.
    explicit PeakList(UInt32 numBins);

    void Clear() { mCount = 0; }
    // One more, after the others. There must be room for it.
    void Add(const Peak& peak);
    Peak At(UInt32 index) const;

    UInt32 mCount = 0;
    std::vector<SInt32> mMatched; // 0 or 1
    std::vector<float> mBins;
    std::vector<float> mFrequencies;
    std::vector<float> mMagnitudes;
    std::vector<float> mLogMagnitudes;
    std::vector<float> mPhases;
    std::vector<SInt32> mFirstBins; // the bins below the maxima, where the search has found them
};

// Raises magnitudes, 0 or above or no numbers, to `least`, a normal number above 0, and gives their
// natural logarithms.
void RaiseAndTakeLogarithms(float* magnitudes, UInt32 count, float least, float* logs);

// Replaces `peaks`, made for mNumBins, by those of the spectrum that are above `threshold` (a
// natural logarithm), in rising order of bin. A peak is a bin above the one before it and not below
// the one after it, so that a flat top counts at its left end; the first and the last bin are
// none. Its place and height are those of the parabola through the three logarithms. Where they are
// no numbers, as beside an infinite magnitude, there is no peak. Frequencies and phases of peaks
// stay as they are where the spectrum has none. Allocates nothing.
void FindSpectralPeaks(const PeakSpectrum& spectrum, float threshold, PeakList& peaks);

} // namespace qel::core
