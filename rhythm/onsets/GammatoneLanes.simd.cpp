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
#include "rhythm/onsets/LowPassAlong.simd.h"
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

// The first kPartialSums bands write the partial sums; later ones add to them.
enum class Mode {
    kWrite,
    kAdd,
    kAddWithSingle, // the band after the vector runs along
};

// As many bands as a vector has lanes, with their states in registers.
class BandVector {
    using V = hn::Vec<Wide>;

public:
    HWY_INLINE BandVector(const GammatoneBands& bands, std::size_t first)
        : mRealPole(At(bands.realPole, first)), mImagPole(At(bands.imagPole, first)),
          mGain(At(bands.gain, first)), mRe0(At(bands.real[0], first)),
          mRe1(At(bands.real[1], first)), mRe2(At(bands.real[2], first)),
          mRe3(At(bands.real[3], first)), mIm0(At(bands.imag[0], first)),
          mIm1(At(bands.imag[1], first)), mIm2(At(bands.imag[2], first)),
          mIm3(At(bands.imag[3], first)) {}

    // The real outputs for the sample x.
    HWY_INLINE V Step(V x) {
        const V re3 = hn::Add(TurnedReal(mRe3, mIm3), mRe2);
        mIm3 = hn::Add(TurnedImag(mRe3, mIm3), mIm2);
        mRe3 = re3;
        const V re2 = hn::Add(TurnedReal(mRe2, mIm2), mRe1);
        mIm2 = hn::Add(TurnedImag(mRe2, mIm2), mIm1);
        mRe2 = re2;
        const V re1 = hn::Add(TurnedReal(mRe1, mIm1), mRe0);
        mIm1 = hn::Add(TurnedImag(mRe1, mIm1), mIm0);
        mRe1 = re1;
        const V re0 = hn::Add(TurnedReal(mRe0, mIm0), hn::Mul(mGain, x));
        mIm0 = TurnedImag(mRe0, mIm0);
        mRe0 = re0;
        return re3;
    }

    HWY_INLINE void Save(GammatoneBands& bands, std::size_t first) const {
        const Wide d;
        hn::Store(mRe0, d, bands.real[0] + first);
        hn::Store(mRe1, d, bands.real[1] + first);
        hn::Store(mRe2, d, bands.real[2] + first);
        hn::Store(mRe3, d, bands.real[3] + first);
        hn::Store(mIm0, d, bands.imag[0] + first);
        hn::Store(mIm1, d, bands.imag[1] + first);
        hn::Store(mIm2, d, bands.imag[2] + first);
        hn::Store(mIm3, d, bands.imag[3] + first);
    }

private:
    static HWY_INLINE V At(const float* lanes, std::size_t first) {
        return hn::Load(Wide(), lanes + first);
    }
    HWY_INLINE V TurnedReal(V re, V im) const {
        return hn::Sub(hn::Mul(mRealPole, re), hn::Mul(mImagPole, im));
    }
    HWY_INLINE V TurnedImag(V re, V im) const {
        return hn::Add(hn::Mul(mRealPole, im), hn::Mul(mImagPole, re));
    }

    V mRealPole;
    V mImagPole;
    V mGain;
    V mRe0;
    V mRe1;
    V mRe2;
    V mRe3;
    V mIm0;
    V mIm1;
    V mIm2;
    V mIm3;
};

// Calls step(n) for the samples from `first` to before `end`, two at a time.
template <class Step>
HWY_INLINE void ForSamples(std::size_t first, std::size_t end, Step step) {
    for (; first + 2 <= end; first += 2) {
        step(first);
        step(first + 1);
    }
    if (first < end) {
        step(first);
    }
}

// Calls step(n) for the samples from 0 to `samples` - 1, and lets the low-pass go along with as
// many of them as it has steps for.
template <class Step>
HWY_INLINE void ForEachSample(std::size_t samples, LowPassRun& run, Step step) {
    const std::size_t together = std::min(samples, run.left / kLowPassStepsPerSample);
    LowPassAlong along(run);
    for (std::size_t n = 0; n < together; ++n) {
        step(n);
        along.TakeSteps();
    }
    along.Save(run);
    ForSamples(together, samples, step);
}

