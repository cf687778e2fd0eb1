#pragma once

#include <cstddef>

#include <QelAudioAnalysis.h>

#include "timbre/PartialTracker.h"

namespace qel::core {

// The steps of a PartialTracker that take many tracks at a time. None allocates; all may run in any
// thread. Arrays have kVectorRoom elements behind those that count.

// The distance within which a peak continues a track, in bins.
constexpr float kReach = 1.0f;

// More missed frames than this end a track.
constexpr SInt32 kMostMissedFrames = 3;

// By bin, the first peak that is not below it; there is room for a vector behind the bins. Returns
// whether a bin has several peaks.
bool FindFirstPeaks(const PeakList& peaks, UInt32 numBins, SInt32* firsts);

// Where peaks lie, at most one to a bin: what FindFirstPeaks gives, and the places of the peaks,
// with minus infinity before the first and infinity three times behind the last.
struct PeakMap {
    const SInt32* mFirsts;
    const float* mPlaces;
    UInt32 mNumBins;
};

// The tracks with a peak in reach, in their order, each with the nearest one, the lower of two. The
// gain of each is the magnitude of the track.
void MatchTracks(const TrackList& tracks, const PeakMap& map, CandidateList& candidates);

// Divides the magnitude of each candidate's peak by its gain.
void DivideMagnitudes(const PeakList& peaks, CandidateList& candidates);

// What a frame does to the tracks that it does not continue. Those that it does have -1 missed
// frames.
struct Misses {
    const float* mMagnitudes; // linear, by bin
    UInt32 mNumBins;
};

// Counts a missed frame for each track, and erases those that are lost: with too many missed
// frames, or of which too little is left. The others keep their order.
void EraseLost(TrackList& tracks, const Misses& misses);

// Begins a track with each peak that is not taken and above `threshold`, with the gain limit given.
void BeginTracks(TrackList& tracks, const PeakList& peaks, float threshold, float limit);

// The records of the frame `frame`, with room for a vector behind them.
void ListTracks(const TrackList& tracks, UInt32 numBins, Float64 frame, PartialRecord* records);

} // namespace qel::core
