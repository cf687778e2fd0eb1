#pragma once

#include <MacTypes.h>

namespace qel::core {

// What turns the energy of each comb into its salience: 1 / lag, the share of an aperiodic
// signal's energy, and 1 / (1 - that share).
struct SalienceWeights {
    const float* lagScale;
    const float* energyNorm;
    const float* normScale;
};

// salience[i] = the sum over the bands of a CombBank, from the lowest on, of
// (energies[i * kBands + band] * lagScale[i] / meanEnergies[band] - energyNorm[i]) * normScale[i].
// `lagCount` is a multiple of CombBank::kChunk.
void SumSalience(const float* energies, const float* meanEnergies, const SalienceWeights& weights,
                 UInt32 lagCount, float* salience);

} // namespace qel::core
