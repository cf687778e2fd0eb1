#pragma once

#include "support/audio/CAStreamBasicDescription.h"
#include "support/runtime/CAAutoDisposer.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <cstddef>
#include <cstdio>

namespace qel::core {

// A named AudioBufferList that owns the memory of its buffers. Made by New.
// One thread at a time. Operations that allocate raise std::bad_alloc and leave the list as it was.
class CABufferList {
public:
    // A list with as many buffers and channels in each as the format has, without memory yet.
    // `name` is a label for printing; it is not copied and must outlive the list.
    static CAAutoDelete<CABufferList> New(const char* name, const CAStreamBasicDescription& format);

    CABufferList(const CABufferList&) = delete;
    CABufferList& operator=(const CABufferList&) = delete;

    const char* Name() const { return mName; }

    // The list inside. Its size fields and pointers may be changed; the memory stays the owner's.
    AudioBufferList& GetModifiableBufferList() { return *mList; }
    const AudioBufferList& GetBufferList() const { return *mList; }

    // mDataByteSize of the first buffer.
    UInt32 GetNumBytes() const;

    // Gives every buffer room for at least `bytes` bytes. Does nothing if the first has as much.
    // Otherwise what the buffers held is kept at their start, and the rest is zeroed.
    //
    // With several buffers each gets more than asked for, so that channels do not fall on the same
    // cache lines: ((bytes + 15) without its low five bits) + 16. mDataByteSize tells that size, so
    // whoever needs the requested one must keep it.
    void AllocateBuffers(UInt32 bytes);

    // The same, but what `source` holds is copied in place of the old content, and `owner`'s
    // buffers are pointed at the copies. If nothing needs to grow, this is CopyAllFrom.
    void AllocateBuffersAndCopyFrom(UInt32 bytes, CABufferList* source, CABufferList* owner);

    // Gives the memory back and clears size and pointer of every buffer.
    void DeallocateBuffers();

    // Drops the first `bytes` bytes of every buffer, or all if it has fewer.
    void BytesConsumed(UInt32 bytes);

    // Moves what each buffer of `source` holds to the start of this list's buffer, as far as it has
    // room, and points `owner`'s buffer there. If `owner` is not `source`, the bytes of `source`
    // are then consumed. Any of the three may be the same list.
    void CopyAllFrom(CABufferList* source, CABufferList* owner);

private:
    CABufferList(const char* name, UInt32 buffers, UInt32 channelsPerBuffer);

    UInt32 StrideFor(UInt32 bytes) const;
    AudioBuffer BufferOrNone(UInt32 index) const;
    std::size_t Room(UInt32 index) const;
    void TakeCopy(UInt32 index, const AudioBuffer& from, void* to, std::size_t room);

    const char* mName;
    CAAutoArrayDelete<unsigned char> mBufferMemory;
    std::size_t mStride = 0; // from one buffer's memory to the next
    CAAutoFree<AudioBufferList> mList;
};

// Prints channels, size and the first `maxFloats` values of every buffer.
void CAShowAudioBufferList(std::FILE* stream, const AudioBufferList& list, UInt32 maxFloats = 8);

} // namespace qel::core
