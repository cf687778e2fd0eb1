// The generic group: sixteen figures of one channel's magnitudes.

#include "descriptors/AABagOfPropertiesGenerator.h"
#include "elementary/Functions.h"

#include <Accelerate/Accelerate.h>

namespace qel::core {

namespace {

constexpr double kRolloffShare = 0.85;
// Keeps the logarithm of a silent frame finite: -80 and -40 dB.
constexpr double kPowerFloor = 0.0001;

} // namespace

void AABagOfPropertiesGenerator::ComputeAndStoreGenericSpectralProperties() {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        const SpectrumSums sums = SumsOf(Channel(mSpectrumMagnitude, c));
        float* values = Channel(mGenericBuffer, c);
        values[0] = sums.mean;
        values[1] = ComputeSpread(sums);
        values[2] = ComputeGeometricMean(sums);
        values[3] = sums.energy;
        values[4] = ComputeEnergyDB(sums);
        values[5] = ComputeSpectralPower(sums);
        values[6] = ComputeCentroid(sums);
        values[7] = sums.mean != 0.0f ? values[2] / sums.mean : 0.0f; // flatness
        values[8] = ComputeMaximumMagnitudeFrequency(sums);
        values[9] = ComputeLowEnergyRelation(sums);
        values[10] = ComputeRolloff(sums);
        values[11] = ComputeSlope(sums);
        values[12] = ComputeHFC1(sums);
        values[13] = sums.weightedSum; // high frequency content, second definition
        values[14] = ComputeCrestFactor(sums);
        values[15] = ComputeSpectralBrightness(sums);
    }
    DeliverGroup(kGeneric, mGenericBuffer);
}

AABagOfPropertiesGenerator::SpectrumSums
AABagOfPropertiesGenerator::SumsOf(const float* magnitudes) {
    SpectrumSums sums{magnitudes, 0.0f, 0.0f, 0.0f, 0.0f};
    vDSP_sve(magnitudes, 1, &sums.sum, mNumBins);
    vDSP_svesq(magnitudes, 1, &sums.energy, mNumBins);
    vDSP_dotpr(magnitudes, 1, mBinNumbers, 1, &sums.weightedSum, mNumBins);
    vDSP_meanv(magnitudes, 1, &sums.mean, mNumBins);
    return sums;
}

// The variance of the magnitudes: no root is taken.
float AABagOfPropertiesGenerator::ComputeSpread(const SpectrumSums& sums) {
    const float minusMean = -sums.mean;
    vDSP_vsadd(sums.magnitudes, 1, &minusMean, mScratch, 1, mNumBins);
    float squares = 0.0f;
    vDSP_svesq(mScratch, 1, &squares, mNumBins);
    return squares / static_cast<float>(mNumBins);
}

// One magnitude of zero gives 0, through an infinite logarithm.
float AABagOfPropertiesGenerator::ComputeGeometricMean(const SpectrumSums& sums) {
    const int count = static_cast<int>(mNumBins);
    vvlogf(mScratch, sums.magnitudes, &count);
    float logSum = 0.0f;
    vDSP_sve(mScratch, 1, &logSum, mNumBins);
    return elementary::Exp(logSum / static_cast<float>(mNumBins));
}

float AABagOfPropertiesGenerator::ComputeLevel(const SpectrumSums& sums,
                                               float decibelFactor) const {
    const float power = sums.energy / static_cast<float>(mNumBins);
    return decibelFactor * elementary::Log10(static_cast<float>(kPowerFloor + double{power}));
}

float AABagOfPropertiesGenerator::ComputeEnergyDB(const SpectrumSums& sums) const {
    return ComputeLevel(sums, 20.0f);
}

float AABagOfPropertiesGenerator::ComputeSpectralPower(const SpectrumSums& sums) const {
    return ComputeLevel(sums, 10.0f);
}

// In bins, not Hz.
float AABagOfPropertiesGenerator::ComputeCentroid(const SpectrumSums& sums) const {
    return sums.sum != 0.0f ? sums.weightedSum / sums.sum : 0.0f;
}

float AABagOfPropertiesGenerator::ComputeMaximumMagnitudeFrequency(const SpectrumSums& sums) const {
    float greatest = 0.0f;
    vDSP_Length bin = 0;
    vDSP_maxvi(sums.magnitudes, 1, &greatest, &bin, mNumBins);
    return mFrequencies[bin];
}

float AABagOfPropertiesGenerator::ComputeLowEnergyRelation(const SpectrumSums& sums) const {
    if (sums.energy == 0.0f) {
        return 0.0f;
    }
    float lowEnergy = 0.0f;
    vDSP_svesq(sums.magnitudes, 1, &lowEnergy, mNumLowBins);
    return lowEnergy / sums.energy;
}

// The frequency of the bin that takes the running energy past its share; the highest bin for a
// silent frame. The running sum is formed bin by bin, as the comparison decides the bin. Energy
// that is no number stops before the first bin, which then stands for the result.
float AABagOfPropertiesGenerator::ComputeRolloff(const SpectrumSums& sums) const {
    const double threshold = kRolloffShare * double{sums.energy};
    float running = 0.0f;
    UInt32 k = 0;
    while (k < mNumBins && threshold >= double{running}) {
        running += sums.magnitudes[k] * sums.magnitudes[k];
        ++k;
    }
    return mFrequencies[k != 0 ? k - 1 : 0];
}

// Regression of magnitude on frequency, whose weights PrepareConstants forms.
float AABagOfPropertiesGenerator::ComputeSlope(const SpectrumSums& sums) const {
    if (mSlopeDenominator == 0.0f) {
        return 0.0f;
    }
    float numerator = 0.0f;
    vDSP_dotpr(sums.magnitudes, 1, mSlopeWeights, 1, &numerator, mNumBins);
    return numerator / mSlopeDenominator;
}

float AABagOfPropertiesGenerator::ComputeHFC1(const SpectrumSums& sums) {
    float content = 0.0f;
    vDSP_vsq(sums.magnitudes, 1, mScratch, 1, mNumBins);
    vDSP_dotpr(mScratch, 1, mBinNumbers, 1, &content, mNumBins);
    return content;
}

float AABagOfPropertiesGenerator::ComputeCrestFactor(const SpectrumSums& sums) const {
    float greatest = 0.0f;
    float rms = 0.0f;
    vDSP_maxv(sums.magnitudes, 1, &greatest, mNumBins);
    vDSP_rmsqv(sums.magnitudes, 1, &rms, mNumBins);
    return rms != 0.0f ? greatest / rms : 0.0f;
}

float AABagOfPropertiesGenerator::ComputeSpectralBrightness(const SpectrumSums& sums) const {
    if (sums.sum == 0.0f) {
        return 0.0f;
    }
    float bright = 0.0f;
    vDSP_sve(sums.magnitudes + mFirstBrightBin, 1, &bright, mNumBins - mFirstBrightBin);
    return bright / sums.sum;
}

} // namespace qel::core
