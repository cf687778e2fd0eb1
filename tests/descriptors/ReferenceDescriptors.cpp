#include "tests/descriptors/ReferenceDescriptors.h"

#include "tests/harness/DoubleTransform.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

namespace qel::test {
namespace {

constexpr double kBins = static_cast<double>(kNumBins);

// Root mean square of all magnitudes: what the rounding of a transform is proportional to.
double RmsOf(const std::vector<double>& magnitudes) {
    const double squares =
        std::inner_product(magnitudes.begin(), magnitudes.end(), magnitudes.begin(), 0.0);
    return std::sqrt(squares / static_cast<double>(magnitudes.size()));
}

double Sum(const std::vector<double>& values) {
    return std::accumulate(values.begin(), values.end(), 0.0);
}

double Ratio(double numerator, double denominator) {
    return denominator == 0.0 ? 0.0 : numerator / denominator;
}

std::vector<double> Frequencies(double rateHz) {
    std::vector<double> frequencies(kNumBins);
    for (std::size_t k = 0; k < kNumBins; ++k) {
        frequencies[k] = static_cast<double>(k) * rateHz / static_cast<double>(kFrameSize);
    }
    return frequencies;
}

// The frequency at which the running energy passes the threshold.
double RolloffAt(const std::vector<double>& m, const std::vector<double>& f, double threshold) {
    double running = 0.0;
    std::size_t k = 0;
    while (threshold >= running && k < kNumBins) {
        running += m[k] * m[k];
        ++k;
    }
    return f[k - 1];
}

// A threshold within rounding of a running sum can give the neighbour bin: the slack reaches it.
Figure Rolloff(const std::vector<double>& m, const std::vector<double>& f, double energy) {
    constexpr double kRounding = 1e-6;
    const double threshold = 0.85 * energy;
    Figure figure = PlainFigure(RolloffAt(m, f, threshold));
    figure.slack = RolloffAt(m, f, threshold * (1.0 + kRounding)) -
                   RolloffAt(m, f, threshold * (1.0 - kRounding));
    return figure;
}

Figure Slope(const std::vector<double>& m, const std::vector<double>& f) {
    // The sum of all frequencies divided by one less than their number: meant so.
    const double mean = Sum(f) / (kBins - 1.0);
    double numerator = 0.0;
    double terms = 0.0;
    double denominator = 0.0;
    for (std::size_t k = 0; k < kNumBins; ++k) {
        const double e = f[k] - mean;
        numerator += m[k] * e;
        terms += std::abs(m[k] * e);
        denominator += e * e;
    }
    return {Ratio(numerator, denominator), Ratio(terms, denominator)};
}

// 10 log10(e) units per relative error, whatever the level: near 0 dB the scale must not vanish.
Figure Decibels(double factor, double energyPerBin) {
    const double value = factor * std::log10(0.0001 + energyPerBin);
    return {value, std::abs(value) + factor / std::numbers::ln10};
}

Figure MaximumFrequency(const std::vector<double>& m, const std::vector<double>& f) {
    const auto greatest = std::max_element(m.begin(), m.end());
    Figure figure = PlainFigure(f[static_cast<std::size_t>(greatest - m.begin())]);
    constexpr double kRounding = 1e-6;
    for (std::size_t k = 0; k < kNumBins; ++k) {
        if (*greatest > 0.0 && m[k] >= *greatest * (1.0 - kRounding)) {
            figure.slack = std::max(figure.slack, std::abs(f[k] - figure.value));
        }
    }
    return figure;
}

} // namespace

Figure PlainFigure(double value) {
    return {value, std::abs(value)};
}

const std::array<double, kFrameSize>& Window() {
    static const std::array<double, kFrameSize> window = [] {
        std::array<double, kFrameSize> w{};
        for (std::size_t i = 0; i < kFrameSize; ++i) {
            const double turn = static_cast<double>(i + 1) / static_cast<double>(kFrameSize + 1);
            w[i] = static_cast<float>(0.5 * (1.0 - std::cos(2.0 * std::numbers::pi * turn)));
        }
        return w;
    }();
    return window;
}

std::size_t NumFrames(std::size_t samples) {
    return samples < kFrameSize ? 0 : (samples - kFrameSize) / kHopSize + 1;
}

Spectrum PackedSpectrum(std::span<const float> samples, std::size_t frame) {
    std::vector<std::complex<double>> x(kFrameSize);
    for (std::size_t i = 0; i < kFrameSize; ++i) {
        x[i] = static_cast<double>(samples[frame * kHopSize + i]) * Window()[i];
    }
    testing::Transform(x);
    Spectrum packed(kNumBins);
    packed[0] = {2.0 * x[0].real(), 2.0 * x[kNumBins].real()};
    for (std::size_t k = 1; k < kNumBins; ++k) {
        packed[k] = 2.0 * x[k];
    }
    return packed;
}

std::vector<double> Magnitudes(const Spectrum& spectrum) {
    std::vector<double> magnitudes(spectrum.size());
    std::transform(spectrum.begin(), spectrum.end(), magnitudes.begin(),
                   [](const std::complex<double>& value) { return std::sqrt(std::norm(value)); });
    return magnitudes;
}

std::vector<double> SingleMagnitudes(const std::vector<float>& pairs) {
    std::vector<double> magnitudes(pairs.size() / 2);
    for (std::size_t k = 0; k < magnitudes.size(); ++k) {
        const double re = pairs[2 * k];
        const double im = pairs[2 * k + 1];
        magnitudes[k] = static_cast<float>(std::sqrt(re * re + im * im));
    }
    return magnitudes;
}

double ZeroCrossingRate(std::span<const float> block) {
    std::size_t crossings = 0;
    for (std::size_t i = 1; i < block.size(); ++i) {
        crossings += (block[i - 1] < 0.0f) != (block[i] < 0.0f) ? 1 : 0;
    }
    return static_cast<double>(crossings) / static_cast<double>(block.size());
}

double Rms(std::span<const float> block) {
    double squares = 0.0;
    for (const float sample : block) {
        squares += static_cast<double>(sample) * static_cast<double>(sample);
    }
    return block.empty() ? 0.0 : std::sqrt(squares / static_cast<double>(block.size()));
}

float EnvelopeFilter::Step(float input) {
    constexpr std::array<float, 4> a = {1.0f, -2.926084280014038f, 2.854875326156616f,
                                        -0.9287422299385071f};
    constexpr std::array<float, 4> b = {6.084133929107338e-06f, 1.8252401787322015e-05f,
                                        1.8252401787322015e-05f, 6.084133929107338e-06f};
    const float y = mState[0] + b[0] * input;
    mState[0] = (b[1] * input + mState[1]) - y * a[1];
    mState[1] = (b[2] * input + mState[2]) - y * a[2];
    mState[2] = b[3] * input - y * a[3];
    return y;
}

std::array<Figure, 16> GenericProperties(const std::vector<double>& m, double rateHz) {
    const std::vector<double> f = Frequencies(rateHz);
    const double sum = Sum(m);
    const double mean = sum / kBins;
    double spread = 0.0;
    double logs = 0.0;
    double energy = 0.0;
    double moment = 0.0;
    double energyMoment = 0.0;
    double lowEnergy = 0.0;
    double bright = 0.0;
    for (std::size_t k = 0; k < kNumBins; ++k) {
        const double ordinal = static_cast<double>(k);
        spread += (m[k] - mean) * (m[k] - mean);
        logs += std::log(m[k]);
        energy += m[k] * m[k];
        moment += ordinal * m[k];
        energyMoment += ordinal * m[k] * m[k];
        lowEnergy += f[k] <= 100.0 ? m[k] * m[k] : 0.0;
        bright += f[k] > 1500.0 ? m[k] : 0.0;
    }
    const double geometricMean = std::exp(logs / kBins);
    const double greatest = *std::max_element(m.begin(), m.end());
    return {
        PlainFigure(mean),
        PlainFigure(spread / kBins), // the variance, without a root
        PlainFigure(geometricMean),
        PlainFigure(energy),
        Decibels(20.0, energy / kBins),
        Decibels(10.0, energy / kBins),
        PlainFigure(Ratio(moment, sum)),
        PlainFigure(Ratio(geometricMean, mean)),
        MaximumFrequency(m, f),
        PlainFigure(Ratio(lowEnergy, energy)),
        Rolloff(m, f, energy),
        Slope(m, f),
        PlainFigure(energyMoment),
        PlainFigure(moment),
        PlainFigure(Ratio(greatest, std::sqrt(energy / kBins))),
        PlainFigure(Ratio(bright, sum)),
    };
}

std::array<Figure, 2> MomentsOfCounts(const std::array<double, 40>& counts) {
    const double mean = std::accumulate(counts.begin(), counts.end(), 0.0) / 40.0;
    double s2 = 0.0;
    double s3 = 0.0;
    double s3Terms = 0.0;
    double s4 = 0.0;
    for (const double count : counts) {
        const double e = count - mean;
        s2 += e * e;
        s3 += e * e * e;
        s3Terms += std::abs(e * e * e);
        s4 += e * e * e * e;
    }
    const double d = std::pow(s2, 1.5);
    return {PlainFigure(Ratio(s4, s2 * s2)), Figure{Ratio(s3, d), Ratio(s3Terms, d)}};
}

HistogramFigures HistogramProperties(const std::vector<double>& m) {
    constexpr double kRounding = 5e-5; // of a histogram bin; positions reach 40 in single precision
    const auto [least, greatest] = std::minmax_element(m.begin(), m.end());
    // The added 1 belongs to the definition, whatever the scale of the magnitudes.
    const double width = (*greatest - *least + 1.0) / 40.0;
    std::array<double, 40> counts{};
    bool ambiguous = false;
    for (const double value : m) {
        const double position = (value - *least) / width;
        const double nearestEdge = std::round(position);
        ambiguous = ambiguous || (nearestEdge >= 1.0 && nearestEdge < 40.0 &&
                                  std::abs(position - nearestEdge) < kRounding);
        counts[std::min<std::size_t>(static_cast<std::size_t>(position), 39)] += 1.0;
    }
    return {MomentsOfCounts(counts), ambiguous};
}

namespace {

// Peaks packed by their number, zeros after them, as the definitions read them.
struct Peaks {
    std::vector<double> p = std::vector<double>(kNumBins, 0.0);
    std::vector<std::size_t> bin;
    bool ambiguous = false;
};

Peaks FindPeaks(const std::vector<double>& m) {
    constexpr double kRounding = 4e-7; // the square root and two products, single precision
    Peaks peaks;
    for (std::size_t i = 1; i + 1 < m.size(); ++i) {
        if (m[i] > m[i - 1] && m[i] > m[i + 1] && m[i] > 0.0) {
            peaks.p[peaks.bin.size()] = m[i];
            peaks.bin.push_back(i);
        }
        const double difference = std::abs(m[i] - m[i - 1]);
        const bool near = m[i] > 0.0 && difference <= kRounding * m[i];
        peaks.ambiguous = peaks.ambiguous || near;
    }
    return peaks;
}

// The table of bins indexes the array packed by peak number: meant so. Most reads find the zeros.
Figure HarmonicDeviation(const Peaks& peaks) {
    const std::size_t n = peaks.bin.size();
    const auto throughBin = [&](std::size_t i) { return peaks.p[peaks.bin[i]]; };
    double total = 0.0;
    double deviation = 0.0;
    double terms = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const double c = throughBin(i);
        const double l = i > 0 ? throughBin(i - 1) : 0.0;
        const double r = i + 1 < n ? throughBin(i + 1) : 0.0;
        total += c;
        deviation += peaks.p[i] - (l + c + r) / 3.0;
        terms += peaks.p[i] + (l + c + r) / 3.0;
    }
    return {Ratio(deviation, total), Ratio(terms, total)};
}

// The same double index. The amplitude multiplies the first exponential alone: meant so.
Figure Dissonance(const Peaks& peaks, double rateHz) {
    const std::size_t n = peaks.bin.size();
    const double hzPerBin = rateHz / static_cast<double>(kFrameSize);
    double sum = 0.0;
    double terms = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const double fi = static_cast<double>(peaks.bin[i]) * hzPerBin;
        const double s = 0.24 / (0.0207 * fi + 18.96);
        for (std::size_t j = i + 1; j < n; ++j) {
            const double dj = static_cast<double>(peaks.bin[j]) * hzPerBin - fi;
            const double a = std::min(peaks.p[peaks.bin[i]], peaks.p[peaks.bin[j]]);
            const double rise = a * 5.0 * std::exp(-3.51 * s * dj);
            const double fall = 5.0 * std::exp(-5.75 * s * dj);
            sum += rise - fall;
            terms += rise + fall;
        }
    }
    return {sum, terms};
}

