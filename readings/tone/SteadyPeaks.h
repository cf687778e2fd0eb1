#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// The peaks of a magnitude spectrum from 65 to 2000 Hz, with their places between bins, and how
// much each tells about pitch. A tone has its peak at the same place in the next frame; the peaks
// of noise and strokes move, and count little.
class SteadyPeaks {
public:
    struct Peak {
        double hz;
        float weight; // the root of the magnitude, less where the peak is not steady
    };

    // Bin k lies at k * binHz.
    explicit SteadyPeaks(double binHz);

    // Of the next frame; valid until the next call.
    std::span<const Peak> find(std::span<const float> magnitudes);
    void reset();

private:
    bool isSteady(std::size_t bin, double place) const;

    const double mBinHz;
    std::vector<Peak> mPeaks;
    std::vector<double> mBefore; // the place of each bin's peak in the frame before, in bins
    std::vector<double> mHere;
};

} // namespace qel::readings
