#include "loudness/soundcheck/CriticalBands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace qel::core {
namespace {

CriticalBands At(UInt32 sampleRate) {
    CriticalBands bands;
    bands.fill({7, 7, 7.0f}); // what nobody may leave there
    ComputeCriticalBands(sampleRate, bands);
    return bands;
}

// How many bands stand; they must tile the spectrum from bin 0, with nothing after them.
std::size_t Standing(const CriticalBands& bands) {
    std::size_t count = 0;
    while (count < bands.size() && bands[count].weight > 0.0f) {
        EXPECT_EQ(count == 0 ? 0 : bands[count - 1].endBin, bands[count].startBin) << count;
        EXPECT_LE(bands[count].startBin, bands[count].endBin) << count;
        ++count;
    }
    for (std::size_t b = count; b < bands.size(); ++b) {
        EXPECT_EQ(0, bands[b].startBin) << b;
        EXPECT_EQ(0, bands[b].endBin) << b;
        EXPECT_EQ(0.0f, bands[b].weight) << b;
    }
    return count;
}

TEST(CriticalBandsTest, AllBandsStandAt44100And48000) {
    EXPECT_EQ(25u, Standing(At(44100)));
    EXPECT_EQ(512, At(44100)[24].endBin); // 22050 Hz is half the rate
    EXPECT_EQ(25u, Standing(At(48000)));
    EXPECT_EQ(470, At(48000)[24].endBin); // 22050 * 1024 / 48000 = 470.4
}

TEST(CriticalBandsTest, BandsThatReachBeyondHalfTheRateDropOut) {
    EXPECT_EQ(24u, Standing(At(32000))); // 15500 Hz is the last edge below 16000 Hz
    EXPECT_EQ(496, At(32000)[23].endBin);
    EXPECT_EQ(17u, Standing(At(8000)));  // 3700 Hz
    EXPECT_EQ(24u, Standing(At(44099))); // half of it is 22049 in whole numbers
}

TEST(CriticalBandsTest, NothingAbove22050HertzIsCountedAtHighRates) {
    const CriticalBands bands = At(96000);
    EXPECT_EQ(25u, Standing(bands));
    EXPECT_EQ(235, bands[24].endBin); // 22050 * 1024 / 96000 = 235.2
}

TEST(CriticalBandsTest, EdgesAreRoundedToTheNearestBin) {
    const CriticalBands bands = At(44100);
    EXPECT_EQ(2, bands[0].endBin);  // 100 * 1024 / 44100 = 2.32
    EXPECT_EQ(5, bands[1].endBin);  // 4.64
    EXPECT_EQ(7, bands[2].endBin);  // 6.97
    EXPECT_EQ(12, bands[4].endBin); // 510 Hz: 11.84
}

TEST(CriticalBandsTest, RatesAtTheEndsGiveFewBandsOrEmptyOnes) {
    for (const UInt32 rate : {0u, 1u, 199u}) {
        EXPECT_EQ(0u, Standing(At(rate))) << rate;
    }
    EXPECT_EQ(1u, Standing(At(200)));
    EXPECT_EQ(512, At(200)[0].endBin);
    const CriticalBands bands = At(std::numeric_limits<UInt32>::max());
    EXPECT_EQ(25u, Standing(bands));
    EXPECT_EQ(0, bands[24].endBin);
}

TEST(CriticalBandsTest, NoRateLeadsBeyondTheSpectrum) {
    for (UInt32 rate = 0; rate <= 100000; ++rate) {
        CriticalBands bands;
        ComputeCriticalBands(rate, bands);
        for (const CriticalBand& band : bands) {
            ASSERT_LE(band.endBin, 512) << rate;
        }
    }
}

TEST(CriticalBandsTest, TheWeightIsTheInverseOfTheThresholdOfHearing) {
    const CriticalBands bands = At(44100);
    // At 1 kHz every power of the frequency is 1.
    const double threshold = 3.64 - 6.5 * std::exp(-0.6 * 2.3 * 2.3) + 0.001;
    // One rounding to single precision.
    EXPECT_NEAR(std::pow(10.0, -threshold / 10.0), bands[8].weight, 1e-7);
    const auto most = std::max_element(
        bands.begin(), bands.end(),
        [](const CriticalBand& a, const CriticalBand& b) { return a.weight < b.weight; });
    EXPECT_EQ(16, most - bands.begin()); // 3400 Hz: the ear is most sensitive near 3.3 kHz
}

} // namespace
} // namespace qel::core
