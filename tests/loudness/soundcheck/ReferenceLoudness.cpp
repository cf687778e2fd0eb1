#include "tests/loudness/soundcheck/ReferenceLoudness.h"

#include "tests/harness/DoubleTransform.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

// Transforms, sums and averages in single precision, of 6e-8 of a value at each step.
constexpr double kSinglePrecision = 3e-6;

// The bin nearest to a frequency, halves upwards: floor(1/2 + edge * 1024 / rate) as a quotient of
// whole numbers.
unsigned NearestBin(std::uint64_t edgeHz, std::uint64_t rateHz) {
    return static_cast<unsigned>((rateHz + 2 * edgeHz * kExcerptFrames) / (2 * rateHz));
}

} // namespace

double HearingWeight(double frequencyHz) {
    const double x = frequencyHz / 1000.0;
    const double thresholdDecibels = 3.64 * std::pow(x, -0.8) -
                                     6.5 * std::exp(-0.6 * (x - 3.3) * (x - 3.3)) +
                                     0.001 * x * x * x * x;
    return std::pow(10.0, -thresholdDecibels / 10.0);
}

std::vector<ReferenceBand> ReferenceBands(unsigned rateHz) {
    std::vector<ReferenceBand> bands;
    unsigned lowerHz = 0;
    for (const BandEdges& edges : kBandTable) {
        if (edges.upperHz > rateHz / 2) {
            bands.push_back({0, 0, 0.0});
        } else {
            bands.push_back({NearestBin(lowerHz, rateHz), NearestBin(edges.upperHz, rateHz),
                             HearingWeight(edges.nominalHz)});
        }
        lowerHz = edges.upperHz;
    }
    return bands;
}

double ExcerptWindow(std::size_t i) {
    const double sine = std::sin(std::numbers::pi * (static_cast<double>(i) + 0.5) / 1024.0);
    return 32768.0 * sine * sine;
}

std::vector<double> WindowedPower(const float* samples, std::size_t stride) {
    std::vector<testing::Number> spectrum(kExcerptFrames);
    for (std::size_t i = 0; i < kExcerptFrames; ++i) {
        spectrum[i] = ExcerptWindow(i) * static_cast<double>(samples[i * stride]);
    }
    testing::Transform(spectrum);
    std::vector<double> power;
    for (std::size_t k = 0; k <= kExcerptFrames / 2; ++k) {
        power.push_back(std::norm(spectrum[k]));
    }
    return power;
}

double WeightedEnergy(std::span<const double> power, unsigned rateHz) {
    double energy = 0;
    for (const ReferenceBand& band : ReferenceBands(rateHz)) {
        for (unsigned k = band.startBin; k < band.endBin; ++k) {
            energy += band.weight * (k == 0 ? power[0] + power[512] : power[k]);
        }
    }
    return energy;
}

void ReferenceLoudness::AddExcerpt(const float* samples, std::uint32_t timeMilliseconds) {
    for (unsigned c = 0; c < mChannels; ++c) {
        ReferenceFigures& figures = mFigures[c];
        const double energy = WeightedEnergy(WindowedPower(samples + c, mChannels), mRateHz);
        mEnergies[c].push_back(energy);
        if (energy > kSilenceGate) {
            figures.energySum += energy;
            ++figures.energyCount;
        }
        if (energy > figures.maxEnergy) {
            figures.maxEnergy = energy;
            figures.maxEnergyTime = timeMilliseconds;
        }
        double peak = 0;
        for (std::size_t i = 0; i < kExcerptFrames; ++i) {
            peak = std::max(peak, std::abs(static_cast<double>(samples[i * mChannels + c])));
        }
        const auto scaled = static_cast<std::int32_t>(32768.0 * peak);
        if (scaled > figures.peak) {
            figures.peak = scaled;
            figures.peakTime = timeMilliseconds;
        }
    }
}

void ReferenceLoudness::AddRun(const float* samples, std::size_t frames) {
    // The offset of an excerpt counts floats: in stereo, a run of several steps is looked at every
    // half step, and its second half not at all.
    for (std::size_t offset = 0; offset < frames; offset += kStepFrames) {
        const double milliseconds = 1000.0 / mRateHz * static_cast<double>(mFramesProcessed);
        AddExcerpt(samples + offset, static_cast<std::uint32_t>(std::floor(0.5 + milliseconds)));
        mFramesProcessed += kStepFrames;
    }
}

void ReferenceLoudness::AddStream(std::span<const float> samples,
                                  std::span<const std::size_t> runs) {
    std::size_t start = 0;
    for (const std::size_t frames : runs) {
        AddRun(samples.data() + start * mChannels, frames);
        start += frames;
    }
}

ReferenceFigures ReferenceLoudness::Figures(unsigned channel) const {
    ReferenceFigures figures = mFigures[channel];
    figures.maxLoudness = figures.maxEnergy / kLoudnessUnit;
    if (figures.energyCount != 0) {
        figures.averageLoudness = figures.energySum / figures.energyCount / kLoudnessUnit;
    }
    std::vector<double> energies = mEnergies[channel];
    figures.excerpts = energies.size();
    for (const double energy : energies) {
        figures.gateMargin =
            std::min(figures.gateMargin, std::abs(energy - kSilenceGate) / kSilenceGate);
    }
    std::ranges::sort(energies, std::greater<>());
    if (energies.size() > 1 && energies[0] > 0) {
        figures.maxMargin = (energies[0] - energies[1]) / energies[0];
    }
    return figures;
}

std::vector<std::size_t> RunsOfPushes(std::span<const std::size_t> pushes) {
    std::vector<std::size_t> runs;
    std::size_t begun = 0;
    for (std::size_t frames : pushes) {
        if (begun != 0) {
            const std::size_t taken = std::min(frames, kStepFrames - begun);
            begun += taken;
            frames -= taken;
            if (begun < kStepFrames) {
                continue;
            }
            runs.push_back(kStepFrames);
        }
        if (frames >= kStepFrames) {
            runs.push_back(frames - frames % kStepFrames);
        }
        begun = frames % kStepFrames;
    }
    return runs;
}

std::vector<std::size_t> RunsOfConvertedPushes(std::span<const std::size_t> pushes) {
    std::size_t total = 0;
    for (const std::size_t frames : pushes) {
        total += frames;
    }
    return std::vector<std::size_t>(total / kStepFrames, kStepFrames);
}

bool IsTruncated(std::uint32_t actual, double value) {
    const auto figure = static_cast<double>(actual);
    return std::floor(value * (1.0 - kSinglePrecision)) <= figure &&
           figure <= std::floor(value * (1.0 + kSinglePrecision));
}

} // namespace qel::test
