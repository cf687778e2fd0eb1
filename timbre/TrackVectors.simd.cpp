// Compiled for every instruction set, with the same results on all of them: tracks depend on no
// other track, and nothing is summed.
//
// Those that remain are moved to the front by whole vectors. A vector is written no farther back
// than where it was read, and each field is loaded before it is stored, so that the list may be
// replaced in place. The order of tracks must stay, as an earlier one takes its peak first.

#include "timbre/TrackVectors.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "timbre/TrackVectors.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "elementary/Vectors.simd.h"
#include "timbre/Rows.simd.h"
#include "timbre/Select.simd.h"

#include <hwy/highway.h>

#include <bit>
#include <cstring>
#include <limits>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

constexpr float kLeastShare = 0.2f; // of the last magnitude
constexpr float kNowhere = std::numeric_limits<float>::infinity();

// The bins that places lie in, within 0 and numBins - 1. After the places that count there may be
// some that are no numbers, for which some instruction sets have no integer.
template <class V>
HWY_INLINE auto BinsOf(V places, UInt32 numBins) {
    const Integers integers;
    const auto last = hn::Set(integers, static_cast<SInt32>(numBins) - 1);
    const V inside = hn::IfThenElseZero(hn::Gt(places, hn::Zero(TableTag())), places);
    return hn::Min(hn::ConvertTo(integers, inside), last);
}

void FindTrackBins(const TrackList& tracks, UInt32 numBins, SInt32* bins) {
    const TableTag d;
    const float* const places = tracks.mBins.data();
    const std::size_t count = tracks.mCount;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        hn::StoreU(BinsOf(hn::LoadU(d, places + i), numBins), Integers(), bins + i);
    }
}

bool Map(const PeakList& peaks, PeakMap& map, SInt32* bins) {
    const TableTag d;
    const Integers integers;
    const std::size_t lanes = hn::Lanes(d);
    const auto nowhere = hn::Set(d, kNowhere);
    float* const places = map.mPlaces.data();
    const std::size_t numPlaces = std::size_t{map.mNumBins} + 3;
    for (std::size_t i = 0; i < numPlaces; i += lanes) {
        hn::StoreU(nowhere, d, places + i);
    }

    auto shared = hn::Zero(integers);
    const float* const found = peaks.mBins.data();
    const std::size_t count = peaks.mCount;
    for (std::size_t i = 0; i < count; i += lanes) {
        const auto bin = BinsOf(hn::LoadU(d, found + i), map.mNumBins);
        const auto next = BinsOf(hn::LoadU(d, found + i + 1), map.mNumBins);
        const auto isInside = hn::FirstN(integers, count - 1 - i);
        shared = hn::Or(shared,
                        hn::IfThenElseZero(isInside, hn::VecFromMask(integers, hn::Eq(bin, next))));
        hn::StoreU(bin, integers, bins + i);
    }
    MappedPeak* const mapped = map.mPeaks.data();
    for (std::size_t i = 0; i < count; ++i) {
        places[bins[i] + 1] = found[i];
        mapped[bins[i]] = {peaks.mMagnitudes[i], static_cast<SInt32>(i)};
    }
    return hn::AllTrue(integers, hn::Eq(shared, hn::Zero(integers)));
}

// Turns twice the bins of the candidates' peaks to the peaks, and the magnitudes of the tracks to
// the rise from them. After the last candidate there is a vector of bins as well.
void FindPeaks(const PeakMap& map, CandidateList& candidates) {
    const TableTag d;
    const Integers integers;
    const auto* const mapped = reinterpret_cast<const float*>(map.mPeaks.data());
    SInt32* const peaks = candidates.mPeaks.data();
    float* const gains = candidates.mGains.data();
    const std::size_t count = candidates.mCount;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        const auto found = LookUp(d, mapped, peaks + i);
        hn::StoreU(hn::BitCast(integers, found.second), integers, peaks + i);
        hn::StoreU(hn::Div(found.first, hn::LoadU(d, gains + i)), d, gains + i);
    }
}

