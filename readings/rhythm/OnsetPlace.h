#pragma once

#include <QelReadings.hpp>

#include <cstddef>
#include <vector>

namespace qel::readings {

// The onset at a peak of the onset strength: the attack lies between frames, at the
// vertex of the parabola through the peak and its neighbours.
Onset onsetAtPeak(const std::vector<float>& curve, std::size_t peak, double framesPerSecond);

} // namespace qel::readings
