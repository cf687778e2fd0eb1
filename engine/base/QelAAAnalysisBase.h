#pragma once

#include "engine/base/AnalysisBlocks.h"
#include "support/audio/CABufferList.h"
#include "support/runtime/CAAutoDisposer.h"

#include <QelAudioAnalysis.h>

#include <span>

namespace qel::core {

class CACFDictionary;
class FrameStore;

// What a slot of the analyzer holds: it receives pushed audio, is told when the stream ends, and
// reports results through the data callback.
//
// Life: construction; SetComputeProperty once for each key that routes here; ReadyAnalysis, which
// builds everything per stream and is repeated by every reset; PushAudio and Process any number of
// times; destruction. Not thread-safe. Callbacks run inside the call that caused them.
//
// All operations with a status return 0 for success. Allocation failure leaves as std::bad_alloc.
class QelAAAnalysisBase {
public:
    // The first argument of either callback is always null; the last is the pointer given with it.
    using DataCallback = void (*)(void*, CFStringRef key, UInt32 count,
                                  QelAudioAnalysisBlock* blocks, void* refCon);
    using ProgressCallback = int (*)(void*, float percent, void* refCon);

    // `sampleRate` in Hz, `maxFrames` the largest push, `streamLength` in frames (0: unknown).
    QelAAAnalysisBase(UInt32 channels, Float64 sampleRate, UInt32 maxFrames, UInt32 streamLength,
                      DataCallback dataCallback, void* refCon);
    QelAAAnalysisBase(const QelAAAnalysisBase&) = delete;
    QelAAAnalysisBase& operator=(const QelAAAnalysisBase&) = delete;
    virtual ~QelAAAnalysisBase();

    virtual SInt32 PushAudio(AudioBufferList* list, UInt32 frames);

    // With `flush` set the stream has ended: one push of mMaxFrames frames of silence brings out
    // what is still inside, its status dropped. Then ProcessFinal, whose status is the result.
    virtual SInt32 Process(UInt8 flush, ProgressCallback progress, void* progressRefCon);

    virtual SInt32 SetProperty(UInt32 propertyID, const void* data, UInt32 size);
    virtual SInt32 GetProperty(UInt32 propertyID, void* data);

    // Turns the whole key list of the analyzer into mComputeFlags, anew on every call.
    virtual SInt32 SetComputeProperty(CFArrayRef keys);

    // A reset: builds the buffers anew. When that throws, everything built is given back, and the
    // object takes pushes without effect until a later reset succeeds.
    virtual SInt32 ReadyAnalysis();

    // Makes room for a delivery of `key`, so that the first one allocates nothing. Raises
    // std::bad_alloc.
    void ReserveBlocks(CFStringRef key);

    // Bytes of one block of `key`, 0 for a key of another object.
    virtual UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key);

    // Writes a QelAudioAnalysisKeyMetaData; here its sample rate alone.
    virtual SInt32 GetMetaDataForKey(CFStringRef key, void* outData);

    // Appends the names of the parameters to the client's mutable array that `list` points at.
    virtual SInt32 GetParameterList(CFMutableArrayRef* list);
    virtual SInt32 GetParameterValueInfo(CFStringRef name, void* outData);

    // A property list made from blocks, owned by the caller, or null.
    virtual CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                                     UInt32 count,
                                                     const QelAudioAnalysisBlock* blocks);
    virtual SInt32 GetParameter(CFStringRef name, float* outValue);
    virtual SInt32 SetParameter(CFStringRef name, float value);

    // The end of the stream. An override does its own work and ends by calling this one, which
    // reports 100 to the progress callback and returns -1 if that asks to stop.
    virtual SInt32 ProcessFinal(UInt8 flush);

protected:
    // Clears owned pointers without freeing; frees what the object owns; builds it per stream.
    virtual void NullPointers();
    virtual void Cleanup();
    virtual void AllocateBuffers();

    // The place of `key`, which may be null, among `keys`; their number if it is not among them.
    static UInt32 IndexOf(CFStringRef key, std::span<const CFStringRef> keys);
    // Makes mComputeFlags anew, with `flags` entries, and raises the entry of each of `keys` that
    // is in the client's list. Always 0.
    SInt32 RaiseFlags(CFArrayRef wanted, std::span<const CFStringRef> keys, UInt32 flags);
    bool IsWanted(UInt32 flag) const;

    // Frames that `count` frame-major blocks hold. The blocks are not read.
    UInt32 GetNumAnalysisFramesForData(UInt32 count, const QelAudioAnalysisBlock* blocks) const;

    // Adds to `dict`, under `key`, the usual representation of float blocks: an array by channel of
    // arrays by frame of arrays of numbers. The first block's size sets the length for all.
    void MakeFloatArrayForKey(CACFDictionary* dict, const QelAudioAnalysisBlock* blocks,
                              UInt32 count, CFStringRef key) const;

    // { key: [ channel: [ frame: [ number ] ] ] } for float blocks; an empty dictionary unless the
    // key `isOwn`. The caller owns it.
    CFPropertyListRef FloatRepresentation(CFAllocatorRef allocator, CFStringRef key, bool isOwn,
                                          UInt32 count, const QelAudioAnalysisBlock* blocks) const;

    // A list with a zeroed buffer of that many bytes per channel; the caller owns it. The name is
    // not copied. Raises std::bad_alloc, also for more bytes than 32 bits count.
    CAAutoDelete<CABufferList> NewBuffer(const char* name, UInt64 bytesPerChannel) const;
    static float* Channel(CABufferList* buffer, UInt32 channel);

    // A store of one float per channel and frame, with room for the frames of a stream of the
    // declared length; the caller owns it. If that is unknown, there is room for `usualFrames`,
    // counted over all channels, or for one block with 0. A declaration may be false, so that no
    // more than a gigabyte is taken on trust: a longer run adds blocks to the store as it comes.
    CAAutoDelete<FrameStore> NewStore(UInt64 declaredFrames, UInt64 usualFrames = 0) const;

    // The count of what is in a ring, back at 0.
    static void ResetStamp(AudioTimeStamp& stamp);

    // Reports `percent` to the progress callback; whether the client asked to stop.
    bool StopsAt(float percent) const;

    // Hands the blocks that were prepared in mBlocks to the data callback.
    void Deliver(CFStringRef key);

    const UInt32 mNumChannels;
    const Float64 mSampleRate;
    const UInt32 mMaxFrames;
    const UInt32 mStreamLength;
    const DataCallback mDataCallback;
    void* const mDataRefCon;
    ProgressCallback mProgressCallback = nullptr;
    void* mProgressRefCon = nullptr;
    CAAutoFree<bool> mComputeFlags;
    CAAutoDelete<CABufferList> mFlushBuffer;
    AnalysisBlocks mBlocks;
};

} // namespace qel::core
