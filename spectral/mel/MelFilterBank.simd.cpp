// A run of a narrow filter is a few vectors long, so that folding its partial sums costs as much as
// forming them. Four runs are folded together: two steps transpose them while they add, and each
// vector of sums holds four results.
//
// kPartialSums and the fold decide the last bits of a sum and must not change. The zeros that fill
// a run to whole vectors add nothing to it, unless they meet an infinity or NaN; Apply corrects
// that.

#include "spectral/mel/MelFilterBank.h"

#include <Accelerate/Accelerate.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "spectral/mel/MelFilterBank.simd.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Partial sums of a run: bin n of it goes to partial sum n mod kPartialSums. The number is that of
// no particular instruction set, so that sums come out the same on all of them.
constexpr std::size_t kPartialSums = 8;

using Wide = hn::CappedTag<float, kPartialSums>;

// Vector `lane` / kLanes of the partial sums of a run.
template <class D>
HWY_INLINE hn::Vec<D> SumLanes(D d, const float* weights, const float* magnitudes,
                               std::size_t count, std::size_t lane) {
    auto sum = hn::Zero(d);
    std::size_t n = 0;
    for (; n + kPartialSums <= count; n += kPartialSums) {
        sum = hn::Add(
            sum, hn::Mul(hn::LoadU(d, weights + n + lane), hn::LoadU(d, magnitudes + n + lane)));
    }
    if (n < count) {
        HWY_ALIGN float rest[2][kPartialSums] = {};
        std::copy_n(weights + n, count - n, rest[0]);
        std::copy_n(magnitudes + n, count - n, rest[1]);
        sum = hn::Add(sum, hn::Mul(hn::Load(d, rest[0] + lane), hn::Load(d, rest[1] + lane)));
    }
    return sum;
}

#if HWY_TARGET == HWY_SCALAR

constexpr std::size_t kRunsAtOnce = 1;

// Folds the partial sums of a run: upper half to lower one, and so on.
HWY_INLINE float SumGroup(const MelFilterRun* runs, const float* weights, const float* magnitudes,
                          float* out) {
    float p[kPartialSums];
    for (std::size_t lane = 0; lane < kPartialSums; ++lane) {
        hn::Store(SumLanes(Wide(), weights + runs->mOffset, magnitudes + runs->mFirstBin,
                           runs->mNumPadded, lane),
                  Wide(), p + lane);
    }
    *out = ((p[0] + p[4]) + (p[2] + p[6])) + ((p[1] + p[5]) + (p[3] + p[7]));
    return *out;
}

#else

constexpr std::size_t kRunsAtOnce = 4;

using Half = hn::FixedTag<float, kPartialSums / 2>;

// The first half of the partial sums of a run, with the second one added.
template <class D>
HWY_INLINE hn::Vec<Half> HalfSums(D d, const MelFilterRun& run, const float* weights,
                                  const float* magnitudes) {
    const float* const first = magnitudes + run.mFirstBin;
    const auto sum = SumLanes(d, weights + run.mOffset, first, run.mNumPadded, 0);
    if constexpr (hn::MaxLanes(D()) == kPartialSums) {
        return hn::Add(hn::LowerHalf(Half(), sum), hn::UpperHalf(Half(), sum));
    } else {
        return hn::Add(sum,
                       SumLanes(d, weights + run.mOffset, first, run.mNumPadded, kPartialSums / 2));
    }
}

// Folds the partial sums of four runs, each as the upper half to the lower one, and so on.
HWY_INLINE float SumGroup(const MelFilterRun* runs, const float* weights, const float* magnitudes,
                          float* out) {
    const Half d;
    const auto foldPair = [&](const MelFilterRun* pair) HWY_ATTR {
        const auto a = HalfSums(Wide(), pair[0], weights, magnitudes);
        const auto b = HalfSums(Wide(), pair[1], weights, magnitudes);
        return hn::Add(hn::InterleaveLower(d, a, b), hn::InterleaveUpper(d, a, b));
    };
    const auto first = foldPair(runs);
    const auto second = foldPair(runs + 2);
    const auto sums =
        hn::Add(hn::ConcatLowerLower(d, second, first), hn::ConcatUpperUpper(d, second, first));
    hn::StoreU(sums, d, out);
    return hn::GetLane(hn::SumOfLanes(d, sums));
}

#endif

