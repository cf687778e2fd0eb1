#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"

namespace qel::core {

// Slot 10: per frame and channel the magnitudes of a forward transform of the logarithmic magnitude
// spectrum. A second spectral processor takes that spectrum as if it were audio: its frame and hop
// are the bins of one frame of the first. Both have the sine window. No state passes between
// frames.
class AACepstralPropertiesGenerator : public QelAAAnalysisGenerator {
public:
    AACepstralPropertiesGenerator(UInt32 channels, Float64 sampleRate, UInt32 frameSize, UInt32 hop,
                                  UInt32 maxFrames, UInt32 streamLength, DataCallback dataCallback,
                                  void* refCon);
    ~AACepstralPropertiesGenerator() override;

    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

private:
    friend void CepstrumSpectralFun1(SpectralAndAudioBufferList* list, void* refCon);
    friend void CepstrumSpectralFun2(SpectralAndAudioBufferList* list, void* refCon);

    void ComputeAndStoreProperties();
    void ComputeAndStoreCepstrumSpectralProperties();

    CAAutoDelete<QelAASpectralProcessor> mCepstrumProcessor;
    CAAutoDelete<CABufferList> mMagnitudeBuffer;         // mNumBins floats per channel
    CAAutoDelete<CABufferList> mCepstrumMagnitudeBuffer; // mNumCepstrumBins floats per channel
    CAAutoFree<float> mMinMagnitudes;                    // one per channel, of either stage
    CAAutoFree<float> mMaxMagnitudes;
    const UInt32 mCepstrumFrameSize; // mFrameSize / 2
    const UInt32 mCepstrumHopSize;   // the same
    const UInt32 mNumCepstrumBins;   // half of that
};

// The spectral callbacks of the two stages; `refCon` is the generator.
void CepstrumSpectralFun1(SpectralAndAudioBufferList* list, void* refCon);
void CepstrumSpectralFun2(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
