#include "readings/rhythm/RunningTempoCurve.h"

#include "readings/stream/RunningMedian.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qel::readings {
namespace {

constexpr std::size_t kHopSamples = 256; // two values of the key per hop of 512
constexpr double kRateOfTheKey = 44032;  // 172 hops: the key reads low at higher rates
constexpr double kMedianSeconds = 3;
constexpr float kNoTempo = 20;      // what the key says before its first tempo
constexpr float kAudible = 0.0001f; // -80 dB of full scale: above dither
constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
constexpr std::size_t kReachHops = 4; // the key's frame has 1024 samples

} // namespace

void RunningTempoCurve::addSamples(std::span<const float> samples) {
    for (const float sample : samples) {
        mHopSounds = mHopSounds || std::abs(sample) > kAudible;
        if (++mHopSamples == kHopSamples) {
            mSounds.push_back(mHopSounds);
            mHopSamples = 0;
            mHopSounds = false;
        }
    }
}

void RunningTempoCurve::reset() {
    mTempi.clear();
    mSounds.clear();
    mHopSamples = 0;
    mHopSounds = false;
}

RunningTempo RunningTempoCurve::finish() const {
    RunningTempo tempo;
    tempo.hopSeconds = kHopSamples / mSampleRateHz;
    const auto length = static_cast<std::size_t>(std::round(kMedianSeconds / tempo.hopSeconds));
    std::vector<float> known = mTempi;
    std::ranges::replace_if(
        known, [](float bpm) { return bpm <= kNoTempo; }, kNone);
    tempo.bpm = runningMedian(known, length);
    std::size_t silentHops = length;
    for (std::size_t i = 0, heard = 0; i < tempo.bpm.size(); ++i) {
        for (; heard < std::min(i + kReachHops, mSounds.size()); ++heard) {
            silentHops = mSounds[heard] ? 0 : silentHops + 1;
        }
        tempo.bpm[i] = silentHops >= length
                           ? kNone
                           : static_cast<float>(tempo.bpm[i] * mSampleRateHz / kRateOfTheKey);
    }
    return tempo;
}

} // namespace qel::readings
