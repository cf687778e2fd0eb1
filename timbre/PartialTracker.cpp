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
constexpr UInt32 kRun = 16; // bins; peaks are seldom farther apart

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

PartialTracker::PartialTracker(UInt32 numBins)
    : mNumBins(numBins), mPeaks(numBins), mPartials(MostPartials(numBins)),
      mMatches(MostPartials(numBins) + kVectorRoom), mGains(MostPartials(numBins) + kVectorRoom),
      mContinued(MostPartials(numBins) + 1), mPeakPlaces(mPeaks.mBins.size() + 3, -kNowhere),
      mFirstPeaks(numBins + kRun) {}

void PartialTracker::Track(std::span<const float> magnitudes, float threshold) {
    MapPeaks();
    MatchAll();
    Choose();
    EraseLost(mPartials, {magnitudes.data(), static_cast<UInt32>(magnitudes.size()),
                          mMatches.data(), static_cast<SInt32>(mPeaks.mCount), mGains.data()});
    BeginTracks(mPartials, mPeaks, threshold, kLimitAtBirth);
}

// The element behind the peaks stands for none: never taken, and of a magnitude that divides.
void PartialTracker::MapPeaks() {
    const UInt32 count = mPeaks.mCount;
    std::fill_n(mPeaks.mMatched.begin(), count + 1, 0);
    mPeaks.mMagnitudes[count] = 1.0f;
    std::copy_n(mPeaks.mBins.begin(), count, mPeakPlaces.begin() + 1);
    std::fill_n(mPeakPlaces.begin() + 1 + count, 2, kNowhere);
    const float* const bins = mPeaks.mBins.data();
    SInt32* const firsts = mFirstPeaks.data();
    bool isCrowded = false;
    UInt32 from = 0;
    for (UInt32 i = 0; i < count; ++i) {
        const UInt32 bin = BinOf(bins[i], mNumBins);
        isCrowded |= bin < from;
        // Whole runs, of which the next one overwrites what is too much.
        do
            std::fill_n(firsts + from, kRun, static_cast<SInt32>(i));
        while ((from += kRun) <= bin);
        from = bin + 1;
    }
    std::fill(mFirstPeaks.begin() + from, mFirstPeaks.end(), static_cast<SInt32>(count));
    mIsCrowded = isCrowded;
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
    const std::size_t count = mPartials.mCount;
    MatchTracks(mPartials, mPeaks, {mFirstPeaks.data(), mPeakPlaces.data(), mNumBins},
                mMatches.data(), mGains.data());
    if (mIsCrowded) {
        for (std::size_t i = 0; i < count; ++i) {
            mMatches[i] = NearestPeak(mPartials.mBins[i]);
            mGains[i] =
                mPeaks.mMagnitudes[static_cast<UInt32>(mMatches[i])] / mPartials.mMagnitudes[i];
        }
    }
    const int logs = static_cast<int>(count);
    vvlogf(mGains.data(), mGains.data(), &logs);
    vDSP_vsmul(mGains.data(), 1, &kLevelFactor, mGains.data(), 1, count);
}

// In the order of the tracks. Whether one is continued is hard to foretell, so that those that are
// are gathered without a branch.
void PartialTracker::Choose() {
    const auto none = static_cast<SInt32>(mPeaks.mCount);
    const std::size_t count = mPartials.mCount;
    const float* const limits = mPartials.mGainLimits.data();
    SInt32* const matched = mPeaks.mMatched.data();
    SInt32* const matches = mMatches.data();
    float* const gains = mGains.data();
    UInt32* const continued = mContinued.data();
    std::size_t continuedCount = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (matched[matches[i]] != 0) [[unlikely]]
            MatchAgain(i);
        const SInt32 match = matches[i];
        const bool continues = (match != none) & !(gains[i] > limits[i]);
        matched[match] |= SInt32{continues};
        continued[continuedCount] = static_cast<UInt32>(i);
        continuedCount += std::size_t{continues};
    }
    Continue({continued, continuedCount});
}

// The nearest peak is taken.
void PartialTracker::MatchAgain(std::size_t track) {
    const SInt32 match = NearestFreePeak(mPartials.mBins[track], mMatches[track]);
    const float magnitude = mPeaks.mMagnitudes[static_cast<UInt32>(match)];
    mMatches[track] = match;
    mGains[track] = kLevelFactor * std::log(magnitude / mPartials.mMagnitudes[track]);
}

void PartialTracker::Continue(std::span<const UInt32> tracks) {
    const float fall = 1.0f - std::exp(kDecay);
    const PeakList& peaks = mPeaks;
    TrackList& partials = mPartials;
    for (const UInt32 track : tracks) {
        const auto peak = static_cast<UInt32>(mMatches[track]);
        // The new limit deliberately starts from the peak's logarithm and not from the old limit.
        const float level = peaks.mLogMagnitudes[peak];
        const float rested = level - fall * (level - kRestLevel);
        partials.mBins[track] = peaks.mBins[peak];
        partials.mFrequencies[track] = peaks.mFrequencies[peak];
        partials.mGainLimits[track] = std::max(rested, kGrowth * mGains[track]);
        partials.mMagnitudes[track] = peaks.mMagnitudes[peak];
        partials.mPhases[track] = peaks.mPhases[peak];
        partials.mMissedFrames[track] = -1; // as all of them are counted on
    }
}

} // namespace qel::core
