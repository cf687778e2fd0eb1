#include "timbre/Inharmonicity.h"

#include <algorithm>
#include <cmath>

namespace qel::core {

namespace {

constexpr float kAllWhole = 8388608.0f; // 2^23: from here on, floats are whole numbers

// |x - round(x)| to the last bit. What is infinite or not a number gives not a number.
float DistanceFromWhole(float x) {
    const float size = std::abs(x);
    if (!(size < kAllWhole))
        return size - size;
    const float fraction = size - static_cast<float>(static_cast<int>(size));
    return std::min(fraction, 1.0f - fraction);
}

} // namespace

void ComputeInharmonicity(const float* magnitudes, const float* frequencies, unsigned int count,
                          const float* fundamental, float* out) {
    float weight = 0.0f;
    float error = 0.0f;
    for (unsigned int i = 0; i < count; ++i) {
        weight += magnitudes[i];
        error += magnitudes[i] * 4.0f * DistanceFromWhole(frequencies[i] / *fundamental);
    }
    *out = weight == 0.0f || error == 0.0f ? 0.0f : error / weight;
}

} // namespace qel::core
