#pragma once

#include "rhythm/onsets/GammatoneBank.h"

#include <cstddef>

namespace qel::core {

// Band b adds to partial sum b mod kPartialSums. The number is that of no particular instruction
// set, so that sums come out the same on all of them.
inline constexpr std::size_t kPartialSums = 16;
inline constexpr std::size_t kLanesOfBank =
    (MAX_N_BANDS + kPartialSums - 1) / kPartialSums * kPartialSums;

// A bank with a lane per band. What no band uses has pole, gain and state 0.
struct GammatoneBands {
    alignas(64) float realPole[kLanesOfBank] = {};
    alignas(64) float imagPole[kLanesOfBank] = {};
    alignas(64) float gain[kLanesOfBank] = {};
    alignas(64) float real[4][kLanesOfBank] = {};
    alignas(64) float imag[4][kLanesOfBank] = {};
    std::size_t count = 0;
};

} // namespace qel::core
