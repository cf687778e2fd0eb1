// Hours of music, of which any stretch can be made by itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qel::trust {

// One channel: a chord per second over a stroke of noise every half second, every fourth one loud,
// and a whisper of noise. A sample depends on its position alone.
class SoakAudio {
public:
    explicit SoakAudio(double rateHz);

    void Fill(std::uint64_t first, std::vector<float>& samples) const;

    // From one stroke to the next. The first stands at 0.
    std::uint64_t StrokePeriodSamples() const { return mPeriod; }

private:
    // A sine of the phase in turns of 2^64.
    float Sine(std::uint64_t phase) const { return mSine[phase >> (64 - kLog2Table)]; }
    static float Noise(std::uint64_t position);

    static constexpr int kLog2Table = 12;
    double mRateHz;
    std::uint64_t mPeriod;
    std::vector<float> mSine;
    std::vector<float> mDecay; // over a period
};

} // namespace qel::trust
