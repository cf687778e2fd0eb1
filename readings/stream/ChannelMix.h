#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

namespace qel::readings {

// The largest amplitude: 120 dB above full scale. Squares of sums of it stay finite.
inline constexpr float kMostAmplitude = 1e6f;

// What a sample counts as: 0 if it is not finite, and at most the largest amplitude.
inline float usable(float sample) {
    return std::isfinite(sample) ? std::clamp(sample, -kMostAmplitude, kMostAmplitude) : 0.0f;
}

// Mixes the channels of a stream to one: their mean, or the first of two that cancel in the mean.
// Two channels cancel while the energy of their difference, from the start of the stream on, is
// more than 10 times that of their sum. In music the sum has the greater energy. The mix depends
// on the samples so far alone, not on cuts, and needs no look ahead.
class ChannelMix {
public:
    explicit ChannelMix(std::uint32_t channels);

    // The samples of the mix from `first` on, as many as `mixed` takes; each sample once, in their
    // order.
    void mix(std::span<const float* const> channels, std::size_t first, std::span<float> mixed);
    bool channelsCancel() const { return mDifferenceEnergy > kCancelRatio * mSumEnergy; }
    void reset();

private:
    static constexpr double kCancelRatio = 10;

    void mixTwo(const float* left, const float* right, std::span<float> mixed);
    float nextOfTwo(float left, float right);

    const float mScale;
    double mSumEnergy = 0;
    double mDifferenceEnergy = 0;
};

} // namespace qel::readings
