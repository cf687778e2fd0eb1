#include "readings/TempoFit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace qel::readings {
namespace {

constexpr std::size_t kFewestBeats = 4;
constexpr int kRounds = 8;
constexpr double kHuber = 0.05;          // of a beat
constexpr double kMostDeviation = 0.125; // of a beat, of half of the beats
constexpr double kLeastProminence = 0.1; // of onsets on the beat, for a tempo to be steady
constexpr double kMostSpread = 0.15;     // of the intervals
// Logistic function from the lead, the prominence and the spread to the share of right answers,
// fitted over the developing half of the material of docs/accuracy.md.
constexpr std::array<double, 4> kStrength{-0.198, 0.527, 1.317, -5.27};

// Which beat of the grid each one is: the step from one to the next, to the nearest beat.
std::vector<double> numbersOf(std::span<const double> seconds, double interval) {
    std::vector<double> numbers{0};
    for (std::size_t i = 1; i < seconds.size(); ++i) {
        const double step = std::round((seconds[i] - seconds[i - 1]) / interval);
        numbers.push_back(numbers.back() + std::max(step, 1.0));
    }
    return numbers;
}

struct Line {
    double start;
    double step;
};

Line fitLine(std::span<const double> x, std::span<const double> y,
             std::span<const double> weights) {
    double w = 0;
    double wx = 0;
    double wy = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        w += weights[i];
        wx += weights[i] * x[i];
        wy += weights[i] * y[i];
    }
    const double meanX = wx / w;
    const double meanY = wy / w;
    double xx = 0;
    double xy = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        xx += weights[i] * (x[i] - meanX) * (x[i] - meanX);
        xy += weights[i] * (x[i] - meanX) * (y[i] - meanY);
    }
    const double step = xy / xx;
    return {meanY - step * meanX, step};
}

} // namespace

std::optional<Grid> fitGrid(std::span<const double> beatSeconds, double bpm) {
    if (beatSeconds.size() < kFewestBeats || bpm <= 0) {
        return std::nullopt;
    }
    const std::vector<double> numbers = numbersOf(beatSeconds, 60 / bpm);
    std::vector<double> weights(numbers.size(), 1);
    std::vector<double> deviations(numbers.size());
    Line line{};
    for (int round = 0; round < kRounds; ++round) {
        line = fitLine(numbers, beatSeconds, weights);
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            deviations[i] =
                std::abs(beatSeconds[i] - line.start - line.step * numbers[i]) / line.step;
            weights[i] = deviations[i] < kHuber ? 1 : kHuber / deviations[i];
        }
    }
    const auto middle = deviations.begin() + static_cast<std::ptrdiff_t>(deviations.size() / 2);
    std::nth_element(deviations.begin(), middle, deviations.end());
    if (!(line.step > 0) || *middle > kMostDeviation) {
        return std::nullopt;
    }
    return Grid{line.start, 60 / line.step};
}

Tempo tempoOf(const BeatFinder::Result& beats, const std::optional<Grid>& grid) {
    Tempo tempo;
    if (beats.bpm <= 0) {
        return tempo;
    }
    tempo.bpm = grid ? grid->bpm : beats.bpm;
    tempo.alternativeBpm = beats.alternativeBpm * tempo.bpm / beats.bpm;
    tempo.isSteady = grid && beats.prominence > kLeastProminence && beats.spread < kMostSpread;
    const double logOdds = kStrength[0] + kStrength[1] * beats.lead +
                           kStrength[2] * beats.prominence + kStrength[3] * beats.spread;
    tempo.strength = static_cast<float>(1 / (1 + std::exp(-logOdds)));
    return tempo;
}

} // namespace qel::readings
