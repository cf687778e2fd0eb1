#include "tests/harness/DoubleTransform.h"
#include "tests/rhythm/beats/ReferenceBeats.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

constexpr std::size_t kNumBins = kBeatFrameSize / 2;
constexpr std::size_t kNumBands = 40;
constexpr double kEarFloor = 1e-10;
constexpr double kRangeDb = 80.0;
constexpr double kDCPole = 0.99;

using Bands = std::array<double, kNumBands>;

// The mel scale: linear below 1000 Hz, logarithmic above.
constexpr double kLinearSpacingHz = 66.66666412353516;
constexpr double kLogSpacing = 1.0711703300476074;
constexpr double kMelOf1000Hz = 15.000000953674316;

double HzToMel(double hz) {
    if (hz < 1000.0) {
        return hz / kLinearSpacingHz;
    }
    return kMelOf1000Hz + std::log(hz / 1000.0) / std::log(kLogSpacing);
}

double MelToHz(double mel) {
    if (mel < kMelOf1000Hz) {
        return mel * kLinearSpacingHz;
    }
    return 1000.0 * std::exp(std::log(kLogSpacing) * (mel - kMelOf1000Hz));
}

// One filter's weights from its first bin on that has any.
struct Triangle {
    std::size_t firstBin = 0;
    std::vector<double> weights;
};

// Triangles of unit area over equal steps of mel, from 0 Hz to half the sample rate.
std::vector<Triangle> MelTriangles(double rateHz) {
    const double top = HzToMel(rateHz / 2.0);
    std::array<double, kNumBands + 2> edges{};
    for (std::size_t i = 0; i < edges.size(); ++i) {
        edges[i] = MelToHz(top * static_cast<double>(i) / static_cast<double>(kNumBands + 1));
    }
    std::vector<Triangle> triangles(kNumBands);
    for (std::size_t b = 0; b < kNumBands; ++b) {
        const double low = edges[b];
        const double middle = edges[b + 1];
        const double high = edges[b + 2];
        for (std::size_t j = 0; j < kNumBins; ++j) {
            const double hz = static_cast<double>(j) * rateHz / kBeatFrameSize;
            const double rise = (hz - low) / (middle - low);
            const double fall = (high - hz) / (high - middle);
            const double share = std::min(rise, fall);
            if (share > 0.0) {
                if (triangles[b].weights.empty()) {
                    triangles[b].firstBin = j;
                }
                triangles[b].weights.push_back(2.0 / (high - low) * share);
            }
        }
    }
    return triangles;
}

std::array<double, kBeatFrameSize> Window() {
    std::array<double, kBeatFrameSize> window{};
    for (std::size_t i = 0; i < kBeatFrameSize; ++i) {
        const double turn = 2.0 * std::numbers::pi * static_cast<double>(i + 1) /
                            static_cast<double>(kBeatFrameSize + 1);
        window[i] = static_cast<float>(0.5 * (1.0 - std::cos(turn)));
    }
    return window;
}

// Doubled against the plain transform; bin 0 holds DC and Nyquist together.
using Magnitudes = std::array<double, kNumBins>;

Magnitudes MagnitudesOf(std::span<const float> frame) {
    static const std::array<double, kBeatFrameSize> window = Window();
    std::vector<std::complex<double>> values(kBeatFrameSize);
    for (std::size_t i = 0; i < kBeatFrameSize; ++i) {
        values[i] = static_cast<double>(frame[i]) * window[i];
    }
    testing::Transform(values);
    Magnitudes magnitudes{};
    magnitudes[0] = 2.0 * std::hypot(values[0].real(), values[kNumBins].real());
    for (std::size_t k = 1; k < kNumBins; ++k) {
        magnitudes[k] = 2.0 * std::sqrt(std::norm(values[k]));
    }
    return magnitudes;
}

Bands PrunedDecibels(const Magnitudes& magnitudes, const std::vector<Triangle>& triangles) {
    Bands decibels{};
    for (std::size_t b = 0; b < kNumBands; ++b) {
        double ear = 0.0;
        for (std::size_t j = 0; j < triangles[b].weights.size(); ++j) {
            ear += triangles[b].weights[j] * magnitudes[triangles[b].firstBin + j];
        }
        decibels[b] = 20.0 * std::log10(std::max(ear, kEarFloor));
    }
    const double floorDb = *std::max_element(decibels.begin(), decibels.end()) - kRangeDb;
    for (double& value : decibels) {
        value = std::max(value, floorDb);
    }
    return decibels;
}

} // namespace

double FunctionRate(double rateHz) {
    return rateHz / static_cast<double>(kBeatHopSize);
}

std::size_t NumFunctionFrames(std::size_t samples) {
    return samples < kBeatFrameSize ? 0 : (samples - kBeatFrameSize) / kBeatHopSize + 1;
}

std::vector<double> DetectionFunction(std::span<const float> samples, double rateHz) {
    const std::vector<Triangle> triangles = MelTriangles(rateHz);
    std::vector<double> result(NumFunctionFrames(samples.size()));
    Bands previous{};
    double lastFunction = 0.0;
    double lastResult = 0.0;
    for (std::size_t frame = 0; frame < result.size(); ++frame) {
        const Magnitudes magnitudes =
            MagnitudesOf(samples.subspan(frame * kBeatHopSize, kBeatFrameSize));
        const Bands current = PrunedDecibels(magnitudes, triangles);
        // Required by the contract: the lowest 40 bins of the spectrum, not the 40 bands.
        double low = 0.0;
        double rise = 0.0;
        for (std::size_t b = 0; b < kNumBands; ++b) {
            low += magnitudes[b] / static_cast<double>(kNumBands);
            rise += std::max(0.0, current[b] - previous[b]) / static_cast<double>(kNumBands);
        }
        previous = current;
        const double function = rise * low;
        result[frame] = function - lastFunction + kDCPole * lastResult;
        lastFunction = function;
        lastResult = result[frame];
    }
    return result;
}

} // namespace qel::test
