#include "rhythm/tempomap/CombEnergies.h"

#include <algorithm>

namespace qel::core {

namespace {

void AddTo(float* sums, const float* terms, UInt32 from, UInt32 to) {
    for (UInt32 i = from; i < to; ++i) {
        sums[i] += terms[i];
    }
}

} // namespace

void CombEnergies::Allocate(UInt32 lagCount) {
    mLagCount = lagCount;
    mNextSlot = 0;
    mRows.alloc(std::size_t{lagCount} * lagCount, true);
    mNewest.alloc(lagCount, true);
}

UInt32 CombEnergies::SlotBefore(UInt32 slot, UInt32 samples) const {
    return slot >= samples ? slot - samples : slot + (mLagCount - samples);
}

// energies[i] = the value of comb i in the slot of i samples ago. The slots go down to the first
// one, and on from the last one.
void CombEnergies::CopyDiagonal(float* energies, UInt32 from) const {
    const UInt32 last = std::max(mNextSlot + 1, from);
    const float* const values = mRows.get();
    const std::size_t step = std::size_t{mLagCount} - 1;
    std::size_t at = mNextSlot * std::size_t{mLagCount} - from * step;
    for (UInt32 i = from; i < last; ++i, at -= step) {
        energies[i] = values[at];
    }
    at = (mNextSlot + std::size_t{mLagCount}) * mLagCount - last * step;
    for (UInt32 i = last; i < mLagCount; ++i, at -= step) {
        energies[i] = values[at];
    }
}

void CombEnergies::Sum(float* energies) const {
    const UInt32 inChunk = mNextSlot % kChunk; // samples of the chunk at hand
    const UInt32 chunkStart = mNextSlot - inChunk;

    // Short lags reach back within the chunk at hand.
    const UInt32 shortLags = std::min(inChunk + 1, mLagCount);
    for (UInt32 i = 0; i < shortLags; ++i) {
        energies[i] = 0.0f;
        for (UInt32 slot = mNextSlot - i; slot < mNextSlot; ++slot) {
            energies[i] += Row(slot)[i];
        }
    }
    // The others take the rest of the chunk that their oldest sample lies in,
    CopyDiagonal(energies, shortLags);
    // all chunks in between,
    for (UInt32 back = kChunk; inChunk + back + 1 < mLagCount; back += kChunk) {
        AddTo(energies, Row(SlotBefore(chunkStart, back)), inChunk + back + 1, mLagCount);
    }
    // and the chunk at hand.
    AddTo(energies, mNewest, shortLags, mLagCount);
}

void CombEnergies::Append(const float* outputs) {
    float* const squares = Row(mNextSlot);
    for (UInt32 i = 0; i < mLagCount; ++i) {
        squares[i] = outputs[i] * outputs[i];
    }
    AddTo(mNewest, squares, 0, mLagCount);
    ++mNextSlot;
    if (mNextSlot % kChunk == 0) {
        CloseChunk(mNextSlot - kChunk);
        mNextSlot %= mLagCount;
    }
}

void CombEnergies::CloseChunk(UInt32 firstSlot) {
    for (UInt32 slot = firstSlot + kChunk - 1; slot > firstSlot; --slot) {
        AddTo(Row(slot - 1), Row(slot), 0, mLagCount);
    }
    std::fill_n(mNewest.get(), mLagCount, 0.0f);
}

} // namespace qel::core
