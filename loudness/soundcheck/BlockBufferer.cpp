#include "loudness/soundcheck/BlockBufferer.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <algorithm>
#include <cstring>

namespace qel::core {

BlockBufferer::BlockBufferer(Callback callback, void* clientData, UInt32 blockSize)
    : mCallback(callback), mClientData(clientData), mBlockSize(blockSize),
      mStorage(blockSize, false) {}

SInt32 BlockBufferer::AddInput(const unsigned char* source, unsigned int byteCount) {
    if (mBlockSize == 0 || (source == nullptr && byteCount != 0)) {
        return kAudio_ParamError;
    }

    if (mBytesHeld != 0) {
        const UInt32 taken = std::min(mBlockSize - mBytesHeld, byteCount);
        if (taken != 0) {
            std::memcpy(mStorage + mBytesHeld, source, taken);
        }
        mBytesHeld += taken;
        if (mBytesHeld < mBlockSize) {
            return 0;
        }
        if (const SInt32 status = mCallback(mClientData, mStorage, mBytesHeld); status != 0) {
            return status;
        }
        source += taken;
        byteCount -= taken;
    }

    const UInt32 remainder = byteCount % mBlockSize;
    const UInt32 whole = byteCount - remainder;
    if (whole != 0) {
        if (const SInt32 status = mCallback(mClientData, source, whole); status != 0) {
            return status;
        }
    }
    if (remainder != 0) {
        std::memcpy(mStorage, source + whole, remainder);
    }
    mBytesHeld = remainder;
    return 0;
}

} // namespace qel::core