// The inputs of a single band.
HWY_INLINE void Scale(const float* HWY_RESTRICT input, std::size_t samples, float gain,
                      float* HWY_RESTRICT scaled) {
    for (std::size_t n = 0; n < samples; ++n) {
        scaled[n] = gain * input[n];
    }
}

// Runs the bands from `first` on over `samples` samples and puts their real outputs into the
// partial sums, a row of kPartialSums for each sample.
template <Mode mode, bool allUsed>
HWY_INLINE void RunBands(GammatoneBands& bands, std::size_t first, const float* HWY_RESTRICT input,
                         std::size_t samples, float* HWY_RESTRICT partials, LowPassRun& run) {
    const Wide d;
    const std::size_t singleBand = first + kLanes;
    SingleBand single(bands, mode == Mode::kAddWithSingle ? singleBand : first);
    BandVector vector(bands, first);
    float* const singleRow = partials + singleBand % kPartialSums;
    float scaled[kChunk];
    if constexpr (mode == Mode::kAddWithSingle) {
        Scale(input, samples, bands.gain[singleBand], scaled);
    }
    const auto used = hn::FirstN(d, bands.count - std::min(first, bands.count));
    float* const rows = partials + first % kPartialSums;
    const auto step = [&](std::size_t n) HWY_ATTR __attribute__((always_inline)) {
        auto x = hn::Set(d, input[n]);
        if constexpr (!allUsed) { // 0 times infinity must not get into the sum
            x = hn::IfThenElseZero(used, x);
        }
        float* const row = rows + n * kPartialSums;
        const auto out = vector.Step(x);
        hn::Store(mode == Mode::kWrite ? out : hn::Add(hn::Load(d, row), out), d, row);
        if constexpr (mode == Mode::kAddWithSingle) {
            singleRow[n * kPartialSums] += single.Step(scaled[n]);
        }
    };
    if constexpr (mode == Mode::kWrite) {
        ForEachSample(samples, run, step);
    } else {
        ForSamples(0, samples, step);
    }
    vector.Save(bands, first);
    if constexpr (mode == Mode::kAddWithSingle) {
        single.Save(bands, singleBand);
    }
}

// Runs the vector of bands from `first` on, and one more band if that is the last. Returns the
// band to go on with.
HWY_INLINE std::size_t RunVector(GammatoneBands& bands, std::size_t first, const float* input,
                                 std::size_t samples, float* partials, LowPassRun& run) {
    const std::size_t next = first + kLanes;
    if (first < kPartialSums) {
        if (next <= bands.count) {
            RunBands<Mode::kWrite, true>(bands, first, input, samples, partials, run);
        } else {
            RunBands<Mode::kWrite, false>(bands, first, input, samples, partials, run);
        }
    } else if (kLanes > 1 && next + 1 == bands.count) {
        RunBands<Mode::kAddWithSingle, true>(bands, first, input, samples, partials, run);
        return bands.count;
    } else if (next <= bands.count) {
        RunBands<Mode::kAdd, true>(bands, first, input, samples, partials, run);
    } else {
        RunBands<Mode::kAdd, false>(bands, first, input, samples, partials, run);
    }
    return next;
}

// Whether two vectors of bands and a single one have registers enough at the same time.
constexpr bool kHasManyRegisters = HWY_TARGET <= HWY_AVX3 && kLanes == kPartialSums;
constexpr std::size_t kBandsAtOnce = 2 * kLanes + 1;

