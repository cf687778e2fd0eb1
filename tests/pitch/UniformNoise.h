// White noise from -1 to 1, the same for the same seed.
#pragma once

#include <cstddef>
#include <random>
#include <vector>

namespace qel::testing {

inline std::vector<float> UniformNoise(std::size_t count, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> values(-1.0f, 1.0f);
    std::vector<float> noise(count);
    for (float& value : noise) {
        value = values(generator);
    }
    return noise;
}

} // namespace qel::testing
