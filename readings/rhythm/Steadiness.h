#pragma once

#include "readings/rhythm/BeatActivity.h"
#include "readings/rhythm/BeatTimes.h"

#include <array>
#include <cstddef>

namespace qel::readings {

// What tells whether a stream keeps to a tempo: how even the path of the beats is, how strongly
// something begins on it, and how much begins anywhere.
//
// `path` are the beats as BeatPath found them, at least 3; `beats` is the chosen reading of them.
constexpr std::size_t kSteadinessFigures = 8;
std::array<double, kSteadinessFigures> steadinessFigures(const BeatActivity& activity,
                                                         const BeatTimes& path,
                                                         const BeatTimes& beats,
                                                         double framesPerSecond);

// The log odds that a stream keeps to a tempo: above 0 it does, slow drifts included. A logistic
// function of these figures.
double steadyLogOdds(const BeatActivity& activity, const BeatTimes& path, const BeatTimes& beats,
                     double framesPerSecond);

} // namespace qel::readings
