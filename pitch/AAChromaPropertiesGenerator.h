#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"
#include "support/audio/FrameStore.h"

#include <CoreAudio/CoreAudioTypes.h>

namespace qel::core {

class CACFDictionary;

// Slot 8: pitch classes, musical keys and tonal centroid of each frame, and one key of the stream.
//
// Per frame and channel the pitch classes of the spectral processor, divided by their largest, are
// compared with the profiles of 24 keys. The best key of each frame is kept where the stream's is
// wanted, whatever length was declared.
//
// Whoever receives the names of keys owns them: one reference each.
class AAChromaPropertiesGenerator : public QelAAAnalysisGenerator {
public:
    // A key: an entry of mComputeFlags.
    enum Flag : UInt32 {
        kPitchClassProfile,
        kKeyCorrelation,
        kTonalCentroid,
        kDominantKey,
        kGlobalKey,
        kNumFlags,
    };

    using QelAAAnalysisGenerator::QelAAAnalysisGenerator;
    ~AAChromaPropertiesGenerator() override;

    SInt32 SetComputeProperty(CFArrayRef keys) override;
    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;

    // A dictionary with `key` as its only key, or with none for a key of another object. For the
    // keys of floats the usual shape. "global key": an array by channel of strings, from blocks
    // whose mData is the string, as they are delivered. "dominant key": an array by channel of
    // arrays by frame of strings; a block of frame f is read at element f of an array of string
    // references, mDataByteSize telling its size, and that is not how it is delivered. A delivered
    // block is known by its pointer and taken for what it is. What is not there is left out.
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

    // "global key" of all frames since the last reset, with and without `flush`, anew in every
    // call.
    SInt32 ProcessFinal(UInt8 flush) override;

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

private:
    friend void ChromaSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

    static Flag FlagOf(CFStringRef key);

    void ComputeAndStoreProperties(const SpectralAndAudioBufferList* list);
    void StoreDominantKeys();
    void DeliverDominantKeys();
    void DeliverFloats(Flag flag, CABufferList* list);
    void CopyDominantKeys(UInt32 frames);
    void DeliverGlobalKeys(UInt32 frames);
    void AddFrameNames(CACFDictionary& result, UInt32 count,
                       const QelAudioAnalysisBlock* blocks) const;
    void AddStreamNames(CACFDictionary& result, UInt32 count,
                        const QelAudioAnalysisBlock* blocks) const;
    // Makes block `channel` of mBlocks the name of a key, with a reference for the receiver.
    void GiveName(UInt32 channel, UInt32 key);

    CAAutoDelete<CABufferList> mChromaKeyBuffer;   // kMusicalKeys floats: correlations of the frame
    CAAutoDelete<CABufferList> mDominantKeyBuffer; // one float: the index of the frame's key
    CAAutoDelete<CABufferList> mTonalCenterBuffer; // kTonalCentroidSize floats
    CAAutoDelete<FrameStore> mDominantKeyStore;    // exists where the stream's key is wanted
    CAAutoDelete<CABufferList> mFetchBuffer;       // what was in the ring
    AudioTimeStamp mFrameTime{};                   // frames since the last reset
};

// The spectral callback; `refCon` is the generator.
void ChromaSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
