#pragma once

#include <span>
#include <vector>

namespace qel::page {

// The tempo around each beat in beats per minute: from the time of the two beats before it to the
// two after it, of as many as there are. One value per beat; without a neighbour, 0.
std::vector<float> TempoOfBeats(std::span<const double> beatSeconds);

} // namespace qel::page