void Match(const TrackList& tracks, const SInt32* bins, const PeakMap& map,
           CandidateList& candidates) {
    const TableTag d;
    const Integers integers;
    const auto two = hn::Set(integers, 2); // mapped peaks are pairs
    const auto reach = hn::Set(d, kReach);
    const auto step = hn::Set(integers, static_cast<SInt32>(hn::Lanes(d)));
    auto track = hn::Iota(integers, 0); // counted on, as one made anew takes many times as long
    const float* const mapped = map.mPlaces.data();
    const float* const places = tracks.mBins.data();
    const float* const magnitudes = tracks.mMagnitudes.data();
    std::size_t count = 0;
    for (std::size_t i = 0; i < tracks.mCount; i += hn::Lanes(d)) {
        const auto place = hn::LoadU(d, places + i);
        const auto around = LookUp(d, mapped, bins + i);
        const auto below = hn::Abs(hn::Sub(around.first, place));
        const auto at = hn::Abs(hn::Sub(around.second, place));
        const auto above = hn::Abs(hn::Sub(around.third, place));
        // The nearest one, the lower of two, and the next one.
        const auto lower = hn::Min(at, below);
        const auto nearest = hn::Min(above, lower);
        const auto next = hn::Min(hn::Max(at, below), hn::Max(above, lower));
        const auto bin = hn::LoadU(integers, bins + i);
        const auto twice = hn::Add(bin, bin);
        const auto isAt = hn::RebindMask(integers, hn::Lt(at, below));
        const auto isAbove = hn::RebindMask(integers, hn::Lt(above, lower));
        auto peak = hn::IfThenElse(isAt, twice, hn::Sub(twice, two));
        peak = hn::IfThenElse(isAbove, hn::Add(twice, two), peak);
        const auto hasNext =
            hn::VecFromMask(integers, hn::RebindMask(integers, hn::Lt(next, reach)));
        const Selection near =
            Select(hn::And(hn::Lt(nearest, reach), hn::FirstN(d, tracks.mCount - i)));
        StoreSelected(hn::Xor(track, hasNext), near, &candidates.mTracks[count]);
        StoreSelected(peak, near, &candidates.mPeaks[count]);
        StoreSelected(hn::LoadU(d, magnitudes + i), near, &candidates.mGains[count]);
        count += near.count;
        track = hn::Add(track, step);
    }
    hn::StoreU(hn::Zero(integers), integers, &candidates.mPeaks[count]);
    candidates.mCount = count;
    FindPeaks(map, candidates);
}

void Gains(float factor, CandidateList& candidates) {
    const TableTag d;
    const auto scale = hn::Set(d, factor);
    for (std::size_t i = 0; i < candidates.mCount; i += hn::Lanes(d)) {
        const auto rise = hn::LoadU(d, &candidates.mGains[i]);
        hn::StoreU(hn::Mul(elementary::HWY_NAMESPACE::Log(d, rise), scale), d,
                   &candidates.mGains[i]);
    }
}

void Erase(TrackList& tracks, const Misses& misses) {
    const TableTag d;
    const Integers integers;
    const auto most = hn::Set(integers, kMostMissedFrames);
    const auto share = hn::Set(d, kLeastShare);
    const auto one = hn::Set(integers, 1);
    const std::size_t count = tracks.mCount;
    float* const places = tracks.mBins.data();
    float* const limits = tracks.mGainLimits.data();
    float* const magnitudes = tracks.mMagnitudes.data();
    SInt32* const missedFrames = tracks.mMissedFrames.data();
    std::size_t living = 0;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        const auto place = hn::LoadU(d, places + i);
        const auto limit = hn::LoadU(d, limits + i);
        const auto magnitude = hn::LoadU(d, magnitudes + i);
        const auto missed = hn::LoadU(integers, missedFrames + i);

        const auto heard = LookUp(d, misses.mMagnitudes, misses.mBins + i).first;
        const auto isLost = hn::Or(hn::Gt(hn::Mul(share, magnitude), heard),
                                   hn::RebindMask(d, hn::Gt(missed, most)));
        const auto isContinued = hn::RebindMask(d, hn::Lt(missed, hn::Zero(integers)));
        const auto lives = hn::And(hn::FirstN(d, count - i), hn::Or(isContinued, hn::Not(isLost)));

        const Selection selection = Select(lives);
        StoreSelected(place, selection, places + living);
        StoreSelected(limit, selection, limits + living);
        StoreSelected(magnitude, selection, magnitudes + living);
        StoreSelected(hn::Add(missed, one), selection, missedFrames + living);
        if (tracks.mHasTones) {
            const auto frequency = hn::LoadU(d, &tracks.mFrequencies[i]);
            const auto phase = hn::LoadU(d, &tracks.mPhases[i]);
            StoreSelected(frequency, selection, &tracks.mFrequencies[living]);
            StoreSelected(phase, selection, &tracks.mPhases[living]);
        }
        living += selection.count;
    }
    tracks.mCount = living;
}

