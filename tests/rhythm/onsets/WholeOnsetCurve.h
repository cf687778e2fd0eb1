#pragma once

#include "rhythm/onsets/LowPassRun.h"
#include "rhythm/onsets/OnsetCurve.h"

#include <MacTypes.h>

#include <vector>

namespace qel::core {

// From bounds of the value after `n` values of a curve, those of their first. Reads n + 1 sums;
// `curve` receives n values of the lower bound, and may be the same as `sum`.
inline OnsetCurveBounds OnsetCurveBoundsBefore(const float* sum, float* curve, UInt32 n,
                                               OnsetCurveBounds bounds) {
    std::vector<float> inputs(n);
    FormOnsetInputs(sum, inputs.data(), n);
    LowPassRun run{inputs.data(), curve, n, bounds};
    GoOn(run, n);
    return run.bounds;
}

inline OnsetCurveBounds OnsetCurveBoundsBefore(const float* sum, UInt32 n,
                                               OnsetCurveBounds bounds) {
    std::vector<float> curve(n);
    return OnsetCurveBoundsBefore(sum, curve.data(), n, bounds);
}

// The curve in front of the value `next`.
inline void MakeOnsetCurve(const float* sum, float* curve, UInt32 n, float next) {
    OnsetCurveBoundsBefore(sum, curve, n, {next, next});
}

} // namespace qel::core
