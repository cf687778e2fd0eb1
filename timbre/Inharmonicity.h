#pragma once

namespace qel::core {

// How far partials lie from multiples of a fundamental: the mean, weighted with the magnitudes, of
// four times the distance of frequency / fundamental from the nearest whole number. From 0 for
// harmonic partials to 2 for partials half way between two harmonics.
//
//   magnitudes   `count` linear magnitudes, 0 or above
//   frequencies  as many, in Hz
//   fundamental  one frequency in Hz, not 0
//   out          receives the value; 0 where the magnitudes or the distances sum to 0
//
// Sums are single precision, in the order of the partials. Keeps no state; any thread.
void ComputeInharmonicity(const float* magnitudes, const float* frequencies, unsigned int count,
                          const float* fundamental, float* out);

} // namespace qel::core
