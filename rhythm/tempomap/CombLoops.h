#pragma once

#include "rhythm/tempomap/CombBank.h"

#include <MacTypes.h>

namespace qel::core {

// The vector loops of CombBank: Push without the change of time, and what is due when a chunk is
// complete, after it.
void PushToCombs(const CombBank::State& state, const float* samples, float* energies);
void CloseChunk(const CombBank::State& state);

// What turns the energy of each comb into its salience: 1 / lag, the share of an aperiodic
// signal's energy, and 1 / (1 - that share).
struct SalienceWeights {
    const float* lagScale;
    const float* energyNorm;
    const float* normScale;
};

// salience[i] = the sum over the bands, from the lowest on, of
// (energies[i * kBands + band] * lagScale[i] / meanEnergies[band] - energyNorm[i]) * normScale[i].
// `lagCount` is a multiple of CombBank::kChunk.
void SumSalience(const float* energies, const float* meanEnergies, const SalienceWeights& weights,
                 UInt32 lagCount, float* salience);

} // namespace qel::core
