#pragma once

#include "engine/base/QelAAAnalysisGenerator.h"

#include <array>
#include <memory>
#include <span>

namespace qel::core {

class RoughnessCurves;

// Slot 0: classic descriptors of the signal. Time-domain figures for each pushed block, and per
// frame four groups of spectral figures and the raw spectrum. Each group is a key of its own, is
// computed only if asked for, and is delivered as soon as it is known, one block per channel.
//
// All spectral figures are formed on the magnitudes m[k], k below mNumBins, of the doubled packed
// spectrum: twice the plain transform, with DC and Nyquist together in bin 0.
//
// Sources: lifecycle, temporal, flux, histogram and spectrum in AABagOfPropertiesGenerator.cpp; the
// generic group in AABagOfPropertiesGeneric.cpp; the peak group in AABagOfPropertiesPeaks.cpp;
// sizes, metadata and dictionaries in AABagOfPropertiesRepresentation.cpp.
class AABagOfPropertiesGenerator : public QelAAAnalysisGenerator {
public:
    // A computation group: an entry of mComputeFlags.
    enum Group : UInt32 {
        kTemporal,
        kGeneric,
        kHistogram,
        kPeak,
        kFlux,
        kRawSpectrum,
        kNumGroups,
    };

    static constexpr UInt32 kNumTemporalValues = 3;
    static constexpr UInt32 kNumGenericValues = 16;
    static constexpr UInt32 kNumHistogramValues = 2;
    static constexpr UInt32 kNumPeakValues = 8;
    static constexpr UInt32 kNumFluxValues = 2;
    static constexpr UInt32 kHistogramBins = 40;
    static constexpr UInt32 kEnvelopeOrder = 3;

    AABagOfPropertiesGenerator(UInt32 channels, Float64 sampleRate, UInt32 frameSize, UInt32 hop,
                               UInt32 maxFrames, UInt32 streamLength, DataCallback dataCallback,
                               void* refCon);
    ~AABagOfPropertiesGenerator() override;

    SInt32 PushAudio(AudioBufferList* list, UInt32 frames) override;
    SInt32 SetComputeProperty(CFArrayRef keys) override;
    UInt32 GetSizeOfAnalysisDataForKey(CFStringRef key) override;
    SInt32 GetMetaDataForKey(CFStringRef key, void* outData) override;
    CFPropertyListRef CreateCFRepresentation(CFAllocatorRef allocator, CFStringRef key,
                                             UInt32 count,
                                             const QelAudioAnalysisBlock* blocks) override;

protected:
    void NullPointers() override;
    void Cleanup() override;
    void AllocateBuffers() override;

private:
    // The sums over one channel's magnitudes that several figures share.
    struct SpectrumSums {
        const float* magnitudes;
        float sum;         // of m[k]
        float energy;      // of m[k]^2
        float weightedSum; // of k m[k]
        float mean;
    };

    friend void BagOfPropsSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

    static CFStringRef KeyOf(Group group);
    // The group of a key, kNumGroups for a key of another generator.
    static Group GroupOf(CFStringRef key);
    // Names of a group's values in the representation, in the order of the block.
    static std::span<const CFStringRef> NamesOf(Group group);

    UInt32 SizeOfBlock(Group group) const;
    void PrepareConstants();
    // Delivers one block per channel with a copy of what `buffer` stages.
    void DeliverGroup(Group group, CABufferList* buffer);

    void ComputeAndStoreTemporalProperties(const AudioBufferList& list, UInt32 frames);
    void ComputeAndStoreProperties(const SpectralAndAudioBufferList& list);
    void ComputeAndStoreGenericSpectralProperties();
    void ComputeAndStoreHistogramSpectralProperties();
    void ComputeAndStorePeakSpectralProperties();
    void ComputeAndStoreFluxSpectralProperties();
    void ComputeAndStoreSpectrum(const SpectralAndAudioBufferList& list);

