// The six descriptor keys once more, written plainly and in double precision, from their
// definitions alone: own window, own transform, own sums. Tests hold the library to it.
//
// Where the definition takes a decision in single precision (is this bin a peak, which histogram
// bin is this value in), a plain double-precision figure can fall on the other side. Two answers:
// peak and histogram figures are computed from single-precision magnitudes, made from the spectrum
// that the library itself delivers (and which is held to the transform here separately), and a
// frame whose decision is closer than rounding says so (`ambiguous`), so that a test can leave it
// out and count how many it left out.
#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::test {

inline constexpr std::size_t kFrameSize = 1024;
inline constexpr std::size_t kHopSize = 512;
inline constexpr std::size_t kNumBins = kFrameSize / 2;

// A figure and what its error is measured by: a value v agrees if
// |v - value| <= tolerance * scale + slack.
struct Figure {
    double value = 0.0;
    double scale = 0.0; // |value|, or more: the sum of the magnitudes of terms that cancel
    double slack = 0.0; // what a decision or a root close to 0 can add, in the figure's own unit
};

Figure PlainFigure(double value);

// The window: 0.5 (1 - cos(2 pi (i + 1) / (N + 1))), stored as float.
const std::array<double, kFrameSize>& Window();

// Frames whose start, a multiple of the hop, leaves room for a whole frame.
std::size_t NumFrames(std::size_t samples);

// Doubled against the plain transform; bin 0 holds DC as real and Nyquist as imaginary part.
using Spectrum = std::vector<std::complex<double>>;
Spectrum PackedSpectrum(std::span<const float> samples, std::size_t frame);

std::vector<double> Magnitudes(const Spectrum& spectrum);

// The magnitudes as single-precision values, from the floats of a "spectrum" block.
std::vector<double> SingleMagnitudes(const std::vector<float>& pairs);

// Zero crossing rate and RMS of one pushed block. A sample of exactly 0 counts as positive.
double ZeroCrossingRate(std::span<const float> block);
double Rms(std::span<const float> block);

// One step of the envelope filter for one push. Its poles lie so close to 1 that rounding shows in
// the fourth digit, hence single precision here, in the library's order of operations.
class EnvelopeFilter {
public:
    float Step(float input);

private:
    std::array<float, 3> mState{};
};

std::array<Figure, 16> GenericProperties(const std::vector<double>& magnitudes, double rateHz);

struct HistogramFigures {
    std::array<Figure, 2> figures;
    bool ambiguous;
};
HistogramFigures HistogramProperties(const std::vector<double>& magnitudes);
// The same from 40 counts.
std::array<Figure, 2> MomentsOfCounts(const std::array<double, 40>& counts);

struct PeakFigures {
    std::array<Figure, 8> figures;
    std::size_t numPeaks;
    bool ambiguous;
};
// `previous` holds the figures of the frame before: those that few peaks leave unwritten persist.
// Without peaks, the mean (index 0) is whatever the empty mean gives, here not a number.
PeakFigures PeakProperties(const std::vector<double>& magnitudes, double rateHz,
                           const std::array<Figure, 8>& previous);

// `previous` holds the magnitudes of the frame before, zeros for the first.
std::array<Figure, 2> FluxProperties(const std::vector<double>& magnitudes,
                                     const std::vector<double>& previous);

} // namespace qel::test
