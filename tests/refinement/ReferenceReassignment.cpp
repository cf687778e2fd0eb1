#include "tests/refinement/ReferenceReassignment.h"

#include "tests/harness/DoubleTransform.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace qel::test {
namespace {

using Complex = std::complex<double>;

constexpr std::size_t kFrame = ReferenceReassignment::kFrame;
constexpr std::size_t kBins = ReferenceReassignment::kBins;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

double Stored(double value) {
    return static_cast<double>(static_cast<float>(value));
}

// A packed spectrum without its doubling, without the value at half the rate and without the
// imaginary part of the topmost bin.
void Fix(std::vector<Complex>& bins) {
    for (Complex& bin : bins) {
        bin /= 2.0;
    }
    bins.front() = bins.front().real();
    bins.back() = bins.back().real();
}

ReferenceSpectrum FixedSpectrumOf(std::span<const double> samples, std::span<const double> window) {
    ReferenceSpectrum spectrum = SpectrumOf(samples, window);
    Fix(spectrum.bins);
    spectrum.error /= 2.0;
    return spectrum;
}

// Half a sample off the whole numbers, so that the middle of the window is at 0.
double TimeRamp(std::size_t i) {
    return static_cast<double>(i) - static_cast<double>(kBins) + 0.5;
}

// In the order of the transform, and half a bin too high.
double FrequencyRamp(std::size_t i) {
    return i < kBins ? static_cast<double>(i) + 0.5
                     : static_cast<double>(i - kBins) - static_cast<double>(kBins) + 0.5;
}

// Required by the contract: the upper half of the spectrum repeats the lower half without
// conjugation.
std::vector<double> MakeDerivativeWindow(const std::vector<double>& window) {
    const std::vector<double> ones(kFrame, 1.0);
    const std::vector<Complex> half = FixedSpectrumOf(window, ones).bins;
    std::vector<testing::Number> full(kFrame);
    for (std::size_t i = 0; i < kBins; ++i) {
        full[i] = half[i];
    }
    for (std::size_t i = 1; i < kBins; ++i) {
        full[kFrame - i] = half[i];
    }
    // The inverse transform is the conjugate of the transform of the conjugate.
    for (std::size_t i = 0; i < kFrame; ++i) {
        full[i] = std::conj(full[i] * FrequencyRamp(i));
    }
    testing::Transform(full);
    std::vector<double> derivative(kFrame);
    for (std::size_t i = 0; i < kFrame; ++i) {
        const double imaginary = -full[i].imag() / static_cast<double>(kFrame);
        derivative[i] = Stored(-imaginary);
    }
    return derivative;
}

// What the library's derivative window may be off by, as a root mean square over its samples. A
// transform of single precision gives each bin of the window's spectrum an error of sqrt(9)
// roundoffs of the root mean square of all bins, which is sqrt(256^2 + 128^2 + ...) / 16 = 18. The
// frequency ramp multiplies that by 148 in the root mean square, and the inverse transform divides
// it by the root of its length.
constexpr double kWindowNoise = 3.0 * kRoundoff * 18.0 * 148.0 / 22.6;
// That noise is white, so that a frame takes from it its root sum of squares, in the root mean
// square. Four times as much is the bound.
constexpr double kNoiseSpread = 4.0;

// The quotient of two bins, real and imaginary part, and what each may be off by.
struct Quotient {
    Complex value;
    double error;
};

Quotient Divide(Complex a, double aError, Complex b, double bError) {
    const double aOff = std::numbers::sqrt2 * aError;
    const double bOff = std::numbers::sqrt2 * bError;
    const double magnitude = std::sqrt(std::norm(b)); // quicker than std::abs
    const double ratio = std::sqrt(std::norm(a)) / magnitude;
    // Beside what the spectra are off by: two products and their sum, the square of the divisor,
    // its reciprocal and the product with that.
    constexpr double kRoundings = 8.0;
    const double error = magnitude > 2.0 * bOff ? (aOff + ratio * bOff) / (magnitude - bOff) +
                                                      kRoundings * kRoundoff * ratio
                                                : kInfinity;
    return {a * std::conj(b) / (magnitude * magnitude), error};
}

// Which whole numbers a value may be rounded to, brought into 1 .. count.
CellRange Round(const Bounded& value, std::size_t count) {
    if (std::isnan(value.value)) {
        return {0, 0};
    }
    const auto top = static_cast<double>(count);
    if (!std::isfinite(value.error)) {
        return {0, count - 1};
    }
    const double lowest = std::clamp(std::nearbyint(value.value - value.error), 1.0, top);
    const double highest = std::clamp(std::nearbyint(value.value + value.error), 1.0, top);
    return {static_cast<std::size_t>(lowest) - 1, static_cast<std::size_t>(highest) - 1};
}

} // namespace

