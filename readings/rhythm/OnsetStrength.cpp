#include "readings/rhythm/OnsetStrength.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

constexpr std::size_t kBins = 512;
constexpr double kFrameSamples = 1024;
constexpr double kLowestHz = 30;
constexpr double kHighestHz = 16000;
constexpr double kHighestShare = 0.47; // of the sample rate
constexpr int kEdges = 38; // of as many bands less two, before narrow ones fall together
constexpr double kMiddleFromHz = 160;
constexpr double kHighFromHz = 2500;
// A sine of amplitude 1 has 512 in "spectrum". Levels are the decimal logarithm of 1 + 1000 times
// the amplitude: what is below -60 dB hardly counts.
constexpr float kGain = 1000.0f / 512;

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

OnsetStrength::OnsetStrength(double sampleRateHz) : mMagnitudes(kBins) {
    makeBands(sampleRateHz);
    reset();
}

void OnsetStrength::makeBands(double sampleRateHz) {
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
        mFirstMiddle += band.centreHz < kMiddleFromHz ? 1 : 0;
        mFirstHigh += band.centreHz < kHighFromHz ? 1 : 0;
        mBands.push_back(std::move(band));
    }
}

void OnsetStrength::reset() {
    mLevels.assign(mBands.size(), 0);
    mLevelsBefore.assign(mBands.size(), 0);
    for (std::vector<float>* rises : {&mAll, &mLow, &mMiddle, &mHigh}) {
        rises->clear();
    }
}

void OnsetStrength::takeMagnitudes(std::span<const float> pairs) {
    mMagnitudes[0] = std::abs(pairs[0]);
    for (std::size_t k = 1; k < kBins; ++k) {
        const float re = pairs[2 * k];
        const float im = pairs[2 * k + 1];
        mMagnitudes[k] = std::sqrt(re * re + im * im);
    }
    for (std::size_t b = 0; b < mBands.size(); ++b) {
        const Band& band = mBands[b];
        float sum = 0;
        for (std::size_t i = 0; i < band.weights.size(); ++i) {
            sum += band.weights[i] * mMagnitudes[band.firstBin + i];
        }
        mLevels[b] = std::log10(1 + kGain * sum);
    }
}

float OnsetStrength::riseOf(std::size_t band) const {
    const std::size_t first = band == 0 ? 0 : band - 1;
    const std::size_t last = std::min(band + 1, mBands.size() - 1);
    const float before = *std::max_element(&mLevelsBefore[first], &mLevelsBefore[last] + 1);
    return std::max(mLevels[band] - before, 0.0f);
}

void OnsetStrength::add(std::span<const float> pairs) {
    std::swap(mLevels, mLevelsBefore);
    takeMagnitudes(pairs);
    float low = 0;
    float middle = 0;
    float high = 0;
    if (!mAll.empty()) { // nothing comes before the first frame
        for (std::size_t b = 0; b < mBands.size(); ++b) {
            (b < mFirstMiddle ? low : b < mFirstHigh ? middle : high) += riseOf(b);
        }
    }
    const auto mean = [](float sum, std::size_t bands) {
        return bands > 0 ? sum / static_cast<float>(bands) : 0.0f;
    };
    mAll.push_back(mean(low + middle + high, mBands.size()));
    mLow.push_back(mean(low, mFirstMiddle));
    mMiddle.push_back(mean(middle, mFirstHigh - mFirstMiddle));
    mHigh.push_back(mean(high, mBands.size() - mFirstHigh));
}

} // namespace qel::readings
