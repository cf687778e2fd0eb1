#include "readings/rhythm/BeatPath.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace qel::readings {
namespace {

constexpr double kLowestBpm = 50;
constexpr double kHighestBpm = 215;
constexpr std::size_t kMostTempi = 255;
constexpr double kSteadiness = 80;     // of the tempo: exp(-80 |ratio - 1|)
constexpr std::size_t kBeatShare = 12; // a beat takes a twelfth of its interval
// What a frame without activity counts as: a stroke that is over before the twelfth of the beat is
// must still count for more than what rises slowly.
constexpr float kLeast = 0.02f;
constexpr float kMost = 0.97f;

// The scores of the states of one tempo. The state p frames after its beat is at the place of
// the frame of that beat, modulo the interval: nothing moves when time goes on.
class Ring {
public:
    Ring(std::size_t interval, double score) : mScores(interval, score) {}

    // Who leaves at frame t, whose place the next beat takes.
    double& at(std::size_t t) { return mScores[t % mScores.size()]; }
    double before(std::size_t t, std::size_t p) const {
        return mScores[(t + mScores.size() - p) % mScores.size()];
    }
    // Adds to the states that count as a beat at frame t.
    void addToBeat(std::size_t t, double gain) {
        for (std::size_t p = 0; p * kBeatShare < mScores.size(); ++p) {
            mScores[(t + mScores.size() - p) % mScores.size()] += gain;
        }
    }
    std::size_t size() const { return mScores.size(); }

private:
    std::vector<double> mScores;
};

struct Place {
    std::size_t tempo = 0;
    std::size_t framesAfterBeat = 0;
};

Place bestPlace(const std::vector<Ring>& rings, std::size_t t) {
    Place best;
    double greatest = rings.front().before(t, 0);
    for (std::size_t i = 0; i < rings.size(); ++i) {
        for (std::size_t p = 0; p < rings[i].size(); ++p) {
            if (rings[i].before(t, p) > greatest) {
                greatest = rings[i].before(t, p);
                best = {i, p};
            }
        }
    }
    return best;
}

} // namespace

BeatPath::BeatPath(double framesPerSecond) {
    const auto shortest = static_cast<std::size_t>(60 * framesPerSecond / kHighestBpm);
    const auto longest = static_cast<std::size_t>(std::ceil(60 * framesPerSecond / kLowestBpm));
    // Of high sample rates, not every interval.
    const std::size_t step = (longest - shortest) / kMostTempi + 1;
    for (std::size_t interval = std::max<std::size_t>(shortest, 2); interval <= longest;
         interval += step) {
        mIntervals.push_back(interval);
    }
    const std::size_t tempi = mIntervals.size();
    mLogChange.resize(tempi * tempi);
    for (std::size_t from = 0; from < tempi; ++from) {
        double* const row = &mLogChange[from * tempi];
        double sum = 0;
        for (std::size_t to = 0; to < tempi; ++to) {
            const double ratio =
                static_cast<double>(mIntervals[from]) / static_cast<double>(mIntervals[to]);
            row[to] = std::exp(-kSteadiness * std::abs(ratio - 1));
            sum += row[to];
        }
        for (std::size_t to = 0; to < tempi; ++to) {
            row[to] = std::log(row[to] / sum + 1e-12);
        }
    }
}

std::vector<std::size_t> BeatPath::find(std::span<const float> activity) const {
    const std::size_t tempi = mIntervals.size();
    std::vector<Ring> rings;
    for (const std::size_t interval : mIntervals) {
        rings.emplace_back(interval, 0.0);
    }
    std::vector<std::uint8_t> from(activity.size() * tempi);
    std::vector<double> leaving(tempi);
    for (std::size_t t = 0; t < activity.size(); ++t) {
        for (std::size_t i = 0; i < tempi; ++i) {
            leaving[i] = rings[i].at(t);
        }
        const double a = std::clamp(activity[t], kLeast, kMost);
        const double gain = std::log(a) - std::log((1 - a) / (kBeatShare - 1));
        for (std::size_t to = 0; to < tempi; ++to) {
            std::size_t best = 0;
            double score = leaving[0] + mLogChange[to];
            for (std::size_t i = 1; i < tempi; ++i) {
                const double other = leaving[i] + mLogChange[i * tempi + to];
                if (other > score) {
                    score = other;
                    best = i;
                }
            }
            rings[to].at(t) = score;
            rings[to].addToBeat(t, gain);
            from[t * tempi + to] = static_cast<std::uint8_t>(best);
        }
    }
    std::vector<std::size_t> beats;
    if (activity.empty()) {
        return beats;
    }
    Place place = bestPlace(rings, activity.size() - 1);
    for (std::size_t t = activity.size() - 1; t >= place.framesAfterBeat;) {
        const std::size_t beat = t - place.framesAfterBeat;
        beats.push_back(beat);
        const std::size_t tempo = from[beat * tempi + place.tempo];
        if (beat < mIntervals[tempo]) {
            break;
        }
        t = beat;
        place = {tempo, mIntervals[tempo]};
    }
    std::ranges::reverse(beats);
    return beats;
}

} // namespace qel::readings
