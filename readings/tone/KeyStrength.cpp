#include "readings/tone/KeyStrength.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace qel::readings {
namespace {

constexpr double kLeastStrength = 0.15;

// Made by bench/truth/fit_key.py: kWeights, by figure, and kConstant.
#include "readings/tone/KeyWeights.inc"

constexpr double kShortestSeconds = 0.05;
constexpr double kLongestSeconds = 20; // more tell no more
constexpr double kClassesOfAScale = 7;

// The spread of the classes over their mean: near 0 for noise, atonal music and chromatic scales.
double contrastOf(const PitchClasses::Chroma& chroma) {
    const double mean = std::accumulate(chroma.begin(), chroma.end(), 0.0) / PitchClasses::kClasses;
    double squares = 0;
    for (const double value : chroma) {
        squares += (value - mean) * (value - mean);
    }
    return std::sqrt(squares / PitchClasses::kClasses) / mean;
}

// How many classes of equal strength have the same entropy: 1 for a single tone, 12 for noise.
double classesOf(const PitchClasses::Chroma& chroma) {
    const double sum = std::accumulate(chroma.begin(), chroma.end(), 0.0);
    double entropy = 0;
    for (const double value : chroma) {
        const double share = value / sum;
        entropy -= share > 0 ? share * std::log(share) : 0;
    }
    return std::exp(entropy);
}

} // namespace

std::array<double, kKeyFigures> keyFigures(const KeyEvidence& evidence) {
    const double seconds = std::clamp(evidence.seconds, kShortestSeconds, kLongestSeconds);
    return {evidence.correlation, evidence.lead,
            std::log(seconds),    std::max(kClassesOfAScale - classesOf(evidence.chroma), 0.0),
            evidence.agreement,   std::log(contrastOf(evidence.chroma) + 0.05)};
}

float keyStrength(const KeyEvidence& evidence) {
    if (evidence.correlation <= 0) {
        return 0; // silence
    }
    const std::array<double, kKeyFigures> figures = keyFigures(evidence);
    const double odds =
        std::inner_product(figures.begin(), figures.end(), kWeights.begin(), kConstant);
    const double chance = 1 / (1 + std::exp(-odds));
    return chance < kLeastStrength ? 0 : static_cast<float>(chance);
}

} // namespace qel::readings
