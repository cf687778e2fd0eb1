#pragma once

#include <QelReadings.hpp>

#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {

// Mel-frequency cepstral coefficients from plain magnitude spectra, as librosa defines them: a bank
// of triangular filters of equal area (Slaney, Auditory Toolbox, 1998), decibels, and an
// orthonormal discrete cosine transform (Davis and Mermelstein, IEEE Trans. Acoustics, Speech, and
// Signal Processing 28(4), 1980).
//
// Keeps 4 bytes per band and frame, as the limit of `top_db` counts from the loudest band of the
// whole stream.
class MelCepstrum {
public:
    // Spectra of `bins` bins, bin k at k * binHz. Raises std::invalid_argument for settings out of
    // range.
    MelCepstrum(const TimbreSettings& settings, std::size_t bins, double binHz);

    // `magnitudes` times `scale` are those of the discrete Fourier transform; `bins` of them.
    void add(std::span<const float> magnitudes, float scale);
    Timbre finish(double frameSeconds, double hopSeconds) const;
    void reset() { mDecibels.clear(); }

private:
    // Its weights stand in mWeights from `firstWeight` on: `count` of them, a multiple of the
    // lanes.
    struct Filter {
        std::size_t firstBin;
        std::size_t firstWeight;
        std::size_t count;
    };

    void makeFilters(std::size_t bins, double binHz);
    Filter makeFilter(double left, double top, double right, std::size_t bins, double binHz);
    void makeCosines();

    const TimbreSettings mSettings;
    std::vector<Filter> mFilters;
    std::vector<float> mWeights;
    std::vector<double> mPowers; // of the bins, and zeros up to the last weight
    std::size_t mUsedBins = 0;   // those that a filter reaches
    std::vector<float> mCosines; // band by coefficient, with the lifter
    std::vector<float> mDecibels;
};

} // namespace qel::readings