void Begin(TrackList& tracks, const PeakList& peaks, float threshold, float limit) {
    const TableTag d;
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
        StoreSelected(magnitude, selection, &tracks.mMagnitudes[living]);
        hn::StoreU(limits, d, &tracks.mGainLimits[living]);
        hn::StoreU(hn::Zero(integers), integers, &tracks.mMissedFrames[living]);
        if (tracks.mHasTones) {
            StoreSelected(hn::LoadU(d, &peaks.mFrequencies[i]), selection,
                          &tracks.mFrequencies[living]);
            StoreSelected(hn::LoadU(d, &peaks.mPhases[i]), selection, &tracks.mPhases[living]);
        }
        living += selection.count;
    }
    tracks.mCount = living;
}

void Frequencies(const TrackList& tracks, const BinScale& scale, float* frequencies) {
    const hn::CappedTag<double, kTableLanes> doubles;
    const hn::Rebind<float, decltype(doubles)> singles;
    const auto rate = hn::Set(doubles, scale.mSampleRate);
    const auto size = hn::Set(doubles, static_cast<double>(scale.mFrameSize));
    // The quotient by a power of two is the product with its reciprocal.
    const bool isProduct = std::has_single_bit(scale.mFrameSize);
    const auto reciprocal = hn::Set(doubles, 1.0 / scale.mFrameSize);
    for (std::size_t i = 0; i < tracks.mCount; i += hn::Lanes(doubles)) {
        const auto bin = hn::PromoteTo(doubles, hn::LoadU(singles, &tracks.mBins[i]));
        const auto product = hn::Mul(bin, rate);
        const auto hertz = isProduct ? hn::Mul(product, reciprocal) : hn::Div(product, size);
        hn::StoreU(hn::DemoteTo(singles, hertz), singles, frequencies + i);
    }
}

void List(const TrackList& tracks, const float* frequencies, UInt32 numBins, Float64 frame,
          PartialRecord* records) {
    const TableTag d;
    const std::size_t lanes = hn::Lanes(d);
    HWY_ALIGN float fields[4 * kTableLanes];
    for (std::size_t i = 0; i < tracks.mCount; i += lanes) {
        const auto bins = hn::LoadU(d, &tracks.mBins[i]);
        const auto phases = tracks.mHasTones ? hn::LoadU(d, &tracks.mPhases[i]) : hn::Zero(d);
        hn::StoreInterleaved4(hn::BitCast(d, BinsOf(bins, numBins)), hn::LoadU(d, frequencies + i),
                              hn::LoadU(d, &tracks.mMagnitudes[i]), phases, d, fields);
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

HWY_EXPORT(FindTrackBins);
HWY_EXPORT(Map);
HWY_EXPORT(Match);
HWY_EXPORT(Gains);
HWY_EXPORT(Erase);
HWY_EXPORT(Begin);
HWY_EXPORT(Frequencies);
HWY_EXPORT(List);

void FindBins(const TrackList& tracks, UInt32 numBins, SInt32* bins) {
    HWY_DYNAMIC_DISPATCH(FindTrackBins)(tracks, numBins, bins);
}

bool MapPlaces(const PeakList& peaks, PeakMap& map, SInt32* bins) {
    return HWY_DYNAMIC_DISPATCH(Map)(peaks, map, bins);
}

void MatchTracks(const TrackList& tracks, const SInt32* bins, const PeakMap& map,
                 CandidateList& candidates) {
    HWY_DYNAMIC_DISPATCH(Match)(tracks, bins, map, candidates);
}

void FindGains(float factor, CandidateList& candidates) {
    HWY_DYNAMIC_DISPATCH(Gains)(factor, candidates);
}

void EraseLost(TrackList& tracks, const Misses& misses) {
    HWY_DYNAMIC_DISPATCH(Erase)(tracks, misses);
}

void BeginTracks(TrackList& tracks, const PeakList& peaks, float threshold, float limit) {
    HWY_DYNAMIC_DISPATCH(Begin)(tracks, peaks, threshold, limit);
}

void FindFrequencies(const TrackList& tracks, const BinScale& scale, float* frequencies) {
    HWY_DYNAMIC_DISPATCH(Frequencies)(tracks, scale, frequencies);
}

void ListTracks(const TrackList& tracks, const float* frequencies, UInt32 numBins, Float64 frame,
                PartialRecord* records) {
    static_assert(offsetof(PartialRecord, mTime) == 4 * sizeof(float));
    HWY_DYNAMIC_DISPATCH(List)(tracks, frequencies, numBins, frame, records);
}

} // namespace qel::core

#endif
