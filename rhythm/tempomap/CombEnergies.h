#pragma once

#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

#include <cstddef>

namespace qel::core {

// The energies that the comb filters of a bank with the lags 1, 2, ... lagCount keep of one signal:
// comb i needs the sum of its last i squared outputs, at every sample.
//
// Squares are summed once in chunks of kChunk samples, so that a sum takes few terms. Nothing is
// ever subtracted: a sum is as exact as one from scratch, however long the signal, and 0 in
// silence. One thread at a time.
class CombEnergies {
public:
    static constexpr UInt32 kChunk = 16;

    // Begins with outputs of 0. `lagCount` is a multiple of kChunk. Raises std::bad_alloc.
    void Allocate(UInt32 lagCount);

    // energies[i] = sum of the squares of the last i outputs of comb i, for i below lagCount.
    void Sum(float* energies) const;

    // Takes the next output of every comb.
    void Append(const float* outputs);

private:
    float* Row(UInt32 slot) const { return mRows.get() + std::size_t{slot} * mLagCount; }
    UInt32 SlotBefore(UInt32 slot, UInt32 samples) const; // samples up to mLagCount
    void CopyDiagonal(float* energies, UInt32 from) const;
    void CloseChunk(UInt32 firstSlot);

    UInt32 mLagCount = 0;
    UInt32 mNextSlot = 0; // of the next output, cyclic
    // lagCount slots of one float per comb. In the chunk at hand a slot holds squares; in a chunk
    // that is complete, the sums of the squares from that sample to the end of the chunk.
    CAAutoFree<float> mRows;
    CAAutoFree<float> mNewest; // per comb, sum of the squares in the chunk at hand
};

} // namespace qel::core
