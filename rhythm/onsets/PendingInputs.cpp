#include "rhythm/onsets/PendingInputs.h"

#include <algorithm>
#include <utility>

namespace qel::core {

// A block more, as a run of samples rarely begins with one.
PendingInputs::PendingInputs(UInt64 usual, UInt64 reserved)
    : mReservedBlocks(std::max(usual, reserved) / kBlockSamples + 2),
      mReserve(mReservedBlocks * kBlockSamples, false) {
    mBlocks.reserve(2 * mReservedBlocks); // with those that were freed
    MakeRoom(usual);
    for (float* const block : mBlocks) {
        std::fill_n(block, kBlockSamples, 0.0f);
    }
}

void PendingInputs::MakeRoom(UInt64 n) {
    while (mBlocks.size() * kBlockSamples < Place(mEnd) + n) {
        if (mTaken < mReservedBlocks) {
            mBlocks.push_back(mReserve.get() + mTaken * kBlockSamples);
            ++mTaken;
            continue;
        }
        CAAutoFree<float> block(kBlockSamples, false);
        mAdded.push_back(std::move(block));
        mBlocks.push_back(mAdded.back().get());
    }
}

void PendingInputs::Append(const float* samples, UInt64 n) {
    for (UInt64 done = 0; done < n;) {
        const UInt64 place = Place(mEnd);
        const UInt64 within = place % kBlockSamples;
        const UInt64 run = std::min(kBlockSamples - within, n - done);
        std::copy_n(samples + done, run, mBlocks[place / kBlockSamples] + within);
        mEnd += run;
        done += run;
    }
}

void PendingInputs::Clear() {
    mEnd = 0;
}

void PendingInputs::Drop(UInt64 first) {
    mFirst = first;
    const auto blocks = static_cast<std::ptrdiff_t>(Place(first) / kBlockSamples);
    const auto used = std::rotate(mBlocks.begin(), mBlocks.begin() + blocks, mBlocks.end());
    mBlocks.erase(std::remove(used, mBlocks.end(), nullptr), mBlocks.end());
    mBlocksFirst += static_cast<UInt64>(blocks) * kBlockSamples;
}

void PendingInputs::Free(UInt64 first, UInt64 end) {
    const UInt64 lastBlock = Place(end) / kBlockSamples;
    for (UInt64 b = (Place(first) + kBlockSamples - 1) / kBlockSamples; b < lastBlock; ++b) {
        if (mBlocks[b] != nullptr) {
            mBlocks.push_back(mBlocks[b]);
            mBlocks[b] = nullptr;
        }
    }
}

// Blocks begin at multiples of their length, and are whole runs.
const float* PendingInputs::Run(UInt64 first) const {
    static_assert(kBlockSamples % kRunSamples == 0);
    const UInt64 place = Place(first);
    return mBlocks[place / kBlockSamples] + place % kBlockSamples;
}

} // namespace qel::core
