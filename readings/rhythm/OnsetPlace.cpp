#include "readings/rhythm/OnsetPlace.h"

#include <algorithm>

namespace qel::readings {
namespace {

// From a peak to the attack that makes it, in hops: the median over the developing half of the
// material of docs/accuracy.md.
constexpr double kPeakHops = 0.57;
constexpr float kFullStrength = 0.5f; // a stroke out of silence has about as much

// The place of the vertex of a parabola through a peak and its neighbours, from -0.5 to 0.5.
double vertexOf(const std::vector<float>& curve, std::size_t peak) {
    if (peak == 0 || peak + 1 >= curve.size()) {
        return 0;
    }
    const double bend = double{curve[peak - 1]} - 2 * curve[peak] + curve[peak + 1];
    return bend < 0 ? (double{curve[peak - 1]} - curve[peak + 1]) / (2 * bend) : 0;
}

} // namespace

Onset onsetAtPeak(const std::vector<float>& curve, std::size_t peak, double framesPerSecond) {
    const double place = static_cast<double>(peak) + vertexOf(curve, peak) + kPeakHops;
    return {std::max(place / framesPerSecond, 0.0), std::min(curve[peak] / kFullStrength, 1.0f)};
}

} // namespace qel::readings
