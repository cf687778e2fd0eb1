#include "timbre/PartialTracker.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include <Accelerate/Accelerate.h>

namespace qel::core {

namespace {

constexpr float kReach = 1.0f; // bins
constexpr float kBehindAll = std::numeric_limits<float>::infinity();
// Vertices of a spectrum's peaks are a bin apart, so that no more lie in reach.
constexpr UInt32 kCandidates = 4;
// A level here is 20 times a natural logarithm, and so no decibel.
constexpr float kLevelFactor = 20.0f;
constexpr float kLimitAtBirth = 20.0f;
constexpr float kGrowth = 1.5f;
constexpr float kRestLevel = 1.5f;
constexpr float kDecay = -0.05f;
constexpr SInt32 kMostMissedFrames = 3;
constexpr float kLeastShare = 0.2f; // of the last magnitude

} // namespace

PartialTracker::PartialTracker(UInt32 numBins) : mNumBins(numBins), mFirstPeaks(numBins + 1) {
    mPeaks.reserve(MostPeaks(numBins));
    mPeakBins.reserve(MostPeaks(numBins) + kCandidates);
    mPeakMagnitudes.reserve(MostPeaks(numBins) + 1);
    mPartials.reserve(MostPartials(numBins) + MostPeaks(numBins)); // room to begin in
    mMatches.reserve(MostPartials(numBins));
    mGains.reserve(MostPartials(numBins));
}

// A peak in reach lies in the bin of the track or in a neighbouring one.
inline UInt32 PartialTracker::FirstPeakNear(float bin) const {
    const UInt32 own = BinOf(bin, mNumBins);
    return mFirstPeaks[own > 0 ? own - 1 : 0];
}

// The nearest peak closer than kReach, matched or not, the lowest of several; the number of peaks
// if there is none. Which of the candidates it is is hard to foretell, so that there is no branch.
inline UInt32 PartialTracker::NearestPeak(float bin) const {
    const auto count = static_cast<UInt32>(mPeaks.size());
    UInt32 first = FirstPeakNear(bin);
    UInt32 nearest = count;
    float least = kReach;
    do {
        for (UInt32 i = first; i < first + kCandidates; ++i) {
            const float distance = std::abs(mPeakBins[i] - bin);
            const bool isNearer = distance < least;
            least = std::min(distance, least);
            nearest = isNearer ? i : nearest;
        }
        first += kCandidates;
    } while (first < count && mPeakBins[first] - bin < kReach);
    return nearest;
}

void PartialTracker::Track(std::span<const float> magnitudes, float threshold) {
    IndexPeaks();
    MatchAll();
    for (std::size_t i = 0; i < mPartials.size(); ++i)
        Advance(i, magnitudes);
    EraseDead();
    BeginTracks(threshold);
}

void PartialTracker::IndexPeaks() {
    std::fill(mFirstPeaks.begin(), mFirstPeaks.end(), 0);
    mPeakBins.clear();
    mPeakMagnitudes.clear();
    for (const Peak& peak : mPeaks) {
        mPeakBins.push_back(peak.mBin);
        mPeakMagnitudes.push_back(peak.mMagnitude);
        ++mFirstPeaks[BinOf(peak.mBin, mNumBins) + 1];
    }
    std::partial_sum(mFirstPeaks.begin(), mFirstPeaks.end(), mFirstPeaks.begin());
    mPeakBins.insert(mPeakBins.end(), kCandidates, kBehindAll);
    mPeakMagnitudes.push_back(1.0f);
}

// The same among the peaks that are free.
UInt32 PartialTracker::NearestUnmatchedPeak(float bin) const {
    auto nearest = static_cast<UInt32>(mPeaks.size());
    float least = kReach;
    for (UInt32 i = FirstPeakNear(bin); mPeakBins[i] - bin < kReach; ++i) {
        const float distance = std::abs(mPeakBins[i] - bin);
        if (!mPeaks[i].mMatched && distance < least) {
            least = distance;
            nearest = i;
        }
    }
    return nearest;
}

// Most tracks get the nearest of all peaks. Those are found for all tracks at once, as no step then
// waits for the one before, and logarithms are quicker by the many.
void PartialTracker::MatchAll() {
    const std::size_t count = mPartials.size();
    mMatches.resize(count);
    mGains.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        mMatches[i] = NearestPeak(mPartials[i].mBin);
        mGains[i] = mPeakMagnitudes[mMatches[i]] / mPartials[i].mMagnitude;
    }
    const int logs = static_cast<int>(count);
    vvlogf(mGains.data(), mGains.data(), &logs);
    for (float& gain : mGains)
        gain *= kLevelFactor;
}

void PartialTracker::Advance(std::size_t track, std::span<const float> magnitudes) {
    ActivePartial& partial = mPartials[track];
    UInt32 match = mMatches[track];
    float gain = mGains[track];
    if (match < mPeaks.size() && mPeaks[match].mMatched) {
        match = NearestUnmatchedPeak(partial.mBin);
        gain = kLevelFactor * std::log(mPeakMagnitudes[match] / partial.mMagnitude);
    }
    const bool isNear = match < mPeaks.size();
    const bool risesTooFar = gain > partial.mGainLimit;
    if (isNear && !risesTooFar) {
        Peak& peak = mPeaks[match];
        // The new limit deliberately starts from the peak's logarithm and not from the old limit.
        const float level = peak.mLogMagnitude;
        const float rested = level - (1.0f - std::exp(kDecay)) * (level - kRestLevel);
        partial.mBin = peak.mBin;
        partial.mFrequency = peak.mFrequency;
        partial.mGainLimit = std::max(rested, kGrowth * gain);
        partial.mMagnitude = peak.mMagnitude;
        partial.mPhase = peak.mPhase;
        partial.mMissedFrames = 0;
        partial.mAlive = true;
        peak.mMatched = true;
        return;
    }
    const float heard = magnitudes[BinOf(partial.mBin, static_cast<UInt32>(magnitudes.size()))];
    const bool isLost = (partial.mMissedFrames > kMostMissedFrames) |
                        (kLeastShare * partial.mMagnitude > heard) | (isNear & risesTooFar);
    partial.mAlive = !isLost;
    ++partial.mMissedFrames;
}

// In their order; without a branch, which would be hard to foretell.
void PartialTracker::EraseDead() {
    std::size_t living = 0;
    for (const ActivePartial& partial : mPartials) {
        mPartials[living] = partial;
        living += partial.mAlive ? 1 : 0;
    }
    mPartials.resize(living);
}

// Of the free peaks; likewise without a branch.
void PartialTracker::BeginTracks(float threshold) {
    std::size_t living = mPartials.size();
    mPartials.resize(living + mPeaks.size());
    for (const Peak& peak : mPeaks) {
        mPartials[living] = {
            peak.mBin, peak.mFrequency, kLimitAtBirth, peak.mMagnitude, peak.mPhase, 0, true};
        const bool begins = !peak.mMatched & (peak.mMagnitude > threshold);
        living += begins ? 1 : 0;
    }
    mPartials.resize(living);
}

} // namespace qel::core
