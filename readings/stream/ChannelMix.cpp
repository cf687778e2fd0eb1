#include "readings/stream/ChannelMix.h"

#include <functional>

namespace qel::readings {
namespace {

// Whether each sample counts as what it is. A count, as a search could not run in vector lanes.
bool areUsable(std::span<const float> samples) {
    std::uint32_t others = 0;
    for (const float sample : samples) {
        others += std::abs(sample) <= kMostAmplitude ? 0u : 1u;
    }
    return others == 0;
}

void addUsable(std::span<const float> samples, std::span<float> sums) {
    if (areUsable(samples)) {
        std::transform(sums.begin(), sums.end(), samples.begin(), sums.begin(), std::plus<>());
    } else {
        std::transform(sums.begin(), sums.end(), samples.begin(), sums.begin(),
                       [](float sum, float sample) { return sum + usable(sample); });
    }
}

} // namespace

ChannelMix::ChannelMix(std::uint32_t channels) : mScale(1.0f / static_cast<float>(channels)) {}

float ChannelMix::nextOfTwo(float left, float right) {
    const float sum = left + right;
    const float difference = left - right;
    mSumEnergy += double{sum} * sum;
    mDifferenceEnergy += double{difference} * difference;
    return channelsCancel() ? left : sum * mScale;
}

void ChannelMix::mixTwo(const float* left, const float* right, std::span<float> mixed) {
    for (float& sample : mixed) {
        sample = nextOfTwo(usable(*left++), usable(*right++));
    }
}

void ChannelMix::mix(std::span<const float* const> channels, std::size_t first,
                     std::span<float> mixed) {
    if (channels.size() == 2) {
        mixTwo(channels[0] + first, channels[1] + first, mixed);
        return;
    }
    std::ranges::fill(mixed, 0.0f);
    for (const float* channel : channels) {
        addUsable({channel + first, mixed.size()}, mixed);
    }
    if (channels.size() > 1) {
        std::ranges::transform(mixed, mixed.begin(), [this](float sum) { return sum * mScale; });
    }
}

void ChannelMix::reset() {
    mSumEnergy = 0;
    mDifferenceEnergy = 0;
}

} // namespace qel::readings
