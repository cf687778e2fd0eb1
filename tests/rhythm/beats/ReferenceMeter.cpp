#include "tests/rhythm/beats/ReferenceBeats.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>

namespace qel::test {
namespace {

constexpr std::size_t kLags = 1350; // lags and phases, in 10 ms
constexpr std::size_t kSearchStart = 10;
constexpr std::size_t kRampStart = 98;
constexpr double kRampStep = -0.3499999940395355 / 1251.0;
constexpr int kTrendDegree = 7;

constexpr std::array<double, 7> kCandidates = {2, 3, 4, 5, 6, 7, 8};
constexpr std::array<double, 7> kWeights = {0.4, 1.0, 0.5, 0.5, 1.5, 1.0, 1.0};

// Columns of 1350 phases, one per lag.
using Matrix = std::vector<std::vector<double>>;

struct Products {
    Matrix sums = Matrix(kLags, std::vector<double>(kLags));
    Matrix counts = Matrix(kLags, std::vector<double>(kLags));
};

// The audio's products with itself by lag and phase, on top of what stands there already; then
// each is divided by its count. Required by the contract: a next channel does not undo the
// division.
void AddChannel(const std::vector<double>& x, Products& products) {
    for (std::size_t l = 0; l < kLags; ++l) {
        const std::size_t lag = l + 1;
        for (std::size_t n = 0, phase = 0; n + lag < x.size(); ++n) {
            products.sums[l][phase] += x[n + lag] * x[n];
            products.counts[l][phase] += 1.0;
            phase = phase + 1 < lag ? phase + 1 : 0;
        }
    }
    for (std::size_t l = 0; l < kLags; ++l) {
        for (std::size_t p = 0; p < kLags; ++p) {
            if (products.counts[l][p] > 0.0) {
                products.sums[l][p] /= products.counts[l][p];
            }
        }
    }
}

// Sums of three neighbours along phase, then along lag.
Matrix Smoothed(const Matrix& matrix) {
    const auto at = [](const Matrix& m, std::size_t l, std::size_t p, int dl, int dp) {
        const auto row = static_cast<std::ptrdiff_t>(l) + dl;
        const auto column = static_cast<std::ptrdiff_t>(p) + dp;
        constexpr auto kEnd = static_cast<std::ptrdiff_t>(kLags);
        if (row < 0 || row >= kEnd || column < 0 || column >= kEnd) {
            return 0.0;
        }
        return m[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
    };
    Matrix byPhase = matrix;
    Matrix result = matrix;
    for (std::size_t l = 0; l < kLags; ++l) {
        for (std::size_t p = 0; p < kLags; ++p) {
            byPhase[l][p] =
                at(matrix, l, p, 0, -1) + at(matrix, l, p, 0, 0) + at(matrix, l, p, 0, 1);
        }
    }
    for (std::size_t l = 0; l < kLags; ++l) {
        for (std::size_t p = 0; p < kLags; ++p) {
            result[l][p] =
                at(byPhase, l, p, -1, 0) + at(byPhase, l, p, 0, 0) + at(byPhase, l, p, 1, 0);
        }
    }
    return result;
}

// Its loads are not checked: a billion of them would take minutes.
__attribute__((no_sanitize("address", "undefined"))) double Dot(const double* a, const double* b,
                                                                std::size_t n) {
    std::array<double, 8> lanes{};
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        for (std::size_t lane = 0; lane < 8; ++lane) {
            lanes[lane] += a[i + lane] * b[i + lane];
        }
    }
    double sum = std::accumulate(lanes.begin(), lanes.end(), 0.0);
    for (; i < n; ++i) {
        sum += a[i] * b[i];
    }
    return sum;
}

// The matrix against itself, each lag's column repeated with its own period and moved along phase.
// A column's sum repeats with the column's period, so no shift is summed twice.
std::vector<double> Repetition(const Matrix& smooth) {
    std::vector<double> repetition(kLags);
    std::vector<double> repeated(2 * kLags);
    for (std::size_t l = 0; l < kLags; ++l) {
        const std::size_t period = l + 1;
        for (std::size_t p = 0; p < repeated.size(); ++p) {
            repeated[p] = smooth[l][p % period];
        }
        // Smoothing has spread the phases of a lag, and of the next one, by one.
        const std::size_t phases = std::min(period + 2, kLags);
        for (std::size_t d = 0; d < period; ++d) {
            const double sum = Dot(repeated.data() + d, smooth[l].data(), phases);
            for (std::size_t shift = d; shift < kLags; shift += period) {
                repetition[shift] += sum;
            }
        }
    }
    return repetition;
}

// The least-squares polynomial through (i, y[i]) for i from `first`, evaluated at i + 1 for all i.
// Required by the contract: the step of one between fit and evaluation. Orthogonal polynomials over
// the points, so that nothing cancels.
std::vector<double> Trend(const std::vector<double>& y, std::size_t first) {
    const double middle = 0.5 * static_cast<double>(first + y.size());
    const double reach = 0.5 * static_cast<double>(y.size() - first);
    const auto scaled = [&](double x) { return (x - middle) / reach; };
    const std::size_t n = y.size();
    // Each basis polynomial at the fitted points and at the evaluated ones.
    std::vector<std::vector<double>> fitted;
    std::vector<std::vector<double>> evaluated;
    std::vector<double> trend(n);
    for (int degree = 0; degree <= kTrendDegree; ++degree) {
        std::vector<double> atPoints(n);
        std::vector<double> atResults(n);
        for (std::size_t i = 0; i < n; ++i) {
            const auto x = static_cast<double>(i);
            atPoints[i] = degree == 0 ? 1.0 : fitted.back()[i] * scaled(x);
            atResults[i] = degree == 0 ? 1.0 : evaluated.back()[i] * scaled(x + 1.0);
        }
        for (int pass = 0; pass < 2; ++pass) {
            for (std::size_t q = 0; q < fitted.size(); ++q) {
                double along = 0.0;
                for (std::size_t i = first; i < n; ++i) {
                    along += fitted[q][i] * atPoints[i];
                }
                for (std::size_t i = 0; i < n; ++i) {
                    atPoints[i] -= along * fitted[q][i];
                    atResults[i] -= along * evaluated[q][i];
                }
            }
        }
        double norm = 0.0;
        double along = 0.0;
        for (std::size_t i = first; i < n; ++i) {
            norm += atPoints[i] * atPoints[i];
            along += atPoints[i] * y[i];
        }
        for (std::size_t i = 0; i < n; ++i) {
            atPoints[i] /= std::sqrt(norm);
            atResults[i] /= std::sqrt(norm);
            trend[i] += along / std::sqrt(norm) * atResults[i];
        }
        fitted.push_back(std::move(atPoints));
        evaluated.push_back(std::move(atResults));
    }
    return trend;
}

// The first place from `from` to `end` at which the curve rises to the next; `otherwise` if none.
std::size_t FirstRise(const std::vector<double>& curve, std::size_t from, std::size_t end,
                      std::size_t otherwise) {
    for (std::size_t i = from; i < end && i + 1 < curve.size(); ++i) {
        if (curve[i + 1] > curve[i]) {
            return i;
        }
    }
    return otherwise;
}

// The curve above its trend, its first fall cleared. Returns the end of that fall.
std::size_t ClearTrend(std::vector<double>& curve) {
    std::size_t m = FirstRise(curve, kSearchStart, kLags, kSearchStart);
    const std::vector<double> trend = Trend(curve, m + 1);
    for (std::size_t i = 0; i < kLags; ++i) {
        curve[i] -= trend[i];
    }
    const double lowest = *std::min_element(curve.begin(), curve.end());
    for (double& value : curve) {
        value -= lowest;
    }
    m = FirstRise(curve, m, kLags - 2, m);
    std::fill_n(curve.begin(), m + 1, 0.0);
    return m;
}

// Long lags weigh less, and neighbours are summed under a small triangle.
void WeighAndSmooth(std::vector<double>& curve) {
    for (std::size_t i = kRampStart; i < kLags; ++i) {
        curve[i] *= 1.0 + static_cast<double>(i - kRampStart) * kRampStep;
    }
    const std::vector<double> sharp = curve;
    constexpr std::array<double, 5> kKernel = {0.25, 0.5, 1.0, 0.5, 0.25};
    for (std::size_t i = 0; i < kLags; ++i) {
        curve[i] = 0.0;
        for (std::size_t k = 0; k < kKernel.size(); ++k) {
            if (i + 2 >= k && i + 2 - k < kLags) {
                curve[i] += kKernel[k] * sharp[i + 2 - k];
            }
        }
    }
}

std::vector<MeterPeak> TakePeaks(std::vector<double>& curve) {
    std::vector<MeterPeak> peaks;
    while (std::accumulate(curve.begin(), curve.end(), 0.0) > 0.0 && peaks.size() < kLags) {
        const auto top = static_cast<std::size_t>(
            std::distance(curve.begin(), std::max_element(curve.begin(), curve.end())));
        peaks.push_back({curve[top], top});
        for (std::size_t i = top; i + 1 < kLags && curve[i] > curve[i + 1]; ++i) {
            curve[i] = 0.0;
        }
        for (std::size_t i = top; i-- > 1 && curve[i] > curve[i - 1];) {
            curve[i] = 0.0;
        }
    }
    return peaks;
}

double BesselI0(double x) {
    double sum = 1.0;
    double term = 1.0;
    for (double k = 1.0; term >= sum * 1e-21; k += 1.0) {
        term *= (x / 2.0 / k) * (x / 2.0 / k);
        sum += term;
    }
    return sum;
}

// A sinc under a Kaiser window, tap `i` of `n`; the middle tap stands without the window.
double Tap(std::ptrdiff_t i, std::size_t n, double cutoff, double alpha) {
    if (i < 0 || i >= static_cast<std::ptrdiff_t>(n)) {
        return 0.0;
    }
    const double t = static_cast<double>(i) - static_cast<double>(n - 1) / 2.0;
    if (std::abs(t) < 0.25) {
        return 2.0 * cutoff;
    }
    const double x = std::abs(2.0 * t) / static_cast<double>(n - 1);
    const double window = BesselI0(alpha * std::sqrt(1.0 - x * x)) / BesselI0(alpha);
    return std::sin(2.0 * std::numbers::pi * cutoff * t) / std::numbers::pi / t * window;
}

} // namespace

MeterReading ReadMeter(std::vector<double> curve) {
    MeterReading reading;
    std::size_t m = ClearTrend(curve);
    reading.withoutTrend = curve;
    WeighAndSmooth(curve);
    const auto top = static_cast<std::size_t>(
        std::distance(curve.begin(), std::max_element(curve.begin(), curve.end())));
    const double topValue = curve[top];
    reading.barFrames = static_cast<double>(top + 1);
    std::fill(curve.begin() + static_cast<std::ptrdiff_t>(top) + 1, curve.end(), 0.0);
    for (std::size_t i = top; i-- > 1;) {
        if (curve[i - 1] > curve[i]) {
            m = i;
            break;
        }
    }
    std::fill(curve.begin() + static_cast<std::ptrdiff_t>(m), curve.end(), 0.0);
    reading.belowBar = curve;
    for (double& value : curve) {
        value = value < topValue * 0.10000000149011612 ? 0.0 : value;
    }
    reading.peaks = TakePeaks(curve);
    return reading;
}

void AddMeterScores(const std::vector<MeterPeak>& peaks, double bar, MeterScoreList& scores) {
    const double tolerance = 0.014999999664723873 * bar;
    for (std::size_t c = 0; c < kCandidates.size(); ++c) {
        for (double k = 1.0; k < kCandidates[c]; k += 1.0) {
            const double place = k * bar / kCandidates[c];
            for (const MeterPeak& peak : peaks) {
                if (std::abs(static_cast<double>(peak.position + 1) - place) < tolerance) {
                    scores[c] += peak.value;
                }
            }
        }
        scores[c] /= kCandidates[c] - 1.0;
    }
}

std::vector<float> RectifiedAudio(std::span<const float> samples) {
    constexpr std::array<float, 7> kA = {1.0f,
                                         -4.59006929397583f,
                                         8.910345077514648f,
                                         -9.341909408569336f,
                                         5.569976329803467f,
                                         -1.7884533405303955f,
                                         0.24135898053646088f};
    constexpr std::array<float, 7> kB = {1.951035847014282e-05f, 0.00011706214718287811f,
                                         0.0002926553715951741f, 0.00039020716212689877f,
                                         0.0002926553715951741f, 0.00011706214718287811f,
                                         1.951035847014282e-05f};
    std::array<float, 7> z{}; // the last one stays 0
    std::vector<float> result(samples.size());
    for (std::size_t n = 0; n < samples.size(); ++n) {
        const float x = std::abs(samples[n]);
        const float y = z[0] + kB[0] * x;
        for (std::size_t i = 0; i < 6; ++i) {
            z[i] = (kB[i + 1] * x + z[i + 1]) - y * kA[i + 1];
        }
        result[n] = y;
    }
    return result;
}

std::vector<double> ResampleTo100Hz(std::span<const float> signal, double rateHz) {
    constexpr double kAttenuationDb = 73.0;
    const auto step = static_cast<std::size_t>(rateHz / 100.0);
    const double cutoff = static_cast<double>(100.0f * 0.94f) / rateHz;
    const double transition = static_cast<double>(100.0f * ((1.0f - 0.94f) * 2.0f)) / rateHz;
    const auto taps = static_cast<std::size_t>(1.0 + (kAttenuationDb - 7.95) / (7.18 * transition));
    const double alpha = 0.1102 * (kAttenuationDb - 8.7);
    const std::size_t prototype = taps - (taps % 2 == 0 ? 1 : 0);
    std::vector<double> result(signal.size() / step);
    if (signal.size() < taps - 1) {
        return result;
    }
    const auto wholeDelay = static_cast<std::size_t>(0.5f + static_cast<float>(prototype - 1) *
                                                                0.5f / static_cast<float>(step));
    const auto firstTap = static_cast<std::ptrdiff_t>((prototype - 1) / 2) -
                          static_cast<std::ptrdiff_t>(step * wholeDelay);
    std::vector<double> coefficients(taps);
    for (std::size_t k = 0; k < taps; ++k) {
        const auto i = firstTap + static_cast<std::ptrdiff_t>(k);
        coefficients[k] = static_cast<double>(0.99f) * Tap(i, prototype, cutoff / 2.0, alpha);
    }
    for (std::size_t n = 0; n < result.size(); ++n) {
        for (std::size_t k = 0; k <= std::min(n * step, taps - 1); ++k) {
            result[n] += coefficients[k] * static_cast<double>(signal[n * step - k]);
        }
    }
    return result;
}

Meters FindMeters(const std::vector<std::vector<double>>& signals) {
    Products products;
    MeterScoreList scores{};
    Meters result;
    for (const std::vector<double>& signal : signals) {
        AddChannel(signal, products);
        const MeterReading reading = ReadMeter(Repetition(Smoothed(products.sums)));
        bool failed = reading.peaks.empty();
        if (!failed) {
            AddMeterScores(reading.peaks, reading.barFrames, scores);
        }
        for (std::size_t c = 0; c < scores.size(); ++c) {
            scores[c] *= kWeights[c];
        }
        std::uint32_t meter = 0;
        if (std::accumulate(scores.begin(), scores.end(), 0.0) > 0.0) {
            constexpr std::array<std::uint32_t, 7> kFolded = {4, 3, 4, 5, 3, 7, 4};
            meter = kFolded[static_cast<std::size_t>(
                std::distance(scores.begin(), std::max_element(scores.begin(), scores.end())))];
        } else {
            failed = true;
        }
        result.anyFailed = result.anyFailed || failed;
        result.barFrames.push_back(reading.barFrames);
        result.meters.push_back(meter);
    }
    return result;
}

} // namespace qel::test
