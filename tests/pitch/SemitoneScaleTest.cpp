#include "pitch/SemitoneScale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qel::core {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(SemitoneScaleTest, SemitonesCountFromMiddleC) {
    EXPECT_EQ(FreqToChroma(261.6256f), 0);
    EXPECT_EQ(FreqToChroma(440), 9); // A is nine semitones above
    EXPECT_EQ(FreqToChroma(27.5f), -39);
    EXPECT_EQ(FreqToChroma(4186.009f), 48);
}

TEST(SemitoneScaleTest, FrequenciesRoundToTheNearestSemitone) {
    // 0.49 and 0.51 semitones away.
    EXPECT_EQ(FreqToChroma(440 * std::exp2(0.49f / 12)), 9);
    EXPECT_EQ(FreqToChroma(440 * std::exp2(0.51f / 12)), 10);
    EXPECT_EQ(FreqToChroma(440 * std::exp2(-0.51f / 12)), 8);
}

TEST(SemitoneScaleTest, FrequencyOfASemitoneIsEqualTempered) {
    for (int semitone = -67; semitone <= 77; ++semitone) {
        const double expected = 261.6256 * std::exp2(semitone / 12.0);
        // The quotient by 12 carries an error of 2^-24 of up to 6.5 octaves into the exponent.
        EXPECT_NEAR(ChromaToFreq(static_cast<float>(semitone)), expected, expected * 1e-6);
        EXPECT_EQ(FreqToChroma(ChromaToFreq(static_cast<float>(semitone))), semitone);
    }
}

TEST(SemitoneScaleTest, WithoutAFrequencyThereIsNoSemitone) {
    EXPECT_EQ(FreqToChroma(0), -kInfinity);
    EXPECT_EQ(FreqToChroma(kInfinity), kInfinity);
    EXPECT_TRUE(std::isnan(FreqToChroma(-1)));
    EXPECT_TRUE(std::isnan(FreqToChroma(kNaN)));
}

} // namespace
} // namespace qel::core
