#include "readings/onsets/OnsetDetector.h"

#include <algorithm>

namespace qel::readings {
namespace {

constexpr std::string_view kSpectrum = "spectrum";
// The silence before the stream, in hops: two of them make a frame, so that what sounds from the
// first sample on begins.
constexpr std::size_t kSilentHops = 2;
constexpr std::size_t kHopSamples = 512;
constexpr std::size_t kPairs = 512;
// The chance that gave the best F on the developing half of the material of docs/accuracy.md.
constexpr float kLeastChance = 0.25f;
// The attack lies near the begin of the second half of its frame.
constexpr float kEarliestPlace = -0.5f;
constexpr float kLatestPlace = 1.6f;

} // namespace

OnsetDetector::OnsetDetector(double sampleRateHz)
    : mStream({kSpectrum}, sampleRateHz, 0,
              [this](const Result& result) { takeSpectrum(result.floats()); }) {
    reset();
}

void OnsetDetector::reset() {
    mStream.reset();
    mFeatures.reset();
    mSpectra = 0;
    mWindows = 0;
    mAnswers = 0;
    mRecent = {};
    mNextFrame = 0;
    mAttackPlace.reset();
    mOnsets.clear();
    constexpr std::array<float, kSilentHops * kHopSamples> kSilence{};
    mStream.add(kSilence);
}

// In parts, as not all of a long push is remembered.
void OnsetDetector::add(std::span<const float> samples) {
    while (!samples.empty()) {
        const auto part = samples.first(std::min(samples.size(), kHopSamples));
        mAttackPlace.add(part);
        mStream.add(part);
        samples = samples.subspan(part.size());
    }
}

void OnsetDetector::takeSpectrum(std::span<const float> pairs) {
    const OnsetFeatures::Values& before = mFeatures.add(pairs);
    if (mSpectra++ > 0) {
        takeFeatures(before);
    }
}

// The first frame stands for those before it.
void OnsetDetector::takeFeatures(const OnsetFeatures::Values& values) {
    if (mWindows++ == 0) {
        mWindow.fill(values);
    }
    std::shift_left(mWindow.begin(), mWindow.end(), 1);
    mWindow.back() = values;
    if (mWindows > OnsetNetwork::kReach) {
        takeAnswer(mNetwork.ask(mWindow));
    }
}

void OnsetDetector::takeAnswer(const OnsetNetwork::Answer& answer) {
    std::shift_left(mRecent.begin(), mRecent.end(), 1);
    mRecent.back() = answer;
    if (++mAnswers > kPeakReach) {
        findPeak();
    }
}

void OnsetDetector::findPeak() {
    const OnsetNetwork::Answer& middle = mRecent[kPeakReach];
    const std::uint64_t frame = mAnswers - 1 - kPeakReach;
    const bool isPeak = std::ranges::none_of(
        mRecent, [&](const OnsetNetwork::Answer& other) { return other.chance > middle.chance; });
    if (!isPeak || middle.chance < kLeastChance || frame < mNextFrame) {
        return;
    }
    mNextFrame = frame + kPeakReach + 1;
    const double hops = static_cast<double>(frame) - kSilentHops +
                        std::clamp(middle.place, kEarliestPlace, kLatestPlace);
    addOnset(hops * kHopSamples, middle.chance);
}

void OnsetDetector::addOnset(double sample, float chance) {
    const double least = mOnsets.empty() ? 0 : mOnsets.back().seconds * mStream.sampleRateHz();
    for (const double place : {mAttackPlace.near(sample), sample}) {
        if (mOnsets.empty() || place > least) { // else it is the same attack
            mOnsets.push_back({std::max(place, 0.0) / mStream.sampleRateHz(), chance});
            return;
        }
    }
}

// The last frame stands for those after it.
void OnsetDetector::end() {
    mStream.end();
    if (mSpectra == 0) {
        return;
    }
    constexpr std::array<float, 2 * kPairs> kSilence{};
    takeFeatures(mFeatures.add(kSilence));
    const OnsetFeatures::Values last = mWindow.back();
    for (std::size_t i = 0; i < OnsetNetwork::kReach; ++i) {
        takeFeatures(last);
    }
    for (std::size_t i = 0; i < kPeakReach; ++i) {
        takeAnswer({});
    }
}

} // namespace qel::readings
