#pragma once

#include "timbre/PartialTracker.h"

#include <QelAudioAnalysis.h>

#include <cstddef>

namespace qel::core {

// The steps of a PartialTracker that take many tracks at a time. None allocates; all may run in any
// thread. Arrays have kVectorRoom elements after those that count.

// The distance within which a peak continues a track, in bins.
constexpr float kReach = 1.0f;

// More missed frames than this end a track.
constexpr SInt32 kMostMissedFrames = 3;

// The bins that the places of tracks lie in, within 0 and numBins - 1, where numBins is above 0; 0
// for a place that is no number. Any bins stand after them, up to a whole vector.
void FindBins(const TrackList& tracks, UInt32 numBins, SInt32* bins);

// Marks where the peaks lie; `bins` receives the bins of their places. Whether each has a bin of
// its own; if not, the map means nothing.
bool MapPlaces(const PeakList& peaks, PeakMap& map, SInt32* bins);

// The tracks with a peak in reach, in their order, each with the nearest one, the lower of two, and
// marked if there is another. The gain of each is the magnitude of the peak by that of the track.
// `bins` are those of FindBins.
void MatchTracks(const TrackList& tracks, const SInt32* bins, const PeakMap& map,
                 CandidateList& candidates);

// Turns gains to `factor` times their natural logarithms.
void FindGains(float factor, CandidateList& candidates);

// What a frame does to the tracks that it does not continue. Those that it does have -1 missed
// frames.
struct Misses {
    const float* mMagnitudes; // linear, by bin; there is room for a vector after them
    const SInt32* mBins;      // of the places of the tracks, as FindBins gives them
};

// Counts a missed frame for each track, and erases those that are lost: with too many missed
// frames, or of which too little is left. The others keep their order.
void EraseLost(TrackList& tracks, const Misses& misses);

// Begins a track with each peak that is not taken and above `threshold`, with the gain limit given.
void BeginTracks(TrackList& tracks, const PeakList& peaks, float threshold, float limit);

// How bins lie on the frequency axis: bin k at k * mSampleRate / mFrameSize.
struct BinScale {
    Float64 mSampleRate; // Hz
    UInt32 mFrameSize;   // samples
};

// The frequency in Hz of a place. Computed in double precision as far as the last rounding.
inline float FrequencyOf(float place, const BinScale& scale) {
    const Float64 rateTimesPlace = static_cast<Float64>(place) * scale.mSampleRate;
    return static_cast<float>(rateTimesPlace / scale.mFrameSize);
}

// That of the place of each track.
void FindFrequencies(const TrackList& tracks, const BinScale& scale, float* frequencies);

// The records of the frame `frame`, with room for a vector after them. The phases of tracks
// without any are 0.
void ListTracks(const TrackList& tracks, const float* frequencies, UInt32 numBins, Float64 frame,
                PartialRecord* records);

} // namespace qel::core
