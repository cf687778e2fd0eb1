#include "readings/tone/KeyStrength.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace qel::readings {
namespace {

constexpr double kLeastStrength = 0.15;

// A logistic function, fitted to scores of known key, to excerpts of 4 to 15 s of them, and to
// sounds without a key. docs/accuracy.md describes them.
constexpr double kOffset = -10.18;
constexpr double kOfCorrelation = 10.68;
constexpr double kOfLead = 8.22;
constexpr double kOfLogSeconds = 0.64;
constexpr double kOfMissingClasses = -1.0;
constexpr double kOfAgreement = 0.61;
constexpr double kOfLogContrast = 1.76;

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

float keyStrength(const KeyEvidence& evidence) {
    if (evidence.correlation <= 0) {
        return 0; // silence
    }
    const double seconds = std::clamp(evidence.seconds, kShortestSeconds, kLongestSeconds);
    const double missing = std::max(kClassesOfAScale - classesOf(evidence.chroma), 0.0);
    const double odds = kOffset + kOfCorrelation * evidence.correlation + kOfLead * evidence.lead +
                        kOfLogSeconds * std::log(seconds) + kOfMissingClasses * missing +
                        kOfAgreement * evidence.agreement +
                        kOfLogContrast * std::log(contrastOf(evidence.chroma) + 0.05);
    const double chance = 1 / (1 + std::exp(-odds));
    return chance < kLeastStrength ? 0 : static_cast<float>(chance);
}

} // namespace qel::readings
