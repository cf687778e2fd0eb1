// Maxima and their parabolas are found in vectors, compiled for every instruction set. Nothing is
// contracted, so that results are the same on all of them.

#include "timbre/SpectralPeaks.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "timbre/SpectralPeaks.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <Accelerate/Accelerate.h>
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <hwy/highway.h>

#include "timbre/Select-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

using Doubles = hn::CappedTag<double, kTableLanes>;

constexpr UInt32 kWordBins = 64;

// A bit for each of `count` bins, 64 at most, that is a maximum. There is a bin before and behind.
std::uint64_t MaximaOf(const float* x, UInt32 count, float threshold) {
    const Full d;
    const auto lanes = static_cast<UInt32>(hn::Lanes(d));
    const auto least = hn::Set(d, threshold);
    std::uint64_t word = 0;
    UInt32 k = 0;
    for (; k + lanes <= count; k += lanes) {
        const auto here = hn::LoadU(d, x + k);
        const auto isPeak = hn::And(
            hn::And(hn::Gt(here, hn::LoadU(d, x + k - 1)), hn::Ge(here, hn::LoadU(d, x + k + 1))),
            hn::Gt(here, least));
        std::uint8_t bits[8] = {};
        hn::StoreMaskBits(d, isPeak, bits);
        word |= std::uint64_t{bits[0]} << k;
    }
    for (; k < count; ++k) {
        const float* at = x + k;
        const unsigned isPeak =
            unsigned{*at > at[-1]} & unsigned{*at >= at[1]} & unsigned{*at > threshold};
        word |= std::uint64_t{isPeak} << k;
    }
    return word;
}

// Of each maximum the bin below it, and the logarithms there, at the maximum and above, in the
// places of the peaks' levels, places and magnitudes; the number of maxima.
UInt32 FindMaxima(const float* x, UInt32 numBins, float threshold, PeakList& peaks) {
    SInt32* const firstBins = peaks.mFirstBins.data();
    float* const below = peaks.mLogMagnitudes.data();
    float* const at = peaks.mBins.data();
    float* const above = peaks.mMagnitudes.data();
    UInt32 count = 0;
    const auto add = [&](UInt32 bin) {
        firstBins[count] = static_cast<SInt32>(bin - 1);
        below[count] = x[bin - 1];
        at[count] = x[bin];
        above[count] = x[bin + 1];
        ++count;
    };
    for (UInt32 k = 1; k + 1 < numBins; k += kWordBins) {
        const UInt32 bins = std::min(kWordBins, numBins - 1 - k);
        for (std::uint64_t word = MaximaOf(x + k, bins, threshold); word != 0; word &= word - 1)
            add(k + static_cast<UInt32>(std::countr_zero(word)));
    }
    return count;
}

// Place, level and the logarithm of the height of each maximum with a vertex; the number of those.
UInt32 FindVertices(UInt32 count, PeakList& peaks) {
    const Full d;
    const Integers integers;
    const auto lanes = static_cast<UInt32>(hn::Lanes(d));
    UInt32 found = 0;
    for (UInt32 i = 0; i < count; i += lanes) {
        const auto first = hn::LoadU(integers, &peaks.mFirstBins[i]);
        const auto x0 = hn::LoadU(d, &peaks.mLogMagnitudes[i]);
        const auto rise = hn::Sub(hn::LoadU(d, &peaks.mBins[i]), x0);
        const auto span = hn::Sub(hn::LoadU(d, &peaks.mMagnitudes[i]), x0);
        // Of curve u^2 + b u, with u in bins from the first; t is twice the place of the vertex.
        const auto half = hn::Set(d, 0.5f);
        const auto curve = hn::Mul(hn::Add(hn::Mul(hn::Set(d, -2.0f), rise), span), half);
        const auto t = hn::Sub(hn::Set(d, 1.0f), hn::Div(rise, curve));
        const auto place = hn::Add(hn::ConvertTo(d, first), hn::Mul(t, half));
        const auto bend = hn::Mul(hn::Mul(hn::Mul(curve, t), t), hn::Set(d, -0.25f));
        const auto isThere = hn::And(hn::FirstN(d, count - i), hn::Eq(place, place));
        const Selection vertices = Select(isThere);
        StoreSelected(first, vertices, &peaks.mFirstBins[found]);
        StoreSelected(place, vertices, &peaks.mBins[found]);
        StoreSelected(hn::Add(x0, bend), vertices, &peaks.mMagnitudes[found]);
        StoreSelected(x0, vertices, &peaks.mLogMagnitudes[found]);
        found += static_cast<UInt32>(vertices.count);
    }
    return found;
}

// In double precision, as far as the last rounding.
void FindFrequencies(const float* bins, UInt32 count, double sampleRate, UInt32 frameSize,
                     float* frequencies) {
    const Doubles doubles;
    const hn::Rebind<float, Doubles> singles;
    const auto rate = hn::Set(doubles, sampleRate);
    const auto size = hn::Set(doubles, static_cast<double>(frameSize));
    for (std::size_t i = 0; i < count; i += hn::Lanes(doubles)) {
        const auto bin = hn::PromoteTo(doubles, hn::LoadU(singles, bins + i));
        const auto hertz = hn::Div(hn::Mul(bin, rate), size);
        hn::StoreU(hn::DemoteTo(singles, hertz), singles, frequencies + i);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(FindMaxima);
HWY_EXPORT(FindVertices);
HWY_EXPORT(FindFrequencies);

PeakList::PeakList(UInt32 numBins) {
    const std::size_t room = std::size_t{MostPeaks(numBins)} + 1 + kVectorRoom;
    mMatched.resize(room);
    mFirstBins.resize(room);
    for (auto* values : {&mBins, &mFrequencies, &mMagnitudes, &mLogMagnitudes, &mPhases})
        values->resize(room);
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

void FindSpectralPeaks(const PeakSpectrum& spectrum, float threshold, PeakList& peaks) {
    const float* logs = spectrum.mLogMagnitudes;
    const SInt32* first = peaks.mFirstBins.data();
    const UInt32 maxima =
        HWY_DYNAMIC_DISPATCH(FindMaxima)(logs, spectrum.mNumBins, threshold, peaks);
    const UInt32 count = HWY_DYNAMIC_DISPATCH(FindVertices)(maxima, peaks);
    const int heights = static_cast<int>(count);
    vvexpf(peaks.mMagnitudes.data(), peaks.mMagnitudes.data(), &heights);
    std::fill_n(peaks.mMatched.begin(), count, 0);
    peaks.mCount = count;
    // Deliberately, level, frequency and phase are those of the bin below the maximum.
    if (spectrum.mFrequencies != nullptr) {
        for (UInt32 i = 0; i < count; ++i) {
            peaks.mFrequencies[i] = spectrum.mFrequencies[first[i]];
            peaks.mPhases[i] = -spectrum.mPhases[first[i]];
        }
    } else {
        HWY_DYNAMIC_DISPATCH(FindFrequencies)
        (peaks.mBins.data(), count, spectrum.mSampleRate, spectrum.mFrameSize,
         peaks.mFrequencies.data());
        std::fill_n(peaks.mPhases.begin(), count, 0.0f);
    }
}

} // namespace qel::core

#endif
