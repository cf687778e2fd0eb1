#pragma once

#include <MacTypes.h>

#include <cstddef>
#include <vector>

namespace qel::core {

// Where the weights of a filter are not 0. Where the spectrum has room, weights of 0 follow, so
// that vectors are full.
struct MelFilterRun {
    UInt32 mFirstBin;
    UInt32 mNumBins;
    UInt32 mNumPadded;   // bins with those zeros
    std::size_t mOffset; // of the weights
};

// Filters whose weights are zero but for a run of neighbouring bins each: what would be a product
// with a matrix of zeros for the most part is a short sum per filter. One thread at a time.
class MelFilterBank {
public:
    // Without filters, for spectra of `bins` bins. May allocate; so may Append, and nothing else.
    void Clear(UInt32 bins);

    // Adds a filter, given by one weight per bin.
    void Append(const float* weights);

    UInt32 NumFilters() const { return static_cast<UInt32>(mRuns.size()); }
    UInt32 NumBins() const { return mNumBins; }

    // out[b] = sum over all bins j of weight[j, b] * magnitudes[j]. Zero weights count: a magnitude
    // that is infinite or no number makes every filter NaN that has none but a zero weight for it.
    void Apply(const float* magnitudes, float* out) const;

    // The weights as a matrix: that of bin j and filter b at dense[j * NumFilters() + b].
    void FillDense(float* dense) const;

private:
    struct Range {
        UInt32 mFirst;
        UInt32 mEnd;
    };

    bool IsFiniteOutside(const MelFilterRun& run, const float* magnitudes) const;
    bool AreOthersFinite(const float* magnitudes) const;
    void TakeFromOthers(UInt32 first, UInt32 end);

    UInt32 mNumBins = 0;
    std::vector<MelFilterRun> mRuns;
    std::vector<float> mWeights;
    std::vector<Range> mOthers; // the bins of no run
};

} // namespace qel::core
