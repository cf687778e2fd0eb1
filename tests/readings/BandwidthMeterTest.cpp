#include "readings/BandwidthMeter.h"

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

namespace qel::readings::test {
namespace {

constexpr std::size_t kPeriod = 4096;

// Periodic noise: lines of random phase and of the amplitude `lineOf(hz)`.
template <class LineOf>
Samples lines(double seconds, LineOf lineOf) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> phase(0, 2 * std::numbers::pi);
    std::array<double, kPeriod> sines{};
    for (std::size_t i = 0; i < kPeriod; ++i) {
        sines[i] = std::sin(2 * std::numbers::pi * static_cast<double>(i) / kPeriod);
    }
    std::array<double, kPeriod> period{};
    for (std::size_t k = 1; k < kPeriod / 2; ++k) {
        const double amplitude = lineOf(static_cast<double>(k) * kRateHz / kPeriod);
        const auto start = static_cast<std::size_t>(phase(random) / 2 / std::numbers::pi * kPeriod);
        for (std::size_t i = 0; amplitude > 0 && i < kPeriod; ++i) {
            period[i] += amplitude * sines[(start + k * i) % kPeriod];
        }
    }
    Samples samples = silence(seconds);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<float>(period[i % kPeriod]);
    }
    return samples;
}

double cutoffOf(const Samples& samples) {
    return read({Reading::Bandwidth}, samples).bandwidth->cutoffHz.value_or(0);
}

Samples in16Bits(Samples samples) {
    std::ranges::transform(samples, samples.begin(),
                           [](float x) { return std::round(x * 32768) / 32768; });
    return samples;
}

// Ends at 16 kHz. What is 100 dB below, less than a step of 16 bits, ends at 20.5 kHz.
TEST(BandwidthMeterTest, FloatAnd16BitsHaveTheSameCutoff) {
    const Samples samples = lines(4, [](double hz) {
        return hz < 16000 ? 5e-3 : hz < 20500 ? 5e-8 : 0;
    });
    EXPECT_NEAR(cutoffOf(in16Bits(samples)), 16000, 300);
    EXPECT_NEAR(cutoffOf(samples), 16000, 300);
}

TEST(BandwidthMeterTest, SoundUpToHalfTheRateHasNoCutoff) {
    EXPECT_EQ(cutoffOf(noise(4)), 0);
}

TEST(BandwidthMeterTest, ResetForgetsTheCutoff) {
    BandwidthMeter meter(kRateHz, 0);
    meter.add(lines(4, [](double hz) { return hz < 16000 ? 5e-3 : 0; }));
    EXPECT_TRUE(meter.finish().cutoffHz);
    meter.reset();
    meter.add(noise(4));
    EXPECT_FALSE(meter.finish().cutoffHz);
}

} // namespace
} // namespace qel::readings::test
