#include "tests/loudness/range/RangeFiguresSignals.h"

#include "tests/harness/DoubleTransform.h"

#include <cmath>
#include <numbers>
#include <random>

namespace qel::test {

double VarianceOfLevel(double levelDecibels) {
    return std::pow(10.0, levelDecibels / 10.0) / (2.0 * std::numbers::ln2);
}

std::vector<float> NoiseOfLevel(double levelDecibels, std::size_t frames, std::uint32_t seed) {
    // Uniform between -a and a has the variance a^2 / 3.
    const double amplitude = std::sqrt(3.0 * VarianceOfLevel(levelDecibels));
    return Noise(static_cast<float>(amplitude), 1, frames, seed)[0];
}

std::vector<float> BandedNoise(double rateHz, std::size_t frames,
                               const std::vector<NoiseBand>& bands, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::vector<testing::Number> lines(frames);
    std::size_t band = 0;
    for (std::size_t k = 1; k < frames / 2; ++k) {
        const double frequencyHz = static_cast<double>(k) * rateHz / static_cast<double>(frames);
        while (band + 1 < bands.size() && frequencyHz > bands[band].upToHz) {
            ++band;
        }
        // frames / 2 sines of amplitude a have the variance frames a^2 / 4.
        const double variance = VarianceOfLevel(bands[band].levelDecibels);
        const double amplitude = std::sqrt(4.0 * variance / static_cast<double>(frames));
        const double phase =
            2.0 * std::numbers::pi * static_cast<double>(generator()) / 4294967296.0;
        lines[k] = std::polar(amplitude, phase);
    }
    testing::Transform(lines);
    std::vector<float> samples;
    for (const testing::Number& line : lines) {
        samples.push_back(static_cast<float>(line.real()));
    }
    return samples;
}

} // namespace qel::test
