#include "tests/timbre/ReferenceTimbre.h"

#include "tests/harness/DoubleTransform.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace qel::test {
namespace {

constexpr double kPi = std::numbers::pi;

// What the logarithm of a value can be off by.
double LogError(const Bounded& of) {
    constexpr double kLogRounding = 4.0 * kRoundoff; // relative, of a single-precision logarithm
    if (of.error >= 0.5 * of.value) {
        return std::numeric_limits<double>::infinity();
    }
    return of.error / (of.value - of.error) + kLogRounding * std::abs(std::log(of.value));
}

// The table of cosines: the bands are its rows and the coefficients its columns.
std::vector<double> CosineTable() {
    constexpr std::size_t kColumns = ReferenceMFCC::kCoefficients;
    constexpr std::size_t kRows = ReferenceMFCC::kBands;
    const auto angle = static_cast<double>(static_cast<float>(kPi / double{kRows}));
    const double scale = 1.0 / std::sqrt(20.0);
    std::vector<double> table(kRows * kColumns);
    for (std::size_t i = 0; i < kRows; ++i) {
        for (std::size_t j = 0; j < kColumns; ++j) {
            const double turn = static_cast<double>(j) * (static_cast<double>(i) + 0.5);
            table[kColumns * i + j] =
                std::cos(angle * turn) * scale * (j == 0 ? std::sqrt(0.5) : 1.0);
        }
    }
    return table;
}

} // namespace

std::vector<Bounded> ReferenceSpectrum::Magnitudes() const {
    std::vector<Bounded> magnitudes;
    for (const std::complex<double>& bin : bins) {
        const double value = std::abs(bin);
        magnitudes.push_back({value, std::numbers::sqrt2 * error + 3.0 * kRoundoff * value});
    }
    return magnitudes;
}

std::vector<double> ReferenceSineWindow(std::size_t size) {
    std::vector<double> window(size);
    for (std::size_t i = 0; i < size; ++i) {
        window[i] = std::sin(static_cast<double>(i) * kPi / static_cast<double>(size - 1));
    }
    return window;
}

std::vector<double> ReferenceHannWindow(std::size_t size) {
    std::vector<double> window(size);
    for (std::size_t i = 0; i < size; ++i) {
        const double share = static_cast<double>(i + 1) / static_cast<double>(size + 1);
        window[i] = 0.5 * (1.0 - std::cos(2.0 * kPi * share));
    }
    return window;
}

// A transform of 2^s samples rounds s times, so that its error is some s roundoffs of the root mean
// square of all bins, spread over them; and some roundoffs of the greatest may land in few of them.
// Four times each is the bound.
ReferenceSpectrum SpectrumOf(std::span<const double> samples, std::span<const double> window) {
    std::vector<testing::Number> x(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        x[i] = samples[i] * window[i];
    }
    testing::Transform(x);
    ReferenceSpectrum spectrum;
    const std::size_t binCount = samples.size() / 2;
    spectrum.bins.emplace_back(2.0 * x[0].real(), 2.0 * x[binCount].real());
    for (std::size_t k = 1; k < binCount; ++k) {
        spectrum.bins.push_back(2.0 * x[k]);
    }
    double sumOfSquares = 0.0;
    double greatest = 0.0;
    for (const std::complex<double>& bin : spectrum.bins) {
        sumOfSquares += std::norm(bin);
        greatest = std::max(greatest, std::abs(bin));
    }
    const double rms = std::sqrt(sumOfSquares / static_cast<double>(binCount));
    const double steps = std::log2(static_cast<double>(samples.size()));
    spectrum.error = 4.0 * kRoundoff * (steps * rms + greatest);
    return spectrum;
}

std::vector<double> FrameAt(std::span<const float> samples, std::size_t first, std::size_t size) {
    const std::span<const float> frame = samples.subspan(first, size);
    return {frame.begin(), frame.end()};
}

ReferenceMFCC::ReferenceMFCC(double rateHz, std::size_t frameSize) {
    constexpr double kLowestHz = 133.3332977294922;
    constexpr double kLinearHz = 66.66666412353516;
    constexpr double kRatio = 1.0711703300476074;
    std::array<double, kCoefficients + 2> edges{};
    for (std::size_t i = 0; i < edges.size(); ++i) {
        edges[i] = i < kCoefficients ? kLowestHz + static_cast<double>(i) * kLinearHz
                                     : edges[i - 1] * kRatio;
    }
    for (std::size_t b = 0; b < kCoefficients; ++b) {
        const double lower = edges[b];
        const double centre = edges[b + 1];
        const double upper = edges[b + 2];
        Filter filter{2.0 / (upper - lower), std::vector<double>(frameSize / 2)};
        for (std::size_t j = 0; j < filter.weights.size(); ++j) {
            const double hz = static_cast<double>(j) * rateHz / static_cast<double>(frameSize);
            const double slope =
                hz <= centre ? (hz - lower) / (centre - lower) : (upper - hz) / (upper - centre);
            filter.weights[j] = filter.height * std::max(slope, 0.0);
        }
        mFilters.push_back(std::move(filter));
    }
}

