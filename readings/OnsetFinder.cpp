#include "readings/OnsetFinder.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

constexpr double kPeakSeconds = 0.035;  // no higher strength within
constexpr double kBeforeSeconds = 0.14; // of the mean that a peak stands above
constexpr double kAfterSeconds = 0.093;
constexpr double kSilentSeconds = 0.035; // from one onset to the next
constexpr float kThreshold = 0.03f;      // above the mean
// From a peak to the attack that makes it, in hops: the median over the developing half of the
// material of docs/accuracy.md.
constexpr double kPeakHops = 0.57;
constexpr float kFullStrength = 0.5f; // a stroke out of silence has about as much

std::size_t framesOf(double seconds, double framesPerSecond) {
    return static_cast<std::size_t>(std::max(std::lround(seconds * framesPerSecond), 1L));
}

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

std::vector<Onset> findOnsets(const OnsetStrength& strength, double framesPerSecond) {
    const std::vector<float>& curve = strength.all();
    const std::size_t reach = framesOf(kPeakSeconds, framesPerSecond);
    const std::size_t before = framesOf(kBeforeSeconds, framesPerSecond);
    const std::size_t after = framesOf(kAfterSeconds, framesPerSecond);
    const std::size_t silent = framesOf(kSilentSeconds, framesPerSecond);
    std::vector<Onset> onsets;
    std::size_t next = 0; // the first frame that may hold one
    for (std::size_t t = 0; t < curve.size(); ++t) {
        const auto at = [&](std::size_t frame) {
            return curve.begin() + static_cast<std::ptrdiff_t>(std::min(frame, curve.size()));
        };
        const bool isPeak =
            t >= next && curve[t] > 0 &&
            curve[t] >= *std::max_element(at(t - std::min(t, reach)), at(t + reach + 1));
        if (!isPeak) {
            continue;
        }
        const std::size_t first = t - std::min(t, before);
        const std::size_t end = std::min(t + after + 1, curve.size());
        double sum = 0;
        for (std::size_t i = first; i < end; ++i) {
            sum += curve[i];
        }
        if (curve[t] < sum / static_cast<double>(end - first) + kThreshold) {
            continue;
        }
        onsets.push_back(onsetAtPeak(curve, t, framesPerSecond));
        next = t + silent;
    }
    return onsets;
}

} // namespace qel::readings
