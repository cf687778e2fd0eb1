#pragma once

#include "support/runtime/CAAutoDisposer.h"

#include <CoreAudio/CoreAudioTypes.h>

#include <cstddef>
#include <deque>

namespace qel::core {

// A store of frames of several channels that holds a whole run, numbered from 0, however long it
// gets. Memory comes in blocks, and no frame is ever moved to make room: a frame that is stored
// costs the same at the end of a long run as at its start.
//
//   1. Construct.
//   2. Reserve as many frames as are expected. They make one block.
//   3. Store. After the reserved frames, blocks of a fixed size are added as they are needed.
//   4. Read single frames in place, or Copy a run of them into one piece.
//
// One thread at a time. Within the reserved frames nothing but Reserve allocates.
class FrameStore {
public:
    // Bytes of a block that is added, over all channels; a larger frame has a block for itself. To
    // get a larger block from the system costs more at once.
    static constexpr std::size_t kBlockBytes = std::size_t{1} << 16;

    // `bytesPerFrame`, above 0, is that of one channel. Allocates nothing.
    FrameStore(UInt32 channels, UInt32 bytesPerFrame, std::size_t blockBytes = kBlockBytes);
    FrameStore(const FrameStore&) = delete;
    FrameStore& operator=(const FrameStore&) = delete;

    // Makes room for `frames` frames. Of a large room, only what is stored into it takes memory,
    // where the system gives memory as it is touched. For a store without blocks only.
    // Raises std::bad_alloc, also for more than MostFrames(), leaving the store as it was.
    void Reserve(UInt64 frames);

    // Drops all frames and all blocks but the first.
    void Clear();

    // Stores `frames` frames of every buffer of `list` from frame `first` on, which is at most
    // Frames(): after the last one, or over those that there are. Nothing is read past a
    // buffer's mDataByteSize. Bytes that the list does not have, and channels, become 0; buffers
    // without a channel are not read.
    // Raises std::bad_alloc, with the store as it was, when memory is exhausted and where the
    // run would exceed MostFrames().
    void Store(const AudioBufferList& list, UInt32 frames, UInt64 first);
    void Append(const AudioBufferList& list, UInt32 frames) { Store(list, frames, mFrames); }

    // Adds blocks until there is room for `frames` frames, as Store does where it needs them.
    // Raises std::bad_alloc as Store does.
    void MakeRoom(UInt64 frames);

    // Makes the system set up its tables of pages for the blocks of a store without frames, by one
    // page of each table, so that no Store waits for them: 8 kilobytes for 2 megabytes.
    void TouchTables();

    // Makes the system give memory for frames to come, one step per call, so that the Store that
    // first writes there does not wait for it: a step takes some microseconds. Whether there was
    // one to take. Without one, as many bytes per channel as a page has are there after the last
    // frame. Frames that are stored stay as they are. TouchAhead keeps to the blocks that there
    // are; PrepareAhead also adds the next one when the last one that was added is half full, and
    // raises std::bad_alloc as Store does.
    bool TouchAhead();
    bool PrepareAhead() { return AddBlockAhead() || TouchAhead(); }

    UInt64 Frames() const { return mFrames; }
    UInt32 BytesPerFrame() const { return mBytesPerFrame; } // of one channel
    // Frames that there is room for without another block.
    UInt64 Room() const { return mRoom; }
    // The most that a store of this shape may hold: its bytes over all channels, and 8 for each of
    // them, fit 32 bits.
    UInt64 MostFrames() const;

    // A frame below Frames() of a channel: BytesPerFrame() bytes, which stay where they are until
    // the store is cleared.
    const Byte* Frame(UInt32 channel, UInt64 frame) const;

    // Copies the frames from `first` on, all below Frames(), into one piece.
    void Copy(UInt32 channel, UInt64 first, UInt64 frames, void* out) const;

    // Blocks in order, each with the frames of one channel after those of the one before.
    std::size_t BlockCount() const { return mBlocks.size(); }
    Byte* Block(std::size_t block) const { return mBlocks[block]; }
    std::size_t BytesOfBlock(std::size_t block) const;

private:
    // Where a frame stands.
    struct Place {
        std::size_t block;
        UInt64 frame;  // within the block
        UInt64 behind; // frames from that one to the block's end
    };
    // What TouchAhead touches next: a byte of one channel's part of a block.
    struct Ahead {
        std::size_t block = 0;
        UInt64 byte = 0;
        UInt32 channel = 0;
    };
    Place PlaceOf(UInt64 frame) const;
    UInt64 FramesOfBlock(std::size_t block) const;
    UInt64 BytesOfChannel(std::size_t block) const { return FramesOfBlock(block) * mBytesPerFrame; }
    bool AddBlockAhead();
    bool FindPageToTouch();
    Byte* At(UInt32 channel, const Place& place) const;

    const UInt32 mChannels;
    const UInt32 mBytesPerFrame;
    const UInt64 mBlockFrames; // of a block that is added
    UInt64 mReservedFrames = 0;
    UInt64 mRoom = 0;
    UInt64 mFrames = 0;
    Ahead mAhead;
    std::deque<CAAutoFree<Byte>> mBlocks; // grows without moving what it has
};

} // namespace qel::core
