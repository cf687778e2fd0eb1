#include "readings/rhythm/TempoFit.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace qel::readings {
namespace {

constexpr std::size_t kFewestBeats = 4;
constexpr int kRounds = 8;
constexpr double kHuber = 0.05;          // of a beat
constexpr double kMostDeviation = 0.125; // of a beat, of half of the beats
constexpr double kLowest = -4; // beyond these, the log odds of a steady tempo tell no more
constexpr double kHighest = 6;
// Beyond these, the log odds of a level and the number of the readings that it was compared with
// tell no more. With few of them, the odds are great because nothing was left to compare.
constexpr double kMostOfLevel = 3;
constexpr std::size_t kMostRivals = 4;

// Weights of the log odds in the logistic functions of the strengths.
#include "readings/rhythm/StrengthWeights.inc"
constexpr double kLikeOthers = 0.08; // of the median interval

// Which beat of the grid each one is: the step from one to the next, to the nearest beat.
std::vector<double> numbersOf(std::span<const double> seconds, double interval) {
    std::vector<double> numbers{0};
    for (std::size_t i = 1; i < seconds.size(); ++i) {
        const double step = std::round((seconds[i] - seconds[i - 1]) / interval);
        numbers.push_back(numbers.back() + std::max(step, 1.0));
    }
    return numbers;
}

float logistic(double logOdds) {
    return static_cast<float>(1 / (1 + std::exp(-logOdds)));
}

double steadyOf(const BeatFinder::Result& beats) {
    return std::clamp(beats.steadyLogOdds, kLowest, kHighest);
}

double levelOf(const BeatFinder::Result& beats) {
    return std::min(beats.levelLogOdds, kMostOfLevel);
}

// 60 over the mean of the intervals that are like their median: finer than a hop.
double bpmWithoutGrid(const BeatFinder::Result& beats) {
    const std::vector<double> intervals = intervalsOf(beats.seconds);
    const double median = medianOf(intervals);
    double sum = 0;
    double count = 0;
    for (const double interval : intervals) {
        if (std::abs(interval / median - 1) <= kLikeOthers) {
            sum += interval;
            ++count;
        }
    }
    return 60 * count / sum;
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
    tempo.bpm = grid ? grid->bpm : bpmWithoutGrid(beats);
    tempo.alternativeBpm = beats.alternativeBpm * tempo.bpm / beats.bpm;
    tempo.isSteady = beats.steadyLogOdds > 0;
    const auto rivals = static_cast<double>(std::min(beats.rivals, kMostRivals));
    tempo.strength =
        logistic(kNeither + kLevel * levelOf(beats) + kRivals * rivals + kSteady * steadyOf(beats));
    return tempo;
}

// Clear beats do not make bars clearer than the bars' own odds.
float barStrength(const BarFinder::Result& bars, const BeatFinder::Result& beats) {
    const double logOdds = kNoBars + kBars * bars.logOdds + kLevelOfBars * levelOf(beats) +
                           kSteadyOfBars * steadyOf(beats);
    return logistic(std::min(logOdds, bars.logOdds));
}

} // namespace qel::readings
