#include "support/audio/FrameStore.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace qel::core {
namespace {

constexpr UInt64 kMostBytes = std::numeric_limits<UInt32>::max();
constexpr UInt64 kBytesPerChannel = 8; // beside its frames
// Of the systems that there are. Where pages are larger, some steps are idle.
constexpr UInt64 kPageBytes = 4096;
// What one of the system's tables of pages covers.
constexpr UInt64 kTableBytes = UInt64{1} << 21;

UInt64 BlockFrames(UInt32 channels, UInt32 bytesPerFrame, std::size_t blockBytes) {
    const UInt64 frame = UInt64{bytesPerFrame} * std::max(channels, UInt32{1});
    return std::max(blockBytes / frame, UInt64{1});
}

// Copies what the buffer has of `bytes` bytes from `offset` on, and zeros for the rest.
void CopyOrClear(Byte* out, const AudioBuffer* buffer, UInt64 offset, std::size_t bytes) {
    const UInt64 size = buffer != nullptr && buffer->mData != nullptr ? buffer->mDataByteSize : 0;
    const std::size_t there = std::min<UInt64>(bytes, size - std::min(size, offset));
    if (there > 0) {
        std::memcpy(out, static_cast<const Byte*>(buffer->mData) + offset, there);
    }
    if (there < bytes) {
        std::memset(out + there, 0, bytes - there);
    }
}

} // namespace

FrameStore::FrameStore(UInt32 channels, UInt32 bytesPerFrame, std::size_t blockBytes)
    : mChannels(channels), mBytesPerFrame(bytesPerFrame),
      mBlockFrames(BlockFrames(channels, bytesPerFrame, blockBytes)) {}

UInt64 FrameStore::MostFrames() const {
    const UInt64 perChannel = kMostBytes / std::max(mChannels, UInt32{1});
    return perChannel < kBytesPerChannel ? 0 : (perChannel - kBytesPerChannel) / mBytesPerFrame;
}

void FrameStore::Reserve(UInt64 frames) {
    if (frames > MostFrames()) {
        throw std::bad_alloc();
    }
    if (frames == 0 || !mBlocks.empty()) {
        return;
    }
    CAAutoFree<Byte> block;
    block.alloc(frames * mChannels * mBytesPerFrame, true);
    mBlocks.push_back(std::move(block));
    mReservedFrames = frames;
    mRoom = frames;
}

void FrameStore::Clear() {
    if (mBlocks.size() > 1) {
        mBlocks.resize(1);
    }
    mRoom = mBlocks.empty() ? 0 : FramesOfBlock(0);
    mFrames = 0;
    mAhead = {};
}

// What is added is written before it is read, so that nobody clears it.
void FrameStore::MakeRoom(UInt64 frames) {
    if (frames > MostFrames()) {
        throw std::bad_alloc();
    }
    while (mRoom < frames) {
        CAAutoFree<Byte> block;
        block.alloc(mBlockFrames * mChannels * mBytesPerFrame, false);
        mBlocks.push_back(std::move(block));
        mRoom += mBlockFrames;
    }
}

void FrameStore::TouchTables() {
    for (std::size_t b = 0; b < mBlocks.size(); ++b) {
        const std::size_t bytes = BytesOfBlock(b);
        for (std::size_t byte = 0; mFrames == 0 && byte < bytes; byte += kTableBytes) {
            *static_cast<volatile Byte*>(mBlocks[b] + byte) = 0;
        }
    }
}

// After a reserved block, the first one is added by Store alone: a declared length is mostly true.
bool FrameStore::AddBlockAhead() {
    const bool isReserved = mReservedFrames > 0 && mBlocks.size() == 1;
    if (mBlocks.empty() || isReserved || mRoom - mFrames > mBlockFrames / 2 ||
        mRoom >= MostFrames()) {
        return false;
    }
    MakeRoom(mRoom + 1);
    return true;
}

// Whether there is one near the next frame. Its byte is none of a stored frame.
bool FrameStore::FindPageToTouch() {
    const Place next = PlaceOf(mFrames);
    const UInt64 stored = next.frame * mBytesPerFrame;
    if (mAhead.block < next.block || (mAhead.block == next.block && mAhead.byte < stored)) {
        mAhead = {next.block, stored};
    }
    if (mChannels == 0 || mAhead.block >= mBlocks.size()) {
        return false;
    }
    const UInt64 before = mAhead.block == next.block ? 0 : BytesOfChannel(next.block);
    return before + mAhead.byte < stored + 2 * kPageBytes;
}

bool FrameStore::TouchAhead() {
    if (!FindPageToTouch()) {
        return false;
    }
    const UInt64 bytes = BytesOfChannel(mAhead.block);
    volatile Byte* const touched =
        mBlocks[mAhead.block] + mAhead.channel * bytes + std::min(mAhead.byte, bytes - 1);
    *touched = 0;
    if (++mAhead.channel < mChannels) {
        return true;
    }
    mAhead.channel = 0;
    mAhead.byte = mAhead.byte + 1 < bytes ? std::min(mAhead.byte + kPageBytes, bytes - 1) : bytes;
    if (mAhead.byte == bytes) {
        mAhead = {mAhead.block + 1};
    }
    return true;
}

void FrameStore::Store(const AudioBufferList& list, UInt32 frames, UInt64 first) {
    MakeRoom(first + frames);
    for (UInt64 done = 0; done < frames;) {
        const Place place = PlaceOf(first + done);
        const UInt64 run = std::min(place.behind, frames - done);
        for (UInt32 c = 0; c < mChannels; ++c) {
            const AudioBuffer* const buffer = c < list.mNumberBuffers ? &list.mBuffers[c] : nullptr;
            CopyOrClear(At(c, place), buffer, done * mBytesPerFrame, run * mBytesPerFrame);
        }
        done += run;
    }
    mFrames = std::max(mFrames, first + frames);
}

UInt64 FrameStore::FramesOfBlock(std::size_t block) const {
    return block == 0 && mReservedFrames > 0 ? mReservedFrames : mBlockFrames;
}

std::size_t FrameStore::BytesOfBlock(std::size_t block) const {
    return FramesOfBlock(block) * mChannels * mBytesPerFrame;
}

FrameStore::Place FrameStore::PlaceOf(UInt64 frame) const {
    if (frame < mReservedFrames) {
        return {0, frame, mReservedFrames - frame};
    }
    const UInt64 added = frame - mReservedFrames;
    const UInt64 within = added % mBlockFrames;
    const std::size_t block = added / mBlockFrames + (mReservedFrames > 0 ? 1 : 0);
    return {block, within, mBlockFrames - within};
}

Byte* FrameStore::At(UInt32 channel, const Place& place) const {
    const UInt64 frame = channel * FramesOfBlock(place.block) + place.frame;
    return mBlocks[place.block] + frame * mBytesPerFrame;
}

const Byte* FrameStore::Frame(UInt32 channel, UInt64 frame) const {
    return At(channel, PlaceOf(frame));
}

void FrameStore::Copy(UInt32 channel, UInt64 first, UInt64 frames, void* out) const {
    auto* bytes = static_cast<Byte*>(out);
    for (UInt64 done = 0; done < frames;) {
        const Place place = PlaceOf(first + done);
        const UInt64 run = std::min(place.behind, frames - done);
        std::memcpy(bytes + done * mBytesPerFrame, At(channel, place), run * mBytesPerFrame);
        done += run;
    }
}

} // namespace qel::core
