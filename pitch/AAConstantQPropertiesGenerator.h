#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"

namespace qel::core {

// Slot 7: per frame and channel the magnitudes of the constant-Q spectrum from 90 Hz to 5250 Hz, 36
// bins per octave, and the profile that they add up to when all octaves are laid over each other.
// Neither is normalized, and no state passes between frames.
class AAConstantQPropertiesGenerator : public QelAAAnalysisGenerator {
public:
    // A key: an entry of mComputeFlags, which has room for more than there are.
    enum Flag : UInt32 {
        kConstantQSpectrum,
        kHarmonicPitchClassProfile,
        kNumKeys,
        kNumFlags = 4,
    };

    using QelAAAnalysisGenerator::QelAAAnalysisGenerator;
    ~AAConstantQPropertiesGenerator() override;

    SInt32 SetComputeProperty(CFArrayRef keys) override;
    // The constant-Q spectrum's size is known from the first ReadyAnalysis on.
    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

    // Adds up the magnitudes of equal places of all octaves, in rising order. The last octave may
    // be a part of one: its upper places get one magnitude less. Place 0 belongs to the first bin
    // and is no fixed pitch class.
    //
    // in   mNumConstantQBins magnitudes
    // out  mBinsPerOctave sums
    void ComputeChromagramQ(const float* in, float* out) const;

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

private:
    friend void ConstantQSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

    static Flag FlagOf(CFStringRef key);
    void ComputeAndStoreProperies(const SpectralAndAudioBufferList* list);
    void DeliverIfWanted(Flag flag, CABufferList* values);

    const UInt32 mBinsPerOctave = 36;
    UInt32 mNumConstantQBins = 0;
    CAAutoFree<float> mMinMagnitudes; // one per channel
    CAAutoFree<float> mMaxMagnitudes;
    CAAutoDelete<CABufferList> mConstantQBuffer; // mNumConstantQBins floats
    CAAutoDelete<CABufferList> mChromaBuffer;    // mBinsPerOctave floats
};

// The spectral callback; `refCon` is the generator.
void ConstantQSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
