#pragma once

#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

#include <cstddef>
#include <vector>

namespace qel::core {

// The newest samples of a stream, numbered from 0, as many as are not yet dropped. They are kept in
// blocks, which are used again.
//
//   1. Construct.
//   2. MakeRoom, then Append.
//   3. Read what is needed, Drop what is not.
//
// One thread at a time. Nothing allocates but construction, and MakeRoom for more samples than were
// reserved.
class PendingInputs {
public:
    static constexpr UInt64 kRunSamples = 256;

    // Of the `reserved` samples, the system gives memory for `usual` ones at once, and for others
    // as they are touched. Raises std::bad_alloc.
    PendingInputs(UInt64 usual, UInt64 reserved);

    // For `n` more samples. Raises std::bad_alloc with all samples as they were.
    void MakeRoom(UInt64 n);
    void Append(const float* samples, UInt64 n);
    // All of them; the next one is sample 0. For those of which none is dropped or freed.
    void Clear();
    // Those before `first`.
    void Drop(UInt64 first);
    // Gives the places of samples from `first` to before `end` to samples to come, as far as whole
    // blocks hold them, while samples before them stay. They are dropped only with those.
    void Free(UInt64 first, UInt64 end);

    UInt64 First() const { return mFirst; }
    UInt64 End() const { return mEnd; }
    // The samples from `first` on, which is neither dropped nor to come, to before the next
    // multiple of kRunSamples. They stand there until they are dropped.
    const float* Run(UInt64 first) const;

private:
    static constexpr UInt64 kBlockSamples = 1024;

    UInt64 Place(UInt64 sample) const { return sample - mBlocksFirst; }

    const std::size_t mReservedBlocks;
    CAAutoFree<float> mReserve;
    std::vector<CAAutoFree<float>> mAdded; // blocks beyond the reserve
    std::vector<float*> mBlocks;           // in use, null if freed, then those to be used again
    std::size_t mTaken = 0;                // blocks of the reserve
    UInt64 mBlocksFirst = 0;               // the sample of the first place of the first block
    UInt64 mFirst = 0;
    UInt64 mEnd = 0;
};

} // namespace qel::core
