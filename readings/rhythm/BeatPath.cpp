#include "readings/rhythm/BeatPath.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace qel::readings {
namespace {

constexpr std::size_t kMostTempi = 255;
constexpr double kSteadiness = 80;     // of the tempo: exp(-80 |ratio - 1|)
constexpr double kLeastChance = 1e-12; // of a change of tempo
// What a frame without activity counts as: a stroke that is over before the twelfth of the beat is
// must still count for more than what rises slowly.
constexpr float kLeast = 0.02f;
constexpr float kMost = 0.97f;

// The scores of the states of one tempo. The state p frames after its beat is at the place of
// the frame of that beat, modulo the interval: nothing moves when time goes on.
class Ring {
public:
    Ring(std::size_t interval, double score)
        : mScores(interval, score),
          mBeatFrames(BeatPath::kBeatShare * static_cast<double>(interval)) {}

    // Who leaves at frame t, whose place the next beat takes.
    double& at(std::size_t t) { return mScores[t % mScores.size()]; }
    double before(std::size_t t, std::size_t p) const {
        return mScores[(t + mScores.size() - p) % mScores.size()];
    }
    // Adds to the states that count as a beat at frame t.
    void addToBeat(std::size_t t, double gain) {
        for (std::size_t p = 0; static_cast<double>(p) < mBeatFrames; ++p) {
            mScores[(t + mScores.size() - p) % mScores.size()] += gain;
        }
    }
    std::size_t size() const { return mScores.size(); }

private:
    std::vector<double> mScores;
    double mBeatFrames;
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

BeatPath::BeatPath(double framesPerSecond, double lowestBpm, double highestBpm) {
    const auto shortest = static_cast<std::size_t>(60 * framesPerSecond / highestBpm);
    const auto longest = static_cast<std::size_t>(std::ceil(60 * framesPerSecond / lowestBpm));
    // Of high sample rates, not every interval.
    const std::size_t step = (longest - shortest) / kMostTempi + 1;
    for (std::size_t interval = std::max<std::size_t>(shortest, 2); interval <= longest;
         interval += step) {
        mIntervals.push_back(interval);
    }
    makeChanges();
}

// A change that is less likely than the least chance costs as much as any other such change.
void BeatPath::makeChanges() {
    const std::size_t tempi = mIntervals.size();
    const auto chance = [&](std::size_t from, std::size_t to) {
        const double ratio =
            static_cast<double>(mIntervals[from]) / static_cast<double>(mIntervals[to]);
        return std::exp(-kSteadiness * std::abs(ratio - 1));
    };
    mLogChange.resize(tempi * tempi);
    mSources.assign(tempi, {tempi, 0});
    for (std::size_t from = 0; from < tempi; ++from) {
        double sum = 0;
        for (std::size_t to = 0; to < tempi; ++to) {
            sum += chance(from, to);
        }
        for (std::size_t to = 0; to < tempi; ++to) {
            const double share = chance(from, to) / sum;
            mLogChange[to * tempi + from] = std::log(share + kLeastChance);
            if (share > kLeastChance / 100) {
                mSources[to].first = std::min(mSources[to].first, from);
                mSources[to].end = std::max(mSources[to].end, from + 1);
            }
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
        const double gain = std::log(a) - std::log((1 - a) / (1 / kBeatShare - 1));
        const auto anywhere =
            static_cast<std::size_t>(std::ranges::max_element(leaving) - leaving.begin());
        for (std::size_t to = 0; to < tempi; ++to) {
            const double* const change = &mLogChange[to * tempi];
            std::size_t best = anywhere;
            double score = leaving[anywhere] + change[anywhere];
            for (std::size_t i = mSources[to].first; i < mSources[to].end; ++i) {
                const double other = leaving[i] + change[i];
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
