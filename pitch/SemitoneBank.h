#pragma once

#include <MacTypes.h>

#include <cstddef>
#include <vector>

namespace qel::core {

// Sums the bins of a spectrum by semitone. A cell reaches from midpoint to midpoint between the
// frequencies of neighbouring semitones; a bin inside counts whole, one exactly on an edge belongs
// to no cell. The cells do not overlap, so that what would be a product with a matrix of zeros and
// ones for the most part is a sum over a run of bins per semitone. One thread at a time.
class SemitoneBank {
public:
    // Cells from the semitone of the first bin to that of the last, for bins at the given
    // frequencies in Hz, in ascending order. No cells where these have no semitones: without bins,
    // at 0 Hz and below, and for frequencies that are not finite. May allocate.
    void Design(const float* binsHz, UInt32 bins);

    UInt32 NumSemitones() const { return static_cast<UInt32>(mCells.size()); }
    UInt32 NumBins() const { return mNumBins; }
    // The semitone number of cell j.
    float Semitone(UInt32 j) const { return mLowestSemitone + static_cast<float>(j); }

    // out[j] is the sum of the magnitudes in cell j, 0 for a semitone narrower than a bin that none
    // falls into. Bins outside of a cell count with a weight of 0: a magnitude that is infinite or
    // no number makes every cell NaN but its own.
    void Apply(const float* magnitudes, float* out) const;

    // The weights as a matrix: that of cell j and bin i at dense[j * NumBins() + i].
    void FillDense(float* dense) const;

private:
    struct Cell {
        UInt32 mFirstBin;
        UInt32 mNumBins;
    };

    bool AreOthersFinite(const float* magnitudes) const; // those of mOutside
    bool IsFiniteOutside(const Cell& cell, const float* magnitudes) const;

    std::vector<Cell> mCells;
    std::vector<UInt32> mOutside; // bins of no cell: on an edge, or beyond all cells
    float mLowestSemitone = 0.0f;
    UInt32 mNumBins = 0;
};

} // namespace qel::core