// An edge near 1000 Hz and a bin's frequency are each rounded by up to 6e-5 Hz, which is 2e-6 of
// half a triangle's width, and so of its height.
std::vector<Bounded> ReferenceMFCC::LogEnergies(const std::vector<Bounded>& magnitudes) const {
    constexpr double kWeightError = 4e-6;
    constexpr double kFloor = 1e-10;
    std::vector<Bounded> logs;
    for (const Filter& filter : mFilters) {
        Bounded sum;
        for (std::size_t j = 0; j < magnitudes.size(); ++j) {
            const double weight = filter.weights[j];
            if (weight > 0.0) {
                sum.value += weight * magnitudes[j].value;
                sum.error += weight * magnitudes[j].error +
                             kWeightError * filter.height * magnitudes[j].value;
            }
        }
        sum.value = std::max(sum.value, kFloor);
        logs.push_back({std::log10(sum.value), LogError(sum) / std::numbers::ln10});
    }
    return logs;
}

// The table is read in rows of 40, as if the coefficients were its rows, and only the first 13
// entries of a row meet a logarithm.
std::vector<Bounded> ReferenceMFCC::Products(const std::vector<Bounded>& logs) {
    const std::vector<double> table = CosineTable();
    std::vector<Bounded> products(kCoefficients);
    for (std::size_t m = 0; m < kCoefficients; ++m) {
        for (std::size_t p = 0; p < logs.size(); ++p) {
            const double weight = table[kBands * m + p];
            products[m].value += weight * logs[p].value;
            // One rounding of the entry, one of the product and up to 13 of the sum.
            products[m].error +=
                std::abs(weight) * (logs[p].error + 15.0 * kRoundoff * std::abs(logs[p].value));
        }
    }
    return products;
}

std::vector<Bounded> ReferenceMFCC::Coefficients(const std::vector<Bounded>& logs) {
    std::vector<Bounded> products = Products(logs);
    Bounded length;
    for (const Bounded& product : products) {
        length.value += product.value * product.value;
        length.error += product.error * product.error;
    }
    length = {std::sqrt(length.value), std::sqrt(length.error)};
    for (Bounded& product : products) {
        const double value = product.value / length.value;
        product.error = (product.error + std::abs(value) * length.error) / length.value +
                        10.0 * kRoundoff * std::abs(value);
        product.value = value;
    }
    return products;
}

std::vector<Bounded> ReferenceCepstrum(std::span<const double> frame) {
    const auto floor = static_cast<double>(0.001f);
    std::vector<double> logs;
    double worst = 0.0; // the sum of what all logarithms under the window are off by
    const std::size_t count = frame.size() / 2;
    const std::vector<double> window = ReferenceSineWindow(count);
    for (Bounded magnitude : SpectrumOf(frame, ReferenceSineWindow(frame.size())).Magnitudes()) {
        const double lowest = std::log(std::max(magnitude.value - magnitude.error, floor));
        const double highest = std::log(std::max(magnitude.value + magnitude.error, floor));
        const double value = std::log(std::max(magnitude.value, floor));
        worst += window[logs.size()] *
                 (std::max(highest - value, value - lowest) + 4.0 * kRoundoff * std::abs(value));
        logs.push_back(value);
    }
    const ReferenceSpectrum spectrum = SpectrumOf(logs, window);
    std::vector<Bounded> cepstrum = spectrum.Magnitudes();
    for (std::size_t q = 0; q < cepstrum.size(); ++q) {
        // Twice the transform; and in the first both parts may be off by as much.
        cepstrum[q].error += (q == 0 ? 2.0 * std::numbers::sqrt2 : 2.0) * worst;
    }
    return cepstrum;
}

// Both transforms are of frames whose halves change places. That turns every other bin of both by
// half a turn, and leaves their quotients alone.
std::vector<Bounded> ReferenceFrequencies(std::span<const double> frame, double rateHz) {
    const std::size_t size = frame.size();
    const double seconds = static_cast<double>(size) / rateHz;
    std::vector<double> derivative(size);
    for (std::size_t i = 0; i < size; ++i) {
        const double share = static_cast<double>(i) / static_cast<double>(size);
        derivative[i] = -kPi / seconds * std::sin(2.0 * kPi * share);
    }
    const ReferenceSpectrum w = SpectrumOf(frame, ReferenceHannWindow(size));
    const ReferenceSpectrum d = SpectrumOf(frame, derivative);
    std::vector<Bounded> frequencies;
    for (std::size_t k = 0; k < size / 2; ++k) {
        const double magnitude = std::abs(w.bins[k]);
        const double centre = 2.0 * kPi * static_cast<double>(k) / seconds;
        const double quotient = std::abs(d.bins[k]) / magnitude;
        const double offset = (std::conj(w.bins[k]) * d.bins[k]).imag() / (magnitude * magnitude);
        double error = std::numeric_limits<double>::infinity();
        if (magnitude > 8.0 * w.error) {
            // Off by both spectra, the divisor being off by as much again; and by the roundings of
            // products that are as large as the greater of centre and quotient.
            error = 2.0 * (d.error + quotient * w.error) / magnitude +
                    8.0 * kRoundoff * (centre + quotient);
        }
        frequencies.push_back({(centre + offset) / (2.0 * kPi), error / (2.0 * kPi)});
    }
    return frequencies;
}

} // namespace qel::test
