// Compiled for every instruction set. Nothing is contracted, so that results are the same on all of
// them.

#include "timbre/TrackVectors.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "timbre/TrackVectors.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

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

// A peak in reach lies in the bin of the track or in a neighbouring one.
void Match(const TrackList& tracks, const PeakList& peaks, const PeakMap& map, SInt32* matches,
           float* quotients) {
    const Full d;
    const Integers integers;
    const auto none = hn::Set(integers, static_cast<SInt32>(peaks.mCount));
    const auto one = hn::Set(integers, 1);
    for (std::size_t i = 0; i < tracks.mCount; i += hn::Lanes(d)) {
        const auto place = hn::LoadU(d, &tracks.mBins[i]);
        auto bin = BinsOf(place, map.mNumBins); // of the map, where it is the bin before
        auto nearest = bin;
        auto least = hn::Abs(hn::Sub(hn::GatherIndex(d, map.mPlaces, bin), place));
        for (int neighbour = 0; neighbour < 2; ++neighbour) {
            bin = hn::Add(bin, one);
            const auto distance = hn::Abs(hn::Sub(hn::GatherIndex(d, map.mPlaces, bin), place));
            const auto isNearer = hn::Lt(distance, least);
            nearest = hn::IfThenElse(hn::RebindMask(integers, isNearer), bin, nearest);
            least = hn::IfThenElse(isNearer, distance, least);
        }
        const auto isNear = hn::RebindMask(integers, hn::Lt(least, hn::Set(d, kReach)));
        const auto index = hn::GatherIndex(integers, map.mIndices, nearest);
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

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(Match);
HWY_EXPORT(Erase);
HWY_EXPORT(Begin);

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

} // namespace qel::core

#endif
