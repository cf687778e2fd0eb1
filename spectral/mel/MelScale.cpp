#include "spectral/mel/MelScale.h"

#include "elementary/Functions.h"

namespace qel::core {

float Hz2Mel2(float hz) {
    if (hz < kMelTurningPointHz) {
        return hz / kMelLinearSpacingHz;
    }
    return kMelTurningPoint +
           elementary::Log(hz / kMelTurningPointHz) / elementary::Log(kMelLogSpacing);
}

float Mel2Hz2(float mel) {
    if (mel < kMelTurningPoint) {
        return mel * kMelLinearSpacingHz;
    }
    return kMelTurningPointHz *
           elementary::Exp(elementary::Log(kMelLogSpacing) * (mel - kMelTurningPoint));
}

} // namespace qel::core
