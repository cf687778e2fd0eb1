#include "readings/BeatFinder.h"

#include "readings/BeatPath.h"
#include "readings/OnsetFinder.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace qel::readings {
namespace {

constexpr double kLowestBpm = 40;
constexpr double kHighestBpm = 230;
constexpr std::size_t kFewestBeats = 6;
// Of the onsets on the path's beats, for another reading of them to be considered.
constexpr double kLeastShare = 0.6;
constexpr double kSameTempo = 0.08; // as a ratio
// From a beat's frame on the path to the beat, and from a peak of the onset strength to the attack
// that makes it, in hops: the medians over the developing half of the material of docs/accuracy.md.
constexpr double kPathHops = 1.5;
constexpr double kPeakHops = 0.57;

constexpr std::size_t kFigures = 11;
// Of the figures in the order of scoreOf: weight, mean and deviation. From a conditional logistic
// regression over the developing half of the material of docs/accuracy.md.
struct Weight {
    double weight;
    double mean;
    double deviation;
};
#include "readings/BeatWeights.inc"

double bpmOf(const std::vector<double>& beats) {
    std::vector<double> intervals;
    for (std::size_t i = 1; i < beats.size(); ++i) {
        intervals.push_back(beats[i] - beats[i - 1]);
    }
    const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
    std::nth_element(intervals.begin(), middle, intervals.end());
    return 60 / *middle;
}

double spreadOf(const std::vector<double>& beats) {
    double sum = 0;
    double squares = 0;
    for (std::size_t i = 1; i < beats.size(); ++i) {
        const double interval = beats[i] - beats[i - 1];
        sum += interval;
        squares += interval * interval;
    }
    const auto n = static_cast<double>(beats.size() - 1);
    return std::sqrt(std::max(squares / n - sum / n * (sum / n), 0.0)) / (sum / n);
}

// `count` - 1 times more between every two.
std::vector<double> divided(const std::vector<double>& beats, std::size_t count) {
    std::vector<double> all;
    for (std::size_t i = 0; i + 1 < beats.size(); ++i) {
        for (std::size_t j = 0; j < count; ++j) {
            const double share = static_cast<double>(j) / static_cast<double>(count);
            all.push_back(beats[i] + (beats[i + 1] - beats[i]) * share);
        }
    }
    all.push_back(beats.back());
    return all;
}

// Every `step`th, from number `first` on.
std::vector<double> thinned(const std::vector<double>& beats, std::size_t first, std::size_t step) {
    std::vector<double> some;
    for (std::size_t i = first; i < beats.size(); i += step) {
        some.push_back(beats[i]);
    }
    return some;
}

// Between every two beats, at that share of the interval.
std::vector<double> between(const std::vector<double>& beats, double share) {
    std::vector<double> times;
    for (std::size_t i = 0; i + 1 < beats.size(); ++i) {
        times.push_back(beats[i] + (beats[i + 1] - beats[i]) * share);
    }
    return times;
}

} // namespace

BeatFinder::BeatFinder(const OnsetStrength& strength, const Harmony& chroma, double framesPerSecond)
    : mStrength(strength), mFramesPerSecond(framesPerSecond),
      mActivity(strength, chroma, framesPerSecond), mBars(strength, chroma, framesPerSecond) {}

// The beats as they are, at 2, 3, 1/2, 1/3 and 2/3 of their tempo in all phases, and off the beat.
std::vector<BeatFinder::Beats> BeatFinder::readingsOf(const Beats& beats) {
    const Beats doubled = divided(beats, 2);
    std::vector<Beats> all{beats, doubled, divided(beats, 3), between(beats, 0.5)};
    for (std::size_t first = 0; first < 3; ++first) {
        if (first < 2) {
            all.push_back(thinned(beats, first, 2));
        }
        all.push_back(thinned(beats, first, 3));
        all.push_back(thinned(doubled, first, 3));
    }
    std::erase_if(all, [](const Beats& some) {
        return some.size() < kFewestBeats || bpmOf(some) < kLowestBpm || bpmOf(some) > kHighestBpm;
    });
    return all;
}

double BeatFinder::meanAt(const std::vector<float>& curve, const Beats& times) const {
    double sum = 0;
    for (const double seconds : times) {
        const auto frame = static_cast<std::ptrdiff_t>(seconds * mFramesPerSecond - 1) - 2;
        const auto first = static_cast<std::size_t>(std::max<std::ptrdiff_t>(frame, 0));
        const std::size_t end = std::min(first + 6, curve.size());
        if (first < end) {
            sum += *std::max_element(curve.begin() + static_cast<std::ptrdiff_t>(first),
                                     curve.begin() + static_cast<std::ptrdiff_t>(end));
        }
    }
    return sum / static_cast<double>(std::max<std::size_t>(times.size(), 1));
}

