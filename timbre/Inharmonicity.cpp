#include "timbre/Inharmonicity.h"

#include <cmath>

namespace qel::core {

void ComputeInharmonicity(const float* magnitudes, const float* frequencies, unsigned int count,
                          const float* fundamental, float* out) {
    float weight = 0.0f;
    float error = 0.0f;
    for (unsigned int i = 0; i < count; ++i) {
        const float multiple = frequencies[i] / *fundamental;
        weight += magnitudes[i];
        error += magnitudes[i] * 4.0f * std::abs(multiple - std::round(multiple));
    }
    *out = weight == 0.0f || error == 0.0f ? 0.0f : error / weight;
}

} // namespace qel::core
