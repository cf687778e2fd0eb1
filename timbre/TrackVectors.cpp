// Compiled for every instruction set. Nothing is contracted, so that results are the same on all of
// them.

#include "timbre/TrackVectors.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "timbre/TrackVectors.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <cstring>
#include <hwy/highway.h>

#include "timbre/Select-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

constexpr SInt32 kMostMissedFrames = 3;
constexpr float kLeastShare = 0.2f; // of the last magnitude

// The bins that places lie in, within 0 and numBins - 1.
template <class V>
HWY_INLINE auto BinsOf(V places, UInt32 numBins) {
    const Integers integers;
    const auto last = hn::Set(integers, static_cast<SInt32>(numBins) - 1);
    return hn::Min(hn::Max(hn::ConvertTo(integers, places), hn::Zero(integers)), last);
}

// Of the peaks around a track, one behind the other, the first that is not below the track's bin is
// looked at, and the one before it or behind it, whichever lies on the other side of the track.
void Match(const TrackList& tracks, const PeakList& peaks, const PeakMap& map, SInt32* matches,
           float* quotients) {
    const Full d;
    const Integers integers;
    const auto none = hn::Set(integers, static_cast<SInt32>(peaks.mCount));
    const auto one = hn::Set(integers, 1);
    for (std::size_t i = 0; i < tracks.mCount; i += hn::Lanes(d)) {
        const auto place = hn::LoadU(d, &tracks.mBins[i]);
        const auto first = hn::GatherIndex(integers, map.mFirsts, BinsOf(place, map.mNumBins));
        const auto firstPlace = hn::GatherIndex(d, map.mPlaces + 1, first);
        const auto isAbove = hn::Gt(firstPlace, place);
        const auto lower =
            hn::Add(first, hn::VecFromMask(integers, hn::RebindMask(integers, isAbove)));
        const auto other = hn::GatherIndex(
            d, map.mPlaces + 1,
            hn::IfThenElse(hn::RebindMask(integers, isAbove), lower, hn::Add(first, one)));
        const auto below = hn::Abs(hn::Sub(hn::IfThenElse(isAbove, other, firstPlace), place));
        const auto above = hn::Abs(hn::Sub(hn::IfThenElse(isAbove, firstPlace, other), place));
        const auto isNearer = hn::RebindMask(integers, hn::Lt(above, below));
        const auto index = hn::IfThenElse(isNearer, hn::Add(lower, one), lower);
        const auto isNear =
            hn::RebindMask(integers, hn::Lt(hn::Min(above, below), hn::Set(d, kReach)));
        const auto match = hn::IfThenElse(isNear, index, none);
        const auto magnitude = hn::GatherIndex(d, peaks.mMagnitudes.data(), match);
        hn::StoreU(match, integers, matches + i);
        hn::StoreU(hn::Div(magnitude, hn::LoadU(d, &tracks.mMagnitudes[i])), d, quotients + i);
    }
}

void Erase(TrackList& tracks, const Misses& misses) {
    const Full d;
    const Integers integers;
    const auto none = hn::Set(integers, misses.mNone);
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
        const auto isNear = hn::Lt(hn::LoadU(integers, misses.mMatches + i), none);
        const auto risesTooFar =
            hn::And(hn::RebindMask(d, isNear), hn::Gt(hn::LoadU(d, misses.mGains + i), limit));
        const auto isLost = hn::Or(hn::Or(risesTooFar, hn::Gt(hn::Mul(share, magnitude), heard)),
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

HWY_EXPORT(Match);
HWY_EXPORT(Erase);
HWY_EXPORT(Begin);
HWY_EXPORT(List);

void MatchTracks(const TrackList& tracks, const PeakList& peaks, const PeakMap& map,
                 SInt32* matches, float* quotients) {
    HWY_DYNAMIC_DISPATCH(Match)(tracks, peaks, map, matches, quotients);
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
