#pragma once

#include "tests/fuzz/ByteProgram.h"

#include <QelAudioAnalysis.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace qel::fuzz {

// One reference to a CoreFoundation object.
struct CFReleaser {
    void operator()(const void* object) const { CFRelease(object); }
};
using CFOwner = std::unique_ptr<const void, CFReleaser>;

// A list of keys, and what follows from it by the rules of the key list.
class KeyList {
public:
    explicit KeyList(ByteProgram& program);

    CFArrayRef Array() const { return static_cast<CFArrayRef>(mArray.get()); } // may be null

    // By the order in which groups of keys are called.
    bool IsAnythingBuilt() const { return mHighestSlot >= 0; }
    int HighestSlot() const { return mHighestSlot; }
    bool KeepsDeclaredLength() const { return (mSlots & (1u << 14)) != 0; }
    bool HasKernels() const { return (mSlots & (1u << 7)) != 0; }

    // What a sample costs against one of a cheap key.
    UInt32 WorkPerSample() const;

private:
    CFOwner mArray;
    UInt32 mSlots = 0;
    int mHighestSlot = -1;
    bool mHasEnded = false;
};

// The arguments of an initialization.
struct Setup {
    UInt32 maxFrames = 0;
    AudioStreamBasicDescription format{};
    AudioChannelLayout layout{};
    bool hasLayout = true;
    SInt64 streamLength = 0;

    static Setup Any(ByteProgram& program);

    void SetFormat(double rateHz, UInt32 channels); // canonical, a buffer per channel

    bool IsCanonical() const;
    bool IsOfAudioRate() const; // for which the table promises ranges
    // Whether memory may run out with no fault of the library's.
    bool MayNeedMuchMemory() const;
};

// Buffers for pushes, with lists that fit or not.
class PushList {
public:
    PushList(UInt32 buffers, UInt32 frames);

    AudioBufferList* Get() { return mList; }
    float* Samples(UInt32 channel) { return mAudio.data() + std::size_t{channel} * mFrames; }
    std::vector<float>& Audio() { return mAudio; }

private:
    std::size_t mFrames;
    std::vector<float> mAudio;
    std::unique_ptr<std::byte[]> mMemory;
    AudioBufferList* mList;
};

} // namespace qel::fuzz