    SpectrumSums SumsOf(const float* magnitudes);
    float ComputeSpread(const SpectrumSums& sums);
    float ComputeGeometricMean(const SpectrumSums& sums);
    float ComputeLevel(const SpectrumSums& sums, float decibelFactor) const;
    float ComputeEnergyDB(const SpectrumSums& sums) const;
    float ComputeSpectralPower(const SpectrumSums& sums) const;
    float ComputeCentroid(const SpectrumSums& sums) const;
    float ComputeMaximumMagnitudeFrequency(const SpectrumSums& sums) const;
    float ComputeLowEnergyRelation(const SpectrumSums& sums) const;
    float ComputeRolloff(const SpectrumSums& sums) const;
    float ComputeSlope(const SpectrumSums& sums) const;
    float ComputeHFC1(const SpectrumSums& sums);
    float ComputeCrestFactor(const SpectrumSums& sums) const;
    float ComputeSpectralBrightness(const SpectrumSums& sums) const;

    using Histogram = std::array<float, kHistogramBins>;
    // Sums over the counts of (count - mean count) to a power.
    struct CountMoments {
        float second;
        float third;
        float fourth;
    };
    static CountMoments MomentsOf(const Histogram& histogram);
    static float ComputeKurtosis(const CountMoments& moments);
    static float ComputeSkewness(const CountMoments& moments);

    void ComputeSpectralPeaks(const float* magnitudes);
    float ComputeHarmonicCentroid(float sum) const;
    float ComputeHarmonicDeviation() const;
    float ComputeSecondTristimulus(float sum) const;
    float ComputeThirdTristimulus(float sum) const;
    float ComputeDissonance();
    float ComputeRegularity(float sum) const;

    float ComputeSpectralDifference(const float* magnitudes, const float* previous);
    static float ComputeSpectralFlux(const float* magnitudes, const float* previous, UInt32 bins);

    CAAutoDelete<CABufferList> mSpectrumMagnitude; // mNumBins floats per channel
    CAAutoDelete<CABufferList> mPreviousMagnitude; // of the frame before, zero at the start
    CAAutoFree<float> mMinMagnitudes;              // one per channel
    CAAutoFree<float> mMaxMagnitudes;
    CAAutoFree<float> mFrequencies;                // of the bins, Hz
    CAAutoDelete<CABufferList> mButterworthBuffer; // state of the envelope filter
    CAAutoDelete<CABufferList> mTemporalBuffer;
    CAAutoDelete<CABufferList> mGenericBuffer;
    CAAutoDelete<CABufferList> mHistogramBuffer;
    CAAutoFree<unsigned int> mPeakBins; // peaks of the channel at hand, packed from 0
    CAAutoFree<float> mPeakMagnitudes;  // zero after the last peak
    UInt32 mNumPeaks = 0;
    CAAutoFree<float> mPeakIndicators; // by bin: 1 for a peak, else 0
    CAAutoFree<float> mPeakAmplitudes; // by bin: what the dissonance takes for a peak's magnitude
    // The same for every stream; null until a figure of peaks is wanted.
    std::shared_ptr<const RoughnessCurves> mRoughnessCurves;
    CAAutoDelete<CABufferList> mPeakBuffer; // keeps its values from frame to frame
    CAAutoDelete<CABufferList> mFluxBuffer;

    // What does not change over the stream, and scratch of the frame's work; mNumBins floats each.
    CAAutoFree<float> mBinNumbers;
    CAAutoFree<float> mSlopeWeights; // f[k] - g
    CAAutoFree<float> mScratch;
    float mSlopeDenominator = 0.0f;
    UInt32 mNumLowBins = 0;     // leading bins at or below 100 Hz
    UInt32 mFirstBrightBin = 0; // first bin above 1500 Hz
};

// The spectral callback; `refCon` is the generator.
void BagOfPropsSpectralFun(SpectralAndAudioBufferList* list, void* refCon);

} // namespace qel::core