ReferenceReassignment::ReferenceReassignment()
    : mWindow(ReferenceHannWindow(kFrame)), mTimeRampWindow(kFrame) {
    for (std::size_t i = 0; i < kFrame; ++i) {
        mWindow[i] = Stored(mWindow[i]);
        mTimeRampWindow[i] = Stored(TimeRamp(i) * mWindow[i]);
    }
    mDerivativeWindow = MakeDerivativeWindow(mWindow);
}

ReassignedFrame ReferenceReassignment::Frame(std::span<const double> samples,
                                             std::size_t number) const {
    const ReferenceSpectrum plain = FixedSpectrumOf(samples, mWindow);
    const ReferenceSpectrum ramp = FixedSpectrumOf(samples, mTimeRampWindow);
    ReferenceSpectrum derivative = FixedSpectrumOf(samples, mDerivativeWindow);
    double energy = 0.0;
    for (const double sample : samples) {
        energy += sample * sample;
    }
    derivative.error += kNoiseSpread * kWindowNoise * std::sqrt(energy);

    const auto count = static_cast<double>(number);
    ReassignedFrame values(kBins);
    for (std::size_t k = 0; k < kBins; ++k) {
        const auto from = static_cast<double>(k + 1);
        const Quotient d = Divide(derivative.bins[k], derivative.error, plain.bins[k], plain.error);
        const Quotient t = Divide(ramp.bins[k], ramp.error, plain.bins[k], plain.error);
        const double bin = from - d.value.imag();
        const double delay = t.value.real() / double{kFrame};
        const double frame = count + delay;
        values[k].value = plain.bins[k];
        values[k].error = plain.error;
        values[k].bin = {bin, d.error + kRoundoff * std::abs(bin)};
        values[k].frame = {frame, (t.error + kRoundoff * std::abs(delay)) / double{kFrame} +
                                      kRoundoff * std::abs(frame)};
        // Both real numbers there: their quotient has no imaginary part.
        if ((k == 0 || k == kBins - 1) && plain.bins[k] != 0.0) {
            values[k].bin = {from, 0.0};
        }
    }
    return values;
}

std::vector<ReassignedFrame> ReferenceReassignment::Frames(std::span<const float> samples) const {
    std::vector<ReassignedFrame> frames;
    for (std::size_t f = 0; f < FramesIn(samples.size()); ++f) {
        frames.push_back(Frame(FrameAt(samples, f * kHop, kFrame), f + 1));
    }
    return frames;
}

ReassignedMatrix Scatter(const std::vector<ReassignedFrame>& frames, std::size_t rows) {
    ReassignedMatrix matrix;
    matrix.certain.resize(rows * kBins);
    matrix.error.resize(matrix.certain.size());
    std::vector<double> largest(matrix.certain.size()); // the sum of the magnitudes in a cell
    std::vector<double> landed(matrix.certain.size());  // and how many
    for (const ReassignedFrame& frame : frames) {
        for (const ReassignedValue& value : frame) {
            const UncertainValue cells = {value.value, value.error, Round(value.bin, kBins),
                                          Round(value.frame, rows)};
            ++matrix.values;
            const bool isLoose = cells.Cells() > ReassignedMatrix::kMostCells;
            matrix.loose += isLoose ? 1 : 0;
            if (cells.Cells() > 1 && !isLoose) {
                matrix.uncertain.push_back(cells);
            }
            for (std::size_t row = cells.frames.first; row <= cells.frames.last; ++row) {
                for (std::size_t column = cells.bins.first; column <= cells.bins.last; ++column) {
                    const std::size_t cell = row * kBins + column;
                    largest[cell] += std::abs(value.value);
                    landed[cell] += 1.0;
                    if (isLoose) {
                        matrix.error[cell] += std::abs(value.value) + value.error;
                    } else if (cells.Cells() == 1) {
                        matrix.certain[cell] += value.value;
                        matrix.error[cell] += value.error;
                    }
                }
            }
        }
    }
    for (std::size_t cell = 0; cell < landed.size(); ++cell) {
        matrix.error[cell] += landed[cell] * kRoundoff * largest[cell];
    }
    return matrix;
}

} // namespace qel::test
