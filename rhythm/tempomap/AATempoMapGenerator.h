#pragma once

#include "rhythm/tempomap/AAAccentBandGenerator.h"
#include "rhythm/tempomap/CombBank.h"

#include <Accelerate/Accelerate.h>
#include <CoreAudio/CoreAudioTypes.h>

namespace qel::core {

// Slot 3: the tempo while audio streams, twice per frame.
//
// Each accent band runs through a bank of feedback combs, one per lag; the energy that a comb keeps
// tells how well its lag fits. The energies of all bands together, over the lags, are the salience,
// and the tempo is that of its highest peak. It knows nothing of what comes, of beats or of meter.
//
// Required by the contract: without any peak a channel repeats the tempo of the last peaks found,
// whichever channel's they were. All tempi are made for 172 accents per second, whatever the sample
// rate, so that they are right at 44100 Hz. Any cleanup changes the values of such streams.
//
// After Scheirer, Tempo and beat analysis of acoustic musical signals, J. Acoust. Soc. Am. 103(1),
// 1998; accents and normalisation after Klapuri, Eronen and Astola 2006.
class AATempoMapGenerator : public AAAccentBandGenerator {
public:
    AATempoMapGenerator(UInt32 channels, Float64 sampleRate, UInt32 frameSize, UInt32 hop,
                        UInt32 maxFrames, UInt32 streamLength, DataCallback dataCallback,
                        void* refCon);
    ~AATempoMapGenerator() override;

    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;

    // "complexity", which acts from the next AllocateBuffers on, "Min BPM" and "Max BPM".
    // Required by the contract: the values that they may have do not reach the caller of
    // GetParameterValueInfo. Its memory would be written that stays untouched today.
    SInt32 GetParameterList(CFMutableArrayRef* list) override;
    SInt32 GetParameterValueInfo(CFStringRef name, void* outData) override;
    // The values of a parameter, as they are kept; zeros for a name of another generator.
    static QelAudioAnalysisParameterValueInfo ParameterValueInfo(CFStringRef name);
    SInt32 GetParameter(CFStringRef name, float* outValue) override;
    SInt32 SetParameter(CFStringRef name, float value) override;

    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

protected:
    void NullPointers() override;
    void Cleanup() override;
    // Raises std::bad_alloc for a complexity with too many lags: 7 and above with one channel.
    void AllocateBuffers() override;

private:
    friend void MyTempoSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

    void SetDefaultParameters();
    void MakeConstants();
    void EstimateTempo();
    void MakeSalience(UInt32 channel);
    void DeliverTempi(UInt32 accent);
    void FindDominantTempo(float* salience, float& estimate);

    UInt32 mLagCount = 0;
    float mHalfTime = 0.0f;                   // accents until a comb's response is down to a half
    float mFirstLag = 0.0f;                   // accents
    float mLastLag = 0.0f;                    // accents
    CAAutoDelete<CABufferList> mLeakyList;    // per band one float: running mean of squared accents
    CAAutoFree<UInt32> mLags;                 // of the combs, accents; mLagCount values, as below
    CAAutoFree<float> mFeedback;              // alpha
    CAAutoFree<float> mFeedforward;           // 1 - alpha
    CAAutoFree<float> mEnergyNorm;            // gamma: what a comb keeps of an aperiodic accent
    CAAutoFree<float> mLagScale;              // 1 / lag
    CAAutoFree<float> mNormScale;             // 1 / (1 - gamma)
    CAAutoArrayDelete<CombBank> mCombs;       // per channel
    CAAutoFree<float> mEnergies;              // per accent, comb and band
    CAAutoDelete<CABufferList> mSalienceList; // mLagCount floats per accent
    CAAutoDelete<CABufferList> mEstimateList; // one float, BPM

    // The peaks found last, in any channel.
    CAAutoFree<float> mPeakValues;
    CAAutoFree<unsigned int> mPeakIndices;
    CAAutoFree<float> mPeakTempi; // BPM
    CAAutoFree<vDSP_Length> mPeakOrder;

    float mPeakMargin = 0.0f;
    UInt32 mPeakWindow = 0;
    float mPeakThreshold = 0.0f;
    UInt32 mComplexity = 0;
    float mMinBPM = 0.0f;
    float mMaxBPM = 0.0f;
};

// The spectral callback; `refCon` is the generator.
void MyTempoSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
