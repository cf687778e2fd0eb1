// Lists for the tests of the ring buffer: byte buffers with a margin that nobody may touch.
#pragma once

#include "support/runtime/CAAutoDisposer.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

namespace qel::core {

// Owns `buffers` buffers of `bytes` bytes each, filled with kUntouched, with a margin after each.
class RingTestList {
public:
    static constexpr Byte kUntouched = 0xA5;
    static constexpr std::size_t kMargin = 64;

    RingTestList(UInt32 buffers, std::size_t bytes) : mBytes(bytes), mData(buffers) {
        const std::size_t tail = buffers > 1 ? buffers - std::size_t{1} : 0;
        mList.allocBytes(sizeof(AudioBufferList) + tail * sizeof(AudioBuffer), true);
        mList->mNumberBuffers = buffers;
        Reset();
    }

    // Fills the buffers with kUntouched and sets every mDataByteSize to the whole size.
    void Reset() {
        for (UInt32 i = 0; i < mList->mNumberBuffers; ++i) {
            mData[i].assign(mBytes + kMargin, kUntouched);
            mList->mBuffers[i] = {1, static_cast<UInt32>(mBytes), mData[i].data()};
        }
    }

    AudioBufferList* List() { return mList; }
    std::size_t Bytes() const { return mBytes; }
    UInt32 DataByteSize(UInt32 buffer) const { return mList->mBuffers[buffer].mDataByteSize; }
    void SetDataByteSize(UInt32 buffer, UInt32 size) {
        mList->mBuffers[buffer].mDataByteSize = size;
    }

    std::vector<Byte>& Data(UInt32 buffer) { return mData[buffer]; }

    template <class T>
    void Set(UInt32 buffer, std::size_t index, T value) {
        std::memcpy(mData[buffer].data() + index * sizeof value, &value, sizeof value);
    }

    template <class T>
    T Get(UInt32 buffer, std::size_t index) const {
        T value;
        std::memcpy(&value, mData[buffer].data() + index * sizeof value, sizeof value);
        return value;
    }

    bool UntouchedFrom(UInt32 buffer, std::size_t offset) const {
        return std::all_of(mData[buffer].begin() + static_cast<std::ptrdiff_t>(offset),
                           mData[buffer].end(), [](Byte b) { return b == kUntouched; });
    }

private:
    std::size_t mBytes;
    std::vector<std::vector<Byte>> mData;
    CAAutoFree<AudioBufferList> mList;
};

} // namespace qel::core
