#include "readings/KeyFinder.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace qel::readings {
namespace {

constexpr double kSliceSeconds = 1;
// What a change of key costs in the path through the slices, in the same unit as the sum of the
// slices' correlations: a new key has to be better by 0.1 for some 12 seconds.
constexpr float kChangeCost = 1.2f;
// Logistic function from the lead over the runner-up to the share of right answers, fitted over the
// developing half of the material of docs/accuracy.md.
constexpr double kLeadAtHalf = 0.0102;
constexpr double kLeadScale = 0.00419;

MusicalKey keyOf(std::size_t index) {
    return {static_cast<int>(index % 12), index >= 12};
}

std::size_t greatest(std::span<const double> values, std::size_t except) {
    std::size_t best = except == 0 ? 1 : 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i != except && values[i] > values[best]) {
            best = i;
        }
    }
    return best;
}

} // namespace

KeyFinder::KeyFinder(double hopSeconds)
    : mHopSeconds(hopSeconds), mSliceFrames(static_cast<std::size_t>(
                                   std::max(std::lround(kSliceSeconds / hopSeconds), 1L))) {}

void KeyFinder::reset() {
    mFrames = 0;
    mTotal = {};
    mSlice = {};
    mSlices.clear();
}

void KeyFinder::add(std::span<const float> correlations) {
    for (std::size_t k = 0; k < kKeys; ++k) {
        mTotal[k] += correlations[k];
        mSlice[k] += correlations[k];
    }
    ++mFrames;
    if (mFrames % mSliceFrames == 0) {
        auto& mean = mSlices.emplace_back();
        for (std::size_t k = 0; k < kKeys; ++k) {
            mean[k] = static_cast<float>(mSlice[k] / static_cast<double>(mSliceFrames));
        }
        mSlice = {};
    }
}

KeyAnswer KeyFinder::finish(double streamSeconds) const {
    KeyAnswer answer;
    const std::size_t main = greatest(mTotal, kKeys);
    const std::size_t runnerUp = greatest(mTotal, main);
    answer.main = keyOf(main);
    answer.runnerUp = keyOf(runnerUp);
    if (mFrames == 0 || mTotal[main] <= 0) {
        return answer; // silence
    }
    const double lead = (mTotal[main] - mTotal[runnerUp]) / static_cast<double>(mFrames);
    answer.strength = static_cast<float>(1 / (1 + std::exp((kLeadAtHalf - lead) / kLeadScale)));
    answer.segments = segments(streamSeconds);
    return answer;
}

// The path through the slices with the greatest sum of correlations, less the cost of changes.
// Viterbi, Error bounds for convolutional codes, IEEE Trans. Information Theory 13(2), 1967.
std::vector<std::size_t> KeyFinder::keyOfEachSlice() const {
    std::array<float, kKeys> score{};
    std::vector<std::array<std::uint8_t, kKeys>> from(mSlices.size());
    for (std::size_t s = 0; s < mSlices.size(); ++s) {
        const auto best = static_cast<std::size_t>(std::ranges::max_element(score) - score.begin());
        const float changed = score[best] - kChangeCost;
        for (std::size_t k = 0; k < kKeys; ++k) {
            const bool stays = score[k] >= changed;
            from[s][k] = static_cast<std::uint8_t>(stays ? k : best);
            score[k] = (stays ? score[k] : changed) + mSlices[s][k];
        }
    }
    std::vector<std::size_t> keys(mSlices.size());
    auto key = static_cast<std::size_t>(std::ranges::max_element(score) - score.begin());
    for (std::size_t s = mSlices.size(); s-- > 0;) {
        keys[s] = key;
        key = from[s][key];
    }
    return keys;
}

std::vector<KeySegment> KeyFinder::segments(double streamSeconds) const {
    std::vector<KeySegment> found;
    const std::vector<std::size_t> keys = keyOfEachSlice();
    const double sliceSeconds = static_cast<double>(mSliceFrames) * mHopSeconds;
    for (std::size_t s = 0; s < keys.size(); ++s) {
        if (s == 0 || keys[s] != keys[s - 1]) {
            const double begin = static_cast<double>(s) * sliceSeconds;
            if (!found.empty()) {
                found.back().endSeconds = begin;
            }
            found.push_back({begin, streamSeconds, keyOf(keys[s])});
        }
    }
    if (found.empty()) {
        found.push_back({0, streamSeconds, keyOf(greatest(mTotal, kKeys))});
    }
    return found;
}

} // namespace qel::readings
