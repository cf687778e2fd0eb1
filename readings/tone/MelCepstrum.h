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

    // `magnitudes` times `scale` are those of the discrete Fourier transform.
    void add(std::span<const float> magnitudes, float scale);
    Timbre finish(double frameSeconds, double hopSeconds) const;
    void reset() { mDecibels.clear(); }

private:
    struct Filter {
        std::size_t firstBin;
        std::vector<float> weights;
    };

    void makeFilters(std::size_t bins, double binHz);
    void makeCosines();

    const TimbreSettings mSettings;
    std::vector<Filter> mFilters;
    std::vector<float> mCosines; // coefficient by band, with the lifter
    std::vector<float> mDecibels;
};

} // namespace qel::readings
