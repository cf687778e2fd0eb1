// The way from the histograms to a cut-off and a noise floor, step by step.
#include "loudness/range/AAHistogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <utility>
#include <vector>

namespace qel::core {
namespace {

constexpr UInt32 kFrameSize = 1024;
constexpr UInt32 kBins = 513;
constexpr float kRateHz = 44100.0f;
constexpr double kHertzPerBin = 44100.0 / 1024.0;

// What the median of a level in the middle of a histogram bin becomes: the index is one below the
// bin of the median, and the level lies half a bin below that index's edge.
constexpr float kMedianOffset = -2.0f;

// All bins from `firstLow` up lie lower.
struct Step {
    UInt32 firstLow;
    float fallDecibels;
};

struct Estimate {
    bool cutoffFound = false;
    float cutoffHz = 0.0f;
    bool floorFound = false;
    float floor = 0.0f;
};

Estimate EstimateOf(AAHistogram& histogram, UInt32 frameSize = kFrameSize, float rateHz = kRateHz) {
    Estimate result;
    histogram.EstimateSpectralRange(frameSize, 1, rateHz, &result.cutoffFound, &result.cutoffHz,
                                    &result.floorFound, &result.floor);
    return result;
}

AAHistogram MakeHistogram(UInt32 bins = kBins) {
    AAHistogram histogram(1, bins, 200, -199.0f, -1.0f);
    histogram.IncrementNonZeroBlockCount(0);
    return histogram;
}

// Levels that stay as they are over the whole recording.
AAHistogram Steady(const std::vector<float>& spectrum) {
    AAHistogram histogram = MakeHistogram(static_cast<UInt32>(spectrum.size()));
    histogram.UpdateSpectrum(0, spectrum.data());
    return histogram;
}

std::vector<float> WithSteps(const std::vector<Step>& steps) {
    std::vector<float> spectrum(kBins, -60.5f);
    for (const Step& step : steps) {
        for (UInt32 k = step.firstLow; k < kBins; ++k) {
            spectrum[k] -= step.fallDecibels;
        }
    }
    return spectrum;
}

// By its definition: sorted by exchanging neighbours, the element at length / 2.
SInt32 BubbleMedian(std::vector<SInt32> values) {
    for (std::size_t pass = 0; pass < values.size(); ++pass) {
        for (std::size_t i = 0; i + 1 < values.size(); ++i) {
            if (values[i] > values[i + 1]) {
                std::swap(values[i], values[i + 1]);
            }
        }
    }
    return values[values.size() / 2];
}

TEST(AAHistogramRangeTest, TheIndexIsTheLastBeforeHalfIsReached) {
    const struct {
        std::vector<float> levels;
        SInt32 index;
    } cases[] = {
        {{}, 0},
        {{-100.5f}, 97},                         // all in bin 98
        {{-199.5f}, 0},                          // all in bin 0
        {{-100.5f, -90.5f}, 97},                 // half is reached in bin 98 exactly
        {{-100.5f, -90.5f, -80.5f}, 107},        // reached in bin 108
        {{-100.5f, 5.0f, 5.0f, 5.0f, 5.0f}, 97}, // the topmost bin takes no part
        {{5.0f, 5.0f}, 0},                       // so that nothing is left here
        {{-0.5f}, 197},                          // bin 198 does take part
    };
    for (const auto& one : cases) {
        AAHistogram histogram = MakeHistogram();
        for (UInt32 k = 0; k < kBins; ++k) {
            histogram.Update(0, k, one.levels.data(), static_cast<UInt32>(one.levels.size()));
        }
        EstimateOf(histogram);
        EXPECT_EQ(histogram.MedianIndex(0), std::vector<SInt32>(kBins, one.index));
        const float level = -199.0f + static_cast<float>(one.index) - 0.5f;
        EXPECT_EQ(histogram.MedianSpectrum(0), std::vector<float>(kBins, level));
    }
}

TEST(AAHistogramRangeTest, TheMedianOverFrequencyIsThatOfASort) {
    std::mt19937 random(11);
    std::uniform_int_distribution<int> cells(20, 180);
    for (const UInt32 bins : {513u, 30u, 25u, 24u, 13u, 12u, 2u, 1u}) {
        std::vector<float> spectrum(bins);
        for (float& level : spectrum) {
            level = -198.5f + static_cast<float>(cells(random));
        }
        AAHistogram histogram = Steady(spectrum);
        EstimateOf(histogram, (bins - 1) * 2);
        const std::vector<SInt32>& index = histogram.MedianIndex(0);
        for (UInt32 i = 0; i < bins; ++i) {
            const auto start = static_cast<std::ptrdiff_t>(i < 12 ? 0 : i - 12);
            const auto end = std::min(start + 25, static_cast<std::ptrdiff_t>(bins));
            const SInt32 median = BubbleMedian({index.begin() + start, index.begin() + end});
            EXPECT_EQ(histogram.MedianSpectrum(0)[i], -199.5f + static_cast<float>(median))
                << i << " of " << bins;
        }
    }
}

TEST(AAHistogramRangeTest, OneFrequencyBinWithoutALevelStaysBelowTheLowestEdge) {
    AAHistogram histogram = MakeHistogram(1);
    EXPECT_FALSE(EstimateOf(histogram, 0).cutoffFound);
    EXPECT_EQ(histogram.MedianSpectrum(0), std::vector<float>{-199.5f});
}

TEST(AAHistogramRangeTest, TheKernelsSumsStopAtItsEnds) {
    std::mt19937 random(12);
    std::uniform_int_distribution<int> cells(20, 180);
    for (const UInt32 bins : {513u, 34u, 17u, 5u, 1u}) {
        std::vector<float> spectrum(bins);
        for (float& level : spectrum) {
            level = -198.5f + static_cast<float>(cells(random));
        }
        AAHistogram histogram = Steady(spectrum);
        EstimateOf(histogram, (bins - 1) * 2);
        for (int i = 0; i < static_cast<int>(bins); ++i) {
            double sum = 0.0;
            double weights = 0.0;
            for (int k = std::max(i - 17, 0); k <= std::min(i + 17, static_cast<int>(bins) - 1);
                 ++k) {
                const double weight = std::sin((17.5 + k - i) * std::numbers::pi / 35.0);
                sum += weight * double{histogram.MedianSpectrum(0)[static_cast<UInt32>(k)]};
                weights += weight;
            }
            // 35 products of up to 200 in single precision.
            EXPECT_NEAR(histogram.SmoothedSpectrum(0)[static_cast<UInt32>(i)], sum / weights, 1e-3)
                << i << " of " << bins;
        }
    }
}

TEST(AAHistogramRangeTest, SlopesAreInDecibelsPerHertz) {
    AAHistogram histogram = Steady(WithSteps({{300, 40.0f}}));
    EstimateOf(histogram);
    const std::vector<float>& level = histogram.SmoothedSpectrum(0);
    for (UInt32 i = 0; i + 1 < kBins; ++i) {
        EXPECT_NEAR(histogram.Slope(0)[i], double{level[i + 1] - level[i]} / kHertzPerBin, 1e-7);
    }
    EXPECT_EQ(histogram.Slope(0)[kBins - 1], 0.0f);
    // The kernel's sum is 1 / sin(pi / 70), and its middle is 1.
    EXPECT_NEAR(histogram.Slope(0)[299], -40.0 * std::sin(std::numbers::pi / 70) / kHertzPerBin,
                1e-5);
}

TEST(AAHistogramRangeTest, ASteepStepIsACutoffOneBinBelow) {
    for (const UInt32 firstLow : {258u, 259u, 300u, 372u, 480u}) {
        AAHistogram histogram = Steady(WithSteps({{firstLow, 40.0f}}));
        const Estimate result = EstimateOf(histogram);
        EXPECT_TRUE(result.cutoffFound) << firstLow;
        EXPECT_NEAR(result.cutoffHz, (firstLow - 1) * kHertzPerBin, 1e-2) << firstLow;
    }
}

TEST(AAHistogramRangeTest, NothingIsSearchedInTheLowerHalf) {
    // 40 dB at bin 230: at 257, the last that is searched, the slope's kernel has let go of it.
    AAHistogram histogram = Steady(WithSteps({{230, 40.0f}}));
    const Estimate result = EstimateOf(histogram);
    EXPECT_FALSE(result.cutoffFound);
    EXPECT_EQ(result.cutoffHz, -1.0f);
}

TEST(AAHistogramRangeTest, ASmallStepIsNoCutoff) {
    // The steepest slope of a step of d dB is d sin(pi / 70) / 43.07 Hz; -0.005 is at 4.8 dB.
    AAHistogram gentle = Steady(WithSteps({{400, 4.0f}}));
    EXPECT_FALSE(EstimateOf(gentle).cutoffFound);
    AAHistogram steep = Steady(WithSteps({{400, 6.0f}}));
    EXPECT_TRUE(EstimateOf(steep).cutoffFound);
}

TEST(AAHistogramRangeTest, TheTopmostFallIsTaken) {
    AAHistogram histogram = Steady(WithSteps({{300, 60.0f}, {440, 20.0f}}));
    EXPECT_NEAR(EstimateOf(histogram).cutoffHz, 439 * kHertzPerBin, 1e-2);
}

TEST(AAHistogramRangeTest, TheFallIntoAPitIsACutoff) {
    // The pit is wider than the kernel, so that fall and rise do not meet.
    AAHistogram pit = Steady(WithSteps({{400, 40.0f}, {440, -40.0f}}));
    EXPECT_NEAR(EstimateOf(pit).cutoffHz, 399 * kHertzPerBin, 1e-2);
}

TEST(AAHistogramRangeTest, TheMeanAtTheTopmostPositionStopsAtTheLastSlope) {
    // Low from 505 up, as the median that becomes shorter at the top lets through from 510 up: the
    // slope falls all the way to the first bin of the search, 508.
    AAHistogram histogram = Steady(WithSteps({{505, 90.0f}}));
    const Estimate result = EstimateOf(histogram);
    ASSERT_EQ(histogram.MedianSpectrum(0)[509], -60.5f + kMedianOffset);
    ASSERT_EQ(histogram.MedianSpectrum(0)[510], -150.5f + kMedianOffset);
    const std::vector<float>& slope = histogram.Slope(0);
    ASSERT_LT(slope[508], -0.005f);
    ASSERT_GE(slope[507], slope[508]);
    double sum = 0.0;
    for (UInt32 i = 503; i < kBins; ++i) {
        sum += double{slope[i]};
    }
    const bool expected = sum / 11.0 < 0.8 * double{slope[508]};
    EXPECT_EQ(result.cutoffFound, expected);
    if (expected) {
        EXPECT_NEAR(result.cutoffHz, 508 * kHertzPerBin, 1e-2);
    }
}

TEST(AAHistogramRangeTest, TheNoiseFloorIsTheMeanOfTheLastTenBins) {
    AAHistogram flat = Steady(std::vector<float>(kBins, -80.5f));
    const Estimate result = EstimateOf(flat);
    EXPECT_TRUE(result.floorFound);
    EXPECT_NEAR(result.floor, -80.5f + kMedianOffset, 1e-4); // sums of ten in single precision
    EXPECT_FALSE(result.cutoffFound);

    AAHistogram fallen = Steady(WithSteps({{300, 40.0f}}));
    EXPECT_NEAR(EstimateOf(fallen).floor, -100.5f + kMedianOffset, 1e-4);
}

TEST(AAHistogramRangeTest, AFloorMayLieSixDecibelsAboveTheRest) {
    for (const float rise : {5.0f, 7.0f, 60.0f}) { // 6 itself is a matter of rounding
        AAHistogram histogram = Steady(WithSteps({{300, -rise}}));
        const Estimate result = EstimateOf(histogram);
        EXPECT_EQ(result.floorFound, rise < 6.0f) << rise;
        if (!result.floorFound) {
            EXPECT_EQ(result.floor, 0.0f);
        }
    }
}

TEST(AAHistogramRangeTest, OfFewBinsTheFloorIsTheMeanOfAll) {
    AAHistogram histogram = Steady(std::vector<float>(9, -60.5f));
    const Estimate result = EstimateOf(histogram, 16);
    EXPECT_TRUE(result.floorFound);
    EXPECT_NEAR(result.floor, -60.5f + kMedianOffset, 1e-4);
}

TEST(AAHistogramRangeTest, NothingIsFoundWithoutNonZeroBlocks) {
    AAHistogram histogram(1, kBins, 200, -199.0f, -1.0f);
    const Estimate nothing = EstimateOf(histogram);
    EXPECT_FALSE(nothing.cutoffFound);
    EXPECT_FALSE(nothing.floorFound);
    EXPECT_EQ(histogram.MedianIndex(0), std::vector<SInt32>(kBins));

    const std::vector<float> spectrum = WithSteps({{400, 40.0f}});
    histogram.UpdateSpectrum(0, spectrum.data());
    EXPECT_FALSE(EstimateOf(histogram).cutoffFound);
    EXPECT_FALSE(EstimateOf(histogram).floorFound);
    histogram.IncrementNonZeroBlockCount(0);
    EXPECT_TRUE(EstimateOf(histogram).cutoffFound);
    EXPECT_TRUE(EstimateOf(histogram).floorFound);
}

TEST(AAHistogramRangeTest, OddSampleRatesAreNoFault) {
    for (const float rateHz : {0.0f, -44100.0f, 1e-30f, 1e30f, INFINITY, NAN}) {
        AAHistogram histogram = Steady(WithSteps({{400, 40.0f}}));
        const Estimate result = EstimateOf(histogram, kFrameSize, rateHz);
        EXPECT_TRUE(result.floorFound) << rateHz; // which knows no frequencies
        if (!result.cutoffFound) {
            EXPECT_EQ(result.cutoffHz, -1.0f) << rateHz;
        }
    }
}

} // namespace
} // namespace qel::core
