#include "readings/BandwidthMeter.h"

#include <algorithm>

namespace qel::readings {
namespace {

// Next to this number, neighbours of single precision are 1/32768 apart, so that adding and
// subtracting it rounds what is below 128 to a step of 16 bits, and much faster than std::round.
constexpr float kRounder = 384;

float inStepsOf16Bits(float sample) {
    return (sample + kRounder) - kRounder;
}

} // namespace

BandwidthMeter::BandwidthMeter(double sampleRateHz, std::uint64_t lengthFrames)
    : mKeyStream({"audio range"}, sampleRateHz, lengthFrames, [this](const Result& result) {
          if (const auto cutoff = result.range().cutoffHz) {
              mBandwidth.cutoffHz = *cutoff;
          }
      }) {}

void BandwidthMeter::add(std::span<const float> samples) {
    mRounded.resize(samples.size());
    std::ranges::transform(samples, mRounded.begin(), inStepsOf16Bits);
    mKeyStream.add(mRounded);
}

Bandwidth BandwidthMeter::finish() {
    mKeyStream.end();
    return mBandwidth;
}

void BandwidthMeter::reset() {
    mBandwidth = {};
    mKeyStream.reset();
}

} // namespace qel::readings
