// The peak group: eight figures of the local maxima of one channel's magnitudes.
//
// Within it p[i] is the magnitude and b[i] the bin of peak i, packed from 0 in ascending order, and
// n their count; p is zero from n on.
//
// Required by the contract: a figure that needs more peaks than there are keeps the value of the
// frame before. Zeroing it changes the values of all frames with few peaks.

#include "descriptors/AABagOfPropertiesGenerator.h"
#include "descriptors/PairSums.h"
#include "descriptors/RoughnessCurves.h"
#include "spectral/VectorHelpers.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <span>

namespace qel::core {

namespace {

// The tristimulus groups: the fundamental; partials two to four; partials from five on.
constexpr UInt32 kFirstOfThirdTristimulus = 4;

// Weights of the two exponentials of roughness.
constexpr float kRise = 5.0f;
constexpr float kFall = -5.0f;

} // namespace

void AABagOfPropertiesGenerator::ComputeAndStorePeakSpectralProperties() {
    for (UInt32 c = 0; c < mNumChannels; ++c) {
        ComputeSpectralPeaks(Channel(mSpectrumMagnitude, c));
        float sum = 0.0f;
        vDSP_sve(mPeakMagnitudes, 1, &sum, mNumPeaks);

        float* values = Channel(mPeakBuffer, c);
        vDSP_meanv(mPeakMagnitudes, 1, &values[0], mNumPeaks);
        values[1] = ComputeHarmonicCentroid(sum);
        if (mNumPeaks > 0) {
            values[2] = ComputeHarmonicDeviation();
        }
        values[3] = sum != 0.0f ? mPeakMagnitudes[0] * mPeakMagnitudes[0] / sum : 0.0f;
        if (mNumPeaks > kFirstOfThirdTristimulus) {
            values[4] = ComputeSecondTristimulus(sum);
            values[5] = ComputeThirdTristimulus(sum);
        }
        values[6] = ComputeDissonance();
        if (mNumPeaks > 0) {
            values[7] = ComputeRegularity(sum);
        }
    }
    DeliverGroup(kPeak, mPeakBuffer);
}

void AABagOfPropertiesGenerator::ComputeSpectralPeaks(const float* magnitudes) {
    std::fill_n(mPeakMagnitudes.get(), mNumBins, 0.0f);
    std::fill_n(mPeakBins.get(), mNumBins, 0u);
    mNumPeaks = 0;
    FindLocalMaxima(magnitudes, mNumBins, mPeakBins, mPeakMagnitudes, mNumPeaks, 0.0f);
}

// In ordinal numbers of peaks, neither bins nor Hz.
float AABagOfPropertiesGenerator::ComputeHarmonicCentroid(float sum) const {
    if (sum == 0.0f) {
        return 0.0f;
    }
    float weighted = 0.0f;
    vDSP_dotpr(mPeakMagnitudes, 1, mBinNumbers, 1, &weighted, mNumPeaks);
    return weighted / sum;
}

// Required by the contract: the neighbours are looked up by bin number in the array packed by peak
// number, so that most reads find the zeros after the last peak. Looking them up by peak number
// changes all values.
//
// From the first peak on whose bin has no peak of its number, all is looked up after the last peak.
float AABagOfPropertiesGenerator::ComputeHarmonicDeviation() const {
    const float* p = mPeakMagnitudes;
    const unsigned int* b = mPeakBins;
    float deviation = 0.0f;
    float total = 0.0f;
    float left = 0.0f;
    float centre = p[b[0]];
    UInt32 i = 0;
    for (; i < mNumPeaks && (left != 0.0f || centre != 0.0f); ++i) {
        const float right = i < mNumPeaks - 1 ? p[b[i + 1]] : 0.0f;
        total += centre;
        deviation += p[i] - (left + centre + right) / 3.0f;
        left = centre;
        centre = right;
    }
    for (; i < mNumPeaks; ++i) {
        deviation += p[i];
    }
    return total != 0.0f ? deviation / total : 0.0f;
}

// Required by the contract: the first two tristimulus values have squares over a plain sum, the
// third has none, and the three need not add up to 1. Any cleanup changes all values.
float AABagOfPropertiesGenerator::ComputeSecondTristimulus(float sum) const {
    const float* p = mPeakMagnitudes;
    return sum != 0.0f ? (p[1] * p[1] + p[2] * p[2] + p[3] * p[3]) / sum : 0.0f;
}

float AABagOfPropertiesGenerator::ComputeThirdTristimulus(float sum) const {
    float upper = 0.0f;
    vDSP_sve(mPeakMagnitudes + kFirstOfThirdTristimulus, 1, &upper,
             mNumPeaks - kFirstOfThirdTristimulus);
    return sum != 0.0f ? upper / sum : 0.0f;
}

// Required by the contract: the amplitude weighs the rising exponential alone, so that the sum can
// be negative, and it is looked up by bin number as in the deviation. So few peaks have an
// amplitude; the others count with the falling exponential only. Any cleanup changes all values.
//
// The pairs of a peak are summed as products of its curves with all the bins above it, most of
// which hold zeros: that runs in vector lanes.
float AABagOfPropertiesGenerator::ComputeDissonance() {
    const float* p = mPeakMagnitudes;
    const std::span<const unsigned int> bins(mPeakBins.get(), mNumPeaks);
    std::fill_n(mPeakIndicators.get(), mNumBins, 0.0f);
    std::fill_n(mPeakAmplitudes.get(), mNumBins, 0.0f);
    for (const unsigned int bin : bins) {
        mPeakIndicators[bin] = 1.0f;
        mPeakAmplitudes[bin] = p[bin];
    }
    return kRise * SumOfSlowPairs(*mRoughnessCurves, bins, mPeakAmplitudes) +
           kFall * SumOfFastPairs(*mRoughnessCurves, bins, mPeakIndicators);
}

float AABagOfPropertiesGenerator::ComputeRegularity(float sum) const {
    const float* p = mPeakMagnitudes;
    float squares = 0.0f;
    for (UInt32 i = 0; i + 1 < mNumPeaks; ++i) {
        squares += (p[i] - p[i + 1]) * (p[i] - p[i + 1]);
    }
    return sum != 0.0f ? squares / sum : 0.0f;
}

} // namespace qel::core
