#pragma once

#include "readings/OnsetStrength.h"

#include <QelReadings.hpp>

#include <cstddef>
#include <vector>

namespace qel::readings {

// Onsets: peaks of the onset strength that stand above their surroundings, with the attack placed
// between frames. After Boeck, Krebs and Schedl, Evaluating the online capabilities of onset
// detection methods, ISMIR, 2012.
//
// An onset depends on the frames up to 0.11 s after it and none later, so that a longer stream has
// the same ones.
std::vector<Onset> findOnsets(const OnsetStrength& strength, double framesPerSecond);

// The onset that a peak of the onset strength tells of: the attack lies between frames, at the
// vertex of the parabola through the peak and its neighbours.
Onset onsetAtPeak(const std::vector<float>& curve, std::size_t peak, double framesPerSecond);

} // namespace qel::readings
