#include "readings/stream/ChannelMix.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {

float usable(float sample) {
    return std::isfinite(sample) ? std::clamp(sample, -kMostAmplitude, kMostAmplitude) : 0.0f;
}

ChannelMix::ChannelMix(std::uint32_t channels) : mScale(1.0f / static_cast<float>(channels)) {}

float ChannelMix::nextOfTwo(float first, float second) {
    const float sum = first + second;
    const float difference = first - second;
    mSumEnergy += double{sum} * sum;
    mDifferenceEnergy += double{difference} * difference;
    return channelsCancel() ? first : sum * mScale;
}

float ChannelMix::next(std::span<const float* const> channels, std::size_t i) {
    if (channels.size() == 2) {
        return nextOfTwo(usable(channels[0][i]), usable(channels[1][i]));
    }
    float sum = 0;
    for (const float* channel : channels) {
        sum += usable(channel[i]);
    }
    return sum * mScale;
}

void ChannelMix::reset() {
    mSumEnergy = 0;
    mDifferenceEnergy = 0;
}

} // namespace qel::readings
