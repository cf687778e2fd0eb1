#include "tests/trust/SoakAudio.h"

#include <array>
#include <cmath>
#include <numbers>

namespace qel::trust {

SoakAudio::SoakAudio(double rateHz)
    : mRateHz(rateHz), mPeriod(static_cast<std::uint64_t>(rateHz / 2)),
      mSine(std::size_t{1} << kLog2Table), mDecay(mPeriod) {
    for (std::size_t i = 0; i < mSine.size(); ++i) {
        const double turns = (static_cast<double>(i) + 0.5) / static_cast<double>(mSine.size());
        mSine[i] = static_cast<float>(std::sin(2 * std::numbers::pi * turns));
    }
    constexpr double kDecaySeconds = 0.08;
    for (std::size_t i = 0; i < mDecay.size(); ++i) {
        mDecay[i] =
            static_cast<float>(std::exp(-static_cast<double>(i) / (kDecaySeconds * rateHz)));
    }
}

void SoakAudio::Fill(std::uint64_t first, std::vector<float>& samples) const {
    constexpr std::array kRootsHz = {130.8, 174.6, 196.0, 146.8, 164.8, 220.0};
    constexpr std::array kRatios = {1.0, 1.25, 1.5};
    const double turn = std::ldexp(1.0, 64);
    std::array<std::uint64_t, kRatios.size()> steps{};
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::uint64_t position = first + i;
        const std::uint64_t within = position % mPeriod;
        if (within == 0 || i == 0) {
            const double rootHz = kRootsHz[position / mPeriod / 2 % kRootsHz.size()];
            for (std::size_t n = 0; n < steps.size(); ++n) {
                steps[n] = static_cast<std::uint64_t>(rootHz * kRatios[n] / mRateHz * turn);
            }
        }
        float chord = 0;
        for (const std::uint64_t step : steps) {
            chord += Sine(position * step);
        }
        const float noise = Noise(position);
        const float loudness = position / mPeriod % 4 == 0 ? 0.5f : 0.25f;
        const float stroke = within < mPeriod / 20 ? loudness * noise : 0.0f;
        samples[i] = mDecay[within] * (0.1f * chord + stroke) + 0.002f * noise;
    }
}

float SoakAudio::Noise(std::uint64_t position) {
    // Mixes the bits of the position; 24 of them make the sample.
    std::uint64_t bits = (position + 1) * 0x9E3779B97F4A7C15;
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
    bits ^= bits >> 27;
    return static_cast<float>(bits & 0xFFFFFF) / 8388608.0f - 1.0f;
}

} // namespace qel::trust
