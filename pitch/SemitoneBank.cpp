#include "pitch/SemitoneBank.h"

#include "pitch/SemitoneScale.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace qel::core {

namespace {

// Runs are short, from a bin to a few hundred, and a call for each took longer than the sums. In
// partial sums, which the compiler keeps side by side.
float RunSum(const float* magnitudes, std::size_t count) {
    constexpr std::size_t kPartialSums = 8;
    float partials[kPartialSums] = {};
    std::size_t n = 0;
    for (; n + kPartialSums <= count; n += kPartialSums) {
        for (std::size_t p = 0; p < kPartialSums; ++p) {
            partials[p] += magnitudes[n + p];
        }
    }
    float sum = 0.0f;
    for (const float partial : partials) {
        sum += partial;
    }
    for (; n < count; ++n) {
        sum += magnitudes[n];
    }
    return sum;
}

bool AllFinite(const float* first, const float* end) {
    return std::all_of(first, end, [](float x) { return std::isfinite(x); });
}

// The midpoint between two neighbouring semitones. They are so close that the difference of their
// frequencies is exact: both cells have the same edge between them.
double EdgeHz(float centerHz, float neighbourHz) {
    return static_cast<double>(centerHz) - 0.5 * static_cast<double>(centerHz - neighbourHz);
}

} // namespace

void SemitoneBank::Design(const float* binsHz, UInt32 bins) {
    mCells.clear();
    mOutside.clear();
    mNumBins = bins;
    if (bins == 0) {
        return;
    }
    mLowestSemitone = FreqToChroma(binsHz[0]);
    const float highest = FreqToChroma(binsHz[bins - 1]);
    if (!std::isfinite(mLowestSemitone) || !(highest >= mLowestSemitone) ||
        !std::isfinite(highest)) {
        return;
    }
    const float* const end = binsHz + bins;
    const auto semitones = static_cast<UInt32>(1.0f + (highest - mLowestSemitone));
    mCells.reserve(semitones);
    UInt32 next = 0; // the bin after the cells so far
    for (UInt32 j = 0; j < semitones; ++j) {
        const float center = ChromaToFreq(Semitone(j));
        const double lower = EdgeHz(center, ChromaToFreq(Semitone(j) - 1.0f));
        const double upper = EdgeHz(center, ChromaToFreq(Semitone(j) + 1.0f));
        const auto isBelow = [&](float hz) { return !(static_cast<double>(hz) > lower); };
        const auto isNotAbove = [&](float hz) { return static_cast<double>(hz) < upper; };
        const float* const first = std::partition_point(binsHz, end, isBelow);
        const float* const last = std::partition_point(first, end, isNotAbove);
        mCells.push_back({static_cast<UInt32>(first - binsHz), static_cast<UInt32>(last - first)});
        for (; next < static_cast<UInt32>(first - binsHz); ++next) {
            mOutside.push_back(next);
        }
        next = static_cast<UInt32>(last - binsHz);
    }
    for (; next < bins; ++next) {
        mOutside.push_back(next);
    }
}

bool SemitoneBank::IsFiniteOutside(const Cell& cell, const float* magnitudes) const {
    return AllFinite(magnitudes, magnitudes + cell.mFirstBin) &&
           AllFinite(magnitudes + cell.mFirstBin + cell.mNumBins, magnitudes + mNumBins);
}

bool SemitoneBank::AreOthersFinite(const float* magnitudes) const {
    return std::all_of(mOutside.begin(), mOutside.end(),
                       [=](UInt32 bin) { return std::isfinite(magnitudes[bin]); });
}

void SemitoneBank::Apply(const float* magnitudes, float* out) const {
    for (const Cell& cell : mCells) {
        *out++ = RunSum(magnitudes + cell.mFirstBin, cell.mNumBins);
    }
    out -= mCells.size();
    // The sums tell the usual case: a finite sum has finite terms.
    float sum = 0.0f;
    vDSP_sve(out, 1, &sum, mCells.size());
    if (std::isfinite(sum) && AreOthersFinite(magnitudes)) {
        return;
    }
    for (const Cell& cell : mCells) {
        if (!IsFiniteOutside(cell, magnitudes)) {
            *out = std::numeric_limits<float>::quiet_NaN();
        }
        ++out;
    }
}

void SemitoneBank::FillDense(float* dense) const {
    std::fill_n(dense, std::size_t{mNumBins} * mCells.size(), 0.0f);
    for (std::size_t j = 0; j < mCells.size(); ++j) {
        std::fill_n(dense + j * mNumBins + mCells[j].mFirstBin, mCells[j].mNumBins, 1.0f);
    }
}

} // namespace qel::core
