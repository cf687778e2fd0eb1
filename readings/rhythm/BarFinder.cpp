#include "readings/rhythm/BarFinder.h"

#include "readings/stream/Curve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace qel::readings {
namespace {

constexpr std::size_t kFewestBeats = 6;
// A feature that varies less than this is not stretched, as what hardly differs is no evidence: in
// changes of harmony, in onset strength, and as a share of the mean onset strength.
constexpr std::size_t kHarmonyFeatures = 4; // the first ones
constexpr double kLeastOfHarmony = 0.02;
constexpr double kLeastOfStrength = 0.01;
constexpr double kLeastShare = 0.1;

struct Meter {
    std::size_t beats;
    double prior;
};

// The weights of the features, the meters, and what the mean evidence per beat weighs against their
// priors. It does not grow with the length of the stream: an accompaniment that repeats misleads in
// every bar. docs/accuracy.md tells what music they were fitted to.
#include "readings/rhythm/BarWeights.inc"

// Strokes that are all the same reach evidence of 2, as frames cut them differently; the music that
// the weights were made from has 4 at least.
constexpr double kLeastEvidence = 3;
constexpr double kMostLogOdds = 9.2;

// To mean 0 and deviation 1, or less where the values vary little.
void standardize(std::vector<double>& values, double least, double leastShare) {
    double sum = 0;
    double squares = 0;
    for (const double value : values) {
        sum += value;
        squares += value * value;
    }
    const auto n = static_cast<double>(values.size());
    const double mean = sum / n;
    const double deviation = std::sqrt(std::max(squares / n - mean * mean, 0.0));
    for (double& value : values) {
        value = (value - mean) / (deviation + least + leastShare * mean);
    }
}

// The greatest sum of evidence on every so many beats, and which beat is the first of them.
std::pair<double, std::size_t> bestPhase(std::span<const double> evidence, std::size_t beats) {
    std::pair<double, std::size_t> best{-1e300, 0};
    for (std::size_t phase = 0; phase < beats; ++phase) {
        double sum = 0;
        for (std::size_t i = phase; i < evidence.size(); i += beats) {
            sum += evidence[i];
        }
        if (sum > best.first) {
            best = {sum, phase};
        }
    }
    return best;
}

} // namespace

BarFinder::Features BarFinder::featuresOf(std::span<const double> beatSeconds) const {
    // Frames whose second half begins at the beat, with one beat more at both ends.
    std::vector<double> places;
    const double last = static_cast<double>(mStrength.all().size()) - 1;
    const auto frameOf = [&](double seconds) {
        return std::clamp(seconds * mFramesPerSecond - 1, 0.0, std::max(last, 0.0));
    };
    const std::size_t n = beatSeconds.size();
    places.push_back(frameOf(2 * beatSeconds[0] - beatSeconds[1]));
    for (const double seconds : beatSeconds) {
        places.push_back(frameOf(seconds));
    }
    places.push_back(frameOf(2 * beatSeconds[n - 1] - beatSeconds[n - 2]));

    Features features;
    for (std::size_t i = 1; i <= n; ++i) {
        const std::size_t before = i < 2 ? 0 : i - 2;
        const std::size_t after = std::min(i + 2, n + 1);
        const auto round = [&](std::size_t place) { return std::round(places[place]); };
        const auto change = [&](auto mean, std::size_t from, std::size_t to) {
            return double{
                Harmony::distance(mean(round(from), round(i)), mean(round(i), round(to)))};
        };
        const auto all = [&](double a, double b) { return mChroma.meanOfAll(a, b); };
        const auto bass = [&](double a, double b) { return mChroma.meanOfBass(a, b); };
        features[0].push_back(change(all, i - 1, i + 1));
        features[1].push_back(change(bass, i - 1, i + 1));
        features[2].push_back(change(all, before, after));
        features[3].push_back(change(bass, before, after));
        features[4].push_back(sumAround(mStrength.low(), places[i]));
        features[5].push_back(sumAround(mStrength.all(), places[i]));
        features[6].push_back(sumAround(mStrength.middle(), places[i]));
        features[7].push_back(sumAround(mStrength.high(), places[i]));
    }
    for (std::size_t f = 0; f < kFeatures; ++f) {
        const bool isHarmony = f < kHarmonyFeatures;
        standardize(features[f], isHarmony ? kLeastOfHarmony : kLeastOfStrength,
                    isHarmony ? 0 : kLeastShare);
    }
    return features;
}

BarFinder::Result BarFinder::find(std::span<const double> beatSeconds) const {
    Result best;
    if (beatSeconds.size() < kFewestBeats) {
        return best;
    }
    const Features features = featuresOf(beatSeconds);
    std::vector<double> evidence(beatSeconds.size());
    for (std::size_t f = 0; f < kFeatures; ++f) {
        for (std::size_t i = 0; i < evidence.size(); ++i) {
            evidence[i] += kWeights[f] * features[f][i];
        }
    }
    const auto n = static_cast<double>(evidence.size());
    std::array<double, kMeters.size()> scores{};
    double greatestEvidence = 0;
    for (std::size_t m = 0; m < kMeters.size(); ++m) {
        const auto [sum, phase] = bestPhase(evidence, kMeters[m].beats);
        const double onDownBeats = kEvidence * sum / n;
        greatestEvidence = std::max(greatestEvidence, onDownBeats);
        scores[m] = kMeters[m].prior + onDownBeats;
        if (best.beatsPerBar == 0 || scores[m] > best.score) {
            best.score = scores[m];
            best.beatsPerBar = static_cast<int>(kMeters[m].beats);
            best.phase = phase;
        }
    }
    double all = 0;
    for (const double score : scores) {
        all += std::exp(score - best.score);
    }
    best.logOdds = all > 1 ? std::min(-std::log(all - 1), kMostLogOdds) : kMostLogOdds;
    if (greatestEvidence < kLeastEvidence) {
        best.beatsPerBar = 0;
    }
    return best;
}

} // namespace qel::readings
