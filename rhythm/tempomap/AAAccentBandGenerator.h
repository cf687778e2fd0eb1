#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"

namespace qel::core {

class AAGammaBankSpectralProcessor;

// Slot 2: the energies of 36 gammatone bands per frame, and the accent bands that
// AATempoMapGenerator makes of them.
//
// The accents of a frame are compressed energies, interpolated to twice the frame rate by a zero
// after each and a low-pass, and then their rectified rise added to a share of their level. Each
// accent band is that of one gamma band.
//
// Required by the contract: the gain that the zeros halve stays halved, and all accent constants
// are made for 172 values per second, whatever the sample rate. Any cleanup changes all values.
//
// After Klapuri, Eronen and Astola, Analysis of the meter of acoustic musical signals, IEEE
// Transactions on Audio, Speech, and Language Processing 14(1), 2006.
class AAAccentBandGenerator : public QelAAAnalysisGenerator {
public:
    // A computation: an entry of mComputeFlags. Required by the contract: nobody sets the second
    // one, so that here the spectrum alone goes out. Setting it takes time for
    // accents that nobody receives.
    enum Flag : UInt32 {
        kGammaSpectrum,
        kAccentBands,
        kNumFlags,
    };

    static constexpr UInt32 kButterworthOrder = 6;

    AAAccentBandGenerator(UInt32 channels, Float64 sampleRate, UInt32 frameSize, UInt32 hop,
                          UInt32 maxFrames, UInt32 streamLength, DataCallback dataCallback,
                          void* refCon);
    ~AAAccentBandGenerator() override;

    SInt32 SetComputeProperty(CFArrayRef keys) override;
    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

    void SetDefaultParameters();

    // A list with a zeroed buffer of that many floats per channel and accent band; the caller owns
    // it. The buffer of a band has the index mAccentBandCount * channel + band. Raises
    // std::bad_alloc.
    CAAutoDelete<CABufferList> NewBandBuffer(const char* name, UInt64 floats) const;

    // Computes the energies of those gamma bands alone that are accent bands: the gammatone
    // spectrum cannot be delivered then. After AllocateBuffers.
    void FilterAccentBandsAlone();

    // Both accents of the frame into mAccentList0 and mAccentList1.
    void MakeAccentBands();

    UInt32 mAccentBandCount = 6;             // a divisor of kGammaBands
    CAAutoDelete<CABufferList> mAccentList0; // one float per channel and band
    CAAutoDelete<CABufferList> mAccentList1;

private:
    friend void AccentSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

    void ComputeAndStoreProperties();
    void GetFilteredSpectrum();
    void MakeAccentBands(UInt32 channel, const float* input, CABufferList* accents);
    void Compress(const float* bands, float* compressed) const;
    void ButterworthFilter(float* state, const float* in, float* out) const;
    void WeightedRectifiedDifference(const float* current, float* previous,
                                     float* difference) const;
    UInt32 GroupSize() const;
    void Reduce(const float* filtered, float* accentBands) const;

    AAGammaBankSpectralProcessor* mGammaBank = nullptr; // mSpectralProcessor
    // mAccentBandCount floats, like the next three.
    CAAutoDelete<CABufferList> mCompressedList;
    CAAutoDelete<CABufferList> mCurrentList;  // low-passed
    CAAutoDelete<CABufferList> mPreviousList; // the low-passed values before
    CAAutoDelete<CABufferList> mDifferenceList;
    CAAutoFree<float> mZeroInput;                // mAccentBandCount zeros
    CAAutoDelete<CABufferList> mButterworthList; // kButterworthOrder floats of state per band
    float mMuLawFactor = 0.0f;
    float mDifferenceBlend = 0.0f;
    float mDifferenceFactor = 0.0f;
};

// The spectral callback; `refCon` is the generator.
void AccentSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
