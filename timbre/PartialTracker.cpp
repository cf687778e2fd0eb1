#include "timbre/PartialTracker.h"

#include <algorithm>
#include <cmath>

namespace qel::core {

namespace {

constexpr float kReach = 1.0f; // bins
// A level here is 20 times a natural logarithm, and so no decibel.
constexpr float kLevelFactor = 20.0f;
constexpr float kLimitAtBirth = 20.0f;
constexpr float kGrowth = 1.5f;
constexpr float kRestLevel = 1.5f;
constexpr float kDecay = -0.05f;
constexpr SInt32 kMostMissedFrames = 3;
constexpr float kLeastShare = 0.2f; // of the last magnitude

} // namespace

PartialTracker::PartialTracker(UInt32 numBins) : mNumBins(numBins), mFirstPeaks(numBins) {
    mPeaks.reserve(MostPeaks(numBins));
    mPartials.reserve(MostPartials(numBins));
}

UInt32 PartialTracker::BinOf(float place, UInt32 numBins) {
    if (!(place > 0.0f))
        return 0;
    return place < static_cast<float>(numBins) ? static_cast<UInt32>(place) : numBins - 1;
}

void PartialTracker::Track(std::span<const float> magnitudes, float threshold) {
    IndexPeaks();
    for (ActivePartial& partial : mPartials) {
        partial.mAlive = true;
        if (!Continue(partial, NearestUnmatchedPeak(partial.mBin)))
            Miss(partial, magnitudes);
    }
    std::erase_if(mPartials, [](const ActivePartial& partial) { return !partial.mAlive; });
    for (const Peak& peak : mPeaks)
        if (!peak.mMatched && peak.mMagnitude > threshold)
            Begin(peak);
}

void PartialTracker::IndexPeaks() {
    UInt32 bin = 0;
    for (UInt32 i = 0; i < mPeaks.size(); ++i)
        for (const UInt32 last = BinOf(mPeaks[i].mBin, mNumBins); bin <= last; ++bin)
            mFirstPeaks[bin] = i;
    std::fill(mFirstPeaks.begin() + bin, mFirstPeaks.end(), static_cast<UInt32>(mPeaks.size()));
}

// The nearest peak closer than kReach, the lowest of several; null if there is none. A peak in
// reach lies in the bin of the track or in a neighbouring one, so that a few are looked at.
Peak* PartialTracker::NearestUnmatchedPeak(float bin) {
    const UInt32 own = BinOf(bin, mNumBins);
    Peak* nearest = nullptr;
    float least = kReach;
    for (std::size_t i = mFirstPeaks[own > 0 ? own - 1 : 0];
         i < mPeaks.size() && mPeaks[i].mBin - bin < kReach; ++i) {
        const float distance = std::abs(mPeaks[i].mBin - bin);
        if (!mPeaks[i].mMatched && distance < least) {
            least = distance;
            nearest = &mPeaks[i];
        }
    }
    return nearest;
}

// Whether the track goes on with that peak, which may be null.
bool PartialTracker::Continue(ActivePartial& partial, Peak* peak) {
    if (peak == nullptr)
        return false;
    const float gain = kLevelFactor * std::log(peak->mMagnitude / partial.mMagnitude);
    if (gain > partial.mGainLimit) {
        partial.mAlive = false;
        return false;
    }
    partial.mBin = peak->mBin;
    partial.mFrequency = peak->mFrequency;
    partial.mMagnitude = peak->mMagnitude;
    partial.mPhase = peak->mPhase;
    partial.mMissedFrames = 0;
    peak->mMatched = true;
    // The new limit deliberately starts from the peak's logarithm and not from the old limit.
    const float level = peak->mLogMagnitude;
    const float rested = level - (1.0f - std::exp(kDecay)) * (level - kRestLevel);
    partial.mGainLimit = std::max(rested, kGrowth * gain);
    return true;
}

void PartialTracker::Miss(ActivePartial& partial, std::span<const float> magnitudes) {
    const float heard = magnitudes[BinOf(partial.mBin, static_cast<UInt32>(magnitudes.size()))];
    if (partial.mMissedFrames > kMostMissedFrames || kLeastShare * partial.mMagnitude > heard)
        partial.mAlive = false;
    ++partial.mMissedFrames;
}

void PartialTracker::Begin(const Peak& peak) {
    mPartials.push_back(
        {peak.mBin, peak.mFrequency, kLimitAtBirth, peak.mMagnitude, peak.mPhase, 0, true});
}

} // namespace qel::core
