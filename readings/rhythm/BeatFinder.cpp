#include "readings/rhythm/BeatFinder.h"

#include "readings/rhythm/BeatLevel.h"
#include "readings/rhythm/BeatPath.h"
#include "readings/rhythm/OnsetPlace.h"
#include "readings/rhythm/Steadiness.h"
#include "readings/stream/Curve.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

// From a beat's frame on the path to the beat, and from a peak of the onset strength to the attack
// that makes it, in hops: the medians over the developing half of the material of docs/accuracy.md.
constexpr double kPathHops = 1.5;
constexpr double kPeakHops = 0.57;
// Onset strength that the strongest hundredth of the frames must have in the mean, for a tempo to
// be steady: a drone whose partials beat stays below.
constexpr double kOnsetShare = 0.01;
constexpr double kLeastOnset = 0.04;
constexpr double kCertainlyNot = -10; // log odds

} // namespace

BeatFinder::BeatFinder(const OnsetStrength& strength, const Harmony& chroma, double framesPerSecond)
    : mStrength(strength), mFramesPerSecond(framesPerSecond),
      mActivity(strength, chroma, framesPerSecond), mBars(strength, chroma, framesPerSecond) {}

// A beat goes to the peak of the onset strength next to it, between frames to the vertex of the
// parabola.
void BeatFinder::placeOnAttacks(const BeatTimes& beats, Result& result) const {
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
    BeatTimes path;
    for (const std::size_t frame : BeatPath(mFramesPerSecond).find(mActivity.together())) {
        path.push_back((static_cast<double>(frame) + kPathHops) / mFramesPerSecond);
    }
    const BeatLevel level(mActivity, mBars, mFramesPerSecond);
    if (level.meanAt(mActivity.onset, path) <= 0) {
        return result; // nothing begins anywhere
    }
    const BeatLevel::Choice choice = level.choose(path);
    if (choice.beats.empty()) {
        return result;
    }
    placeOnAttacks(choice.beats, result);
    result.bpm = bpmOf(choice.beats);
    result.alternativeBpm = choice.alternativeBpm;
    result.levelLogOdds = choice.logOdds;
    const bool begins = meanOfGreatest(mStrength.all(), kOnsetShare) >= kLeastOnset;
    result.steadyLogOdds =
        begins ? steadyLogOdds(mActivity, path, choice.beats, mFramesPerSecond) : kCertainlyNot;
    return result;
}

} // namespace qel::readings
