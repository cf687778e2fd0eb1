#include "readings/MonoBlocks.h"

#include <cmath>

namespace qel::readings {

float MonoBlocks::mix(std::span<const float* const> channels, std::size_t i) const {
    float sum = 0;
    for (const float* channel : channels) {
        sum += std::isfinite(channel[i]) ? channel[i] : 0.0F;
    }
    const float mean = sum * mScale;
    return std::isfinite(mean) ? mean : 0.0F;
}

} // namespace qel::readings
