#include "tests/loudness/soundcheck/LoudnessFiguresTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace qel::test {

NormalizationOwner OpenNormalization(unsigned rateHz, unsigned channels) {
    core::NormalizationData* data = nullptr;
    EXPECT_EQ(0, core::NormalizationOpen(rateHz, channels, &data));
    return NormalizationOwner(data);
}

double EngineEnergy(unsigned rateHz, const Excerpt& excerpt) {
    const NormalizationOwner data = OpenNormalization(rateHz, 1);
    EXPECT_EQ(0, core::NormalizationProcessFloats(data.get(), excerpt.data(), 1, 0));
    return static_cast<double>(data->maxEnergy[0]);
}

void ExpectEnergy(double expected, double actual) {
    EXPECT_NEAR(expected, actual, kEnergyTolerance * expected + kRoundingEnergy);
}

void ExpectFigures(const ReferenceFigures& expected, const core::NormalizationData& data,
                   unsigned channel) {
    ASSERT_GT(expected.gateMargin, kEnergyTolerance);
    ASSERT_GT(expected.maxMargin, kEnergyTolerance);
    ExpectEnergy(expected.maxEnergy, static_cast<double>(data.maxEnergy[channel]));
    EXPECT_EQ(expected.maxEnergyTime, data.maxEnergyTime[channel]);
    ExpectEnergy(expected.energySum, static_cast<double>(data.energySum[channel]));
    EXPECT_EQ(expected.energyCount, data.energyCount[channel]);
    EXPECT_EQ(expected.peak, data.peak[channel]);
    EXPECT_EQ(expected.peakTime, data.peakTime[channel]);
}

void ExpectStatistics(const ReferenceFigures& expected, const core::NormalizationData& data,
                      unsigned channel) {
    EXPECT_PRED2(IsTruncated, data.averageLoudness[channel], expected.averageLoudness);
    EXPECT_PRED2(IsTruncated, data.maxLoudness[channel], expected.maxLoudness);
    EXPECT_EQ(expected.peak, data.peakLevel[channel]);
}

Excerpt SineExcerpt(double bins, double amplitude, double phase) {
    Excerpt excerpt(kExcerptFrames);
    for (std::size_t i = 0; i < kExcerptFrames; ++i) {
        const double turns = bins * static_cast<double>(i) / 1024.0;
        const double angle = 2.0 * std::numbers::pi * turns + phase;
        excerpt[i] = static_cast<float>(amplitude * std::sin(angle));
    }
    return excerpt;
}

double BinWeight(unsigned bin, unsigned rateHz) {
    for (const ReferenceBand& band : ReferenceBands(rateHz)) {
        if (bin >= band.startBin && bin < band.endBin) {
            return band.weight;
        }
    }
    return 0.0;
}

double AmplitudeForEnergy(double energy, unsigned bin, unsigned rateHz) {
    const double share =
        BinWeight(bin, rateHz) + 0.25 * (BinWeight(bin - 1, rateHz) + BinWeight(bin + 1, rateHz));
    return std::sqrt(energy / share) / 0x1p23;
}

double Uniform(std::mt19937& generator) {
    return static_cast<double>(generator()) * 0x1p-31 - 1.0;
}

} // namespace qel::test