// Runs kBandsAtOnce bands, which are all.
HWY_INLINE void RunAtOnce(GammatoneBands& bands, const float* HWY_RESTRICT input,
                          std::size_t samples, float* HWY_RESTRICT partials, LowPassRun& run) {
    const Wide d;
    BandVector first(bands, 0);
    BandVector second(bands, kLanes);
    SingleBand single(bands, 2 * kLanes);
    float scaled[kChunk];
    Scale(input, samples, bands.gain[2 * kLanes], scaled);
    ForEachSample(
        samples, run, [&](std::size_t n) HWY_ATTR __attribute__((always_inline)) {
            const auto x = hn::Set(d, input[n]);
            float* const row = partials + n * kPartialSums;
            const auto out = first.Step(x);
            hn::Store(hn::Add(out, second.Step(x)), d, row);
            row[0] += single.Step(scaled[n]);
        });
    first.Save(bands, 0);
    second.Save(bands, kLanes);
    single.Save(bands, 2 * kLanes);
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

#if HWY_MAX_BYTES >= 32

using Half = hn::FixedTag<float, 8>;

// Two rows of partial sums, each folded to four values in the order of FoldRow.
HWY_INLINE hn::Vec<Half> FoldRows(const float* first, const float* second) {
    const Half d;
    const auto a = hn::Add(hn::Load(d, first), hn::Load(d, first + 8));
    const auto b = hn::Add(hn::Load(d, second), hn::Load(d, second + 8));
    return hn::Add(hn::ConcatLowerLower(d, b, a), hn::ConcatUpperUpper(d, b, a));
}

// Eight rows folded to a value each: the four of a row as (0 + 2) + (1 + 3).
HWY_INLINE hn::Vec<Half> SumEightRows(const float* rows) {
    const Half d;
    const hn::FixedTag<double, 4> pairs;
    const auto foldFour = [&](const float* four) HWY_ATTR {
        const auto even = FoldRows(four, four + 4 * kPartialSums);
        const auto odd = FoldRows(four + kPartialSums, four + 5 * kPartialSums);
        return hn::BitCast(
            pairs, hn::Add(hn::InterleaveLower(d, even, odd), hn::InterleaveUpper(d, even, odd)));
    };
    const auto a = foldFour(rows);
    const auto b = foldFour(rows + 2 * kPartialSums);
    return hn::Add(hn::BitCast(d, hn::InterleaveLower(pairs, a, b)),
                   hn::BitCast(d, hn::InterleaveUpper(pairs, a, b)));
}

#endif

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
#if HWY_MAX_BYTES >= 32
    for (; n + 8 <= samples; n += 8) {
        hn::StoreU(SumEightRows(partials + n * kPartialSums), Half(), sum + n);
    }
#endif
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

void SumBands(GammatoneBands& bands, const float* input, std::size_t samples, float* sum,
              LowPassRun& run) {
    alignas(64) float partials[kChunk * kPartialSums];
    for (std::size_t start = 0; start < samples; start += kChunk) {
        const std::size_t length = std::min(kChunk, samples - start);
        if (kHasManyRegisters && bands.count == kBandsAtOnce) {
            RunAtOnce(bands, input + start, length, partials, run);
        } else {
            // The run goes along with one vector only.
            std::size_t first = RunVector(bands, 0, input + start, length, partials, run);
            while (first < std::max(bands.count, kPartialSums)) {
                LowPassRun none;
                first = RunVector(bands, first, input + start, length, partials, none);
            }
        }
        SumRows(partials, length, sum + start);
    }
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(SumBands);

void gfb_LoadBands(const Gfb_Analyzer& analyzer, GammatoneBands& bands) {
    bands.count = static_cast<std::size_t>(analyzer.bandCount);
    for (std::size_t b = 0; b < bands.count; ++b) {
        const Gfb_Filter& filter = *analyzer.filters[b];
        bands.realPole[b] = filter.realPole;
        bands.imagPole[b] = filter.imagPole;
        bands.gain[b] = filter.gain;
        for (std::size_t stage = 0; stage < 4; ++stage) {
            bands.real[stage][b] = filter.realState[stage];
            bands.imag[stage][b] = filter.imagState[stage];
        }
    }
}

void gfb_SaveBands(const GammatoneBands& bands, Gfb_Analyzer& analyzer) {
    for (std::size_t b = 0; b < bands.count; ++b) {
        Gfb_Filter& filter = *analyzer.filters[b];
        for (std::size_t stage = 0; stage < 4; ++stage) {
            filter.realState[stage] = bands.real[stage][b];
            filter.imagState[stage] = bands.imag[stage][b];
        }
    }
}

void gfb_SumBands(float* sum, const float* input, GammatoneBands& bands, std::size_t samples,
                  LowPassRun& run) {
    HWY_DYNAMIC_DISPATCH(SumBands)(bands, input, samples, sum, run);
}

void gfb_AnalyzeSum(float* sum, const float* input, Gfb_Analyzer* analyzer, int samples) {
    if (samples <= 0) {
        return;
    }
    GammatoneBands bands;
    LowPassRun none;
    gfb_LoadBands(*analyzer, bands);
    gfb_SumBands(sum, input, bands, static_cast<std::size_t>(samples), none);
    gfb_SaveBands(bands, *analyzer);
}

} // namespace qel::core

#endif
