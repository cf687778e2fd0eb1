// Audio whose range can be told by hand.
#pragma once

#include "tests/harness/TestSignals.h"

#include <cstdint>
#include <vector>

namespace qel::test {

// Noise of a level up to a frequency.
struct NoiseBand {
    double upToHz;
    double levelDecibels; // the median level of a bin, see NoiseOfLevel
};

// Noise with flat bands that end as sharply as its length allows, the last one at half the rate:
// a sum of sines of random phases, one for every multiple of rate / frames. The length must be a
// power of two.
std::vector<float> BandedNoise(double rateHz, std::size_t frames,
                               const std::vector<NoiseBand>& bands, std::uint32_t seed);

// The variance of white noise whose median level in a bin is `levelDecibels`: the power of a bin
// is 4 |X|^2 / 2048, |X|^2 is 1024 times the variance on average as the window's mean square is 1,
// and exponentially distributed, so that its median is the average times log(2).
double VarianceOfLevel(double levelDecibels);

// Uniform white noise of a median level.
std::vector<float> NoiseOfLevel(double levelDecibels, std::size_t frames, std::uint32_t seed);

} // namespace qel::test
