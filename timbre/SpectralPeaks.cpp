// Maxima and their parabolas are found in vectors, compiled for every instruction set. Nothing is
// contracted, so that results are the same on all of them.

#include "timbre/SpectralPeaks.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "timbre/SpectralPeaks.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <Accelerate/Accelerate.h>
#include <algorithm>
#include <cstddef>
#include <hwy/highway.h>

#include "timbre/Select-inl.h"

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

using Doubles = hn::CappedTag<double, kTableLanes>;

// The bins below all maxima; the number of them.
UInt32 FindMaxima(const float* x, UInt32 numBins, float threshold, SInt32* firstBins) {
    const Full d;
    const Integers integers;
    const auto lanes = static_cast<UInt32>(hn::Lanes(d));
    const auto least = hn::Set(d, threshold);
    UInt32 count = 0;
    UInt32 k = 1;
    for (; k + lanes < numBins; k += lanes) {
        const auto here = hn::LoadU(d, x + k);
        const auto isPeak = hn::And(
            hn::And(hn::Gt(here, hn::LoadU(d, x + k - 1)), hn::Ge(here, hn::LoadU(d, x + k + 1))),
            hn::Gt(here, least));
        const Selection found = Select(isPeak);
        StoreSelected(hn::Iota(integers, static_cast<SInt32>(k - 1)), found, firstBins + count);
        count += static_cast<UInt32>(found.count);
    }
    for (; k + 1 < numBins; ++k) {
        firstBins[count] = static_cast<SInt32>(k - 1);
        count += UInt32{x[k] > x[k - 1]} & UInt32{x[k] >= x[k + 1]} & UInt32{x[k] > threshold};
    }
    return count;
}

// Place, level and the logarithm of the height of each maximum with a vertex; the number of those.
UInt32 FindVertices(const float* logs, UInt32 count, PeakList& peaks) {
    const Full d;
    const Integers integers;
    const auto lanes = static_cast<UInt32>(hn::Lanes(d));
    UInt32 found = 0;
    for (UInt32 i = 0; i < count; i += lanes) {
        const auto first = hn::LoadU(integers, &peaks.mFirstBins[i]);
        const auto x0 = hn::GatherIndex(d, logs, first);
        const auto rise = hn::Sub(hn::GatherIndex(d, logs + 1, first), x0);
        const auto span = hn::Sub(hn::GatherIndex(d, logs + 2, first), x0);
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
    SInt32* first = peaks.mFirstBins.data();
    const UInt32 maxima =
        HWY_DYNAMIC_DISPATCH(FindMaxima)(logs, spectrum.mNumBins, threshold, first);
    std::fill_n(first + maxima, kVectorRoom, 0); // the last vector may reach there
    const UInt32 count = HWY_DYNAMIC_DISPATCH(FindVertices)(logs, maxima, peaks);
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