// Writes the sums of all runs, and returns their sum, whose value tells only whether it is finite.
float SumRuns(const MelFilterRun* runs, std::size_t count, const float* weights,
              const float* magnitudes, float* out) {
    float total = 0.0f;
    std::size_t b = 0;
    for (; b + kRunsAtOnce <= count; b += kRunsAtOnce) {
        total += SumGroup(runs + b, weights, magnitudes, out + b);
    }
    if (b < count) {
        // The last run once more where there are fewer.
        MelFilterRun rest[kRunsAtOnce];
        float sums[kRunsAtOnce];
        for (std::size_t i = 0; i < kRunsAtOnce; ++i) {
            rest[i] = runs[std::min(b + i, count - 1)];
        }
        total += SumGroup(rest, weights, magnitudes, sums);
        std::copy_n(sums, count - b, out + b);
    }
    return total;
}

} // namespace HWY_NAMESPACE
} // namespace qel::core
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace qel::core {

HWY_EXPORT(SumRuns);

namespace {

constexpr UInt32 kPadding = 8; // bins of full vectors

bool AllFinite(const float* first, const float* end) {
    return std::all_of(first, end, [](float x) { return std::isfinite(x); });
}

} // namespace

void MelFilterBank::Clear(UInt32 bins) {
    mRuns.clear();
    mWeights.clear();
    mNumBins = bins;
    mOthers.assign(1, {0, bins});
}

void MelFilterBank::Append(const float* weights) {
    const auto isSet = [](float weight) { return weight != 0.0f; };
    const float* const end = weights + mNumBins;
    const float* const first = std::find_if(weights, end, isSet);
    const float* last = end;
    while (last != first && !isSet(last[-1])) {
        --last;
    }
    const auto start = static_cast<UInt32>(first - weights);
    const auto bins = static_cast<UInt32>(last - first);
    const UInt32 whole = (bins + kPadding - 1) / kPadding * kPadding;
    const UInt32 padded = whole <= mNumBins - start ? whole : bins;
    mRuns.push_back({start, bins, padded, mWeights.size()});
    mWeights.insert(mWeights.end(), first, last);
    mWeights.resize(mWeights.size() + (padded - bins), 0.0f);
    TakeFromOthers(start, start + padded);
}

void MelFilterBank::TakeFromOthers(UInt32 first, UInt32 end) {
    std::vector<Range> rest;
    for (const Range& range : mOthers) {
        if (range.mFirst < std::min(range.mEnd, first)) {
            rest.push_back({range.mFirst, std::min(range.mEnd, first)});
        }
        if (std::max(range.mFirst, end) < range.mEnd) {
            rest.push_back({std::max(range.mFirst, end), range.mEnd});
        }
    }
    mOthers = std::move(rest);
}

bool MelFilterBank::IsFiniteOutside(const MelFilterRun& run, const float* magnitudes) const {
    return AllFinite(magnitudes, magnitudes + run.mFirstBin) &&
           AllFinite(magnitudes + run.mFirstBin + run.mNumBins, magnitudes + mNumBins);
}

bool MelFilterBank::AreOthersFinite(const float* magnitudes) const {
    return std::all_of(mOthers.begin(), mOthers.end(), [=](const Range& range) {
        const float* const first = magnitudes + range.mFirst;
        if (range.mEnd - range.mFirst < kPadding) {
            return AllFinite(first, magnitudes + range.mEnd);
        }
        float sum = 0.0f;
        vDSP_sve(first, 1, &sum, range.mEnd - range.mFirst);
        return std::isfinite(sum);
    });
}

void MelFilterBank::Apply(const float* magnitudes, float* out) const {
    const float sum =
        HWY_DYNAMIC_DISPATCH(SumRuns)(mRuns.data(), mRuns.size(), mWeights.data(), magnitudes, out);
    // The sums tell the usual case: a finite sum has finite terms.
    if (std::isfinite(sum) && AreOthersFinite(magnitudes)) {
        return;
    }
    for (const MelFilterRun& run : mRuns) {
        if (!IsFiniteOutside(run, magnitudes)) {
            *out = std::numeric_limits<float>::quiet_NaN();
        }
        ++out;
    }
}

void MelFilterBank::FillDense(float* dense) const {
    std::fill_n(dense, std::size_t{mNumBins} * mRuns.size(), 0.0f);
    for (std::size_t b = 0; b < mRuns.size(); ++b) {
        const MelFilterRun& run = mRuns[b];
        for (std::size_t j = 0; j < run.mNumBins; ++j) {
            dense[(run.mFirstBin + j) * mRuns.size() + b] = mWeights[run.mOffset + j];
        }
    }
}

} // namespace qel::core

#endif
