#include "readings/rhythm/BeatTimes.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {

std::vector<double> intervalsOf(const BeatTimes& beats) {
    std::vector<double> intervals;
    intervals.reserve(beats.size());
    for (std::size_t i = 1; i < beats.size(); ++i) {
        intervals.push_back(beats[i] - beats[i - 1]);
    }
    return intervals;
}

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double bpmOf(const BeatTimes& beats) {
    return 60 / medianOf(intervalsOf(beats));
}

double spreadOf(const BeatTimes& beats) {
    double sum = 0;
    double squares = 0;
    for (const double interval : intervalsOf(beats)) {
        sum += interval;
        squares += interval * interval;
    }
    const auto n = static_cast<double>(beats.size() - 1);
    return std::sqrt(std::max(squares / n - sum / n * (sum / n), 0.0)) / (sum / n);
}

BeatTimes divided(const BeatTimes& beats, std::size_t count) {
    BeatTimes all;
    all.reserve(beats.size() * count);
    for (std::size_t i = 0; i + 1 < beats.size(); ++i) {
        for (std::size_t j = 0; j < count; ++j) {
            const double share = static_cast<double>(j) / static_cast<double>(count);
            all.push_back(beats[i] + (beats[i + 1] - beats[i]) * share);
        }
    }
    all.push_back(beats.back());
    return all;
}

BeatTimes thinned(const BeatTimes& beats, std::size_t first, std::size_t step) {
    BeatTimes some;
    for (std::size_t i = first; i < beats.size(); i += step) {
        some.push_back(beats[i]);
    }
    return some;
}

BeatTimes between(const BeatTimes& beats, double share) {
    BeatTimes times;
    times.reserve(beats.size());
    for (std::size_t i = 0; i + 1 < beats.size(); ++i) {
        times.push_back(beats[i] + (beats[i + 1] - beats[i]) * share);
    }
    return times;
}

} // namespace qel::readings