// Neighbours of nearly one height leave little of a difference but the rounding of both.
Figure Regularity(const Peaks& peaks, double sum) {
    constexpr double kRounding = 2e-7;
    Figure figure;
    for (std::size_t i = 0; i + 1 < peaks.bin.size(); ++i) {
        const double step = std::abs(peaks.p[i] - peaks.p[i + 1]);
        const double e = kRounding * (peaks.p[i] + peaks.p[i + 1]);
        figure.value += step * step / sum;
        figure.slack += (2.0 * step * e + e * e) / sum;
    }
    figure.scale = figure.value;
    return figure;
}

} // namespace

PeakFigures PeakProperties(const std::vector<double>& m, double rateHz,
                           const std::array<Figure, 8>& previous) {
    const Peaks peaks = FindPeaks(m);
    const std::vector<double>& p = peaks.p;
    const std::size_t n = peaks.bin.size();
    const double sum = Sum(p);
    double ordinalMoment = 0.0;
    double upper = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        ordinalMoment += static_cast<double>(i) * p[i];
        upper += i >= 4 ? p[i] : 0.0;
    }
    std::array<Figure, 8> figures = previous;
    figures[0] = n == 0 ? Figure{std::numeric_limits<double>::quiet_NaN()}
                        : PlainFigure(sum / static_cast<double>(n));
    figures[1] = PlainFigure(Ratio(ordinalMoment, sum));
    figures[3] = PlainFigure(Ratio(p[0] * p[0], sum));
    figures[6] = Dissonance(peaks, rateHz);
    if (n > 0) {
        figures[2] = HarmonicDeviation(peaks);
        figures[7] = Regularity(peaks, sum);
    }
    if (n >= 5) {
        figures[4] = PlainFigure(Ratio(p[1] * p[1] + p[2] * p[2] + p[3] * p[3], sum));
        figures[5] = PlainFigure(Ratio(upper, sum));
    }
    return {figures, n, peaks.ambiguous};
}

std::array<Figure, 2> FluxProperties(const std::vector<double>& m, const std::vector<double>& q) {
    // Each magnitude carries the rounding of the transform, in proportion to the frame's RMS, and
    // of its own root. The root of a difference near 0 magnifies it: counted bin by bin.
    constexpr double kRounding = 5e-7;
    const double floorOfM = RmsOf(m);
    const double floorOfQ = RmsOf(q);
    Figure difference;
    for (std::size_t k = 1; k < kNumBins; ++k) {
        const double d = std::abs(m[k] * m[k] - q[k] * q[k]);
        const double e = 2.0 * kRounding * (m[k] * (m[k] + floorOfM) + q[k] * (q[k] + floorOfQ));
        difference.value += std::sqrt(d);
        if (e > 0.0) {
            difference.slack += e / std::sqrt(std::max(d, e));
        }
    }
    difference.scale = difference.value;
    const double rise = Sum(m) - Sum(q);
    return {difference, Figure{std::max(rise, 0.0), Sum(m) + Sum(q)}};
}

} // namespace qel::test
