#include "readings/onsets/OnsetFeatures.h"

#include <algorithm>
#include <cmath>

namespace qel::readings {
namespace {

constexpr std::size_t kFrameSamples = 1024;
constexpr float kFullScale = 512; // a sine of amplitude 1 has as much in "spectrum"
// The narrow bands, in bins: from 30 Hz to 16 kHz at 44.1 kHz. Edges that fall together are one.
constexpr int kEdges = 38;
constexpr double kLowestBin = 30.0 * kFrameSamples / 44100;
constexpr double kHighestBin = 16000.0 * kFrameSamples / 44100;
// The first bins of the ranges, and the end of the last one.
constexpr std::array<std::size_t, OnsetFeatures::kRanges + 1> kRangeBins{1,  3,  5,  8,   13,
                                                                         22, 40, 80, 160, 372};
constexpr float kQuietest = 1e-4f;                // a level below -80 dB counts as that
constexpr double kHopsPerHalving = 44100.0 / 512; // of the level in silence: one second
constexpr float kGain = 300;                      // of a magnitude at the level, in a logarithm
constexpr float kPowerGain = 30;
constexpr float kHannEnergy = 1.5f; // of a sine's squared magnitudes in three bins, to its own
constexpr float kTiny = 1e-12f;     // keeps quotients finite

// Gathers the logarithm of a product of many factors, each below 1e6.
class LogarithmOfProduct {
public:
    void multiply(float factor) {
        mProduct *= static_cast<double>(factor);
        if (mProduct > 1e200) {
            mSum += std::log10(mProduct);
            mProduct = 1;
        }
    }
    float value() const { return static_cast<float>(mSum + std::log10(mProduct)); }

private:
    double mProduct = 1;
    double mSum = 0;
};

// The mean of the logarithms of the quotients above 1, for each range of bins.
void meanRises(std::span<const float> quotients, std::span<float> rises) {
    for (std::size_t r = 0; r < OnsetFeatures::kRanges; ++r) {
        LogarithmOfProduct sum;
        for (std::size_t k = kRangeBins[r]; k < kRangeBins[r + 1]; ++k) {
            sum.multiply(std::max(quotients[k], 1.0f));
        }
        rises[r] = sum.value() / static_cast<float>(kRangeBins[r + 1] - kRangeBins[r]);
    }
}

// The logarithms of sums over the ranges, relative to the level.
void compressedSums(std::span<const float> values, float level, std::span<float> sums) {
    for (std::size_t r = 0; r < OnsetFeatures::kRanges; ++r) {
        float sum = 0;
        for (std::size_t k = kRangeBins[r]; k < kRangeBins[r + 1]; ++k) {
            sum += values[k];
        }
        sums[r] = std::log10(1 + kPowerGain * sum / level);
    }
}

float greatestNear(std::span<const float> values, std::size_t i) {
    return std::max(
        {values[i == 0 ? 0 : i - 1], values[i], values[std::min(i + 1, values.size() - 1)]});
}

// Means over nine ranges of the narrow bands.
void meansOfRanges(const std::vector<float>& bands, std::span<float> means) {
    const auto edge = [&](std::size_t r) {
        return static_cast<std::size_t>(
            std::lround(static_cast<double>(bands.size() * r) / OnsetFeatures::kRanges));
    };
    for (std::size_t r = 0; r < OnsetFeatures::kRanges; ++r) {
        float sum = 0;
        for (std::size_t b = edge(r); b < edge(r + 1); ++b) {
            sum += bands[b];
        }
        means[r] = sum / static_cast<float>(edge(r + 1) - edge(r));
    }
}

} // namespace

OnsetFeatures::OnsetFeatures() {
    makeBands();
    reset();
}

void OnsetFeatures::makeBands() {
    std::vector<std::size_t> edges;
    for (int i = 0; i < kEdges; ++i) {
        const double bin = kLowestBin * std::pow(kHighestBin / kLowestBin, i / (kEdges - 1.0));
        edges.push_back(static_cast<std::size_t>(std::max(std::lround(bin), 1L)));
    }
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
    for (std::size_t i = 0; i + 2 < edges.size(); ++i) {
        const std::size_t top = edges[i + 1];
        Band band{edges[i], {}};
        for (std::size_t k = edges[i]; k <= edges[i + 2]; ++k) {
            const std::size_t side = k <= top ? k - edges[i] : edges[i + 2] - k;
            const std::size_t width = k <= top ? top - edges[i] : edges[i + 2] - top;
            band.weights.push_back(static_cast<float>(side + 1) / static_cast<float>(width + 1));
        }
        mBands.push_back(std::move(band));
    }
    mRises.resize(mBands.size());
    mSteadyRises.resize(mBands.size());
}

void OnsetFeatures::reset() {
    mTime = mFrames.size(); // so that there are frames before the first one
    for (Frame& each : mFrames) {
        each = {};
        each.bands.assign(mBands.size(), 0);
        each.level = kQuietest;
    }
    for (Bins& each : mLongFrames) {
        each.fill(1);
    }
}

void OnsetFeatures::take(std::span<const float> pairs) {
    Frame& now = frame(0);
    for (std::size_t k = 1; k < kBins; ++k) {
        now.real[k] = pairs[2 * k] / kFullScale;
        now.imaginary[k] = pairs[2 * k + 1] / kFullScale;
    }
    float energy = 0;
    for (std::size_t k = 1; k < kBins; ++k) {
        const float square = now.real[k] * now.real[k] + now.imaginary[k] * now.imaginary[k];
        now.magnitudes[k] = std::sqrt(square);
        energy += square;
    }
    for (std::size_t b = 0; b < mBands.size(); ++b) {
        const Band& band = mBands[b];
        now.bands[b] = 0;
        for (std::size_t i = 0; i < band.weights.size(); ++i) {
            now.bands[b] += band.weights[i] * now.magnitudes[band.firstBin + i];
        }
    }
    static const auto kFall = static_cast<float>(std::exp2(-1 / kHopsPerHalving));
    const float amplitude = std::sqrt(energy / kHannEnergy);
    now.level = std::max({amplitude, frame(1).level * kFall, kQuietest});
    now.share = std::log10(0.01f + amplitude / now.level);
}

void OnsetFeatures::findBandRises(const Frame& now, const Frame& before) {
    const auto height = [&](float magnitude) {
        return std::log10(1 + kGain * magnitude / now.level);
    };
    for (std::size_t b = 0; b < mBands.size(); ++b) {
        const float here = height(now.bands[b]);
        mRises[b] = std::max(here - height(before.bands[b]), 0.0f);
        mSteadyRises[b] = std::max(here - height(greatestNear(before.bands, b)), 0.0f);
    }
    meansOfRanges(mRises, std::span(mValues).subspan(kRises, kRanges));
    meansOfRanges(mSteadyRises, std::span(mValues).subspan(kSteadyRises, kRanges));
}

void OnsetFeatures::findBinRises(const Frame& now, const Frame& before) {
    const float floor = now.level / kGain;
    for (std::size_t k = 0; k < kBins; ++k) {
        mScratch[k] = (floor + now.magnitudes[k]) / (floor + before.magnitudes[k]);
    }
    meanRises(mScratch, std::span(mValues).subspan(kBinRises, kRanges));
    for (std::size_t k = 0; k < kBins; ++k) {
        mScratch[k] = std::max(now.magnitudes[k] - before.magnitudes[k], 0.0f);
    }
    compressedSums(mScratch, now.level, std::span(mValues).subspan(kPower, kRanges));
}

// A steady sine turns by the same angle from frame to frame, and keeps its magnitude.
void OnsetFeatures::findSurprise(const Frame& now, const Frame& before, const Frame& earlier) {
    for (std::size_t k = 0; k < kBins; ++k) {
        const float re = before.real[k];
        const float im = before.imaginary[k];
        const float square = re * re - im * im; // of the bin before, real and imaginary part
        const float twice = 2 * re * im;
        const float toRe = earlier.real[k] + kTiny;
        const float toIm = earlier.imaginary[k];
        const float scale = 1 / ((before.magnitudes[k] + kTiny) * (earlier.magnitudes[k] + kTiny));
        const float offRe = now.real[k] - (square * toRe + twice * toIm) * scale;
        const float offIm = now.imaginary[k] - (twice * toRe - square * toIm) * scale;
        const float distance = std::sqrt(offRe * offRe + offIm * offIm);
        mScratch[k] = now.magnitudes[k] > before.magnitudes[k] ? distance : 0;
    }
    compressedSums(mScratch, now.level, std::span(mValues).subspan(kSurprise, kRanges));
}

// Frames half a length apart turn the phase of every other bin by half a circle.
void OnsetFeatures::findLongRises() {
    Bins& now = longFrame(0);
    const Bins& before = longFrame(2);
    const float scale = kGain / (2 * frame(1).level);
    float sign = -0.5f;
    for (std::size_t k = 1; k < kBins; ++k, sign = -sign) {
        const float re = frame(1).real[k] + sign * (frame(0).real[k] + frame(2).real[k]);
        const float im =
            frame(1).imaginary[k] + sign * (frame(0).imaginary[k] + frame(2).imaginary[k]);
        now[k] = 1 + scale * std::sqrt(re * re + im * im);
    }
    for (std::size_t k = 1; k < kBins; ++k) {
        mScratch[k] = now[k] / before[k];
    }
    meanRises(mScratch, std::span(mValues).subspan(kLongRises, kRanges));
    for (std::size_t k = 1; k + 1 < kBins; ++k) {
        mScratch[k] = now[k] / std::max({before[k - 1], before[k], before[k + 1]});
    }
    meanRises(mScratch, std::span(mValues).subspan(kLongSteadyRises, kRanges));
}

const OnsetFeatures::Values& OnsetFeatures::add(std::span<const float> pairs) {
    ++mTime;
    take(pairs);
    findBandRises(frame(1), frame(2));
    findBinRises(frame(1), frame(2));
    findSurprise(frame(1), frame(2), frame(3));
    mValues[kShare] = frame(1).share;
    findLongRises();
    return mValues;
}

} // namespace qel::readings
