#include "timbre/PartialTracker.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <Accelerate/Accelerate.h>

#include "timbre/TrackVectors.h"

namespace qel::core {

namespace {

constexpr float kNowhere = std::numeric_limits<float>::infinity();
// A level here is 20 times a natural logarithm, and so no decibel.
constexpr float kLevelFactor = 20.0f;
constexpr float kLimitAtBirth = 20.0f;
constexpr float kGrowth = 1.5f;
constexpr float kRestLevel = 1.5f;
constexpr float kDecay = -0.05f;

} // namespace

TrackList::TrackList(std::size_t most) {
    for (auto* values : {&mBins, &mFrequencies, &mGainLimits, &mMagnitudes, &mPhases})
        values->resize(most + kVectorRoom);
    mMissedFrames.resize(most + kVectorRoom);
}

ActivePartial TrackList::At(std::size_t index) const {
    return {mBins[index],       mFrequencies[index], mGainLimits[index],
            mMagnitudes[index], mPhases[index],      mMissedFrames[index]};
}

CandidateList::CandidateList(std::size_t most)
    : mTracks(most + kVectorRoom), mPeaks(most + kVectorRoom), mGains(most + kVectorRoom) {}

PartialTracker::PartialTracker(UInt32 numBins)
    : mNumBins(numBins), mPeaks(numBins), mPartials(MostPartials(numBins)),
      mCandidates(MostPartials(numBins)), mContinued(MostPartials(numBins) + 1),
      mPeakPlaces(mPeaks.mBins.size() + 4, -kNowhere), mFirstPeaks(numBins + kVectorRoom) {}

void PartialTracker::Track(std::span<const float> magnitudes, float threshold) {
    MapPeaks();
    MatchAll();
    Choose();
    EraseLost(mPartials, {magnitudes.data(), static_cast<UInt32>(magnitudes.size())});
    BeginTracks(mPartials, mPeaks, threshold, kLimitAtBirth);
}

// The element behind the peaks stands for none: never taken, and of a magnitude that divides.
void PartialTracker::MapPeaks() {
    const UInt32 count = mPeaks.mCount;
    std::fill_n(mPeaks.mMatched.begin(), count + 1, 0);
    mPeaks.mMagnitudes[count] = 1.0f;
    std::copy_n(mPeaks.mBins.begin(), count, mPeakPlaces.begin() + 1);
    std::fill_n(mPeakPlaces.begin() + 1 + count, 3, kNowhere);
    mIsCrowded = FindFirstPeaks(mPeaks, mNumBins, mFirstPeaks.data());
}

// The nearest peak in reach, taken or not, the lowest of several; the number of peaks if there is
// none.
SInt32 PartialTracker::NearestPeak(float bin) const {
    auto nearest = static_cast<SInt32>(mPeaks.mCount);
    float least = kReach;
    for (UInt32 i = 0; i < mPeaks.mCount; ++i) {
        const float distance = std::abs(mPeaks.mBins[i] - bin);
        nearest = distance < least ? static_cast<SInt32>(i) : nearest;
        least = std::min(distance, least);
    }
    return nearest;
}

// The same among the peaks that are free, where `nearest` is the nearest one.
SInt32 PartialTracker::NearestFreePeak(float bin, SInt32 nearest) const {
    const auto distance = [&](UInt32 peak) { return std::abs(mPeaks.mBins[peak] - bin); };
    auto first = static_cast<UInt32>(nearest);
    while (first > 0 && distance(first - 1) < kReach)
        --first;
    auto free = static_cast<SInt32>(mPeaks.mCount);
    float least = kReach;
    for (UInt32 i = first; i < mPeaks.mCount && distance(i) < kReach; ++i) {
        if (mPeaks.mMatched[i] == 0 && distance(i) < least) {
            least = distance(i);
            free = static_cast<SInt32>(i);
        }
    }
    return free;
}

// Most tracks get the nearest of all peaks. Those are found for all tracks at once, as no step then
// waits for the one before. Peaks of a spectrum are a bin apart but for a rounding, so that hardly
// ever two of them share one.
void PartialTracker::MatchAll() {
    if (mIsCrowded)
        MatchCrowded();
    else
        MatchTracks(mPartials, {mFirstPeaks.data(), mPeakPlaces.data(), mNumBins}, mCandidates);
    DivideMagnitudes(mPeaks, mCandidates);
    float* const gains = mCandidates.mGains.data();
    const int logs = static_cast<int>(mCandidates.mCount);
    vvlogf(gains, gains, &logs);
    vDSP_vsmul(gains, 1, &kLevelFactor, gains, 1, mCandidates.mCount);
}

void PartialTracker::MatchCrowded() {
    std::size_t count = 0;
    for (std::size_t i = 0; i < mPartials.mCount; ++i) {
        mCandidates.mTracks[count] = static_cast<SInt32>(i);
        mCandidates.mPeaks[count] = NearestPeak(mPartials.mBins[i]);
        mCandidates.mGains[count] = mPartials.mMagnitudes[i];
        count += std::size_t{mCandidates.mPeaks[count] != static_cast<SInt32>(mPeaks.mCount)};
    }
    mCandidates.mCount = count;
}

// In the order of the tracks. Whether one is continued, or rises too far and is lost, is hard to
// foretell, so that neither is a branch.
void PartialTracker::Choose() {
    const auto none = static_cast<SInt32>(mPeaks.mCount);
    const float* const limits = mPartials.mGainLimits.data();
    SInt32* const missed = mPartials.mMissedFrames.data();
    SInt32* const matched = mPeaks.mMatched.data();
    const SInt32* const tracks = mCandidates.mTracks.data();
    const SInt32* const peaks = mCandidates.mPeaks.data();
    const float* const gains = mCandidates.mGains.data();
    UInt32* const continued = mContinued.data();
    std::size_t continuedCount = 0;
    for (std::size_t i = 0; i < mCandidates.mCount; ++i) {
        if (matched[peaks[i]] != 0) [[unlikely]]
            MatchAgain(i);
        const SInt32 peak = peaks[i];
        const SInt32 track = tracks[i];
        const bool isThere = peak != none;
        const bool rises = gains[i] > limits[track];
        const bool continues = isThere & !rises;
        matched[peak] |= SInt32{continues};
        missed[track] += SInt32{isThere & rises} * (kMostMissedFrames + 1);
        continued[continuedCount] = static_cast<UInt32>(i);
        continuedCount += std::size_t{continues};
    }
    Continue({continued, continuedCount});
}

// The nearest peak is taken.
void PartialTracker::MatchAgain(std::size_t candidate) {
    const auto track = static_cast<UInt32>(mCandidates.mTracks[candidate]);
    const SInt32 peak = NearestFreePeak(mPartials.mBins[track], mCandidates.mPeaks[candidate]);
    const float magnitude = mPeaks.mMagnitudes[static_cast<UInt32>(peak)];
    mCandidates.mPeaks[candidate] = peak;
    mCandidates.mGains[candidate] =
        kLevelFactor * std::log(magnitude / mPartials.mMagnitudes[track]);
}

void PartialTracker::Continue(std::span<const UInt32> candidates) {
    const float fall = 1.0f - std::exp(kDecay);
    const PeakList& peaks = mPeaks;
    TrackList& partials = mPartials;
    for (const UInt32 candidate : candidates) {
        const auto track = static_cast<UInt32>(mCandidates.mTracks[candidate]);
        const auto peak = static_cast<UInt32>(mCandidates.mPeaks[candidate]);
        // The new limit deliberately starts from the peak's logarithm and not from the old limit.
        const float level = peaks.mLogMagnitudes[peak];
        const float rested = level - fall * (level - kRestLevel);
        partials.mBins[track] = peaks.mBins[peak];
        partials.mFrequencies[track] = peaks.mFrequencies[peak];
        partials.mGainLimits[track] = std::max(rested, kGrowth * mCandidates.mGains[candidate]);
        partials.mMagnitudes[track] = peaks.mMagnitudes[peak];
        partials.mPhases[track] = peaks.mPhases[peak];
        partials.mMissedFrames[track] = -1; // as all of them are counted on
    }
}

} // namespace qel::core
