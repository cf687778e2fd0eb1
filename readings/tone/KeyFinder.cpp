#include "readings/tone/KeyFinder.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace qel::readings {
namespace {

constexpr double kFrameSamples = 4096; // of "mel spectrum"
constexpr double kHopSamples = 2048;
constexpr double kSliceSeconds = 1;
// What a change of key costs in the path through the slices, in the same unit as the sum of the
// slices' correlations: a new key has to be better by 0.3 for 10 seconds.
constexpr double kChangeCost = 3;

constexpr PitchClasses::Chroma kMajor{0.748, 0.060, 0.488, 0.082, 0.670, 0.460,
                                      0.096, 0.715, 0.104, 0.366, 0.057, 0.400};
constexpr PitchClasses::Chroma kMinor{0.712, 0.084, 0.474, 0.618, 0.049, 0.460,
                                      0.105, 0.747, 0.404, 0.067, 0.133, 0.330};

// The correlation of the classes, taken from `tonic` upwards, with a profile; 0 where all classes
// of either are alike.
double correlation(const PitchClasses::Chroma& chroma, const PitchClasses::Chroma& profile,
                   std::size_t tonic) {
    const auto mean = [](const PitchClasses::Chroma& values) {
        return std::accumulate(values.begin(), values.end(), 0.0) / PitchClasses::kClasses;
    };
    const double ofChroma = mean(chroma);
    const double ofProfile = mean(profile);
    double product = 0;
    double squares = 0;
    double profileSquares = 0;
    for (std::size_t i = 0; i < PitchClasses::kClasses; ++i) {
        const double here = chroma[(tonic + i) % PitchClasses::kClasses] - ofChroma;
        const double wanted = profile[i] - ofProfile;
        product += here * wanted;
        squares += here * here;
        profileSquares += wanted * wanted;
    }
    const double power = squares * profileSquares;
    return power > 0 ? product / std::sqrt(power) : 0;
}

std::array<double, KeyFinder::kKeys> correlationsOf(const PitchClasses::Chroma& chroma) {
    std::array<double, KeyFinder::kKeys> all{};
    for (std::size_t key = 0; key < all.size(); ++key) {
        all[key] = correlation(chroma, key < PitchClasses::kClasses ? kMajor : kMinor,
                               key % PitchClasses::kClasses);
    }
    return all;
}

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

KeyFinder::KeyFinder(double sampleRateHz)
    : mSampleRateHz(sampleRateHz),
      mSliceFrames(static_cast<std::size_t>(
          std::max(std::lround(kSliceSeconds * sampleRateHz / kHopSamples), 1L))),
      mPeaks(sampleRateHz / kFrameSamples) {}

void KeyFinder::reset() {
    mFrames = 0;
    mSoundingFrames = 0;
    mPeaks.reset();
    mSlice = {};
    mSlices.clear();
}

void KeyFinder::add(std::span<const float> magnitudes) {
    const std::span<const SteadyPeaks::Peak> peaks = mPeaks.find(magnitudes);
    for (const SteadyPeaks::Peak& peak : peaks) {
        mSlice.add(peak.hz, peak.weight);
    }
    mSoundingFrames += peaks.empty() ? 0 : 1;
    if (++mFrames % mSliceFrames == 0) {
        mSlices.push_back(mSlice);
        mSlice = {};
    }
}

KeyFinder::Finding KeyFinder::find() const {
    PitchClasses all = mSlice;
    for (const PitchClasses& slice : mSlices) {
        all.add(slice);
    }
    const double tuning = all.tuning();
    Finding finding;
    finding.keyOfEachSlice = keyOfEachSlice(tuning);
    const std::vector<std::size_t>& keys = finding.keyOfEachSlice;
    if (!keys.empty()) {
        all = classesOf(longest(keys), keys);
    }
    const PitchClasses::Chroma chroma = all.chroma(tuning);
    const Correlations correlations = correlationsOf(chroma);
    finding.main = keys.empty() ? greatest(correlations, kKeys) : longest(keys);
    finding.runnerUp = greatest(correlations, finding.main);
    finding.evidence = {.correlation = correlations[finding.main],
                        .lead = correlations[finding.main] - correlations[finding.runnerUp],
                        .seconds =
                            static_cast<double>(mSoundingFrames) * kHopSamples / mSampleRateHz,
                        .agreement = agreement(tuning),
                        .chroma = chroma};
    return finding;
}

KeyAnswer KeyFinder::finish(double streamSeconds) const {
    const Finding finding = find();
    KeyAnswer answer;
    answer.main = keyOf(finding.main);
    answer.runnerUp = keyOf(finding.runnerUp);
    answer.strength = keyStrength(finding.evidence);
    if (answer.strength > 0) {
        answer.segments = segments(streamSeconds, finding.keyOfEachSlice, finding.main);
    }
    return answer;
}

// The key whose slices last longest.
std::size_t KeyFinder::longest(const std::vector<std::size_t>& keys) {
    std::array<std::size_t, kKeys> counts{};
    for (const std::size_t key : keys) {
        ++counts[key];
    }
    return static_cast<std::size_t>(std::ranges::max_element(counts) - counts.begin());
}

// What sounds in the slices of a key. The slice that is not complete goes with the one before.
PitchClasses KeyFinder::classesOf(std::size_t key, const std::vector<std::size_t>& keys) const {
    PitchClasses classes;
    for (std::size_t s = 0; s < keys.size(); ++s) {
        if (keys[s] == key) {
            classes.add(mSlices[s]);
        }
    }
    if (keys.back() == key) {
        classes.add(mSlice);
    }
    return classes;
}

// What sounds in the even seconds of music sounds in the odd ones too. Noise, speech and atonal
// music have other classes in every second.
double KeyFinder::agreement(double tuning) const {
    std::array<PitchClasses, 2> halves;
    for (std::size_t s = 0; s < mSlices.size(); ++s) {
        halves[s % 2].add(mSlices[s]);
    }
    return correlation(halves[0].chroma(tuning), halves[1].chroma(tuning), 0);
}

// The path through the slices with the greatest sum of correlations, less the cost of changes.
// Viterbi, Error bounds for convolutional codes, IEEE Trans. Information Theory 13(2), 1967.
std::vector<std::size_t> KeyFinder::keyOfEachSlice(double tuning) const {
    Correlations score{};
    std::vector<std::array<std::uint8_t, kKeys>> from(mSlices.size());
    for (std::size_t s = 0; s < mSlices.size(); ++s) {
        const Correlations here = correlationsOf(mSlices[s].chroma(tuning));
        const auto best = static_cast<std::size_t>(std::ranges::max_element(score) - score.begin());
        const double changed = score[best] - kChangeCost;
        for (std::size_t k = 0; k < kKeys; ++k) {
            const bool stays = score[k] >= changed;
            from[s][k] = static_cast<std::uint8_t>(stays ? k : best);
            score[k] = (stays ? score[k] : changed) + here[k];
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

std::vector<KeySegment> KeyFinder::segments(double streamSeconds,
                                            const std::vector<std::size_t>& keys,
                                            std::size_t main) const {
    std::vector<KeySegment> found;
    const double sliceSeconds = static_cast<double>(mSliceFrames) * kHopSamples / mSampleRateHz;
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
        found.push_back({0, streamSeconds, keyOf(main)});
    }
    return found;
}

} // namespace qel::readings
