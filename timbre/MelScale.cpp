#include "timbre/MelScale.h"

#include <cmath>

namespace qel::core {

float Hz2Mel2(float hz) {
    if (hz < kMelTurningPointHz) {
        return hz / kMelLinearSpacingHz;
    }
    return kMelTurningPoint + std::log(hz / kMelTurningPointHz) / std::log(kMelLogSpacing);
}

float Mel2Hz2(float mel) {
    if (mel < kMelTurningPoint) {
        return mel * kMelLinearSpacingHz;
    }
    return kMelTurningPointHz * std::exp(std::log(kMelLogSpacing) * (mel - kMelTurningPoint));
}

} // namespace qel::core
