#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"

namespace qel::core {

// Slot 4: per frame and channel 13 coefficients of the logarithmic mel spectrum, as a vector of
// length 1, and the frame's magnitudes. No state passes between frames.
class AAMFCCPropertiesGenerator : public QelAAAnalysisGenerator {
public:
    // A key: an entry of mComputeFlags.
    enum Flag : UInt32 {
        kCoefficients,
        kMagnitudes,
        kNumFlags,
    };

    using QelAAAnalysisGenerator::QelAAAnalysisGenerator;
    ~AAMFCCPropertiesGenerator() override;

    SInt32 SetComputeProperty(CFArrayRef keys) override;
    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

private:
    friend void MFCCSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

    static Flag FlagOf(CFStringRef key);
    void MakeCepstralMatrix();
    void ComputeAndStoreProperies(const SpectralAndAudioBufferList& list);
    void ComputeMFCC(const SpectralAndAudioBufferList& list);
    void ComputeMelSpectrum();
    void DeliverRows(Flag flag, CABufferList* rows);

    const UInt32 mNumCoefficients = 13; // and filters
    UInt32 mNumMelBands = 0;            // mNumCoefficients + 27
    CAAutoFree<float> mCepstralMatrix;  // mNumCoefficients by mNumMelBands
    CAAutoDelete<CABufferList> mMFCCBuffer;
};

// The spectral callback; `refCon` is the generator.
void MFCCSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
