#include "readings/rhythm/BeatActivity.h"

#include "readings/stream/Curve.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

constexpr double kMeanSeconds = 1;
constexpr double kHarmonySeconds = 0.23; // before and after a change
constexpr double kOnsetQuantile = 0.97;
constexpr double kQuantile = 0.98;
constexpr float kLeastShare = 0.25f;
constexpr float kOnsetShare = 0.6f;
constexpr float kNeighbourShare = 0.35f; // of an onset, one frame before and after it
constexpr float kLowShare = 0.15f;
constexpr float kHarmonyShare = 0.25f;

// What a curve has above its mean over `length` frames around, divided by a high quantile; where
// little ever rises, that quantile is low, and a share of the greatest value takes its place.
std::vector<float> aboveMean(const std::vector<float>& curve, std::size_t length, double share) {
    std::vector<double> sums(curve.size() + 1);
    for (std::size_t t = 0; t < curve.size(); ++t) {
        sums[t + 1] = sums[t] + curve[t];
    }
    std::vector<float> above(curve.size());
    const std::size_t half = length / 2;
    for (std::size_t t = 0; t < curve.size(); ++t) {
        const std::size_t first = t - std::min(t, half);
        const std::size_t end = std::min(t + half + 1, curve.size());
        const double mean = (sums[end] - sums[first]) / static_cast<double>(2 * half + 1);
        above[t] = static_cast<float>(std::max(curve[t] - mean, 0.0));
    }
    const float greatest = above.empty() ? 0 : *std::ranges::max_element(above);
    const float high = std::max(quantile(above, share), kLeastShare * greatest);
    for (float& value : above) {
        value /= high + 1e-9f;
    }
    return above;
}

std::vector<float> harmonyChange(const Harmony& chroma, std::size_t frames, std::size_t reach) {
    std::vector<float> change(frames);
    for (std::size_t t = reach; t + reach < frames; ++t) {
        const auto at = static_cast<double>(t);
        const auto length = static_cast<double>(reach);
        change[t] =
            Harmony::distance(chroma.meanOfAll(at - length, at), chroma.meanOfAll(at, at + length));
    }
    return change;
}

} // namespace

BeatActivity::BeatActivity(const OnsetStrength& strength, const Harmony& chroma,
                           double framesPerSecond) {
    const auto length = static_cast<std::size_t>(std::lround(kMeanSeconds * framesPerSecond));
    const auto reach = static_cast<std::size_t>(std::lround(kHarmonySeconds * framesPerSecond));
    onset = aboveMean(strength.all(), length, kOnsetQuantile);
    low = aboveMean(strength.low(), length, kQuantile);
    harmony =
        aboveMean(harmonyChange(chroma, strength.all().size(), std::max(reach, std::size_t{1})),
                  length, kQuantile);
}

// Dry strokes take one frame, a beat of the path several: so onsets reach into the next frames.
std::vector<float> BeatActivity::together() const {
    std::vector<float> sum(onset.size());
    for (std::size_t t = 0; t < sum.size(); ++t) {
        const float before = t > 0 ? onset[t - 1] : 0;
        const float after = t + 1 < onset.size() ? onset[t + 1] : 0;
        const float wide = std::max(onset[t], kNeighbourShare * std::max(before, after));
        sum[t] = kOnsetShare * wide + kLowShare * low[t] + kHarmonyShare * harmony[t];
    }
    return sum;
}

} // namespace qel::readings
