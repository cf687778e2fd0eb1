#include "readings/rhythm/Pauses.h"

#include "readings/rhythm/TempoFit.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace qel::readings {
namespace {

constexpr double kNearSeconds = 0.05;  // a beat may stand off the sound that it belongs to
constexpr double kSameStep = 0.02;     // as a ratio
constexpr double kOnGrid = 0.125;      // of a beat
constexpr std::size_t kMostBeats = 16; // on either side: a slow drift is not the pause's

using Times = std::span<const double>;

Times beatsIn(Times beats, double begin, double end) {
    const auto first = std::ranges::lower_bound(beats, begin);
    const auto last = std::ranges::upper_bound(beats, end);
    return first < last ? Times(first, last) : Times();
}

std::optional<Grid> gridOf(Times beats) {
    return beats.size() < 2 ? std::nullopt : fitGrid(beats, bpmOf({beats.begin(), beats.end()}));
}

bool goesOn(Times before, Times after) {
    const auto left = gridOf(before.last(std::min(before.size(), kMostBeats)));
    const auto right = gridOf(after.first(std::min(after.size(), kMostBeats)));
    if (!left || !right || std::abs(left->bpm / right->bpm - 1) > kSameStep) {
        return false;
    }
    const double bpm = (left->bpm + right->bpm) / 2;
    const double beats = (right->firstBeatSeconds - left->firstBeatSeconds) * bpm / 60;
    return std::abs(beats - std::round(beats)) <= kOnGrid;
}

} // namespace

std::vector<bool> beatsKept(Times beats, std::span<const TimeRange> parts) {
    std::vector<bool> kept(beats.size(), true);
    for (std::size_t p = 0; p + 1 < parts.size(); ++p) {
        const double begin = parts[p].endSeconds + kNearSeconds;
        const double end = parts[p + 1].beginSeconds - kNearSeconds;
        const Times before = beatsIn(beats, parts[p].beginSeconds - kNearSeconds, begin);
        const Times after = beatsIn(beats, end, parts[p + 1].endSeconds + kNearSeconds);
        if (goesOn(before, after)) {
            continue;
        }
        for (std::size_t i = 0; i < beats.size(); ++i) {
            kept[i] = kept[i] && (beats[i] <= begin || beats[i] >= end);
        }
    }
    return kept;
}

} // namespace qel::readings
