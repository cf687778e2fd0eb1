// Compiled for every instruction set. Nothing is contracted, so that results are the same on all of
// them.

#include "timbre/TrackVectors.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "timbre/TrackVectors.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <algorithm>
#include <cstring>
#include <hwy/highway.h>

#include "timbre/Select-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

constexpr float kLeastShare = 0.2f; // of the last magnitude

// The bins that places lie in, within 0 and numBins - 1.
template <class V>
HWY_INLINE auto BinsOf(V places, UInt32 numBins) {
    const Integers integers;
    const auto last = hn::Set(integers, static_cast<SInt32>(numBins) - 1);
    return hn::Min(hn::Max(hn::ConvertTo(integers, places), hn::Zero(integers)), last);
}

// Writes, by bin, the first of `count` places that is not below it, in whole runs, of which the
// next one overwrites what is too much. Whether a bin has several of them.
bool FindFirsts(const float* places, UInt32 count, UInt32 numBins, SInt32* firsts) {
    const Integers integers;
    bool isCrowded = false;
    UInt32 from = 0;
    for (UInt32 i = 0; i < count; ++i) {
        const UInt32 bin = PartialTracker::BinOf(places[i], numBins);
        const auto index = hn::Set(integers, static_cast<SInt32>(i));
        isCrowded |= bin < from;
        do {
            for (UInt32 at = 0; at < kVectorRoom; at += static_cast<UInt32>(hn::Lanes(integers)))
                hn::StoreU(index, integers, firsts + from + at);
            from += kVectorRoom;
        } while (from <= bin);
        from = bin + 1;
    }
    std::fill(firsts + from, firsts + numBins, static_cast<SInt32>(count));
    return isCrowded;
}

constexpr std::size_t kRun = 128; // tracks that are looked up before any of them is matched

// What there is around each track of a run.
struct Surroundings {
    HWY_ALIGN SInt32 bins[kRun];
    HWY_ALIGN SInt32 firsts[kRun];    // the first peak that is not below the bin
    HWY_ALIGN float places[4 * kRun]; // those of the peak before it, of it, and of two behind
};

// Gathers in vectors would take about twice as long.
void LookUp(const float* places, std::size_t count, const PeakMap& map, Surroundings& around) {
    const Full d;
    const Integers integers;
    const hn::CappedTag<float, 4> four;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d))
        hn::Store(BinsOf(hn::LoadU(d, places + i), map.mNumBins), integers, around.bins + i);
    for (std::size_t i = 0; i < count; ++i) {
        const SInt32 first = map.mFirsts[around.bins[i]];
        around.firsts[i] = first;
        hn::Store(hn::LoadU(four, map.mPlaces + first), four, around.places + 4 * i);
    }
}

// The peak nearest to each place of a vector, the lower of two, and its distance: the first one
// from the place's bin on, or the one on the other side of the place.
template <class V>
HWY_INLINE auto Nearest(V place, const Surroundings& around, std::size_t at, V& distance) {
    const Full d;
    const Integers integers;
    const auto one = hn::Set(integers, 1);
    V before, first, second, third;
    hn::LoadInterleaved4(d, around.places + 4 * at, before, first, second, third);
    const auto isAbove = hn::Gt(first, place);
    const auto index = hn::Load(integers, around.firsts + at);
    const auto lower =
        hn::IfThenElse(hn::RebindMask(integers, isAbove), hn::Sub(index, one), index);
    const auto below = hn::Abs(hn::Sub(hn::IfThenElse(isAbove, before, first), place));
    const auto above = hn::Abs(hn::Sub(hn::IfThenElse(isAbove, first, second), place));
    distance = hn::Min(above, below);
    return hn::IfThenElse(hn::RebindMask(integers, hn::Lt(above, below)), hn::Add(lower, one),
                          lower);
}

