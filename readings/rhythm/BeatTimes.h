#pragma once

#include <cstddef>
#include <vector>

namespace qel::readings {

// Ascending times in seconds, two at least where their distances are asked for.
using BeatTimes = std::vector<double>;

std::vector<double> intervalsOf(const BeatTimes& beats);
double medianOf(std::vector<double> values);
// 60 over the median of the intervals.
double bpmOf(const BeatTimes& beats);
// Standard deviation of the intervals over their mean.
double spreadOf(const BeatTimes& beats);

// `count` - 1 times more between every two.
BeatTimes divided(const BeatTimes& beats, std::size_t count);
// Every `step`th, from number `first` on.
BeatTimes thinned(const BeatTimes& beats, std::size_t first, std::size_t step);
// Between every two beats, at that share of the interval.
BeatTimes between(const BeatTimes& beats, double share);

} // namespace qel::readings
