// Maxima and their parabolas are found in vectors, compiled for every instruction set, with the
// same results on all of them. A bin depends on its neighbours alone and nothing is summed, so that
// vectors may have any width up to the table's. The parabola's terms keep their order and are not
// contracted: a vertex in another place by a bit can continue another track.

#include "timbre/SpectralPeaks.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "timbre/SpectralPeaks.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "elementary/Vectors.simd.h"
#include "timbre/Rows.simd.h"
#include "timbre/Select.simd.h"

#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Infinity is its own logarithm. What is no number is raised as well, and nothing is subnormal.
template <class D>
HWY_INLINE void RaiseAndLog(D d, float* magnitudes, float least, float* logs) {
    const auto read = hn::LoadU(d, magnitudes);
    const auto lowest = hn::Set(d, least);
    const auto x = hn::IfThenElse(hn::Ge(read, lowest), read, lowest);
    hn::StoreU(x, d, magnitudes);
    hn::StoreU(hn::IfThenElse(hn::Lt(x, hn::Set(d, kInfinity)),
                              elementary::HWY_NAMESPACE::LogOfNormal(d, x), x),
               d, logs);
}

void RaiseAndLogAll(float* magnitudes, UInt32 count, float least, float* logs) {
    const TableTag d;
    const auto lanes = static_cast<UInt32>(hn::Lanes(d));
    UInt32 i = 0;
    for (; i + lanes <= count; i += lanes) {
        RaiseAndLog(d, magnitudes + i, least, logs + i);
    }
    for (; i < count; ++i) {
        RaiseAndLog(hn::CappedTag<float, 1>(), magnitudes + i, least, logs + i);
    }
}

// The bins below the maxima, and zeros after them; how many there are.
UInt32 FindMaxima(const float* x, UInt32 numBins, float threshold, SInt32* firstBins) {
    const TableTag d;
    const Integers integers;
    const auto lanes = static_cast<UInt32>(hn::Lanes(d));
    const auto least = hn::Set(d, threshold);
    const auto step = hn::Set(integers, static_cast<SInt32>(lanes));
    auto below = hn::Iota(integers, 0); // counted on, as one made anew takes many times as long
    std::size_t count = 0;
    for (UInt32 k = 1; k + 1 < numBins; k += lanes) {
        const auto here = hn::LoadU(d, x + k);
        const auto rises = hn::Gt(here, hn::LoadU(d, x + k - 1));
        const auto holds = hn::Ge(here, hn::LoadU(d, x + k + 1));
        const auto isPeak = hn::And(hn::And(rises, holds), hn::Gt(here, least));
        const auto isInside = hn::FirstN(d, numBins - 1 - k);
        const Selection maxima = Select(hn::And(isPeak, isInside));
        StoreSelected(below, maxima, firstBins + count);
        count += maxima.count;
        below = hn::Add(below, step);
    }
    hn::StoreU(hn::Zero(integers), integers, firstBins + count);
    return static_cast<UInt32>(count);
}

// Level, place and logarithm of the height of each maximum, none of them matched. Whether all of
// them have a vertex. Heights are raised in a loop of their own: one step of both is so long that
// the processor would have few of them in work at a time.
bool FindVertices(const float* x, UInt32 count, PeakList& peaks) {
    const TableTag d;
    const Integers integers;
    const auto lanes = static_cast<UInt32>(hn::Lanes(d));
    const SInt32* const firstBins = peaks.mFirstBins.data();
    float* const levels = peaks.mLogMagnitudes.data();
    float* const places = peaks.mBins.data();
    float* const heights = peaks.mMagnitudes.data();
    SInt32* const matched = peaks.mMatched.data();
    auto missing = hn::Zero(d);
    for (UInt32 i = 0; i < count; i += lanes) {
        const auto logs = LookUp(d, x, firstBins + i);
        const auto x0 = logs.first;
        const auto rise = hn::Sub(logs.second, x0);
        const auto span = hn::Sub(logs.third, x0);
        // Of curve u^2 + b u, with u in bins from the first; t is twice the place of the vertex.
        const auto half = hn::Set(d, 0.5f);
        const auto curve = hn::Mul(hn::Add(hn::Mul(hn::Set(d, -2.0f), rise), span), half);
        const auto t = hn::Sub(hn::Set(d, 1.0f), hn::Div(rise, curve));
        const auto first = hn::ConvertTo(d, hn::LoadU(integers, firstBins + i));
        const auto place = hn::Add(first, hn::Mul(t, half));
        const auto bend = hn::Mul(hn::Mul(hn::Mul(curve, t), t), hn::Set(d, -0.25f));
        const auto isMissing = hn::And(hn::FirstN(d, count - i), hn::IsNaN(place));
        missing = hn::Or(missing, hn::VecFromMask(d, isMissing));
        hn::StoreU(x0, d, levels + i);
        hn::StoreU(place, d, places + i);
        hn::StoreU(hn::Add(x0, bend), d, heights + i);
        hn::StoreU(hn::Zero(integers), integers, matched + i);
    }
    return hn::AllFalse(d, hn::MaskFromVec(missing));
}