// Adds those of a run of `count` tracks from the given one on.
void MatchRun(const TrackList& tracks, std::size_t from, std::size_t count,
              const Surroundings& around, CandidateList& candidates) {
    const Full d;
    const Integers integers;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto distance = hn::Zero(d);
        const auto peak = Nearest(hn::LoadU(d, &tracks.mBins[from + i]), around, i, distance);
        const Selection near =
            Select(hn::And(hn::Lt(distance, hn::Set(d, kReach)), hn::FirstN(d, count - i)));
        const auto track = hn::Iota(integers, static_cast<SInt32>(from + i));
        const auto magnitude = hn::LoadU(d, &tracks.mMagnitudes[from + i]);
        StoreSelected(track, near, &candidates.mTracks[candidates.mCount]);
        StoreSelected(peak, near, &candidates.mPeaks[candidates.mCount]);
        StoreSelected(magnitude, near, &candidates.mGains[candidates.mCount]);
        candidates.mCount += near.count;
    }
}

void Match(const TrackList& tracks, const PeakMap& map, CandidateList& candidates) {
    Surroundings around;
    candidates.mCount = 0;
    for (std::size_t from = 0; from < tracks.mCount; from += kRun) {
        const std::size_t count = std::min(kRun, tracks.mCount - from);
        const std::size_t lanes = hn::Lanes(Full());
        LookUp(&tracks.mBins[from], (count + lanes - 1) / lanes * lanes, map, around);
        MatchRun(tracks, from, count, around, candidates);
    }
}

void Divide(const PeakList& peaks, CandidateList& candidates) {
    const Full d;
    const Integers integers;
    for (std::size_t i = 0; i < candidates.mCount; i += hn::Lanes(d)) {
        const auto peak = hn::LoadU(integers, &candidates.mPeaks[i]);
        const auto magnitude = hn::GatherIndex(d, peaks.mMagnitudes.data(), peak);
        hn::StoreU(hn::Div(magnitude, hn::LoadU(d, &candidates.mGains[i])), d,
                   &candidates.mGains[i]);
    }
}

void Erase(TrackList& tracks, const Misses& misses) {
    const Full d;
    const Integers integers;
    const auto most = hn::Set(integers, kMostMissedFrames);
    const auto share = hn::Set(d, kLeastShare);
    std::size_t living = 0;
    for (std::size_t i = 0; i < tracks.mCount; i += hn::Lanes(d)) {
        const auto bin = hn::LoadU(d, &tracks.mBins[i]);
        const auto frequency = hn::LoadU(d, &tracks.mFrequencies[i]);
        const auto limit = hn::LoadU(d, &tracks.mGainLimits[i]);
        const auto magnitude = hn::LoadU(d, &tracks.mMagnitudes[i]);
        const auto phase = hn::LoadU(d, &tracks.mPhases[i]);
        const auto missed = hn::LoadU(integers, &tracks.mMissedFrames[i]);

        const auto heard = hn::GatherIndex(d, misses.mMagnitudes, BinsOf(bin, misses.mNumBins));
        const auto isLost = hn::Or(hn::Gt(hn::Mul(share, magnitude), heard),
                                   hn::RebindMask(d, hn::Gt(missed, most)));
        const auto isContinued = hn::RebindMask(d, hn::Lt(missed, hn::Zero(integers)));
        const auto lives =
            hn::And(hn::FirstN(d, tracks.mCount - i), hn::Or(isContinued, hn::Not(isLost)));

        const Selection selection = Select(lives);
        StoreSelected(bin, selection, &tracks.mBins[living]);
        StoreSelected(frequency, selection, &tracks.mFrequencies[living]);
        StoreSelected(limit, selection, &tracks.mGainLimits[living]);
        StoreSelected(magnitude, selection, &tracks.mMagnitudes[living]);
        StoreSelected(phase, selection, &tracks.mPhases[living]);
        StoreSelected(hn::Add(missed, hn::Set(integers, 1)), selection,
                      &tracks.mMissedFrames[living]);
        living += selection.count;
    }
    tracks.mCount = living;
}

