// Sizes, metadata and the dictionaries made from blocks.

#include "descriptors/AABagOfPropertiesGenerator.h"
#include "engine/base/KeyFacts.h"
#include "support/containers/CACFArray.h"
#include "support/containers/CACFDictionary.h"

#include <algorithm>

namespace qel::core {

namespace {

const CFStringRef kGroupKeys[AABagOfPropertiesGenerator::kNumGroups] = {
    kQelAnalysisKey_TemporalProperties,          kQelAnalysisKey_GenericSpectrumProperties,
    kQelAnalysisKey_SpectrumHistogramProperties, kQelAnalysisKey_SpectrumPeakProperties,
    kQelAnalysisKey_SpectrumFluxProperties,      kQelAnalysisKey_Spectrum,
};

using Generator = AABagOfPropertiesGenerator;

// Of one block of each group, in the order of kGroupKeys; kRawSpectrum grows with the frame.
constexpr UInt32 kGroupBytes[Generator::kRawSpectrum] = {
    KeyTable::TemporalProperties.payloadBytes,
    KeyTable::GenericSpectrumProperties.payloadBytes,
    KeyTable::SpectrumHistogramProperties.payloadBytes,
    KeyTable::SpectrumPeakProperties.payloadBytes,
    KeyTable::SpectrumFluxProperties.payloadBytes,
};
static_assert(kGroupBytes[Generator::kTemporal] == Generator::kNumTemporalValues * sizeof(float));
static_assert(kGroupBytes[Generator::kGeneric] == Generator::kNumGenericValues * sizeof(float));
static_assert(kGroupBytes[Generator::kHistogram] == Generator::kNumHistogramValues * sizeof(float));
static_assert(kGroupBytes[Generator::kPeak] == Generator::kNumPeakValues * sizeof(float));
static_assert(kGroupBytes[Generator::kFlux] == Generator::kNumFluxValues * sizeof(float));

const CFStringRef kTemporalNames[AABagOfPropertiesGenerator::kNumTemporalValues] = {
    kZeroCrossingRate,
    kRMSEnergy,
    kAmplitudeEnvelope,
};

const CFStringRef kGenericNames[AABagOfPropertiesGenerator::kNumGenericValues] = {
    kSpectrumMean,     kSpectrumSpread,    kSpectrumGeometricMean, kSpectrumEnergy,
    kSpectrumEnergyDB, kSpectralPower,     kSpectrumCentroid,      kSpectrumFlatness,
    kSpectrumMaxFreq,  kSpectrumLowEnergy, kSpectrumRolloff,       kSpectrumSlope,
    kSpectrumHFC1,     kSpectrumHFC2,      kSpectrumCrestFactor,   kSpectrumBrightness,
};

const CFStringRef kHistogramNames[AABagOfPropertiesGenerator::kNumHistogramValues] = {
    kSpectrumKurtosis,
    kSpectrumSkewness,
};

const CFStringRef kPeakNames[AABagOfPropertiesGenerator::kNumPeakValues] = {
    kSpectrumPeakMagnitudeMean,
    kSpectrumPeakHarmonicCentroid,
    kSpectrumPeakHarmonicDeviation,
    kSpectrumFirstTristimulus,
    kSpectrumSecondTristimulus,
    kSpectrumThirdTristimulus,
    kSpectrumDissonance,
    kRegularity,
};

const CFStringRef kFluxNames[AABagOfPropertiesGenerator::kNumFluxValues] = {
    kSpectrumDifference,
    kSpectrumFlux,
};

constexpr UInt32 kPairBytes = 2 * sizeof(float);

void AddNamedValues(CACFDictionary& dict, std::span<const CFStringRef> names,
                    const QelAudioAnalysisBlock& block) {
    const auto* values = static_cast<const float*>(block.mData);
    const std::size_t available = values != nullptr ? block.mDataByteSize / sizeof(float) : 0;
    for (std::size_t i = 0; i < std::min(names.size(), available); ++i) {
        dict.AddFloat32(names[i], values[i]);
    }
}

void AddSpectrum(CACFDictionary& dict, const QelAudioAnalysisBlock& block) {
    const auto* pairs = static_cast<const float*>(block.mData);
    const UInt32 bins = pairs != nullptr ? block.mDataByteSize / kPairBytes : 0;
    CACFArray real(bins, true);
    CACFArray imaginary(bins, true);
    for (UInt32 k = 0; k < bins; ++k) {
        real.AppendFloat32(pairs[2 * k]);
        imaginary.AppendFloat32(pairs[2 * k + 1]);
    }
    dict.AddArray(kSpectrumRealString, real.GetCFArray());
    dict.AddArray(kSpectrumImaginaryString, imaginary.GetCFArray());
}

} // namespace

CFStringRef AABagOfPropertiesGenerator::KeyOf(Group group) {
    return kGroupKeys[group];
}

AABagOfPropertiesGenerator::Group AABagOfPropertiesGenerator::GroupOf(CFStringRef key) {
    return static_cast<Group>(IndexOf(key, kGroupKeys));
}

SInt32 AABagOfPropertiesGenerator::SetComputeProperty(CFArrayRef keys) {
    return RaiseFlags(keys, kGroupKeys, kNumGroups);
}

std::span<const CFStringRef> AABagOfPropertiesGenerator::NamesOf(Group group) {
    switch (group) {
    case kTemporal:
        return kTemporalNames;
    case kGeneric:
        return kGenericNames;
    case kHistogram:
        return kHistogramNames;
    case kPeak:
        return kPeakNames;
    case kFlux:
        return kFluxNames;
    case kRawSpectrum:
    case kNumGroups:
        break;
    }
    return {};
}

UInt32 AABagOfPropertiesGenerator::SizeOfBlock(Group group) const {
    if (group == kRawSpectrum) {
        return mNumBins * kPairBytes;
    }
    return group < kRawSpectrum ? kGroupBytes[group] : 0;
}

UInt32 AABagOfPropertiesGenerator::GetSizeOfAnalysisDataForKey(CFStringRef key) {
    return SizeOfBlock(GroupOf(key));
}

// A block of temporal properties has no fixed frame, so its record is the sample rate alone.
SInt32 AABagOfPropertiesGenerator::GetMetaDataForKey(CFStringRef key, void* outData) {
    // NOLINTNEXTLINE(bugprone-parent-virtual-call): the record of a generator has a frame.
    return GroupOf(key) == kTemporal ? QelAAAnalysisBase::GetMetaDataForKey(key, outData)
                                     : QelAAAnalysisGenerator::GetMetaDataForKey(key, outData);
}

// { key: [ channel: [ frame: { name: number, ... } ] ] }; for "spectrum" the two names hold arrays.
CFPropertyListRef AABagOfPropertiesGenerator::CreateCFRepresentation(
    CFAllocatorRef allocator, CFStringRef key, UInt32 count, const QelAudioAnalysisBlock* blocks) {
    CACFDictionary result(allocator, true);
    const Group group = GroupOf(key);
    if (group != kNumGroups) {
        const UInt32 frames = GetNumAnalysisFramesForData(count, blocks);
        CACFArray channelArray(mNumChannels, true);
        for (UInt32 c = 0; c < mNumChannels; ++c) {
            CACFArray frameArray(frames, true);
            for (UInt32 f = 0; f < frames; ++f) {
                CACFDictionary values(true);
                if (group == kRawSpectrum) {
                    AddSpectrum(values, blocks[f * mNumChannels + c]);
                } else {
                    AddNamedValues(values, NamesOf(group), blocks[f * mNumChannels + c]);
                }
                frameArray.AppendDictionary(values.GetCFDictionary());
            }
            channelArray.AppendArray(frameArray.GetCFArray());
        }
        result.AddArray(key, channelArray.GetCFArray());
    }
    return CFRetain(result.GetCFDictionary());
}

} // namespace qel::core
