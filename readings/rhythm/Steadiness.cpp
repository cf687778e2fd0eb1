#include "readings/rhythm/Steadiness.h"

#include "readings/stream/Curve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <vector>

namespace qel::readings {
namespace {

constexpr double kChanged = 0.08;    // of an interval against the one before, as a ratio
constexpr double kNearMedian = 0.04; // of an interval against the median
constexpr double kMissed = 0.2;      // beat activity: nothing begins below
constexpr double kSilence = 0.05;    // added to activity before its logarithm
constexpr double kMostSeconds = 30;  // a longer stream proves no more
constexpr double kTiny = 1e-9;

// Weights of the figures in the order of steadinessFigures, and the log odds where all are 0.
// docs/accuracy.md tells what music and sounds they were fitted to.
#include "readings/rhythm/SteadyWeights.inc"

double changedShare(const std::vector<double>& intervals) {
    std::size_t changed = 0;
    for (std::size_t i = 1; i < intervals.size(); ++i) {
        changed += std::abs(intervals[i] / intervals[i - 1] - 1) > kChanged ? 1 : 0;
    }
    return static_cast<double>(changed) / static_cast<double>(intervals.size() - 1);
}

double shareNearMedian(const std::vector<double>& intervals) {
    const double median = medianOf(intervals);
    const auto near = std::ranges::count_if(
        intervals, [&](double interval) { return std::abs(interval / median - 1) < kNearMedian; });
    return static_cast<double>(near) / static_cast<double>(intervals.size());
}

// How much of a curve stands in few frames: the logarithm of its kurtosis.
struct Shape {
    double mean;
    double logKurtosis;
};

Shape shapeOf(const std::vector<float>& curve) {
    const auto n = static_cast<double>(curve.size());
    double sum = 0;
    for (const float value : curve) {
        sum += value;
    }
    const double mean = sum / n;
    double squares = 0;
    double fourths = 0;
    for (const float value : curve) {
        const double square = (value - mean) * (value - mean);
        squares += square;
        fourths += square * square;
    }
    const double variance = squares / n;
    return {mean, std::log(fourths / n / (variance * variance + kTiny) + kTiny)};
}

// What begins on the beats.
struct Strokes {
    double meanLog = 0;
    double missedShare = 0;
};

Strokes strokesOn(const BeatTimes& beats, const std::vector<float>& onset, double framesPerSecond) {
    Strokes strokes;
    const auto n = static_cast<double>(beats.size());
    for (const double seconds : beats) {
        const double activity = greatestAround(onset, seconds * framesPerSecond - 1);
        strokes.meanLog += std::log(activity + kSilence) / n;
        strokes.missedShare += activity < kMissed ? 1 / n : 0;
    }
    return strokes;
}

} // namespace

std::array<double, kSteadinessFigures> steadinessFigures(const BeatActivity& activity,
                                                         const BeatTimes& path,
                                                         const BeatTimes& beats,
                                                         double framesPerSecond) {
    const std::vector<float>& onset = activity.onset;
    const Shape shape = shapeOf(onset);
    const Strokes strokes = strokesOn(path, onset, framesPerSecond);
    const double seconds = static_cast<double>(onset.size()) / framesPerSecond;
    return {
        changedShare(intervalsOf(path)),
        shareNearMedian(intervalsOf(beats)),
        shape.mean,
        shape.logKurtosis,
        strokes.meanLog,
        strokes.missedShare,
        std::log(std::min(seconds, kMostSeconds)),
        std::log2(bpmOf(path) / 105),
    };
}

double steadyLogOdds(const BeatActivity& activity, const BeatTimes& path, const BeatTimes& beats,
                     double framesPerSecond) {
    const auto figures = steadinessFigures(activity, path, beats, framesPerSecond);
    return std::inner_product(figures.begin(), figures.end(), kWeights.begin(), kBase);
}

} // namespace qel::readings
