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
constexpr std::ptrdiff_t kFramesBefore = 2; // of the expected attack, and after it
constexpr std::ptrdiff_t kFramesAfter = 2;
constexpr std::size_t kNeighbours = 4; // before and after a beat
constexpr float kLeastPeak = 0.01f;    // of the onset strength, for an attack to be there
// Onset strength that the strongest hundredth of the frames must have in the mean, for a tempo to
// be steady: a drone whose partials beat stays below.
constexpr double kOnsetShare = 0.01;
constexpr double kLeastOnset = 0.04;
constexpr double kCertainlyNot = -10;        // log odds
constexpr std::ptrdiff_t kFewestStrokes = 6; // for a tempo: beats with an onset
constexpr double kLowestBpm = 40;
// For the second path: its tempi as ratios to that of the beats, and what activity far from these
// beats counts.
constexpr double kSlowest = 0.6;
constexpr double kFastest = 1.5;
constexpr float kShareElsewhere = 0.5f;
constexpr std::size_t kNearFrames = 3;

// The median of what is known of the shifts of the beats around one; 0 if nothing is.
double usualShift(const std::vector<std::optional<double>>& shifts, std::size_t beat) {
    std::vector<double> known;
    const std::size_t end = std::min(beat + kNeighbours + 1, shifts.size());
    for (std::size_t i = beat - std::min(beat, kNeighbours); i < end; ++i) {
        if (shifts[i]) {
            known.push_back(*shifts[i]);
        }
    }
    return known.empty() ? 0 : medianOf(known);
}

// Leaves out beats in pauses.
void removePauses(BeatFinder::Result& result, std::span<const TimeRange> parts) {
    const std::vector<bool> kept = beatsKept(result.seconds, parts);
    std::size_t count = 0;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        if (kept[i]) {
            result.seconds[count] = result.seconds[i];
            result.strengths[count++] = result.strengths[i];
        }
    }
    result.seconds.resize(count);
    result.strengths.resize(count);
}

// Whether strokes on the beats make a tempo.
bool isTempo(const BeatFinder::Result& result) {
    const auto strokes = std::ranges::count_if(result.strengths, [](float s) { return s > 0; });
    return strokes >= kFewestStrokes && bpmOf(result.seconds) >= kLowestBpm;
}

} // namespace

BeatFinder::BeatFinder(const OnsetStrength& strength, const Harmony& chroma, double framesPerSecond)
    : mStrength(strength), mFramesPerSecond(framesPerSecond),
      mActivity(strength, chroma, framesPerSecond), mBars(strength, chroma, framesPerSecond) {}

// The onset at the greatest peak of the onset strength from 2 frames before to some after a time.
std::optional<Onset> BeatFinder::onsetNear(double seconds, std::ptrdiff_t framesAfter) const {
    const std::vector<float>& curve = mStrength.all();
    const auto frame =
        static_cast<std::ptrdiff_t>(std::lround(seconds * mFramesPerSecond - kPeakHops));
    const auto end =
        std::min(frame + framesAfter + 1, static_cast<std::ptrdiff_t>(curve.size()) - 1);
    std::optional<std::size_t> peak;
    for (std::ptrdiff_t t = std::max<std::ptrdiff_t>(frame - kFramesBefore, 1); t < end; ++t) {
        const auto at = static_cast<std::size_t>(t);
        const bool isPeak =
            curve[at] >= kLeastPeak && curve[at] > curve[at - 1] && curve[at] >= curve[at + 1];
        if (isPeak && (!peak || curve[at] > curve[*peak])) {
            peak = at;
        }
    }
    return peak ? std::optional(onsetAtPeak(curve, *peak, mFramesPerSecond)) : std::nullopt;
}

// The path may begin a beat so early that its attack is in the last frame that counts as the beat.
// So a beat goes first to where the beats around it have their attacks, and from there to its own
// attack, if it has one.
void BeatFinder::placeOnAttacks(const BeatTimes& beats, Result& result) const {
    const auto beatFrames =
        static_cast<std::ptrdiff_t>(60 * mFramesPerSecond / bpmOf(beats) * BeatPath::kBeatShare);
    std::vector<std::optional<double>> shifts;
    for (const double seconds : beats) {
        const auto onset = onsetNear(seconds, kFramesAfter + beatFrames);
        shifts.push_back(onset ? std::optional(onset->seconds - seconds) : std::nullopt);
    }
    for (std::size_t i = 0; i < beats.size(); ++i) {
        const double seconds = beats[i] + usualShift(shifts, i);
        const Onset onset = onsetNear(seconds, kFramesAfter).value_or(Onset{seconds, 0});
        result.seconds.push_back(onset.seconds);
        result.strengths.push_back(onset.strength);
    }
}

BeatTimes BeatFinder::timesOf(const std::vector<std::size_t>& frames) const {
    BeatTimes times;
    for (const std::size_t frame : frames) {
        times.push_back((static_cast<double>(frame) + kPathHops) / mFramesPerSecond);
    }
    return times;
}

// The path at tempi near that of these beats: what left their level for a while comes back to it.
BeatTimes BeatFinder::followed(const BeatTimes& beats) const {
    std::vector<float> activity = mActivity.together();
    std::vector<bool> isNear(activity.size());
    for (const double seconds : beats) {
        const auto frame = std::lround(seconds * mFramesPerSecond - kPathHops);
        const auto middle = static_cast<std::size_t>(std::max(frame, 0L));
        const std::size_t end = std::min(middle + kNearFrames + 1, activity.size());
        for (std::size_t t = middle - std::min(middle, kNearFrames); t < end; ++t) {
            isNear[t] = true;
        }
    }
    for (std::size_t t = 0; t < activity.size(); ++t) {
        activity[t] *= isNear[t] ? 1 : kShareElsewhere;
    }
    const double bpm = bpmOf(beats);
    return timesOf(BeatPath(mFramesPerSecond, kSlowest * bpm, kFastest * bpm).find(activity));
}

BeatTimes BeatFinder::path() const {
    return timesOf(BeatPath(mFramesPerSecond).find(mActivity.together()));
}

BeatFinder::Result BeatFinder::find(std::span<const TimeRange> parts) const {
    const BeatTimes path = this->path();
    const BeatLevel level(mActivity, mBars, mFramesPerSecond);
    if (level.meanAt(mActivity.onset, path) <= 0) {
        return {}; // nothing begins anywhere
    }
    const BeatLevel::Choice choice = level.choose(path);
    if (choice.beats.empty()) {
        return {};
    }
    Result result;
    placeOnAttacks(followed(choice.beats), result);
    removePauses(result, parts);
    if (!isTempo(result)) {
        return {};
    }
    result.bpm = bpmOf(result.seconds);
    result.alternativeBpm = choice.alternativeBpm;
    result.levelLogOdds = choice.logOdds;
    result.rivals = choice.rivals;
    const bool begins = meanOfGreatest(mStrength.all(), kOnsetShare) >= kLeastOnset;
    result.steadyLogOdds =
        begins ? steadyLogOdds(mActivity, path, choice.beats, mFramesPerSecond) : kCertainlyNot;
    return result;
}

} // namespace qel::readings
