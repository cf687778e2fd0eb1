// Bins and weights of the critical bands against a computation of the tests' own in whole numbers,
// which no rounding can disturb, and by hand.

#include "loudness/soundcheck/CriticalBands.h"
#include "tests/loudness/soundcheck/ReferenceLoudness.h"

#include <gtest/gtest.h>

namespace qel::test {
namespace {

using core::CriticalBands;

CriticalBands BandsAt(unsigned rateHz) {
    // Whatever lies there is written over.
    CriticalBands bands;
    bands.fill({7, 9, 11.0f});
    core::ComputeCriticalBands(rateHz, bands);
    return bands;
}

void ExpectBins(const CriticalBands& bands, std::size_t band, unsigned start, unsigned end) {
    EXPECT_EQ(start, bands[band].startBin) << "band " << band;
    EXPECT_EQ(end, bands[band].endBin) << "band " << band;
}

void ExpectDropped(const CriticalBands& bands, std::size_t band) {
    ExpectBins(bands, band, 0, 0);
    EXPECT_EQ(0.0f, bands[band].weight) << "band " << band;
}

// 3.64 * 1 - 6.5 * exp(-0.6 * 2.3^2) + 0.001 = 3.369066526 dB at 1 kHz, and so on; worked out with
// sixteen digits. A half unit in the last place of a float is less than 6e-8 of it.
TEST(LoudnessBandsTest, WeightsAreThresholdsOfHearing) {
    const CriticalBands bands = BandsAt(44100);
    const struct {
        std::size_t band;
        double weight;
    } expected[] = {{0, 0.0001005516701976283},
                    {8, 0.46035551192558516},
                    {16, 3.1332942179503926},
                    {21, 0.2584006943515432},
                    {24, 3.2150040869321835e-15}};
    for (const auto& [band, weight] : expected) {
        EXPECT_NEAR(weight, static_cast<double>(bands[band].weight), 6e-8 * weight);
    }
}

TEST(LoudnessBandsTest, BinsLieWhereTheEdgesAre) {
    const CriticalBands at44 = BandsAt(44100);
    ExpectBins(at44, 0, 0, 2);      // 100 Hz: 2.32
    ExpectBins(at44, 1, 2, 5);      // 200 Hz: 4.64
    ExpectBins(at44, 8, 21, 25);    // 920 and 1080 Hz: 21.36 and 25.08
    ExpectBins(at44, 23, 279, 360); // 12000 and 15500 Hz: 278.64 and 359.91
    ExpectBins(at44, 24, 360, 512); // 22050 Hz: 512
    const CriticalBands at48 = BandsAt(48000);
    ExpectBins(at48, 24, 331, 470); // 330.67 and 470.4
    const CriticalBands at96 = BandsAt(96000);
    ExpectBins(at96, 1, 1, 2);      // 1.07 and 2.13
    ExpectBins(at96, 24, 165, 235); // 165.33 and 235.2
}

TEST(LoudnessBandsTest, BandsBeyondHalfTheRateAreDropped) {
    const CriticalBands at32 = BandsAt(32000);
    ExpectBins(at32, 22, 304, 384); // exactly
    ExpectBins(at32, 23, 384, 496); // exactly
    ExpectDropped(at32, 24);
    const CriticalBands at22 = BandsAt(22050);
    ExpectBins(at22, 21, 358, 441); // 357.59 and 441.18
    for (const std::size_t band : {22u, 23u, 24u}) {
        ExpectDropped(at22, band);
    }
}

// Half of an odd rate is rounded down.
TEST(LoudnessBandsTest, ABandExistsIfItsEdgeIsHalfTheRate) {
    EXPECT_EQ(512, BandsAt(44101)[24].endBin);
    ExpectDropped(BandsAt(44099), 24);
    EXPECT_EQ(512, BandsAt(31000)[23].endBin);
    ExpectDropped(BandsAt(30999), 23);
    EXPECT_EQ(512, BandsAt(200)[0].endBin);
    ExpectDropped(BandsAt(199), 0);
}

// At 40960 Hz bins lie 40 Hz apart: 100 Hz is 2.5 and 300 Hz is 7.5.
TEST(LoudnessBandsTest, AnEdgeHalfwayBetweenTwoBinsBelongsToTheUpper) {
    const CriticalBands bands = BandsAt(40960);
    ExpectBins(bands, 0, 0, 3);
    ExpectBins(bands, 1, 3, 5);
    ExpectBins(bands, 2, 5, 8);
}

TEST(LoudnessBandsTest, EveryRateAgreesWithAComputationInWholeNumbers) {
    for (unsigned rateHz = 1; rateHz < 400000; rateHz += 37) {
        const CriticalBands bands = BandsAt(rateHz);
        const std::vector<ReferenceBand> expected = ReferenceBands(rateHz);
        for (std::size_t b = 0; b < bands.size(); ++b) {
            ASSERT_EQ(expected[b].startBin, bands[b].startBin) << rateHz << " Hz, band " << b;
            ASSERT_EQ(expected[b].endBin, bands[b].endBin) << rateHz << " Hz, band " << b;
            ASSERT_EQ(static_cast<float>(expected[b].weight), bands[b].weight)
                << rateHz << " Hz, band " << b;
        }
    }
}

} // namespace
} // namespace qel::test
