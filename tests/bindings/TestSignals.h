// Audio that the tests of the client make for themselves.
#pragma once

#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

namespace qel::test {

// A sine with a period of `period` samples; no sample is exactly 0 for an even period, as the phase
// starts half a sample behind the crossing.
inline std::vector<float> sine(std::size_t length, double amplitude, double period) {
    std::vector<float> samples(length);
    for (std::size_t i = 0; i < length; ++i) {
        const double turns = (static_cast<double>(i) + 0.5) / period;
        samples[i] = static_cast<float>(amplitude * std::sin(2 * std::numbers::pi * turns));
    }
    return samples;
}

inline std::vector<float> noise(std::size_t length, unsigned seed) {
    std::mt19937 generator(seed);
    std::vector<float> samples(length);
    for (float& sample : samples) {
        // 24 bits of the generator, so that every platform gives the same floats.
        sample = static_cast<float>(generator() >> 8) / 8388608.0f - 1.0f;
    }
    return samples;
}

// Strokes of a low drum at a steady tempo over a whisper of noise, at 44100 Hz; every `meter`th one
// from the first on is twice as loud. The first stands at 0.2 s.
inline std::vector<float> drums(double seconds, double bpm, int meter) {
    constexpr double kRateHz = 44100;
    std::vector<float> samples = noise(static_cast<std::size_t>(seconds * kRateHz), 9);
    for (float& sample : samples) {
        sample *= 1e-4f;
    }
    for (int stroke = 0;; ++stroke) {
        const auto start = static_cast<std::size_t>((0.2 + stroke * 60 / bpm) * kRateHz);
        const double loudness = stroke % meter == 0 ? 0.6 : 0.3;
        for (std::size_t i = 0; i < 2000; ++i) {
            if (start + i >= samples.size()) {
                return samples;
            }
            const double n = static_cast<double>(i);
            const double turns = n * 80 / kRateHz;
            samples[start + i] += static_cast<float>(loudness * std::exp(-n / 300) *
                                                     std::sin(2 * std::numbers::pi * turns));
        }
    }
}

} // namespace qel::test
