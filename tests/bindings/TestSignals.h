/*
 * Audio that the tests of the client make for themselves.
 */
#pragma once

#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

namespace qel::test {

/* A sine with a period of `period` samples; no sample is exactly 0 for an even period, as the phase
   starts half a sample behind the crossing. */
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

} // namespace qel::test
