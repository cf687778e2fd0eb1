#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"

namespace qel::core {

// Slot 1: per frame and channel five figures of how phases and magnitudes change from frame to
// frame. Before the first frame all magnitudes, phases and differences are 0.
class AAPhaseBasedPropertiesGenerator : public QelAAAnalysisGenerator {
public:
    static constexpr UInt32 kNumValues = 5;

    using QelAAAnalysisGenerator::QelAAAnalysisGenerator;
    ~AAPhaseBasedPropertiesGenerator() override;

    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

private:
    friend void MyPhaseSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

    // The mean size of mNumBins second differences.
    float ComputePhaseDeviation(const float* secondDifferences) const;
    float ComputeNormaliedWeightedPhaseDeviation(const float* magnitudes,
                                                 float weightedDeviation) const;
    static void ComputeRectifiedComplexSpectralDifference(const float* difference,
                                                          float* rectified);
    void ComputeChannel(UInt32 channel);
    void ComputeAndStoreProperties(const SpectralAndAudioBufferList& list);

    // mNumBins floats per channel
    CAAutoDelete<CABufferList> mMagnitudeBuffer;
    CAAutoDelete<CABufferList> mPreviousMagnitudeBuffer;
    CAAutoDelete<CABufferList> mPreviousPhaseBuffer;
    CAAutoDelete<CABufferList> mPreviousPhaseDiffBuffer;
    CAAutoDelete<CABufferList> mSecondDerivativeBuffer;
    CAAutoDelete<CABufferList> mPhaseResultBuffer; // kNumValues floats per channel
    CAAutoFree<float> mScratch;                    // mNumBins
};

// The spectral callback; `refCon` is the generator.
void MyPhaseSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
