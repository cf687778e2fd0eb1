#include "readings/rhythm/OnsetPlace.h"

#include <algorithm>

namespace qel::readings {
namespace {

constexpr float kLeast = 1e-6f;
constexpr float kFullStrength = 0.5f; // a stroke out of silence has about as much

// The place of an attack after the frame of its peak, in hops: a linear function of the values
// before and after the peak, as shares of it, and of the peak, up to that of a stroke out of
// silence. Strong peaks are those of sharp attacks, which show as soon as they enter a frame; soft
// ones take several frames. Made by bench/truth/fit_place.py: kPlaceWeights, in this order, and
// kPlace.
#include "readings/rhythm/PlaceWeights.inc"

} // namespace

Onset onsetAtPeak(const std::vector<float>& curve, std::size_t peak, double framesPerSecond) {
    const float value = std::max(curve[peak], kLeast);
    const float before = peak > 0 ? curve[peak - 1] / value : 0;
    const float after = peak + 1 < curve.size() ? curve[peak + 1] / value : 0;
    const float hops = kPlace + kPlaceWeights[0] * before + kPlaceWeights[1] * after +
                       kPlaceWeights[2] * std::min(value, kFullStrength);
    const double place = static_cast<double>(peak) + double{hops};
    return {std::max(place / framesPerSecond, 0.0), std::min(curve[peak] / kFullStrength, 1.0f)};
}

} // namespace qel::readings
