#pragma once

#include "readings/rhythm/BeatActivity.h"
#include "readings/rhythm/BeatTimes.h"

namespace qel::readings {

// The log odds that a stream keeps to a tempo: above 0 it does, slow drifts included. A logistic
// function of how even the path of the beats is, of the onset strength on it, and of the onset
// strength overall.
//
// `path` are the beats as BeatPath found them, at least 3; `beats` is the chosen reading of them.
double steadyLogOdds(const BeatActivity& activity, const BeatTimes& path, const BeatTimes& beats,
                     double framesPerSecond);

} // namespace qel::readings