void Begin(TrackList& tracks, const PeakList& peaks, float threshold, float limit) {
    const Full d;
    const Integers integers;
    const auto limits = hn::Set(d, limit);
    const auto least = hn::Set(d, threshold);
    std::size_t living = tracks.mCount;
    for (std::size_t i = 0; i < peaks.mCount; i += hn::Lanes(d)) {
        const auto magnitude = hn::LoadU(d, &peaks.mMagnitudes[i]);
        const auto matched = hn::LoadU(integers, &peaks.mMatched[i]);
        const auto isFree = hn::RebindMask(d, hn::Eq(matched, hn::Zero(integers)));
        const auto begins =
            hn::And(hn::And(isFree, hn::Gt(magnitude, least)), hn::FirstN(d, peaks.mCount - i));
        const Selection selection = Select(begins);
        StoreSelected(hn::LoadU(d, &peaks.mBins[i]), selection, &tracks.mBins[living]);
        StoreSelected(hn::LoadU(d, &peaks.mFrequencies[i]), selection,
                      &tracks.mFrequencies[living]);
        StoreSelected(magnitude, selection, &tracks.mMagnitudes[living]);
        StoreSelected(hn::LoadU(d, &peaks.mPhases[i]), selection, &tracks.mPhases[living]);
        hn::StoreU(limits, d, &tracks.mGainLimits[living]);
        hn::StoreU(hn::Zero(integers), integers, &tracks.mMissedFrames[living]);
        living += selection.count;
    }
    tracks.mCount = living;
}

void List(const TrackList& tracks, UInt32 numBins, Float64 frame, PartialRecord* records) {
    const Full d;
    const std::size_t lanes = hn::Lanes(d);
    HWY_ALIGN float fields[4 * kTableLanes];
    for (std::size_t i = 0; i < tracks.mCount; i += lanes) {
        const auto bins = hn::LoadU(d, &tracks.mBins[i]);
        hn::StoreInterleaved4(
            hn::BitCast(d, BinsOf(bins, numBins)), hn::LoadU(d, &tracks.mFrequencies[i]),
            hn::LoadU(d, &tracks.mMagnitudes[i]), hn::LoadU(d, &tracks.mPhases[i]), d, fields);
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            std::memcpy(records + i + lane, fields + 4 * lane, 4 * sizeof(float));
            records[i + lane].mTime = frame;
        }
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(FindFirsts);
HWY_EXPORT(Match);
HWY_EXPORT(Divide);
HWY_EXPORT(Erase);
HWY_EXPORT(Begin);
HWY_EXPORT(List);

bool FindFirstPeaks(const PeakList& peaks, UInt32 numBins, SInt32* firsts) {
    return HWY_DYNAMIC_DISPATCH(FindFirsts)(peaks.mBins.data(), peaks.mCount, numBins, firsts);
}

void MatchTracks(const TrackList& tracks, const PeakMap& map, CandidateList& candidates) {
    HWY_DYNAMIC_DISPATCH(Match)(tracks, map, candidates);
}

void DivideMagnitudes(const PeakList& peaks, CandidateList& candidates) {
    HWY_DYNAMIC_DISPATCH(Divide)(peaks, candidates);
}

void EraseLost(TrackList& tracks, const Misses& misses) {
    HWY_DYNAMIC_DISPATCH(Erase)(tracks, misses);
}

void BeginTracks(TrackList& tracks, const PeakList& peaks, float threshold, float limit) {
    HWY_DYNAMIC_DISPATCH(Begin)(tracks, peaks, threshold, limit);
}

void ListTracks(const TrackList& tracks, UInt32 numBins, Float64 frame, PartialRecord* records) {
    static_assert(offsetof(PartialRecord, mTime) == 4 * sizeof(float));
    HWY_DYNAMIC_DISPATCH(List)(tracks, numBins, frame, records);
}

} // namespace qel::core

#endif
