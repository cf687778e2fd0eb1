#include "loudness/range/AAHistogram.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// As many bins as the range meter has, 1 dB wide.
AAHistogram MakeHistogram(UInt32 channels = 1, UInt32 frequencyBins = 4) {
    return AAHistogram(channels, frequencyBins, 200, -199.0f, -1.0f);
}

double Total(const AAHistogram& histogram, UInt32 channel, UInt32 frequencyBin) {
    double total = 0.0;
    for (UInt32 i = 0; i < 200; ++i) {
        total += histogram.Count(channel, frequencyBin, i);
    }
    return total;
}

TEST(AAHistogramTest, BoundsThatLeaveNoRoomAreRefused) {
    EXPECT_EQ(AAHistogram(1, 4, 3, -1.0f, 1.0f).Initialize(), 0);
    EXPECT_EQ(AAHistogram(1, 4, 2, -1.0f, 1.0f).Initialize(), -1);
    EXPECT_EQ(AAHistogram(1, 4, 0, -1.0f, 1.0f).Initialize(), -1);
    EXPECT_EQ(AAHistogram(1, 4, -7, -1.0f, 1.0f).Initialize(), -1);
    EXPECT_EQ(AAHistogram(1, 4, 200, 1.0f, 1.0f).Initialize(), -1);
    EXPECT_EQ(AAHistogram(1, 4, 200, 2.0f, 1.0f).Initialize(), -1);
    EXPECT_EQ(AAHistogram(1, 4, 200, kNaN, 1.0f).Initialize(), -1);
}

TEST(AAHistogramTest, WithoutRoomNothingIsCountedOrFound) {
    AAHistogram histogram(1, 4, 2, -1.0f, 1.0f);
    const float values[] = {0.5f, 0.5f, 0.5f, 0.5f};
    histogram.Update(0, 0, values, 4);
    histogram.UpdateSpectrum(0, values);
    histogram.IncrementNonZeroBlockCount(0);
    EXPECT_EQ(histogram.Count(0, 0, 0) + histogram.Count(0, 0, 1), 0.0);
    bool cutoffFound = true;
    bool floorFound = true;
    float cutoff = 5.0f;
    float floor = 5.0f;
    histogram.EstimateSpectralRange(6, 1, 44100.0f, &cutoffFound, &cutoff, &floorFound, &floor);
    EXPECT_FALSE(cutoffFound);
    EXPECT_FALSE(floorFound);
    EXPECT_EQ(cutoff, -1.0f);
    EXPECT_EQ(floor, 0.0f);
}

TEST(AAHistogramTest, LevelsAreTruncatedToBins) {
    AAHistogram histogram = MakeHistogram();
    const struct {
        float level;
        UInt32 bin;
    } cases[] = {
        {-kInfinity, 0}, {-1e30f, 0},  {-200.5f, 0},  {-199.5f, 0},     {-199.0f, 0},
        {-198.01f, 0},   {-198.0f, 1}, {-100.5f, 98}, {-2.5f, 196},     {-2.0f, 197},
        {-1.5f, 197},    {-1.0f, 198}, {-0.01f, 198}, {0.0f, 199},      {40.0f, 199},
        {1e30f, 199},    {3e9f, 199},  {kNaN, 0},     {kInfinity, 199},
    };
    for (const auto& one : cases) {
        ASSERT_EQ(histogram.Initialize(), 0);
        histogram.Update(0, 2, &one.level, 1);
        EXPECT_EQ(histogram.Count(0, 2, one.bin), 1.0) << one.level;
        EXPECT_EQ(Total(histogram, 0, 2), 1.0);
    }
}

TEST(AAHistogramTest, AValueGoesToItsChannelAndFrequencyBin) {
    AAHistogram histogram = MakeHistogram(2, 3);
    const float level = -50.5f;
    histogram.Update(1, 2, &level, 1);
    for (UInt32 c = 0; c < 2; ++c) {
        for (UInt32 k = 0; k < 3; ++k) {
            EXPECT_EQ(Total(histogram, c, k), c == 1 && k == 2 ? 1.0 : 0.0);
        }
    }
}

