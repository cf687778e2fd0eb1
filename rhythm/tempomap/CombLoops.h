#pragma once

#include "rhythm/tempomap/CombBank.h"

#include <MacTypes.h>

namespace qel::core {

// The vector loops of CombBank: Push without the change of time, and what is due when a chunk is
// complete, after it.
void PushToCombs(const CombBank::State& state, const float* samples, float* energies);
void CloseChunk(const CombBank::State& state);

} // namespace qel::core
