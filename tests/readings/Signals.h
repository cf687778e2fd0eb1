// Audio whose readings are known.
#pragma once

#include "readings/include/QelReadings.hpp"

#include <cstddef>
#include <functional>
#include <vector>

namespace qel::readings::test {

inline constexpr double kRateHz = 44100;

using Samples = std::vector<float>;

Samples silence(double seconds, double rateHz = kRateHz);
Samples sine(double hz, double seconds, float amplitude = 0.5f, double rateHz = kRateHz);
// White noise from a fixed seed, uniform within the amplitude.
Samples noise(double seconds, float amplitude = 0.3f, double rateHz = kRateHz);
// Sums of the first eight harmonics, each weaker than the one before.
Samples tone(double hz, double seconds, float amplitude = 0.3f, double rateHz = kRateHz);
// A sound that falls to 1/e in this time.
Samples decaying(Samples sound, double decaySeconds, double rateHz = kRateHz);
// A sound that begins at each of these times.
Samples struck(const Samples& sound, const std::vector<double>& times, double seconds,
               double rateHz = kRateHz);
// Strokes of decaying noise at these times.
Samples strokes(const std::vector<double>& times, double seconds, double rateHz = kRateHz);
// Drums: decaying bass, noise with a tone, noise without bass.
Samples kicks(const std::vector<double>& times, double seconds);
Samples snares(const std::vector<double>& times, double seconds);
Samples hats(const std::vector<double>& times, double seconds);
// Times at a distance, from `first` on and before `end`.
std::vector<double> times(double first, double distance, double end);
Samples joined(const std::vector<Samples>& parts);
Samples sum(const Samples& a, const Samples& b);

// Reads a stream of one channel in one push.
Answers read(std::initializer_list<Reading> readings, const Samples& samples,
             double rateHz = kRateHz);

// One reading of such a stream.
std::vector<Onset> onsetsOf(const Samples& samples);
std::vector<Pitch> pitchesOf(const Samples& samples);

} // namespace qel::readings::test
