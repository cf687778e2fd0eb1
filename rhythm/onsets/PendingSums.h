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
//   3. Copy what is needed, Drop what is not.
//
// One thread at a time. Nothing allocates but construction, and MakeRoom for more samples than were
// reserved.
class PendingSums {
public:
    // Of the `reserved` samples, the system gives memory for `usual` ones at once, and for others
    // as they are touched. Raises std::bad_alloc.
    PendingSums(UInt64 usual, UInt64 reserved);

    // For `n` more samples. Raises std::bad_alloc with all samples as they were.
    void MakeRoom(UInt64 n);
    void Append(const float* samples, UInt64 n);
    // Those before `first`.
    void Drop(UInt64 first);

    UInt64 First() const { return mFirst; }
    UInt64 End() const { return mEnd; }
    // Of samples that are neither dropped nor to come.
    void Copy(UInt64 first, UInt64 n, float* out) const;
    // The same where they stand, or in `copy` where a block ends among them.
    const float* InOnePiece(UInt64 first, UInt64 n, float* copy) const;

private:
    static constexpr UInt64 kBlockSamples = 4096;

    UInt64 Place(UInt64 sample) const { return sample - mBlocksFirst; }

    const std::size_t mReservedBlocks;
    CAAutoFree<float> mReserve;
    std::vector<CAAutoFree<float>> mAdded; // blocks beyond the reserve
    std::vector<float*> mBlocks;           // in use, then those to be used again
    std::size_t mTaken = 0;                // blocks of the reserve
    UInt64 mBlocksFirst = 0;               // the sample of the first place of the first block
    UInt64 mFirst = 0;
    UInt64 mEnd = 0;
};

} // namespace qel::core
