#include "timbre/MelFilterBank.h"

#include <Accelerate/Accelerate.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "timbre/MelFilterBank.cpp"
#include <hwy/foreach_target.h> // Must stand before the other headers of its kind.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <hwy/highway.h>
#include <limits>
#include <utility>

HWY_BEFORE_NAMESPACE();
namespace qel::core {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Partial sums of a run: bin n of it goes to partial sum n mod kPartials. The number is that of no
// particular instruction set, so that sums come out the same on all of them.
constexpr std::size_t kPartials = 8;

using Wide = hn::CappedTag<float, kPartials>;
using Half = hn::CappedTag<float, kPartials / 2>;

// Leaves the first half of the partial sums of a run, with the second one added, in `sums`.
HWY_INLINE void SumRun(const float* weights, const float* magnitudes, const MelFilterRun& run,
                       float* sums) {
    const Wide d;
    const Half half;
    constexpr std::size_t kLanes = hn::MaxLanes(d);
    HWY_ALIGN float partials[kPartials];
    std::size_t n = 0;
    for (std::size_t lane = 0; lane < kPartials; lane += kLanes) {
        auto sum = hn::Zero(d);
        for (n = 0; n + kPartials <= run.mNumPadded; n += kPartials)
            sum = hn::Add(sum, hn::Mul(hn::LoadU(d, weights + n + lane),
                                       hn::LoadU(d, magnitudes + n + lane)));
        hn::Store(sum, d, partials + lane);
    }
    for (std::size_t lane = 0; n + lane < run.mNumPadded; ++lane)
        partials[lane] += weights[n + lane] * magnitudes[n + lane];
    for (std::size_t lane = 0; lane < kPartials / 2; lane += hn::MaxLanes(half))
        hn::Store(hn::Add(hn::Load(half, partials + lane),
                          hn::Load(half, partials + kPartials / 2 + lane)),
                  half, sums + lane);
}

// Writes the sums of all runs, and returns their sum.
float SumRuns(const MelFilterRun* runs, std::size_t count, const float* weights,
              const float* magnitudes, float* out) {
    float total = 0.0F;
    for (std::size_t b = 0; b < count; ++b) {
        HWY_ALIGN float sums[kPartials / 2];
        SumRun(weights + runs[b].mOffset, magnitudes + runs[b].mFirstBin, runs[b], sums);
        out[b] = (sums[0] + sums[2]) + (sums[1] + sums[3]);
        total += out[b];
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
    const auto isSet = [](float weight) { return weight != 0.0F; };
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
    mWeights.resize(mWeights.size() + (padded - bins), 0.0F);
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
        float sum = 0.0F;
        vDSP_sve(magnitudes + range.mFirst, 1, &sum, range.mEnd - range.mFirst);
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
    std::fill_n(dense, std::size_t{mNumBins} * mRuns.size(), 0.0F);
    for (std::size_t b = 0; b < mRuns.size(); ++b) {
        const MelFilterRun& run = mRuns[b];
        for (std::size_t j = 0; j < run.mNumBins; ++j) {
            dense[(run.mFirstBin + j) * mRuns.size() + b] = mWeights[run.mOffset + j];
        }
    }
}

} // namespace qel::core

#endif
