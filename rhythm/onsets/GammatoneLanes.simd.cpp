// A filter waits for its own last output at every sample, so that one alone keeps a processor idle:
// the bands are what can be done side by side. A vector of bands runs over a chunk of samples with
// its states in registers, then the next one; outputs are summed in memory that stays in the cache.
// A single band that is left over has its four stages side by side instead, and runs along with the
// last vector of bands, in the time that this one waits. Products are not contracted with sums, as
// they are not in gfb_Analyze.
//
// The order of operations of a band is that of gfb_Analyze, and the order of the sum over bands is
// that of kPartialSums and the fold. Neither may change, or results differ in their last bits.
// kChunk may.

#include "rhythm/onsets/GammatoneLanes.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "rhythm/onsets/GammatoneLanes.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include "rhythm/onsets/GammatoneBands.h"
#include "rhythm/onsets/SingleBand.simd.h"

#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Wide = hn::CappedTag<float, kPartialSums>;
constexpr std::size_t kLanes = hn::MaxLanes(Wide());

// Samples that one vector of bands runs over before the next one does: their partial sums, 8 KiB,
// stay in the first cache.
constexpr std::size_t kChunk = 128;

// The first kPartialSums bands write the partial sums; those behind add to them.
enum class Mode {
    kWrite,
    kAdd,
    kAddWithSingle, // the band behind the vector runs along
};

// Runs the bands from `first` on over `samples` samples and puts their real outputs into the
// partial sums, a row of kPartialSums for each sample.
template <Mode mode, bool allUsed>
HWY_INLINE void RunBands(GammatoneBands& bands, std::size_t first, const float* HWY_RESTRICT input,
                         std::size_t samples, float* HWY_RESTRICT partials) {
    const Wide d;
    const std::size_t singleBand = first + kLanes;
    SingleBand single(bands, mode == Mode::kAddWithSingle ? singleBand : first);
    float* const singleRow = partials + singleBand % kPartialSums;
    const auto used = hn::FirstN(d, bands.count - std::min(first, bands.count));
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
    float* const rows = partials + first % kPartialSums;
    for (std::size_t n = 0; n < samples; ++n) {
        auto x = hn::Set(d, input[n]);
        if constexpr (!allUsed) { // 0 times infinity must not get into the sum
            x = hn::IfThenElseZero(used, x);
        }
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
        float* const row = rows + n * kPartialSums;
        hn::Store(mode == Mode::kWrite ? re3 : hn::Add(hn::Load(d, row), re3), d, row);
        if constexpr (mode == Mode::kAddWithSingle) {
            singleRow[n * kPartialSums] += single.Step(input[n]);
        }
    }
    hn::Store(re0, d, bands.real[0] + first);
    hn::Store(re1, d, bands.real[1] + first);
    hn::Store(re2, d, bands.real[2] + first);
    hn::Store(re3, d, bands.real[3] + first);
    hn::Store(im0, d, bands.imag[0] + first);
    hn::Store(im1, d, bands.imag[1] + first);
    hn::Store(im2, d, bands.imag[2] + first);
    hn::Store(im3, d, bands.imag[3] + first);
    if constexpr (mode == Mode::kAddWithSingle) {
        single.Save(bands, singleBand);
    }
}

// Runs the vector of bands from `first` on, and one more band if that is the last. Returns the
// first band behind.
HWY_INLINE std::size_t RunVector(GammatoneBands& bands, std::size_t first, const float* input,
                                 std::size_t samples, float* partials) {
    const std::size_t next = first + kLanes;
    if (first < kPartialSums) {
        if (next <= bands.count) {
            RunBands<Mode::kWrite, true>(bands, first, input, samples, partials);
        } else {
            RunBands<Mode::kWrite, false>(bands, first, input, samples, partials);
        }
    } else if (kLanes > 1 && next + 1 == bands.count) {
        RunBands<Mode::kAddWithSingle, true>(bands, first, input, samples, partials);
        return bands.count;
    } else if (next <= bands.count) {
        RunBands<Mode::kAdd, true>(bands, first, input, samples, partials);
    } else {
        RunBands<Mode::kAdd, false>(bands, first, input, samples, partials);
    }
    return next;
}

#if HWY_TARGET == HWY_SCALAR

HWY_INLINE void SumRows(const float* HWY_RESTRICT partials, std::size_t samples,
                        float* HWY_RESTRICT sum) {
    const auto fold = [](const float* row) { return (row[0] + row[8]) + (row[4] + row[12]); };
    for (std::size_t n = 0; n < samples; ++n) {
        const float* const row = partials + n * kPartialSums;
        sum[n] = (fold(row) + fold(row + 2)) + (fold(row + 1) + fold(row + 3));
    }
}

#else

using Quarter = hn::FixedTag<float, 4>;

// A row of partial sums folded to four values, in an order that does not depend on the instruction
// set.
HWY_INLINE hn::Vec<Quarter> FoldRow(const float* row) {
    const Quarter d;
    return hn::Add(hn::Add(hn::Load(d, row), hn::Load(d, row + 8)),
                   hn::Add(hn::Load(d, row + 4), hn::Load(d, row + 12)));
}

// Folds each row of partial sums to one value: the four that are left as (0 + 2) + (1 + 3).
HWY_INLINE void SumRows(const float* HWY_RESTRICT partials, std::size_t samples,
                        float* HWY_RESTRICT sum) {
    const Quarter d;
    const auto foldPair = [&](const float* rows) HWY_ATTR {
        const auto a = FoldRow(rows);
        const auto b = FoldRow(rows + kPartialSums);
        return hn::Add(hn::InterleaveLower(d, a, b), hn::InterleaveUpper(d, a, b));
    };
    std::size_t n = 0;
    for (; n + 4 <= samples; n += 4) {
        const auto first = foldPair(partials + n * kPartialSums);
        const auto second = foldPair(partials + (n + 2) * kPartialSums);
        hn::StoreU(
            hn::Add(hn::ConcatLowerLower(d, second, first), hn::ConcatUpperUpper(d, second, first)),
            d, sum + n);
    }
    for (; n < samples; ++n) {
        alignas(16) float row[4];
        hn::Store(FoldRow(partials + n * kPartialSums), d, row);
        sum[n] = (row[0] + row[2]) + (row[1] + row[3]);
    }
}

#endif

void AnalyzeBands(GammatoneBands& bands, const float* input, std::size_t samples, float* sum) {
    alignas(64) float partials[kChunk * kPartialSums];
    for (std::size_t start = 0; start < samples; start += kChunk) {
        const std::size_t length = std::min(kChunk, samples - start);
        std::size_t first = 0;
        while (first < std::max(bands.count, kPartialSums)) {
            first = RunVector(bands, first, input + start, length, partials);
        }
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
    if (samples <= 0) {
        return;
    }
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
