#include "timbre/MelFilterBank.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace qel::core {

namespace {

// Runs are mostly too short for a vector function to pay. The lanes let the compiler use vectors.
float RunProduct(const float* weights, const float* magnitudes, std::size_t count) {
    constexpr std::size_t kLanes = 8;
    float sums[kLanes] = {};
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            sums[lane] += weights[i + lane] * magnitudes[i + lane];
        }
    }
    for (std::size_t lane = 0; i + lane < count; ++lane) {
        sums[lane] += weights[i + lane] * magnitudes[i + lane];
    }
    return ((sums[0] + sums[4]) + (sums[2] + sums[6])) +
           ((sums[1] + sums[5]) + (sums[3] + sums[7]));
}

bool AllFinite(const float* first, const float* end) {
    return std::all_of(first, end, [](float x) { return std::isfinite(x); });
}

} // namespace

void MelFilterBank::Clear(UInt32 bins) {
    mRuns.clear();
    mWeights.clear();
    mNumBins = bins;
}

void MelFilterBank::Append(const float* weights) {
    const auto isSet = [](float weight) { return weight != 0.0F; };
    const float* const end = weights + mNumBins;
    const float* const first = std::find_if(weights, end, isSet);
    const float* last = end;
    while (last != first && !isSet(last[-1])) {
        --last;
    }
    mRuns.push_back(
        {static_cast<UInt32>(first - weights), static_cast<UInt32>(last - first), mWeights.size()});
    mWeights.insert(mWeights.end(), first, last);
}

bool MelFilterBank::IsFiniteOutside(const Run& run, const float* magnitudes) const {
    return AllFinite(magnitudes, magnitudes + run.mFirstBin) &&
           AllFinite(magnitudes + run.mFirstBin + run.mNumBins, magnitudes + mNumBins);
}

void MelFilterBank::Apply(const float* magnitudes, float* out) const {
    for (const Run& run : mRuns) {
        *out++ =
            RunProduct(mWeights.data() + run.mOffset, magnitudes + run.mFirstBin, run.mNumBins);
    }
    // One pass tells the usual case: a finite sum has finite terms.
    float sum = 0.0F;
    vDSP_sve(magnitudes, 1, &sum, mNumBins);
    if (std::isfinite(sum)) {
        return;
    }
    out -= mRuns.size();
    for (const Run& run : mRuns) {
        if (!IsFiniteOutside(run, magnitudes)) {
            *out = std::numeric_limits<float>::quiet_NaN();
        }
        ++out;
    }
}

void MelFilterBank::FillDense(float* dense) const {
    std::fill_n(dense, std::size_t{mNumBins} * mRuns.size(), 0.0F);
    for (std::size_t b = 0; b < mRuns.size(); ++b) {
        const Run& run = mRuns[b];
        for (std::size_t j = 0; j < run.mNumBins; ++j) {
            dense[(run.mFirstBin + j) * mRuns.size() + b] = mWeights[run.mOffset + j];
        }
    }
}

} // namespace qel::core