TEST(AAHistogramTest, AWholeSpectrumCountsAsItsValuesDo) {
    constexpr UInt32 kFrequencyBins = 513;
    AAHistogram atOnce = MakeHistogram(1, kFrequencyBins);
    AAHistogram oneByOne = MakeHistogram(1, kFrequencyBins);
    std::mt19937 random(9);
    std::uniform_real_distribution<float> levels(-210.0f, 10.0f);
    for (int frame = 0; frame < 20; ++frame) {
        std::vector<float> spectrum(kFrequencyBins);
        for (float& level : spectrum) {
            level = levels(random);
        }
        spectrum[17] = -kInfinity;
        atOnce.UpdateSpectrum(0, spectrum.data());
        for (UInt32 k = 0; k < kFrequencyBins; ++k) {
            oneByOne.Update(0, k, &spectrum[k], 1);
        }
    }
    for (UInt32 k = 0; k < kFrequencyBins; ++k) {
        EXPECT_EQ(Total(atOnce, 0, k), 20.0);
        for (UInt32 i = 0; i < 200; ++i) {
            ASSERT_EQ(atOnce.Count(0, k, i), oneByOne.Count(0, k, i)) << k << ' ' << i;
        }
    }
    EXPECT_EQ(atOnce.Count(0, 17, 0), 20.0);
}

TEST(AAHistogramTest, ManyValuesCountInOneCall) {
    AAHistogram histogram = MakeHistogram();
    std::vector<float> values(2000, -10.5f);
    values.back() = -20.5f;
    histogram.Update(0, 1, values.data(), 2000);
    EXPECT_EQ(histogram.Count(0, 1, 188), 1999.0);
    EXPECT_EQ(histogram.Count(0, 1, 178), 1.0);
    histogram.Update(0, 1, values.data(), 0);
    EXPECT_EQ(Total(histogram, 0, 1), 2000.0);
}

TEST(AAHistogramTest, InitializeEmptiesEverything) {
    AAHistogram histogram = MakeHistogram(2, 40);
    const std::vector<float> spectrum(40, -50.5f);
    histogram.UpdateSpectrum(1, spectrum.data());
    histogram.IncrementNonZeroBlockCount(1);
    histogram.IncrementNonZeroBlockCount(1);
    EXPECT_EQ(histogram.GetNnonzeroBlocks(0), 0);
    EXPECT_EQ(histogram.GetNnonzeroBlocks(1), 2);
    bool found[4];
    float values[4];
    histogram.EstimateSpectralRange(78, 2, 44100.0f, found, values, found + 2, values + 2);
    ASSERT_NE(histogram.MedianIndex(1)[3], 0);

    EXPECT_EQ(histogram.Initialize(), 0);
    EXPECT_EQ(histogram.GetNnonzeroBlocks(1), 0);
    EXPECT_EQ(Total(histogram, 1, 3), 0.0);
    EXPECT_EQ(histogram.MedianIndex(1), std::vector<SInt32>(40));
    EXPECT_EQ(histogram.MedianSpectrum(1), std::vector<float>(40));
    EXPECT_EQ(histogram.SmoothedSpectrum(1), std::vector<float>(40));
    EXPECT_EQ(histogram.Slope(1), std::vector<float>(40));
}

TEST(AAHistogramTest, ThereMayBeNoChannelsAndNoFrequencyBins) {
    AAHistogram none(0, 513, 200, -199.0f, -1.0f);
    none.EstimateSpectralRange(1024, 0, 44100.0f, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(none.Initialize(), 0);

    AAHistogram empty(1, 0, 200, -199.0f, -1.0f);
    empty.IncrementNonZeroBlockCount(0);
    bool found[2] = {true, true};
    float values[2];
    empty.EstimateSpectralRange(1024, 1, 44100.0f, found, values, found + 1, values + 1);
    EXPECT_FALSE(found[0]);
    EXPECT_FALSE(found[1]);
}

} // namespace
} // namespace qel::core