double BeatFinder::scoreOf(const Beats& beats) const {
    const double octaves = std::log2(bpmOf(beats) / 105);
    const Beats halves = between(beats, 0.5);
    const BarFinder::Result bars = mBars.find(beats);
    const std::array<double, kFigures> figures{
        octaves,
        octaves * octaves,
        meanAt(mActivity.onset, beats),
        meanAt(mActivity.onset, halves),
        meanAt(mActivity.harmony, beats),
        meanAt(mActivity.harmony, halves),
        meanAt(mActivity.onset, between(beats, 1.0 / 3)) +
            meanAt(mActivity.onset, between(beats, 2.0 / 3)),
        bars.logLikelihood,
        spreadOf(beats),
        bars.beatsPerBar == 2 || bars.beatsPerBar == 4 ? 1.0 : 0.0,
        bars.beatsPerBar == 3 ? 1.0 : 0.0,
    };
    double score = 0;
    for (std::size_t f = 0; f < kFigures; ++f) {
        score += kBeatWeights[f].weight * (figures[f] - kBeatWeights[f].mean) /
                 kBeatWeights[f].deviation;
    }
    return score;
}

// A beat goes to the peak of the onset strength next to it, between frames to the vertex of the
// parabola.
void BeatFinder::placeOnAttacks(const Beats& beats, Result& result) const {
    const std::vector<float>& curve = mStrength.all();
    for (const double seconds : beats) {
        const auto frame =
            static_cast<std::ptrdiff_t>(std::lround(seconds * mFramesPerSecond - kPeakHops));
        std::ptrdiff_t peak = -1;
        for (std::ptrdiff_t t = std::max<std::ptrdiff_t>(frame - 2, 1);
             t <= frame + 2 && t + 1 < static_cast<std::ptrdiff_t>(curve.size()); ++t) {
            const auto at = static_cast<std::size_t>(t);
            const bool isPeak = curve[at] > curve[at - 1] && curve[at] >= curve[at + 1];
            if (isPeak && (peak < 0 || curve[at] > curve[static_cast<std::size_t>(peak)])) {
                peak = t;
            }
        }
        if (peak < 0) {
            result.seconds.push_back(seconds);
            result.strengths.push_back(0);
            continue;
        }
        const Onset onset = onsetAtPeak(curve, static_cast<std::size_t>(peak), mFramesPerSecond);
        result.seconds.push_back(onset.seconds);
        result.strengths.push_back(onset.strength);
    }
}

BeatFinder::Result BeatFinder::find() const {
    Result result;
    Beats path;
    for (const std::size_t frame : BeatPath(mFramesPerSecond).find(mActivity.together())) {
        path.push_back((static_cast<double>(frame) + kPathHops) / mFramesPerSecond);
    }
    if (path.size() < kFewestBeats) {
        return result;
    }
    if (meanAt(mActivity.onset, path) <= 0) {
        return result; // nothing begins anywhere
    }
    std::vector<Beats> all = readingsOf(path);
    const double least = kLeastShare * meanAt(mActivity.onset, path);
    std::erase_if(all, [&](const Beats& beats) { return meanAt(mActivity.onset, beats) < least; });
    std::vector<double> scores;
    scores.reserve(all.size());
    for (const Beats& beats : all) {
        scores.push_back(scoreOf(beats));
    }
    if (all.empty()) {
        return result;
    }
    const auto best = static_cast<std::size_t>(std::ranges::max_element(scores) - scores.begin());
    placeOnAttacks(all[best], result);
    result.bpm = bpmOf(all[best]);
    double other = -1e300;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const bool isOther = std::abs(bpmOf(all[i]) / result.bpm - 1) > kSameTempo;
        if (isOther && scores[i] > other) {
            other = scores[i];
            result.alternativeBpm = bpmOf(all[i]);
        }
    }
    result.lead = other > -1e300 ? scores[best] - other : 0;
    result.spread = spreadOf(result.seconds);
    result.prominence =
        meanAt(mActivity.onset, all[best]) - meanAt(mActivity.onset, between(all[best], 0.5));
    return result;
}

} // namespace qel::readings
