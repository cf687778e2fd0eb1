#pragma once

#include <vector>

namespace qel::bench {

inline constexpr double kSampleRateHz = 44100.0;
inline constexpr unsigned kMinuteSamples = 60 * 44100;

// One fixed minute of music-like sound at 44.1 kHz, mono: four decaying notes of six harmonics each
// per second over a quiet noise. The same samples in every run.
std::vector<float> MinuteOfMusic();

} // namespace qel::bench
