#include "readings/rhythm/BandLevels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

namespace qel::readings {
namespace {

// The pairs of a frame of "spectrum" with one bin, of a magnitude.
std::vector<float> frameOf(std::size_t bin, float magnitude) {
    std::vector<float> pairs(1024);
    pairs[2 * bin] = 0.6f * magnitude;
    pairs[2 * bin + 1] = bin == 0 ? 0 : -0.8f * magnitude;
    return pairs;
}

TEST(BandLevelsTest, BandsGrowFrom30HzByEqualRatios) {
    for (const double rateHz : {44100.0, 48000.0, 48500.0}) {
        const BandLevels levels(rateHz);
        const double binHz = rateHz / 1024;
        EXPECT_LE(levels.bands(), 36u);
        EXPECT_GE(levels.bands(), 25u);
        const double ratio = std::pow(16000 / 30.0, 1 / 37.0);
        for (std::size_t b = 1; b < levels.bands(); ++b) {
            const double step = levels.centreHz(b) - levels.centreHz(b - 1);
            EXPECT_GE(step, 0.99 * binHz) << b;
            if (levels.centreHz(b) > 1000) {
                EXPECT_NEAR(levels.centreHz(b) / levels.centreHz(b - 1), ratio, 0.05) << b;
            }
        }
        EXPECT_LT(levels.centreHz(0), 100);
        EXPECT_NEAR(levels.centreHz(levels.bands() - 1), 16000 / ratio, binHz);
    }
}

TEST(BandLevelsTest, ABinCountsInTheBandWhoseTopItIsWithItsMagnitude) {
    BandLevels levels(44100);
    for (std::size_t b = 0; b < levels.bands(); ++b) {
        const auto bin = static_cast<std::size_t>(std::lround(levels.centreHz(b) * 1024 / 44100));
        levels.reset();
        levels.add(frameOf(bin, 100));
        EXPECT_NEAR(levels.frame(0)[b], 100, 1e-3) << b;
    }
}

// The window of "spectrum" spreads a sine over three bins: 0.5, 1 and 0.5 of its magnitude.
TEST(BandLevelsTest, TheAmplitudeOfASineIsItsOwn) {
    std::vector<float> pairs(1024);
    pairs[2 * 99] = -0.25f * 512;
    pairs[2 * 100] = 0.5f * 512;
    pairs[2 * 101 + 1] = 0.25f * 512;
    BandLevels levels(44100);
    levels.add(pairs);
    EXPECT_NEAR(levels.amplitudes()[0], 0.5, 1e-6);
}

// The second number of the first pair is not the imaginary part of DC.
TEST(BandLevelsTest, TheFirstPairCountsByItsRealPart) {
    std::vector<float> pairs(1024);
    pairs[1] = 1000;
    BandLevels levels(44100);
    levels.add(pairs);
    EXPECT_EQ(levels.amplitudes()[0], 0);
}

TEST(BandLevelsTest, FramesAreKeptOneAfterTheOther) {
    BandLevels levels(44100);
    levels.add(frameOf(100, 8));
    levels.add(frameOf(100, 2));
    ASSERT_EQ(levels.frames(), 2u);
    for (std::size_t b = 0; b < levels.bands(); ++b) {
        EXPECT_FLOAT_EQ(levels.frame(0)[b], 4 * levels.frame(1)[b]) << b;
    }
    levels.reset();
    EXPECT_EQ(levels.frames(), 0u);
}

} // namespace
} // namespace qel::readings
