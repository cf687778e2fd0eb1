#pragma once

#include <cstddef>

#include "timbre/PartialTracker.h"

namespace qel::core {

// The steps of a PartialTracker that take many tracks at a time. None allocates; all may run in any
// thread. Arrays have kVectorRoom elements behind those that count.

// The distance within which a peak continues a track, in bins.
constexpr float kReach = 1.0f;

// Where peaks lie: by bin, one bin later, the place of the peak in it, or infinity, and its index.
struct PeakMap {
    const float* mPlaces;
    const SInt32* mIndices;
    UInt32 mNumBins;
};

// Per track the nearest peak in reach, the lowest of several, or the number of peaks for none,
// whose magnitude counts as that in the peaks' array there; and the quotient of its magnitude and
// the track's.
void MatchTracks(const TrackList& tracks, const PeakList& peaks, const PeakMap& map,
                 SInt32* matches, float* quotients);

// What a frame does to the tracks that it does not continue. Those that it does have -1 missed
// frames.
struct Misses {
    const float* mMagnitudes; // linear, by bin
    UInt32 mNumBins;
    const SInt32* mMatches; // by track
    SInt32 mNone;           // the match that stands for none
    const float* mGains;    // by track: the rise to its match
};

// Counts a missed frame for each track, and erases those that are lost; the others keep their
// order.
void EraseLost(TrackList& tracks, const Misses& misses);

// Begins a track with each peak that is not taken and above `threshold`, with the gain limit given.
void BeginTracks(TrackList& tracks, const PeakList& peaks, float threshold, float limit);

} // namespace qel::core
