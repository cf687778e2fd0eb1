#include "timbre/PartialTracker.h"

#include "elementary/Functions.h"
#include "timbre/TrackVectors.h"

#include <algorithm>
#include <cmath>

namespace qel::core {

namespace {

// A level here is 20 times a natural logarithm, and so no decibel.
constexpr float kLevelFactor = 20.0f;
constexpr float kLimitAtBirth = 20.0f;
constexpr float kGrowth = 1.5f;
constexpr float kRestLevel = 1.5f;
constexpr float kDecay = -0.05f;

// The track of a candidate, whether or not it is marked.
SInt32 TrackOf(SInt32 candidate) {
    return candidate < 0 ? ~candidate : candidate;
}

} // namespace

TrackList::TrackList(std::size_t most, Tones tones) : mHasTones(tones == Tones::kKept) {
    for (auto* values : {&mBins, &mGainLimits, &mMagnitudes}) {
        values->resize(most + kVectorRoom);
    }
    mMissedFrames.resize(most + kVectorRoom);
    for (auto* values : {&mFrequencies, &mPhases}) {
        values->resize(mHasTones ? most + kVectorRoom : 0);
    }
}

ActivePartial TrackList::At(std::size_t index) const {
    return {mBins[index],       mHasTones ? mFrequencies[index] : 0.0f, mGainLimits[index],
            mMagnitudes[index], mHasTones ? mPhases[index] : 0.0f,      mMissedFrames[index]};
}

CandidateList::CandidateList(std::size_t most)
    : mTracks(most + kVectorRoom), mPeaks(most + kVectorRoom), mGains(most + kVectorRoom) {}

PeakMap::PeakMap(UInt32 numBins)
    : mNumBins(numBins), mPlaces(std::size_t{numBins} + 3 + kVectorRoom),
      mPeaks(std::size_t{numBins} + 1) {}

PartialTracker::PartialTracker(UInt32 numBins, Tones tones)
    : mPeaks(numBins), mPartials(MostPartials(numBins), tones), mCandidates(MostPartials(numBins)),
      mContinued(MostPartials(numBins) + 1), mPeakMap(numBins), mPeakBins(mPeaks.mBins.size()),
      mTrackBins(mPartials.mBins.size()) {}

void PartialTracker::Track(const float* magnitudes, float threshold) {
    MapPeaks();
    FindBins(mPartials, mPeakMap.mNumBins, mTrackBins.data());
    MatchAll();
    Choose();
    EraseLost(mPartials, {magnitudes, mTrackBins.data()});
    BeginTracks(mPartials, mPeaks, threshold, kLimitAtBirth);
}

// The element after the peaks represents none: always taken, with a magnitude other than 0.
void PartialTracker::MapPeaks() {
    const UInt32 count = mPeaks.mCount;
    mPeaks.mMatched[count] = 1;
    mPeaks.mMagnitudes[count] = 1.0f;
    mIsCrowded = !MapPlaces(mPeaks, mPeakMap, mPeakBins.data());
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
    while (first > 0 && distance(first - 1) < kReach) {
        --first;
    }
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
    if (mIsCrowded) {
        MatchCrowded();
    } else {
        MatchTracks(mPartials, mTrackBins.data(), mPeakMap, mCandidates);
    }
    FindGains(kLevelFactor, mCandidates);
}

void PartialTracker::MatchCrowded() {
    std::size_t count = 0;
    for (std::size_t i = 0; i < mPartials.mCount; ++i) {
        const SInt32 peak = NearestPeak(mPartials.mBins[i]);
        mCandidates.mTracks[count] = ~static_cast<SInt32>(i);
        mCandidates.mPeaks[count] = peak;
        mCandidates.mGains[count] =
            mPeaks.mMagnitudes[static_cast<UInt32>(peak)] / mPartials.mMagnitudes[i];
        count += std::size_t{peak != static_cast<SInt32>(mPeaks.mCount)};
    }
    mCandidates.mCount = count;
}

// In the order of the tracks. Whether one is continued, or rises too far and is lost, is hard to
// foretell, so that neither is a branch.
void PartialTracker::Choose() {
    const float* const limits = mPartials.mGainLimits.data();
    SInt32* const missed = mPartials.mMissedFrames.data();
    SInt32* const matched = mPeaks.mMatched.data();
    const SInt32* const tracks = mCandidates.mTracks.data();
    const SInt32* const peaks = mCandidates.mPeaks.data();
    const float* const gains = mCandidates.mGains.data();
    UInt32* const continued = mContinued.data();
    std::size_t continuedCount = 0;
    for (std::size_t i = 0; i < mCandidates.mCount; ++i) {
        if ((-matched[peaks[i]] & tracks[i]) < 0) {
            [[unlikely]] MatchAgain(i);
        }
        const SInt32 peak = peaks[i];
        const SInt32 track = TrackOf(tracks[i]);
        const SInt32 isFree = matched[peak] ^ 1;
        const SInt32 rises = gains[i] > limits[track] ? 1 : 0;
        const SInt32 continues = isFree & (rises ^ 1);
        matched[peak] |= continues;
        missed[track] += (isFree & rises) * (kMostMissedFrames + 1);
        continued[continuedCount] = static_cast<UInt32>(i);
        continuedCount += static_cast<std::size_t>(continues);
    }
    Continue({continued, continuedCount});
}

// The nearest peak is taken, and there may be another one.
void PartialTracker::MatchAgain(std::size_t candidate) {
    const auto track = static_cast<UInt32>(TrackOf(mCandidates.mTracks[candidate]));
    const SInt32 peak = NearestFreePeak(mPartials.mBins[track], mCandidates.mPeaks[candidate]);
    const float magnitude = mPeaks.mMagnitudes[static_cast<UInt32>(peak)];
    mCandidates.mPeaks[candidate] = peak;
    mCandidates.mGains[candidate] =
        kLevelFactor * elementary::Log(magnitude / mPartials.mMagnitudes[track]);
}

void PartialTracker::Continue(std::span<const UInt32> candidates) {
    const float fall = 1.0f - elementary::Exp(kDecay);
    const PeakList& peaks = mPeaks;
    TrackList& partials = mPartials;
    for (const UInt32 candidate : candidates) {
        const auto track = static_cast<UInt32>(TrackOf(mCandidates.mTracks[candidate]));
        const auto peak = static_cast<UInt32>(mCandidates.mPeaks[candidate]);
        // Required by the contract: the new limit starts from the peak's logarithm and not from the
        // old limit. Starting from that ends other tracks.
        const float level = peaks.mLogMagnitudes[peak];
        const float rested = level - fall * (level - kRestLevel);
        partials.mBins[track] = peaks.mBins[peak];
        partials.mGainLimits[track] = std::max(rested, kGrowth * mCandidates.mGains[candidate]);
        partials.mMagnitudes[track] = peaks.mMagnitudes[peak];
        partials.mMissedFrames[track] = -1; // as all of them are counted on
        if (partials.mHasTones) {
            partials.mFrequencies[track] = peaks.mFrequencies[peak];
            partials.mPhases[track] = peaks.mPhases[peak];
        }
    }
}

} // namespace qel::core
