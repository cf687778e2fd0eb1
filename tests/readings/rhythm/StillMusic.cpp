#include "tests/readings/rhythm/StillMusic.h"

#include <cmath>

namespace qel::readings::test {
namespace {

constexpr double kRateHz = 44100;
constexpr std::size_t kHopsPerHarmony = 4;

BandLevels stillLevels(std::size_t frames) {
    const std::vector<float> pairs(1024, 1);
    BandLevels levels(kRateHz);
    for (std::size_t i = 0; i < frames; ++i) {
        levels.add(pairs);
    }
    return levels;
}

Harmony stillHarmony(std::size_t frames) {
    const std::vector<float> magnitudes(2048, 1);
    Harmony harmony(kRateHz);
    for (std::size_t i = 0; i < frames; i += kHopsPerHarmony) {
        harmony.add(magnitudes);
    }
    harmony.finish(1, 0);
    return harmony;
}

} // namespace

BeatTimes evenBeats(double bpm, std::size_t count, double first) {
    BeatTimes beats;
    for (std::size_t i = 0; i < count; ++i) {
        beats.push_back(first + static_cast<double>(i) * 60 / bpm);
    }
    return beats;
}

std::vector<float> onsetsAt(const BeatTimes& times, std::size_t frames) {
    std::vector<float> onset(frames);
    for (const double seconds : times) {
        onset.at(static_cast<std::size_t>(std::lround(seconds * kFramesPerSecond))) = 1;
    }
    return onset;
}

StillMusic::StillMusic(std::size_t frames)
    : mLevels(stillLevels(frames)), mStrength(mLevels, 1, {0, frames}),
      mChroma(stillHarmony(frames)), mBars(mStrength, mChroma, kFramesPerSecond) {}

BeatActivity StillMusic::activity(const std::vector<float>& onset) const {
    BeatActivity activity(mStrength, mChroma, kFramesPerSecond);
    activity.onset = onset;
    return activity;
}

} // namespace qel::readings::test
