// Equal clicks at a steady tempo, and what the definitions alone say about their tempo and about
// the distance from a click to its beat.
#pragma once

#include <vector>

namespace qel::test {

inline constexpr double kFirstClickSeconds = 0.2;

// Bursts of noise with a decay of half a millisecond, from kFirstClickSeconds on, over noise at
// 74 dB below them. A click starts at the sample nearest to its time.
std::vector<float> ClickTrack(double rateHz, double clicksBPM, double seconds);

// Whether the rules for lags, ranges and related lags leave this whole tempo, exactly, as tempo 1
// or tempo 2 of a long track of equal clicks at it, with the default genre hint.
bool RulesAllow(double clicksBPM, double rateHz);

// The time of a beat minus that of its click, in seconds and below 0, where beats are tracked with
// a period of `periodFrames` function frames. See the source for its parts.
double BeatOffsetSeconds(double periodFrames, double rateHz);

} // namespace qel::test
