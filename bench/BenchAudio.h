#pragma once

#include <vector>

namespace qel::bench {

inline constexpr double kSampleRateHz = 44100.0;
inline constexpr unsigned kMinuteSamples = 60 * 44100;
inline constexpr unsigned kSongSamples = 3 * kMinuteSamples;

// One fixed minute of music-like sound at 44.1 kHz, mono: four decaying notes of six harmonics each
// per second over a quiet noise. The same samples in every run.
std::vector<float> MinuteOfMusic();

// Three minutes of the same notes in bars of four, the first of which is stronger: equal notes have
// no meter, and without one the results about a whole stream fail.
std::vector<float> SongInFour();

} // namespace qel::bench
