#include "readings/BarFinder.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace qel::readings {
namespace {

constexpr std::size_t kFewestBeats = 6;
constexpr std::size_t kFeatures = 8;
// Of the features in the order of downBeatLogOdds, and of 1. From a logistic regression over the
// developing half of the material of docs/accuracy.md.
constexpr std::array<double, kFeatures + 1> kWeights{0.654, 0.097, 0.518, 0.046, 0.647,
                                                     0.205, 0.287, 0.291, -1.031};

struct Meter {
    std::size_t beats;
    double logPrior;
};
constexpr std::array<Meter, 5> kMeters{{{2, 0.0}, {3, 0.0}, {4, 0.4}, {5, -1.0}, {7, -1.0}}};

void standardize(std::vector<double>& values) {
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
        value = (value - mean) / (deviation + 1e-6);
    }
}

// The greatest value from 2 frames before to 3 frames after a frame.
double greatestAround(const std::vector<float>& curve, double frame) {
    const auto middle = static_cast<std::size_t>(std::max(frame, 0.0));
    if (middle >= curve.size()) {
        return 0;
    }
    const std::size_t first = middle - std::min<std::size_t>(middle, 2);
    const std::size_t end = std::min(middle + 4, curve.size());
    return *std::max_element(curve.begin() + static_cast<std::ptrdiff_t>(first),
                             curve.begin() + static_cast<std::ptrdiff_t>(end));
}

// log(1 / (1 + exp(-x))), without an overflow.
double logLogistic(double x) {
    return x > 0 ? -std::log1p(std::exp(-x)) : x - std::log1p(std::exp(x));
}

} // namespace

std::vector<double> BarFinder::downBeatLogOdds(std::span<const double> beatSeconds) const {
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

    std::array<std::vector<double>, kFeatures> features;
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
        features[4].push_back(greatestAround(mStrength.low(), places[i]));
        features[5].push_back(greatestAround(mStrength.all(), places[i]));
        features[6].push_back(greatestAround(mStrength.middle(), places[i]));
        features[7].push_back(greatestAround(mStrength.high(), places[i]));
    }
    std::vector<double> logOdds(n, kWeights[kFeatures]);
    for (std::size_t f = 0; f < kFeatures; ++f) {
        standardize(features[f]);
        for (std::size_t i = 0; i < n; ++i) {
            logOdds[i] += kWeights[f] * features[f][i];
        }
    }
    return logOdds;
}

BarFinder::Result BarFinder::find(std::span<const double> beatSeconds) const {
    Result best;
    if (beatSeconds.size() < kFewestBeats) {
        return best;
    }
    const std::vector<double> logOdds = downBeatLogOdds(beatSeconds);
    double none = 0; // the likelihood that no beat is a down beat
    for (const double odds : logOdds) {
        none += logLogistic(-odds);
    }
    std::array<double, 2> greatest{-1e300, -1e300};
    for (const Meter& meter : kMeters) {
        for (std::size_t phase = 0; phase < meter.beats; ++phase) {
            double score = none + meter.logPrior;
            for (std::size_t i = phase; i < logOdds.size(); i += meter.beats) {
                score += logOdds[i]; // log p - log (1 - p)
            }
            if (score > greatest[0]) {
                greatest[1] = greatest[0];
                greatest[0] = score;
                best.beatsPerBar = static_cast<int>(meter.beats);
                best.phase = phase;
            } else if (score > greatest[1]) {
                greatest[1] = score;
            }
        }
    }
    const auto n = static_cast<double>(logOdds.size());
    best.logLikelihood = greatest[0] / n;
    best.lead = (greatest[0] - greatest[1]) / n;
    return best;
}

} // namespace qel::readings
