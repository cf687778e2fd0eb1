// A filter waits for its own last output at every sample, so that one alone keeps a processor idle:
// the bands are what can be done side by side. A vector of bands runs over a chunk of samples with
// its states in registers, then the next one; outputs are summed in memory that stays in the cache.
// Products are not contracted with sums, as they are not in gfb_Analyze.

#include "rhythm/GammatoneLanes.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/GammatoneLanes.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <algorithm>
#include <cstddef>
#include <hwy/highway.h>

#ifndef QEL_GAMMATONE_LANES_ONCE
#define QEL_GAMMATONE_LANES_ONCE
namespace qel::core {

// Band b adds to partial sum b mod kPartials. The number is that of no particular instruction set,
// so that sums come out the same on all of them.
inline constexpr std::size_t kPartials = 16;
inline constexpr std::size_t kLanesOfBank = (MAX_N_BANDS + kPartials - 1) / kPartials * kPartials;

// The bank with a lane per band. What no band uses has pole, gain and state 0.
struct GammatoneBands {
    alignas(64) float realPole[kLanesOfBank] = {};
    alignas(64) float imagPole[kLanesOfBank] = {};
    alignas(64) float gain[kLanesOfBank] = {};
    alignas(64) float real[4][kLanesOfBank] = {};
    alignas(64) float imag[4][kLanesOfBank] = {};
    std::size_t count = 0;
};

} // namespace qel::core
#endif

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Wide = hn::CappedTag<float, kPartials>;

// Samples that one vector of bands runs over before the next one does: their partial sums, 8 KiB,
// stay in the first cache.
constexpr std::size_t kChunk = 128;

// Runs the bands from `first` on over `samples` samples and adds their real outputs to the partial
// sums, a row of kPartials for each sample.
template <bool allUsed>
HWY_INLINE void RunBands(GammatoneBands& bands, std::size_t first, const float* HWY_RESTRICT input,
                         std::size_t samples, float* HWY_RESTRICT partials) {
    const Wide d;
    const auto used = hn::FirstN(d, bands.count - first);
    const auto pr = hn::Load(d, bands.realPole + first);
    const auto pi = hn::Load(d, bands.imagPole + first);
    const auto gain = hn::Load(d, bands.gain + first);
    auto re0 = hn::Load(d, bands.real[0] + first);
    auto re1 = hn::Load(d, bands.real[1] + first);
    auto re2 = hn::Load(d, bands.real[2] + first);
    auto re3 = hn::Load(d, bands.real[3] + first);
    auto im0 = hn::Load(d, bands.imag[0] + first);
    auto im1 = hn::Load(d, bands.imag[1] + first);
    auto im2 = hn::Load(d, bands.imag[2] + first);
    auto im3 = hn::Load(d, bands.imag[3] + first);
    const auto turnReal = [&](auto re, auto im)
                              HWY_ATTR { return hn::Sub(hn::Mul(pr, re), hn::Mul(pi, im)); };
    const auto turnImag = [&](auto re, auto im)
                              HWY_ATTR { return hn::Add(hn::Mul(pr, im), hn::Mul(pi, re)); };
    float* row = partials + first % kPartials;
    for (std::size_t n = 0; n < samples; ++n, row += kPartials) {
        auto x = hn::Set(d, input[n]);
        if constexpr (!allUsed) // 0 times infinity must not get into the sum
            x = hn::IfThenElseZero(used, x);
        auto re = hn::Add(turnReal(re3, im3), re2);
        im3 = hn::Add(turnImag(re3, im3), im2);
        re3 = re;
        re = hn::Add(turnReal(re2, im2), re1);
        im2 = hn::Add(turnImag(re2, im2), im1);
        re2 = re;
        re = hn::Add(turnReal(re1, im1), re0);
        im1 = hn::Add(turnImag(re1, im1), im0);
        re1 = re;
        re = hn::Add(turnReal(re0, im0), hn::Mul(gain, x));
        im0 = turnImag(re0, im0);
        re0 = re;
        hn::Store(hn::Add(hn::Load(d, row), re3), d, row);
    }
    hn::Store(re0, d, bands.real[0] + first);
    hn::Store(re1, d, bands.real[1] + first);
    hn::Store(re2, d, bands.real[2] + first);
    hn::Store(re3, d, bands.real[3] + first);
    hn::Store(im0, d, bands.imag[0] + first);
    hn::Store(im1, d, bands.imag[1] + first);
    hn::Store(im2, d, bands.imag[2] + first);
    hn::Store(im3, d, bands.imag[3] + first);
}

// Folds each row of partial sums to four values, then to one, in an order that does not depend on
// the instruction set.
HWY_INLINE void SumRows(float* HWY_RESTRICT partials, std::size_t samples,
                        float* HWY_RESTRICT sum) {
    const hn::CappedTag<float, 4> quarter;
    constexpr std::size_t kStep = hn::MaxLanes(quarter);
    for (std::size_t n = 0; n < samples; ++n) {
        const float* const row = partials + n * kPartials;
        for (std::size_t i = 0; i < 4; i += kStep) {
            const auto even = hn::Add(hn::Load(quarter, row + i), hn::Load(quarter, row + 8 + i));
            const auto odd =
                hn::Add(hn::Load(quarter, row + 4 + i), hn::Load(quarter, row + 12 + i));
            hn::Store(hn::Add(even, odd), quarter, partials + n * 4 + i);
        }
    }
    for (std::size_t n = 0; n < samples; ++n) {
        const float* const row = partials + n * 4;
        sum[n] = (row[0] + row[2]) + (row[1] + row[3]);
    }
}

void AnalyzeBands(GammatoneBands& bands, const float* input, std::size_t samples, float* sum) {
    const Wide d;
    const std::size_t lanes = hn::Lanes(d);
    alignas(64) float partials[kChunk * kPartials];
    for (std::size_t start = 0; start < samples; start += kChunk) {
        const std::size_t length = std::min(kChunk, samples - start);
        std::fill_n(partials, length * kPartials, 0.0f);
        std::size_t first = 0;
        for (; first + lanes <= bands.count; first += lanes)
            RunBands<true>(bands, first, input + start, length, partials);
        if (first < bands.count)
            RunBands<false>(bands, first, input + start, length, partials);
        SumRows(partials, length, sum + start);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(AnalyzeBands);

void gfb_AnalyzeSum(float* sum, const float* input, Gfb_Analyzer* analyzer, int samples) {
    if (samples <= 0)
        return;
    GammatoneBands bands;
    bands.count = static_cast<std::size_t>(analyzer->bandCount);
    for (std::size_t b = 0; b < bands.count; ++b) {
        const Gfb_Filter& filter = *analyzer->filters[b];
        bands.realPole[b] = filter.realPole;
        bands.imagPole[b] = filter.imagPole;
        bands.gain[b] = filter.gain;
        for (std::size_t stage = 0; stage < 4; ++stage) {
            bands.real[stage][b] = filter.realState[stage];
            bands.imag[stage][b] = filter.imagState[stage];
        }
    }
    HWY_DYNAMIC_DISPATCH(AnalyzeBands)(bands, input, static_cast<std::size_t>(samples), sum);
    for (std::size_t b = 0; b < bands.count; ++b) {
        Gfb_Filter& filter = *analyzer->filters[b];
        for (std::size_t stage = 0; stage < 4; ++stage) {
            filter.realState[stage] = bands.real[stage][b];
            filter.imagState[stage] = bands.imag[stage][b];
        }
    }
}

} // namespace qel::core

#endif
