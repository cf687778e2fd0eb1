#pragma once

#include <span>
#include <vector>

#include "timbre/SpectralPeaks.h"

namespace qel::core {

// A sinusoidal track that lives.
struct ActivePartial {
    float mBin;           // at the last match, like the four below
    float mFrequency;     // Hz
    float mGainLimit;     // the largest rise to the next match: 20 times the natural logarithm
    float mMagnitude;     // linear
    float mPhase;         // radians
    SInt32 mMissedFrames; // frames since the last match
    bool mAlive;          // false: to be erased
};

// The tracks of one channel. Each frame's peaks continue the tracks of the frames before, end some
// and begin others.
//
//   1. Construct.
//   2. Per frame: fill Peaks(), as by FindSpectralPeaks; Track; read Partials().
//
// Everything is allocated in the constructor. One thread at a time.
class PartialTracker {
public:
    // `numBins`: bins of the spectra, above 0. Raises std::bad_alloc.
    explicit PartialTracker(UInt32 numBins);

    // The peaks of the frame, in rising order of bin; bins are finite numbers from 0 on, below
    // numBins.
    std::vector<Peak>& Peaks() { return mPeaks; }

    // One frame. `magnitudes` are numBins linear magnitudes, above 0. `threshold` is the natural
    // logarithm below which there are no peaks; deliberately, it is set against the linear
    // magnitude of a peak that is about to begin a track, which always exceeds it.
    //
    // Tracks choose among the peaks in their order, the oldest first, each the nearest one within a
    // bin. A track without a peak lives through 4 frames, unless the magnitude at its place falls
    // below a fifth of its own; one that would rise by more than its limit ends, and leaves the
    // peak free. Peaks that are left begin new tracks behind the others.
    void Track(std::span<const float> magnitudes, float threshold);

    // The tracks that live, oldest first; MostPartials at most.
    const std::vector<ActivePartial>& Partials() const { return mPartials; }

    // A track had a peak of its own in this frame or in one of the last 4.
    static constexpr UInt32 MostPartials(UInt32 numBins) { return 5 * MostPeaks(numBins); }

    // The bin that `place` lies in, within 0 and numBins - 1.
    static UInt32 BinOf(float place, UInt32 numBins) {
        if (!(place > 0.0f))
            return 0;
        return place < static_cast<float>(numBins) ? static_cast<UInt32>(place) : numBins - 1;
    }

private:
    void IndexPeaks();
    UInt32 FirstPeakNear(float bin) const;
    UInt32 NearestPeak(float bin) const;
    UInt32 NearestUnmatchedPeak(float bin) const;
    void MatchAll();
    void Advance(std::size_t track, std::span<const float> magnitudes);
    void EraseDead();
    void BeginTracks(float threshold);

    const UInt32 mNumBins;
    std::vector<Peak> mPeaks;
    std::vector<ActivePartial> mPartials;
    std::vector<UInt32> mMatches;       // by track: the nearest peak, as if none were taken
    std::vector<float> mGains;          // by track: the rise to that peak
    std::vector<float> mPeakBins;       // of the peaks, and of some that stand for none, behind all
    std::vector<float> mPeakMagnitudes; // likewise, with 1 for none
    std::vector<UInt32> mFirstPeaks;    // by bin: the index of the first peak in it or behind it
};

} // namespace qel::core
