#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct SpeexResamplerState_;

namespace qel::readings {

// A sample rate as a fraction of another.
struct RateRatio {
    std::uint32_t numerator = 1;
    std::uint32_t denominator = 1;

    bool isOne() const noexcept { return numerator == denominator; }
    double value() const noexcept { return double{1} * numerator / denominator; }
};

// What brings a sample rate into 44.1 to 48 kHz: 1 for a rate that is there, else the simplest
// fraction. 88.2 and 96 kHz are halved, 22.05 kHz is doubled.
RateRatio ratioToCommonRate(double sampleRateHz);

// Changes the sample rate of a stream of one channel, by libspeexdsp. Sample 0 stays at time 0: the
// delay of the filter is taken out.
class RateChange {
public:
    explicit RateChange(RateRatio ratio);

    // The samples that these make possible, valid until the next call.
    std::span<const float> add(std::span<const float> samples);
    // Those that the filter still holds: the stream then has ceil(samples * ratio) of them.
    std::span<const float> end();
    void reset();

private:
    struct Destroy {
        void operator()(SpeexResamplerState_* state) const;
    };

    const RateRatio mRatio;
    std::unique_ptr<SpeexResamplerState_, Destroy> mState;
    std::uint64_t mTaken = 0;
    std::uint64_t mGiven = 0;
    std::vector<float> mOutput;
};

} // namespace qel::readings
