#pragma once

#include "rhythm/onsets/OnsetCurve.h"

#include <algorithm>
#include <cstddef>

namespace qel::core {

// A part of the low-pass of a detection curve, which goes from the last value to the first, for
// whoever has time for it. Each step waits for the one before, so that a processor that does
// nothing else is idle for most of the time.
struct LowPassRun {
    const float* inputs = nullptr; // of the values from the first one of the part on
    float* curve = nullptr;        // receives the values of the lower bound, as many
    std::size_t left = 0;          // values that are to be made, from the first one on
    OnsetCurveBounds bounds;       // of the value after those that are left
};

// Steps that a run goes on by for each sample that comes. More would take longer than the filters
// need for a sample, fewer would not keep up with the stream.
inline constexpr std::size_t kLowPassStepsPerSample = 2;

// Goes on by `steps` values, at most run.left.
inline void GoOn(LowPassRun& run, std::size_t steps) {
    float least = run.bounds.least;
    float greatest = run.bounds.greatest;
    for (; steps > 0; --steps) {
        const std::size_t i = --run.left;
        least = kOnsetSmoothingPole * least + run.inputs[i];
        greatest = kOnsetSmoothingPole * greatest + run.inputs[i];
        run.curve[i] = least;
    }
    run.bounds = {least, greatest};
}

} // namespace qel::core
