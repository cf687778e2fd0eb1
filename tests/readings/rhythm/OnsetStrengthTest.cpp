#include "readings/rhythm/OnsetStrength.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

namespace qel::readings {
namespace {

constexpr double kRateHz = 44100;

// Magnitudes of all bins of a frame of "spectrum" alike, but `factor` times from one bin to
// another.
std::vector<float> flat(float magnitude, std::size_t first = 0, std::size_t end = 512,
                        float factor = 1) {
    std::vector<float> pairs(1024);
    for (std::size_t k = 0; k < 512; ++k) {
        pairs[2 * k] = magnitude * (k >= first && k < end ? factor : 1);
    }
    return pairs;
}

BandLevels levelsOf(const std::vector<std::vector<float>>& frames) {
    BandLevels levels(kRateHz);
    for (const std::vector<float>& frame : frames) {
        levels.add(frame);
    }
    return levels;
}

TEST(OnsetStrengthTest, ASteadySpectrumHasNone) {
    const BandLevels levels = levelsOf({flat(1), flat(1), flat(1)});
    const OnsetStrength strength(levels, 0.1f, {0, 3});
    EXPECT_EQ(strength.all(), std::vector<float>(3));
    EXPECT_EQ(strength.low(), std::vector<float>(3));
}

TEST(OnsetStrengthTest, TheFirstFrameOfAPartHasNone) {
    const BandLevels levels = levelsOf({flat(0), flat(5), flat(0), flat(5)});
    EXPECT_EQ(OnsetStrength(levels, 0.1f, {1, 4}).all()[0], 0);
    EXPECT_GT(OnsetStrength(levels, 0.1f, {1, 4}).all()[2], 0);
    EXPECT_EQ(OnsetStrength(levels, 0.1f, {1, 4}).all().size(), 3u);
}

TEST(OnsetStrengthTest, AFallIsNone) {
    const BandLevels levels = levelsOf({flat(5), flat(1)});
    EXPECT_EQ(OnsetStrength(levels, 0.1f, {0, 2}).all()[1], 0);
}

// Far above the floor, levels are decimal logarithms: ten times the magnitude is a rise of 1. The
// greatest of the neighbours before takes away what wider bands have more; so less than 1, and the
// same in every band but for that.
TEST(OnsetStrengthTest, TenTimesTheMagnitudeIsAboutARiseOfOneInAllBands) {
    const BandLevels levels = levelsOf({flat(100), flat(1000)});
    const OnsetStrength strength(levels, 0.33f, {0, 2});
    for (const auto* curve :
         {&strength.all(), &strength.low(), &strength.middle(), &strength.high()}) {
        EXPECT_GT((*curve)[1], 0.8f);
        EXPECT_LE((*curve)[1], 1.0f);
    }
}

// Bins 2 and 3 lie at 86 and 129 Hz, bins 20 to 30 between 0.8 and 1.3 kHz, bins 200 on above 8.6
// kHz.
TEST(OnsetStrengthTest, RisesCountInTheirPartOfTheSpectrum) {
    const BandLevels levels =
        levelsOf({flat(1), flat(1, 1, 3, 30), flat(1, 20, 30, 30), flat(1, 200, 300, 30)});
    const OnsetStrength strength(levels, 0.1f, {0, 4});
    EXPECT_GT(strength.low()[1], 0.2f);
    EXPECT_EQ(strength.high()[1], 0);
    EXPECT_EQ(strength.low()[2], 0);
    EXPECT_GT(strength.middle()[2], 0.1f);
    EXPECT_EQ(strength.high()[2], 0);
    EXPECT_EQ(strength.low()[3], 0);
    EXPECT_EQ(strength.middle()[3], 0);
    EXPECT_GT(strength.high()[3], 0.1f);
}

// A tone that glides from the top of a band to that of the next one does not begin.
TEST(OnsetStrengthTest, AToneThatGlidesToTheNextBandIsNoOnset) {
    const BandLevels shape(kRateHz);
    const std::size_t b = shape.bands() - 8;
    const auto binOf = [&](std::size_t band) {
        return static_cast<std::size_t>(std::lround(shape.centreHz(band) * 1024 / kRateHz));
    };
    std::vector<float> here(1024);
    here[2 * binOf(b)] = 100;
    std::vector<float> next(1024);
    next[2 * binOf(b + 1)] = 100;
    std::vector<float> far(1024);
    far[2 * binOf(b + 4)] = 100;
    const float glide = OnsetStrength(levelsOf({here, next}), 0.1f, {0, 2}).all()[1];
    const float leap = OnsetStrength(levelsOf({here, far}), 0.1f, {0, 2}).all()[1];
    EXPECT_GT(leap, 0.05f);
    EXPECT_LT(glide, 0.5f * leap);
}

TEST(OnsetStrengthTest, TheGainDoesNotMatter) {
    const BandLevels soft = levelsOf({flat(0.01f), flat(0.5f)});
    const BandLevels loud = levelsOf({flat(1), flat(50)});
    const float one = OnsetStrength(soft, 0.002f, {0, 2}).all()[1];
    const float other = OnsetStrength(loud, 0.2f, {0, 2}).all()[1];
    EXPECT_NEAR(one, other, 1e-5);
}

TEST(OnsetStrengthTest, MagnitudesAreAsLinearAsTheSpectrum) {
    const BandLevels levels = levelsOf({flat(0), flat(1), flat(3)});
    const OnsetStrength strength(levels, 0.1f, {0, 3});
    for (const std::vector<float>& part : strength.magnitudes()) {
        EXPECT_EQ(part[0], 0);
        EXPECT_GT(part[1], 0);
        EXPECT_NEAR(part[2], 3 * part[1], 1e-3f);
    }
}

TEST(OnsetStrengthTest, MagnitudesCountInTheirPartOfTheSpectrum) {
    std::vector<float> above(1024);
    above[2 * 250] = 7;
    const BandLevels levels = levelsOf({above});
    const OnsetStrength strength(levels, 0.1f, {0, 1});
    const auto& parts = strength.magnitudes();
    EXPECT_EQ(parts[0][0], 0);
    EXPECT_EQ(parts[1][0], 0);
    EXPECT_GT(parts[2][0], 0);
}

} // namespace
} // namespace qel::readings
