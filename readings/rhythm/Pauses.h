#pragma once

#include "readings/rhythm/BeatTimes.h"

#include <span>
#include <vector>

namespace qel::readings {

// From a time on and up to another.
struct TimeRange {
    double beginSeconds = 0;
    double endSeconds = 0;
};

// Which beats stay: those in the parts that sound, and those in a pause between two parts if the
// beats after it go on with the grid of the beats before it.
std::vector<bool> beatsKept(std::span<const double> beats, std::span<const TimeRange> parts);

} // namespace qel::readings
