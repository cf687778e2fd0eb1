#include "readings/stream/MonoBlocks.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {

float usable(float sample) {
    return std::isfinite(sample) ? std::clamp(sample, -kMostAmplitude, kMostAmplitude) : 0.0f;
}

float MonoBlocks::mix(std::span<const float* const> channels, std::size_t i) const {
    float sum = 0;
    for (const float* channel : channels) {
        sum += usable(channel[i]);
    }
    return sum * mScale;
}

} // namespace qel::readings
