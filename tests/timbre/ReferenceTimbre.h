// Magnitudes, cepstral coefficients, cepstra and instantaneous frequencies once more, written
// plainly from their definitions alone and in double precision. Tests hold the library to them.
//
// Every value comes with a bound of what single precision can move it by. The bounds follow from
// one assumption, which stands at SpectrumOf.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::test {

// A value and how far from it a single-precision computation may come out.
struct Bounded {
    double value = 0.0;
    double error = 0.0;
};

// The unit roundoff of single precision.
inline constexpr double kRoundoff = 1.0 / 16777216.0;

// The bins below half the rate, each twice the plain transform. Bin 0 holds two real numbers, that
// at 0 Hz and that at half the rate, as real and imaginary part.
struct ReferenceSpectrum {
    std::vector<std::complex<double>> bins;
    double error = 0.0; // of every real and imaginary part

    std::vector<Bounded> Magnitudes() const;
};

std::vector<double> ReferenceSineWindow(std::size_t size);
std::vector<double> ReferenceHannWindow(std::size_t size); // no zero at either end

// The transform of the product, whose length is a power of two.
ReferenceSpectrum SpectrumOf(std::span<const double> samples, std::span<const double> window);

// The frame of so many samples that begins there.
std::vector<double> FrameAt(std::span<const float> samples, std::size_t first, std::size_t size);

// Thirteen triangles on the linear frequency axis from 133.3 Hz to 1070.9 Hz, and what becomes of
// the logarithms of their outputs.
class ReferenceMFCC {
public:
    static constexpr std::size_t kCoefficients = 13;
    static constexpr std::size_t kBands = 40; // of the table: bands without a filter are 0

    ReferenceMFCC(double rateHz, std::size_t frameSize);

    // The base-10 logarithms of the filters' outputs, at least -10.
    std::vector<Bounded> LogEnergies(const std::vector<Bounded>& magnitudes) const;
    // The vector before it is brought to length 1, and after.
    static std::vector<Bounded> Products(const std::vector<Bounded>& logs);
    static std::vector<Bounded> Coefficients(const std::vector<Bounded>& logs);

private:
    struct Filter {
        double height;
        std::vector<double> weights; // one per bin
    };
    std::vector<Filter> mFilters;
};

// The magnitudes of the transform of the logarithms of the magnitudes of a frame.
std::vector<Bounded> ReferenceCepstrum(std::span<const double> frame);

// In Hz, one per bin. A bin whose magnitude rounding could have made has an infinite error.
std::vector<Bounded> ReferenceFrequencies(std::span<const double> frame, double rateHz);

} // namespace qel::test