// From logarithms to linear.
void RaiseHeights(UInt32 count, PeakList& peaks) {
    const TableTag d;
    float* const heights = peaks.mMagnitudes.data();
    for (UInt32 i = 0; i < count; i += static_cast<UInt32>(hn::Lanes(d))) {
        const auto log = hn::LoadU(d, heights + i);
        hn::StoreU(elementary::HWY_NAMESPACE::Exp(d, log), d, heights + i);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(RaiseAndLogAll);
HWY_EXPORT(FindMaxima);
HWY_EXPORT(FindVertices);
HWY_EXPORT(RaiseHeights);

namespace {

// Leaves out the peaks whose place is no number.
UInt32 DropPlaceless(UInt32 count, PeakList& peaks) {
    UInt32 found = 0;
    for (UInt32 i = 0; i < count; ++i) {
        if (std::isnan(peaks.mBins[i])) {
            continue;
        }
        peaks.mFirstBins[found] = peaks.mFirstBins[i];
        peaks.mBins[found] = peaks.mBins[i];
        peaks.mMagnitudes[found] = peaks.mMagnitudes[i];
        peaks.mLogMagnitudes[found] = peaks.mLogMagnitudes[i];
        ++found;
    }
    return found;
}

} // namespace

PeakList::PeakList(UInt32 numBins) {
    const std::size_t room = std::size_t{MostPeaks(numBins)} + 1 + kVectorRoom;
    mMatched.resize(room);
    mFirstBins.resize(room);
    for (auto* values : {&mBins, &mFrequencies, &mMagnitudes, &mLogMagnitudes, &mPhases}) {
        values->resize(room);
    }
}

void PeakList::Add(const Peak& peak) {
    mMatched[mCount] = peak.mMatched ? 1 : 0;
    mBins[mCount] = peak.mBin;
    mFrequencies[mCount] = peak.mFrequency;
    mMagnitudes[mCount] = peak.mMagnitude;
    mLogMagnitudes[mCount] = peak.mLogMagnitude;
    mPhases[mCount] = peak.mPhase;
    ++mCount;
}

Peak PeakList::At(UInt32 index) const {
    return {mMatched[index] != 0, mBins[index],          mFrequencies[index],
            mMagnitudes[index],   mLogMagnitudes[index], mPhases[index]};
}

void RaiseAndTakeLogarithms(float* magnitudes, UInt32 count, float least, float* logs) {
    HWY_DYNAMIC_DISPATCH(RaiseAndLogAll)(magnitudes, count, least, logs);
}

void FindSpectralPeaks(const PeakSpectrum& spectrum, float threshold, PeakList& peaks) {
    const float* const logs = spectrum.mLogMagnitudes;
    const UInt32 maxima = HWY_DYNAMIC_DISPATCH(FindMaxima)(logs, spectrum.mNumBins, threshold,
                                                           peaks.mFirstBins.data());
    const bool areThere = HWY_DYNAMIC_DISPATCH(FindVertices)(logs, maxima, peaks);
    peaks.mCount = areThere ? maxima : DropPlaceless(maxima, peaks);
    HWY_DYNAMIC_DISPATCH(RaiseHeights)(peaks.mCount, peaks);
    // Required by the contract: level, frequency and phase are those of the bin below the maximum.
    // Taking the maximum's own changes all three of every peak.
    for (UInt32 i = 0; spectrum.mFrequencies != nullptr && i < peaks.mCount; ++i) {
        peaks.mFrequencies[i] = spectrum.mFrequencies[peaks.mFirstBins[i]];
        peaks.mPhases[i] = -spectrum.mPhases[peaks.mFirstBins[i]];
    }
}

} // namespace qel::core

#endif
