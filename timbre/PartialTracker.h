#pragma once

#include "timbre/SpectralPeaks.h"

#include <cstddef>
#include <span>
#include <vector>

namespace qel::core {

// A sinusoidal track that lives.
struct ActivePartial {
    float mBin;           // at the last match, like the four below
    float mFrequency;     // Hz; 0 without tones, like the phase
    float mGainLimit;     // the largest rise to the next match: 20 times the natural logarithm
    float mMagnitude;     // linear
    float mPhase;         // radians
    SInt32 mMissedFrames; // frames since the last match
};

// Whether tracks keep the frequency and the phase of their peaks. If not, those are a matter of
// their places.
enum class Tones { kLeft, kKept };

// Tracks, an array for each of their values, as PeakList has it. Only the first mCount elements
// count.
struct TrackList {
    // With room for so many tracks. Raises std::bad_alloc.
    TrackList(std::size_t most, Tones tones);

    ActivePartial At(std::size_t index) const;

    const bool mHasTones;
    std::size_t mCount = 0;
    std::vector<float> mBins;
    std::vector<float> mGainLimits;
    std::vector<float> mMagnitudes;
    std::vector<SInt32> mMissedFrames;
    std::vector<float> mFrequencies; // empty without tones, like the next
    std::vector<float> mPhases;
};

// Tracks that a peak may continue, an array for each of their values.
struct CandidateList {
    // With room for so many. Raises std::bad_alloc.
    explicit CandidateList(std::size_t most);

    std::size_t mCount = 0;
    std::vector<SInt32> mTracks; // their indices i, in rising order; ~i with another peak in reach
    std::vector<SInt32> mPeaks;  // the nearest one; the number of peaks for none
    std::vector<float> mGains;   // the rise from the track to the peak
};

// What is looked up of a peak by the bin that it lies in.
struct MappedPeak {
    float mMagnitude;
    SInt32 mPeak; // its index
};

// Where peaks lie, at most one to a bin.
struct PeakMap {
    // For so many bins. Raises std::bad_alloc.
    explicit PeakMap(UInt32 numBins);

    const UInt32 mNumBins;
    std::vector<float> mPlaces; // by bin, from that before the first on; infinity without a peak
    std::vector<MappedPeak> mPeaks; // by bin: the peak that lies in it, if one does
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
    // `numBins`: bins of the spectra, above 0. `tones`: kept where peaks have any. Raises
    // std::bad_alloc.
    explicit PartialTracker(UInt32 numBins, Tones tones = Tones::kLeft);

    // The peaks of the frame, in rising order of bin; bins are finite numbers from 0 on, below
    // numBins.
    PeakList& Peaks() { return mPeaks; }

    // One frame. `magnitudes` are numBins linear magnitudes, above 0, with room for a vector
    // after them. `threshold` is the natural logarithm below which there are no peaks.
    //
    // Required by the contract: it is set against the linear magnitude of a peak that is about to
    // begin a track, which always exceeds it. Comparing logarithms changes no value today.
    //
    // Tracks choose among the peaks in their order, the oldest first, each the nearest one within a
    // bin. A track without a peak lives through 4 frames, unless the magnitude at its place falls
    // below a fifth of its own; one that would rise by more than its limit ends, and leaves the
    // peak free. Remaining peaks begin new tracks after the others.
    void Track(const float* magnitudes, float threshold);

    // The tracks that live, oldest first; MostPartials at most.
    const TrackList& Partials() const { return mPartials; }

    // A track had a peak of its own in this frame or in one of the last 4.
    static constexpr UInt32 MostPartials(UInt32 numBins) { return 5 * MostPeaks(numBins); }

private:
    void MapPeaks();
    SInt32 NearestPeak(float bin) const;
    SInt32 NearestFreePeak(float bin, SInt32 nearest) const;
    void MatchAll();
    void Choose();
    void MatchCrowded();
    void MatchAgain(std::size_t candidate);
    void Continue(std::span<const UInt32> candidates);

    PeakList mPeaks;
    TrackList mPartials;
    CandidateList mCandidates;
    std::vector<UInt32> mContinued; // the candidates that are, in rising order
    PeakMap mPeakMap;
    std::vector<SInt32> mPeakBins;  // the bins of the places of the peaks
    std::vector<SInt32> mTrackBins; // those of the tracks, before any is continued
    bool mIsCrowded = false;        // a bin has several peaks
};

} // namespace qel::core
