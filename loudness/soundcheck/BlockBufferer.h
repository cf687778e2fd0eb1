#pragma once

#include "support/runtime/CAAutoDisposer.h"

#include <MacTypes.h>

namespace qel::core {

// Cuts a run of bytes, given in pieces of any size, into blocks of one size.
//
// Whole blocks go on straight from the caller's memory, all that one piece holds in one call; only
// what is left over is copied and kept until the rest of its block comes. What is kept at the end
// of the run is never handed on.
class BlockBufferer {
public:
    // Takes one block, or several in a row, and returns 0 or a status.
    using Callback = SInt32 (*)(void* clientData, const unsigned char* bytes,
                                unsigned int byteCount);

    // Room for a block is made here; raises std::bad_alloc. A blockSize of 0, in bytes, is allowed:
    // such an object takes nothing.
    BlockBufferer(Callback callback, void* clientData, UInt32 blockSize);

    // Takes `byteCount` bytes, which are not needed after the call.
    //
    // Returns 0; the callback's status, if not 0, at once; -50 for a block size of 0, and for a
    // null source with a count. After a status of the callback the rest of the piece is lost.
    //
    // Required by the contract: if a kept block was handed on in the call that ended so, taken or
    // not, the next call hands it on again before all else. Dropping it changes the values after a
    // failure.
    SInt32 AddInput(const unsigned char* source, unsigned int byteCount);

private:
    const Callback mCallback;
    void* const mClientData;
    const UInt32 mBlockSize; // bytes
    CAAutoFree<unsigned char> mStorage;
    UInt32 mBytesHeld = 0;
};

} // namespace qel::core
