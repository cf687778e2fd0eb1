#include "readings/rhythm/BandLevels.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

constexpr std::size_t kBins = 512;
constexpr double kFrameSamples = 1024;
constexpr float kSine = 512;         // the magnitude of a sine of amplitude 1
constexpr float kWindowWidth = 1.5f; // squares of it in the bins of a Hann window
constexpr double kLowestHz = 30;
constexpr double kHighestHz = 16000;
constexpr double kHighestShare = 0.47; // of the sample rate
constexpr int kEdges = 38; // of as many bands less two, before narrow ones fall together

// The bins at the tops of the bands and of one more at both ends: at equal ratios, where the bins
// are fine enough for that.
std::vector<std::size_t> bandEdges(double sampleRateHz) {
    const double highest = std::min(kHighestHz, kHighestShare * sampleRateHz);
    std::vector<std::size_t> edges;
    for (int i = 0; i < kEdges; ++i) {
        const double hz = kLowestHz * std::pow(highest / kLowestHz, i / (kEdges - 1.0));
        const double bin = std::max(std::round(hz * kFrameSamples / sampleRateHz), 1.0);
        edges.push_back(static_cast<std::size_t>(bin));
    }
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
    return edges;
}

} // namespace

BandLevels::BandLevels(double sampleRateHz) : mMagnitudes(kBins) {
    const std::vector<std::size_t> edges = bandEdges(sampleRateHz);
    for (std::size_t i = 0; i + 2 < edges.size(); ++i) {
        const std::size_t left = edges[i];
        const std::size_t top = edges[i + 1];
        const std::size_t right = edges[i + 2];
        Band band{left, {}, static_cast<double>(top) * sampleRateHz / kFrameSamples};
        for (std::size_t k = left; k <= std::min(right, kBins - 1); ++k) {
            const auto rise = static_cast<float>(k - left + 1) / static_cast<float>(top - left + 1);
            const auto fall =
                static_cast<float>(right - k + 1) / static_cast<float>(right - top + 1);
            band.weights.push_back(k <= top ? rise : fall);
        }
        mBands.push_back(std::move(band));
    }
}

void BandLevels::reset() {
    mAmplitudes.clear();
    mValues.clear();
}

void BandLevels::add(std::span<const float> pairs) {
    mMagnitudes[0] = std::abs(pairs[0]);
    float squares = pairs[0] * pairs[0];
    for (std::size_t k = 1; k < kBins; ++k) {
        const float re = pairs[2 * k];
        const float im = pairs[2 * k + 1];
        const float square = re * re + im * im;
        squares += square;
        mMagnitudes[k] = std::sqrt(square);
    }
    mAmplitudes.push_back(std::sqrt(squares / kWindowWidth) / kSine);
    for (const Band& band : mBands) {
        float sum = 0;
        for (std::size_t i = 0; i < band.weights.size(); ++i) {
            sum += band.weights[i] * mMagnitudes[band.firstBin + i];
        }
        mValues.push_back(sum);
    }
}

} // namespace qel::readings
