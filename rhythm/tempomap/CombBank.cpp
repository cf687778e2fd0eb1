#include "rhythm/tempomap/CombBank.h"

#include "rhythm/tempomap/CombLoops.h"

namespace qel::core {

namespace {

// Samples that the combs of all groups below `group` keep.
std::size_t OutputsBelow(std::size_t group) {
    constexpr std::size_t kRing = CombBank::State::RingOf(0);
    constexpr std::size_t kPadding = CombBank::State::OutputStride(0) - kRing;
    return CombBank::kChunk * (kRing * (group * (group + 1) / 2) + kPadding * group);
}

} // namespace

float* CombBank::State::OutputsOf(UInt32 comb) const {
    const UInt32 group = comb / kChunk;
    return outputs +
           (OutputsBelow(group) + std::size_t{comb % kChunk} * OutputStride(group)) * kBands;
}

std::size_t CombBank::State::ChunkSumsStride() const {
    return std::size_t{lagCount} * kBands;
}

float* CombBank::State::ChunkSums(UInt32 back) const {
    const UInt32 chunks = lagCount / kChunk;
    const auto current = static_cast<UInt32>(time / kChunk % chunks);
    return chunkSums + (current + chunks - back) * ChunkSumsStride();
}

float* CombBank::State::ChunkSumsAgain() const {
    const UInt32 chunks = lagCount / kChunk;
    const auto current = static_cast<UInt32>(time / kChunk % chunks);
    return chunkSums + (current == 0 ? 2 * chunks - 1 : current - 1) * ChunkSumsStride();
}

void CombBank::Allocate(UInt32 lagCount) {
    mFeedback.alloc(lagCount, true);
    mFeedforward.alloc(lagCount, true);
    mOutputs.alloc(OutputsBelow(lagCount / kChunk) * kBands, true);
    mSuffixes.alloc(std::size_t{lagCount} * State::kSuffixStride * kBands, true);
    mNewest.alloc(std::size_t{lagCount} * kBands, true);
    mChunkSums.alloc(std::size_t{2} * (lagCount / kChunk) * lagCount * kBands, true);
    mState = {lagCount, 0, 0, mFeedback, mFeedforward, mOutputs, mSuffixes, mNewest, mChunkSums};
}

void CombBank::SetGains(UInt32 comb, float feedback, float feedforward) {
    mFeedback[comb] = feedback;
    mFeedforward[comb] = feedforward;
}

void CombBank::Push(const float* samples, float* energies) {
    PushToCombs(mState, samples, energies);
    mState.time += kSamples;
    mState.inChunk = static_cast<UInt32>(mState.time % kChunk);
    if (mState.inChunk == 0) {
        CloseChunk(mState);
    }
}

} // namespace qel::core
