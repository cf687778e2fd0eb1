#pragma once

#include <cstddef>

#include <QelAudioAnalysis.h>

#include "timbre/PartialTracker.h"

namespace qel::core {

// The steps of a PartialTracker that take many tracks at a time. None allocates; all may run in any
// thread. Arrays have kVectorRoom elements behind those that count.

// The distance within which a peak continues a track, in bins.
constexpr float kReach = 1.0f;

// Where peaks lie, at most one to a bin: by bin, the first peak that is not below it, and the
// places of the peaks, with minus infinity before the first and infinity behind the last, twice.
struct PeakMap {
    const SInt32* mFirsts;
    const float* mPlaces;
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

// The records of the frame `frame`, with room for a vector behind them.
void ListTracks(const TrackList& tracks, UInt32 numBins, Float64 frame, PartialRecord* records);

} // namespace qel::core
