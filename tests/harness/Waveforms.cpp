#include "tests/harness/Waveforms.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

namespace qel::test {

std::vector<float> Sine(std::size_t frames, double periodSamples, double amplitude) {
    std::vector<float> samples(frames);
    for (std::size_t n = 0; n < frames; ++n) {
        const double phase = 2 * std::numbers::pi * (static_cast<double>(n) + 0.5) / periodSamples;
        samples[n] = static_cast<float>(amplitude * std::sin(phase));
    }
    return samples;
}

std::vector<float> Click(std::size_t frames, std::size_t position) {
    std::vector<float> samples(frames);
    for (std::size_t i = 0; i < 16; ++i) {
        samples[position + i] = i % 2 == 0 ? 0.6f : -0.6f;
    }
    samples[position] = 0.9f;
    return samples;
}

std::vector<float> Noise(std::size_t frames, float amplitude, unsigned seed) {
    std::mt19937 generator(seed);
    std::vector<float> samples(frames);
    for (float& sample : samples) {
        // The top 24 bits as a fraction of -1 to 1: the distributions of the standard library
        // differ from one to the next.
        sample = amplitude * (static_cast<float>(generator() >> 8) / 8388608.0f - 1);
    }
    return samples;
}

std::vector<float> Drums(double seconds, double bpm, int meter) {
    constexpr double kRateHz = 44100;
    constexpr std::size_t kStrokeSamples = 2000;
    std::vector<float> samples = Noise(static_cast<std::size_t>(seconds * kRateHz), 1e-4f);
    for (int stroke = 0;; ++stroke) {
        const auto start = static_cast<std::size_t>((0.2 + stroke * 60 / bpm) * kRateHz);
        if (start >= samples.size()) {
            return samples;
        }
        const double loudness = stroke % meter == 0 ? 0.6 : 0.3;
        for (std::size_t i = 0; i < std::min(kStrokeSamples, samples.size() - start); ++i) {
            const double n = static_cast<double>(i);
            const double phase = 2 * std::numbers::pi * n * 80 / kRateHz;
            samples[start + i] +=
                static_cast<float>(loudness * std::exp(-n / 300) * std::sin(phase));
        }
    }
}

} // namespace qel::test
