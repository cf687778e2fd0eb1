#pragma once

#include <cstddef>

namespace qel::core {

// The loops over bins of the phase properties. They are many and short: of a long loop, the
// processor has too few steps in work at a time. None allocates; all may run in any thread.

// What one frame leaves to the next, by bin.
struct PhaseHistory {
    float* mMagnitudes;
    float* mPhases;
    float* mDifferences; // of the phases before and these
};

// | magnitude - magnitude before * exp(phase before + difference before) | by bin.
//
// Required by the contract: exp(phase), not exp(i phase). A rotation changes all values.
void FindPredictionErrors(const float* magnitudes, const PhaseHistory& before, std::size_t count,
                          float* errors);

// UnWrap of `count` angles from -pi to pi, and PrincArg of what it gives, to the last bit. Returns
// the sum of as many terms, formed in rising order in single precision: each addition in either
// waits for the one before, so that doing both costs no more than one.
//
// phases  none of the other memory
float ContinuePhases(const float* angles, const float* terms, float* phases, std::size_t count);

// Replaces the history by these magnitudes and phases, which are from -pi to pi but for roundings.
//
// second    receives the phases' second differences, wrapped
// weighted  receives those times the magnitudes
void FollowPhases(const float* magnitudes, const float* phases, const PhaseHistory& history,
                  std::size_t count, float* second, float* weighted);

} // namespace qel::core
