#include "rhythm/beats/MeterCurve.h"

#include "rhythm/beats/MeterMatrix.h"
#include "rhythm/math/RhythmMath.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>

namespace qel::core {

namespace {

constexpr UInt32 kCount = MeterMatrix::kLagCount;
constexpr UInt32 kSearchStart = 10; // 0.1 s
constexpr UInt32 kRampStart = 98;   // about 1 s
constexpr unsigned int kTrendDegree = 7;
// Over the 1251 steps from 1 s to 13.5 s the weight falls by 0.35.
constexpr float kWeightFall = -0.35f;
constexpr auto kWeightSteps = static_cast<float>(kCount - 1 - kRampStart);
static_assert(std::bit_cast<std::uint32_t>(kWeightFall) == 0xBEB33333);
static_assert(kWeightSteps == 1251.0f);
constexpr float kPeakKernel[] = {0.25f, 0.5f, 1.0f, 0.5f, 0.25f};
constexpr UInt32 kPeakKernelCentre = 2;
constexpr float kPeakThreshold = 0.1f;    // of the bar's value
constexpr float kPlaceTolerance = 0.015f; // of the bar
static_assert(std::bit_cast<std::uint32_t>(kPeakThreshold) == 0x3DCCCCCD);
static_assert(std::bit_cast<std::uint32_t>(kPlaceTolerance) == 0x3C75C28F);
constexpr float kWeights[] = {0.4f, 1.0f, 0.5f, 0.5f, 1.5f, 1.0f, 1.0f};

float Sum(const std::vector<float>& values) {
    float sum = 0.0f;
    vDSP_sve(values.data(), 1, &sum, values.size());
    return sum;
}

} // namespace

MeterCurve::MeterCurve(std::vector<float> repetition) : mValues(std::move(repetition)) {}

// The first index from `start` below `end` whose right neighbour is greater. The last value has
// none.
UInt32 MeterCurve::FirstRise(UInt32 start, UInt32 end, UInt32 otherwise) const {
    for (UInt32 i = start; i < std::min(end, kCount - 1); ++i) {
        if (mValues[i + 1] > mValues[i]) {
            return i;
        }
    }
    return otherwise;
}

void MeterCurve::RemoveTrend() {
    mFirstRise = FirstRise(kSearchStart, kCount, kSearchStart);

    // Required by the contract: the polynomial is fitted at the indices and evaluated at the lags,
    // one higher. Evaluating it at the indices changes the whole curve.
    const UInt32 first = mFirstRise + 1;
    const UInt32 points = kCount - first;
    std::vector<float> x(kCount);
    const float one = 1.0f;
    const auto start = static_cast<float>(first);
    vDSP_vramp(&start, &one, x.data(), 1, points);
    std::array<float, kTrendDegree + 1> coefficients{};
    polyfit(x.data(), mValues.data() + first, points, coefficients.data(), kTrendDegree);
    std::vector<float> trend(kCount);
    vDSP_vramp(&one, &one, x.data(), 1, kCount);
    vDSP_vpoly(coefficients.data(), 1, x.data(), 1, trend.data(), 1, kCount, kTrendDegree);
    vDSP_vsub(trend.data(), 1, mValues.data(), 1, mValues.data(), 1, kCount);

    float least = 0.0f;
    vDSP_minv(mValues.data(), 1, &least, kCount);
    const float lift = -least;
    vDSP_vsadd(mValues.data(), 1, &lift, mValues.data(), 1, kCount);
    mFirstRise = FirstRise(mFirstRise, kCount - 2, mFirstRise);
    std::fill_n(mValues.begin(), mFirstRise + 1, 0.0f);
}

void MeterCurve::FindBar() {
    const float one = 1.0f;
    const float step = kWeightFall / kWeightSteps;
    std::vector<float> weights(kCount - kRampStart);
    vDSP_vramp(&one, &step, weights.data(), 1, weights.size());
    float* const ramped = mValues.data() + kRampStart;
    vDSP_vmul(weights.data(), 1, ramped, 1, ramped, 1, weights.size());

    constexpr auto kKernelLength = static_cast<unsigned int>(std::size(kPeakKernel));
    std::vector<float> smoothed(kCount + kKernelLength - 1);
    Convolve(kPeakKernel, kKernelLength, mValues.data(), kCount, smoothed.data(), nullptr, nullptr,
             0, 0.0f, 0, 0.0f);
    std::copy_n(smoothed.begin() + kPeakKernelCentre, kCount, mValues.begin());

    vDSP_Length index = 0;
    vDSP_maxvi(mValues.data(), 1, &mBarValue, &index, kCount);
    mBarIndex = static_cast<UInt32>(index);
    UInt32 lobe = mFirstRise;
    for (UInt32 i = mBarIndex; i-- > 1;) {
        if (mValues[i - 1] > mValues[i]) {
            lobe = i;
            break;
        }
    }
    std::fill(mValues.begin() + std::min(lobe, mBarIndex + 1), mValues.end(), 0.0f);
}

bool MeterCurve::FindPeaks() {
    const float threshold = mBarValue * kPeakThreshold;
    for (float& value : mValues) {
        if (value < threshold) {
            value = 0.0f;
        }
    }
    // Required by the contract: a flat top is not cleared and is taken again and again. Clearing it
    // changes the scores of the meters.
    while (mPeaks.size() < kCount && Sum(mValues) > 0.0f) {
        mPeaks.push_back(TakeGreatestPeak());
    }
    return !mPeaks.empty();
}

// Clears the greatest peak down to the valleys on either side.
MeterCurve::Peak MeterCurve::TakeGreatestPeak() {
    float value = 0.0f;
    vDSP_Length index = 0;
    vDSP_maxvi(mValues.data(), 1, &value, &index, kCount);
    const auto position = static_cast<UInt32>(index);
    for (UInt32 i = position; i < kCount - 1 && mValues[i] > mValues[i + 1]; ++i) {
        mValues[i] = 0.0f;
    }
    if (position > 0) {
        for (UInt32 i = position - 1; i > 0 && mValues[i] > mValues[i - 1]; --i) {
            mValues[i] = 0.0f;
        }
    }
    return {position, value};
}

void MeterScores::Judge(const MeterCurve& curve) {
    const float bar = curve.BarShift();
    const float tolerance = kPlaceTolerance * bar;
    for (std::size_t c = 0; c < kCandidates.size(); ++c) {
        const float count = kCandidates[c];
        const float beat = bar / count;
        for (float k = 1.0f; k < count; k += 1.0f) {
            for (const MeterCurve::Peak& peak : curve.Peaks()) {
                const auto shift = static_cast<float>(peak.position + 1);
                if (shift > k * beat - tolerance && k * beat + tolerance > shift) {
                    mScores[c] += peak.value;
                }
            }
        }
        mScores[c] /= count - 1.0f;
    }
}

UInt32 MeterScores::WeighAndChoose() {
    vDSP_vmul(mScores.data(), 1, kWeights, 1, mScores.data(), 1, mScores.size());
    float sum = 0.0f;
    vDSP_sve(mScores.data(), 1, &sum, mScores.size());
    if (!(sum > 0.0f)) {
        return 0;
    }
    float greatest = 0.0f;
    vDSP_Length index = 0;
    vDSP_maxvi(mScores.data(), 1, &greatest, &index, mScores.size());
    const auto count = static_cast<UInt32>(kCandidates[index]);
    return count == 6 ? 3 : count == 2 || count == 8 ? 4 : count;
}

} // namespace qel::core
