#pragma once

#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

#include <cstddef>

namespace qel::core {

// A bank of feedback comb filters with the lags 1, 2, ... lagCount, on four bands of one signal,
// and the energy that each comb keeps of each band. It takes two samples of every band at a time:
// two samples of four bands are one vector of eight, and whatever a comb needs of its past is in
// one place.
//
//   1. Allocate, then SetGains of every comb.
//   2. Push per two samples.
//
// Squares are summed once in chunks of kChunk samples, so that an energy takes few terms. Nothing
// is ever subtracted: a sum is as exact as one from scratch, however long the signal, and 0 in
// silence. Everything is computed in single precision, in an order that is the same for all
// processors. One thread at a time.
class CombBank {
public:
    static constexpr UInt32 kBands = 4;
    static constexpr UInt32 kSamples = 2; // of each band, per push
    static constexpr UInt32 kChunk = 16;

    // Begins with outputs of 0 and gains of 0. `lagCount` is a multiple of kChunk. Raises
    // std::bad_alloc.
    void Allocate(UInt32 lagCount);

    // The output of comb i is feedback * (its output i + 1 samples ago) + feedforward * sample.
    void SetGains(UInt32 comb, float feedback, float feedforward);

    // Takes samples[s * kBands + band]. For each comb i,
    // energies[(s * lagCount + i) * kBands + band] is the sum of its last i + 1 squared outputs
    // up to sample s.
    void Push(const float* samples, float* energies);

    // What the vector loops work on. Everything of a comb stands together, four bands at a time.
    struct State {
        UInt32 lagCount;
        UInt32 inChunk;     // samples of the chunk at hand before this push; even
        UInt64 time;        // samples before this push
        float* feedback;    // one per comb
        float* feedforward; // one per comb
        float* outputs;     // OutputsOf
        float* suffixes;    // SuffixesOf
        float* newest;      // per comb, sums of the squares in the chunk at hand
        float* chunkSums;   // ChunkSums

        // The combs are in groups of kChunk. Those of group g keep their last RingOf(g) outputs,
        // cyclic, and the first one again after the last, so that two can be read from anywhere.
        static constexpr UInt32 RingOf(UInt32 group) { return kChunk * (group + 1); }
        // The distance of two combs, samples. The padding spreads combs over the sets of a cache.
        static constexpr UInt32 OutputStride(UInt32 group) { return RingOf(group) + 4; }
        float* OutputsOf(UInt32 comb) const;

        // Of the chunk that the oldest sample of a comb's energy lies in: the sums of the squares
        // from each sample to the end of that chunk. The place after them is that of the first
        // sum of the next chunk.
        static constexpr UInt32 kSuffixStride = kChunk + 2;
        float* SuffixesOf(UInt32 comb) const {
            return suffixes + std::size_t{comb} * kSuffixStride * kBands;
        }

        // Per comb, the sums of the `back`th chunk before the one at hand; `back` up to the number
        // of chunks that are kept. Those of the chunk before stand ChunkSumsStride() before: the
        // chunks are cyclic, and all stand twice.
        float* ChunkSums(UInt32 back) const;
        std::size_t ChunkSumsStride() const;
        // The other place of ChunkSums(1).
        float* ChunkSumsAgain() const;
    };

private:
    State mState{};
    CAAutoFree<float> mFeedback;
    CAAutoFree<float> mFeedforward;
    CAAutoFree<float> mOutputs;
    CAAutoFree<float> mSuffixes;
    CAAutoFree<float> mNewest;
    CAAutoFree<float> mChunkSums;
};

} // namespace qel::core
