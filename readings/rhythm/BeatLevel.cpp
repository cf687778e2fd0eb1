#include "readings/rhythm/BeatLevel.h"

#include "readings/stream/Curve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

namespace qel::readings {
namespace {

constexpr double kLowestBpm = 40;
constexpr double kHighestBpm = 230;
constexpr std::size_t kFewestBeats = 6;
// Of the onsets on the path's beats, for another reading of them to be considered.
constexpr double kLeastShare = 0.6;
constexpr double kSameTempo = 0.08; // as a ratio
constexpr double kMostLogOdds = 9.2;

// The readings of a path, by the ratio of their tempo to that of the path.
enum Ratio : std::size_t { kSame, kDouble, kTriple, kHalf, kThird, kTwoThirds, kThreeHalves, kOff };

// The weights of the figures of a reading in the order of figuresOf, and what each ratio adds. From
// a conditional logistic regression; docs/accuracy.md tells what music it was made from.
#include "readings/rhythm/BeatWeights.inc"

} // namespace

// In all phases.
std::vector<BeatLevel::Candidate> BeatLevel::readingsOf(const BeatTimes& path) {
    const BeatTimes halves = divided(path, 2);
    const BeatTimes thirds = divided(path, 3);
    std::vector<Candidate> all{
        {kSame, path}, {kDouble, halves}, {kTriple, thirds}, {kOff, between(path, 0.5)}};
    for (std::size_t first = 0; first < 3; ++first) {
        if (first < 2) {
            all.push_back({kHalf, thinned(path, first, 2)});
            all.push_back({kThreeHalves, thinned(thirds, first, 2)});
        }
        all.push_back({kThird, thinned(path, first, 3)});
        all.push_back({kTwoThirds, thinned(halves, first, 3)});
    }
    std::erase_if(all, [](const Candidate& each) {
        return each.beats.size() < kFewestBeats || bpmOf(each.beats) < kLowestBpm ||
               bpmOf(each.beats) > kHighestBpm;
    });
    return all;
}

double BeatLevel::meanAt(const std::vector<float>& curve, const BeatTimes& times) const {
    double sum = 0;
    for (const double seconds : times) {
        sum += greatestAround(curve, seconds * mFramesPerSecond - 1);
    }
    return sum / static_cast<double>(std::max<std::size_t>(times.size(), 1));
}

std::array<double, BeatLevel::kFigures> BeatLevel::figuresOf(const BeatTimes& beats) const {
    const double bpm = bpmOf(beats);
    const double octaves = std::log2(bpm / 105);
    const double lag = 60 * mFramesPerSecond / bpm;
    const BeatTimes halves = between(beats, 0.5);
    const std::vector<float>& onset = mActivity.onset;
    const std::vector<float>& harmony = mActivity.harmony;
    const BarFinder::Result bars = mBars.find(beats);
    return {
        octaves,
        octaves * octaves,
        meanAt(onset, beats),
        meanAt(onset, halves),
        meanAt(onset, between(beats, 1.0 / 3)) + meanAt(onset, between(beats, 2.0 / 3)),
        meanAt(harmony, beats),
        meanAt(harmony, halves),
        bars.score,
        spreadOf(beats),
        autocorrelation(onset, lag),
        autocorrelation(onset, 2 * lag),
        autocorrelation(onset, 4 * lag),
        autocorrelation(harmony, lag),
        autocorrelation(harmony, 2 * lag),
        autocorrelation(harmony, 4 * lag),
        bars.leadOfTwo,
    };
}

std::vector<BeatLevel::Candidate> BeatLevel::candidatesOf(const BeatTimes& path) const {
    if (path.size() < kFewestBeats) {
        return {};
    }
    std::vector<Candidate> all = readingsOf(path);
    const double least = kLeastShare * meanAt(mActivity.onset, path);
    std::erase_if(
        all, [&](const Candidate& each) { return meanAt(mActivity.onset, each.beats) < least; });
    for (Candidate& each : all) {
        each.figures = figuresOf(each.beats);
        each.score = std::inner_product(each.figures.begin(), each.figures.end(),
                                        kBeatWeights.begin(), kRatioWeights[each.ratio]);
    }
    return all;
}

BeatLevel::Choice BeatLevel::choose(const BeatTimes& path) const {
    Choice choice;
    const std::vector<Candidate> all = candidatesOf(path);
    if (all.empty()) {
        return choice;
    }
    const Candidate& best = *std::ranges::max_element(all, {}, &Candidate::score);
    const double bpm = bpmOf(best.beats);
    double same = 0;
    double others = 0;
    double greatest = 0;
    for (const Candidate& each : all) {
        const double share = std::exp(each.score - best.score);
        const double otherBpm = bpmOf(each.beats);
        if (std::abs(otherBpm / bpm - 1) <= kSameTempo) {
            same += share;
            continue;
        }
        others += share;
        ++choice.rivals;
        if (share > greatest) {
            greatest = share;
            choice.alternativeBpm = otherBpm;
        }
    }
    choice.logOdds = others > 0 ? std::min(std::log(same / others), kMostLogOdds) : kMostLogOdds;
    choice.beats = best.beats;
    return choice;
}

} // namespace qel::readings
