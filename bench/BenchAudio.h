#pragma once

#include <cstddef>
#include <vector>

namespace qel::bench {

inline constexpr double kSampleRateHz = 44100.0;
// Some keys take whole blocks of 512 samples only, so the minute is as many blocks as come nearest.
inline constexpr std::size_t kBlockSamples = 4096;
inline constexpr std::size_t kMinuteSamples = 646 * kBlockSamples; // 60.0004 s

// One fixed minute of music-like sound at 44.1 kHz, mono: four decaying notes of six harmonics each
// per second over a quiet noise. The same samples in every run.
const std::vector<float>& MinuteOfMusic();

// The same notes in bars of four, the first of which is stronger: equal notes have no meter, and
// without one the results about a whole stream fail. For streams of several minutes it is repeated.
const std::vector<float>& MinuteInFour();

} // namespace qel::bench
