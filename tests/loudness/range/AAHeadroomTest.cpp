#include "loudness/range/AAHeadroom.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr UInt32 kBins = 1024;
constexpr float kWidth = 2.0f / 1022.0f;

void Push(AAHeadroom& headroom, UInt32 channel, const std::vector<float>& samples) {
    headroom.Update(channel, samples.data(), static_cast<UInt32>(samples.size()));
}

float Find(const AAHeadroom& headroom, long samples) {
    bool found = false;
    float result = -5.0f;
    headroom.FindHeadRoom(samples, 1, &found, &result);
    EXPECT_TRUE(found);
    return result;
}

double Total(const AAHeadroom& headroom, UInt32 channel) {
    double total = 0.0;
    for (UInt32 bin = 0; bin < kBins; ++bin) {
        total += headroom.Count(channel, bin);
    }
    return total;
}

TEST(AAHeadroomTest, EverySampleIsCountedInItsBin) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> uniform(-1.1f, 1.1f);
    std::vector<float> samples(5003);
    for (float& sample : samples) {
        sample = uniform(random);
    }
    AAHeadroom headroom(1, kBins, -1.0f, 1.0f);
    Push(headroom, 0, samples);
    std::vector<double> counts(kBins);
    for (const float sample : samples) {
        const float cell = (sample + 1.0f) / kWidth;
        counts[cell <= 0.0f ? 0 : cell >= 1023.0f ? 1023 : static_cast<std::size_t>(cell)] += 1.0;
    }
    for (UInt32 bin = 0; bin < kBins; ++bin) {
        EXPECT_EQ(headroom.Count(0, bin), counts[bin]) << bin;
    }
}

TEST(AAHeadroomTest, OddSamplesAreCountedAtTheEnds) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    AAHeadroom headroom(1, kBins, -1.0f, 1.0f);
    Push(headroom, 0,
         {kInfinity, -kInfinity, std::numeric_limits<float>::quiet_NaN(), 1e30f, -1e30f, 1.0f});
    // 1.0 lies at the topmost edge.
    EXPECT_EQ(headroom.Count(0, 1023) + headroom.Count(0, 1022), 3.0);
    EXPECT_EQ(headroom.Count(0, 0), 3.0);
}

TEST(AAHeadroomTest, ThePlaceOfTheCutsDoesNotMatter) {
    std::vector<float> samples(3000);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = std::sin(0.01f * static_cast<float>(i));
    }
    AAHeadroom whole(1, kBins, -1.0f, 1.0f);
    Push(whole, 0, samples);
    AAHeadroom cut(1, kBins, -1.0f, 1.0f);
    for (UInt32 at = 0; at < 3000; at += 7) {
        cut.Update(0, samples.data() + at, std::min(7u, 3000 - at));
    }
    cut.Update(0, nullptr, 0);
    EXPECT_EQ(cut.GetNSamplesPerChannel(), 3000);
    for (UInt32 bin = 0; bin < kBins; ++bin) {
        EXPECT_EQ(cut.Count(0, bin), whole.Count(0, bin));
    }
}

TEST(AAHeadroomTest, ChannelZeroAloneCountsSamples) {
    AAHeadroom headroom(2, kBins, -1.0f, 1.0f);
    Push(headroom, 1, std::vector<float>(100, 0.5f));
    EXPECT_EQ(headroom.GetNSamplesPerChannel(), 0);
    Push(headroom, 0, std::vector<float>(30, 0.5f));
    EXPECT_EQ(headroom.GetNSamplesPerChannel(), 30);
    EXPECT_EQ(Total(headroom, 0), 30.0);
    EXPECT_EQ(Total(headroom, 1), 100.0);
}

TEST(AAHeadroomTest, InitializeKeepsTheHistogramAndForgetsTheNumberOfSamples) {
    AAHeadroom headroom(1, kBins, -1.0f, 1.0f);
    Push(headroom, 0, std::vector<float>(1000, -0.75f));
    EXPECT_EQ(headroom.Initialize(), 0);
    EXPECT_EQ(headroom.GetNSamplesPerChannel(), 0);
    EXPECT_EQ(Total(headroom, 0), 1000.0);
}

TEST(AAHeadroomTest, SilenceReachesTheMiddle) {
    AAHeadroom headroom(1, kBins, -1.0f, 1.0f);
    Push(headroom, 0, std::vector<float>(4096));
    // 0 lies 511 widths above -1. Bins 511 and 512 are taken in one step, after which the reached
    // edge is that of bin 510: one width below 0.
    EXPECT_NEAR(Find(headroom, 4096), 1.0f - kWidth, 1e-6);
}

TEST(AAHeadroomTest, BothTailsAreTakenInStep) {
    // 40000 samples: 10 make the 0.025%.
    for (const float loud : {-0.5f, 0.5f}) {
        for (const int count : {9, 10, 11}) {
            AAHeadroom headroom(1, kBins, -1.0f, 1.0f);
            std::vector<float> samples(40000, 0.1f);
            for (int i = 0; i < count; ++i) {
                samples[static_cast<std::size_t>(i) * 100] = loud + 0.3f * kWidth;
            }
            Push(headroom, 0, samples);
            // With 9, the search goes on to the many: at 0.1 above, 0.1 below on the negative side.
            const float reached = count < 10 ? 0.1f : 0.5f;
            EXPECT_NEAR(Find(headroom, 40000), 1.0f - reached, 3.0f * kWidth) << loud << count;
        }
    }
}

TEST(AAHeadroomTest, TheEdgeIsTwoBinsBelowWhereTheSearchStops) {
    for (const UInt32 bin : {0u, 1u, 2u, 3u, 100u, 400u}) {
        AAHeadroom headroom(1, kBins, -1.0f, 1.0f);
        // The middle of the bin.
        const float level = -1.0f + (static_cast<float>(bin) + 0.5f) * kWidth;
        Push(headroom, 0, std::vector<float>(1000, level));
        // The loop stops at bin + 1, which is `lo`: edge lo - 2, or edge 0.
        const float edge = bin < 1 ? -1.0f : -1.0f + static_cast<float>(bin - 1) * kWidth;
        EXPECT_NEAR(Find(headroom, 1000), 1.0f + edge, 1e-6) << bin;
    }
}

TEST(AAHeadroomTest, FullScaleLeavesNothing) {
    for (const float peak : {-1.0f, 1.0f, 3.0f, -3.0f}) {
        AAHeadroom headroom(1, kBins, -1.0f, 1.0f);
        Push(headroom, 0, std::vector<float>(1000, peak));
        EXPECT_NEAR(Find(headroom, 1000), 0.0f, kWidth) << peak;
    }
}

TEST(AAHeadroomTest, WithoutSamplesTheSearchStopsAtTheLowestEdge) {
    const AAHeadroom headroom(1, kBins, -1.0f, 1.0f);
    EXPECT_EQ(Find(headroom, 0), 0.0f);
    // More samples asked for than counted: the tails meet in the middle.
    EXPECT_NEAR(Find(headroom, 1000000), 1.0f - kWidth, 1e-6);
}

TEST(AAHeadroomTest, BoundsAreTruncatedToIntegers) {
    AAHeadroom headroom(1, 12, -1.9f, 1.9f); // edges from -1 to 1, a fifth apart
    Push(headroom, 0, {-0.9f, -0.7f});
    EXPECT_EQ(headroom.Count(0, 0), 1.0);
    EXPECT_EQ(headroom.Count(0, 1), 1.0);
}

} // namespace
} // namespace qel::core
