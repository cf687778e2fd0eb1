#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"
#include "support/FrameStore.h"

namespace qel::core {

// Slot 14: at the end of the stream, per channel, a spectrogram in which every value stands where
// its energy lies: at the frequency and the time that AAReassignedSpectralProcessor found.
//
// Until then every frame's spectrum, frequencies and times are kept: 16 bytes per bin. The
// spectrogram adds 8 while it is delivered. The stores hold as many frames as the declared
// length has; of a longer stream, old frames fall out (see AAReassignedFrames for what is left).
class AAReassignedSpectrumGenerator : public QelAAAnalysisGenerator {
public:
    using QelAAAnalysisGenerator::QelAAAnalysisGenerator;
    ~AAReassignedSpectrumGenerator() override;

    // The size of one frame: mNumBins complex values.
    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

    // Delivers all frames since the last reset, in an array of channels times frames blocks, of
    // which only number c times frames is filled: it points at all frames of channel c and tells
    // the size of one.
    //
    // Required by the contract: the other blocks are empty. Clients find a channel at c times
    // frames.
    SInt32 ProcessFinal(UInt8 flush) override;

    // Stores what the processor found in a frame.
    void ComputeAndStoreProperties(const SpectralAndAudioBufferList& list);

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

    // Per channel one frame of interleaved complex values.
    CAAutoDelete<CABufferList> mSpectrumBuffers;
    // Of the frames that the declared length has. Frame t stands in place t mod that number.
    CAAutoDelete<FrameStore> mSpectrumStore;
    CAAutoDelete<FrameStore> mCIFStore;
    CAAutoDelete<FrameStore> mLGDStore;
    double mStoredFrames = 0.0; // the time of the next frame
    // A declared length may be false: no store takes more than about a gigabyte before frames need
    // it.
    UInt64 mTrustedBytes = (UInt64{1} << 30) - (UInt64{1} << 20);

private:
    FrameStore* NewFrameStore(UInt32 bytesPerFrame) const;
    void Keep(FrameStore& store, const AudioBufferList& list) const;
    void Scatter(UInt32 frames, float* matrix) const;
};

// The spectral callback; `refCon` is the generator.
void MySpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
