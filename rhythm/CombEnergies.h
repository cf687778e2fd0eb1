#pragma once

#include <MacTypes.h>

namespace qel::core {

// The past outputs of a bank of comb filters whose lags are 1, 2, ... lagCount samples: as many
// rows of lagCount floats, one per sample, one float per comb, in a cyclic store.
struct CombHistory {
    const float* rows;
    UInt32 lagCount;  // a multiple of kCombBlock
    UInt32 newestRow; // the sample before; older ones lie before it, cyclically
};

inline constexpr UInt32 kCombBlock = 32;

// outputs[i] = feedback[i] * (the output of comb i, i + 1 samples ago) + feedforward[i] * x.
void CombOutputs(const CombHistory& history, const float* feedback, const float* feedforward,
                 float x, float* outputs);

// energies[i] = sum of the squares of the past i outputs of comb i: those before the current one
// that belong to one lag of i + 1 samples. Summed afresh, so that no error can build up; in single
// precision from the newest to the oldest. lagCount^2 / 2 multiply-adds.
void CombEnergies(const CombHistory& history, float* energies);

} // namespace qel::core
