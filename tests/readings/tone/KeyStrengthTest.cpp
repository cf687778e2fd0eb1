#include "readings/tone/KeyStrength.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>

namespace qel::readings {
namespace {

// The classes of C major, its triad more than the rest.
constexpr PitchClasses::Chroma kScale{4, 0, 2, 0, 3, 2, 0, 4, 0, 2, 0, 1};

KeyEvidence clearEvidence() {
    return {.correlation = 0.9, .lead = 0.3, .seconds = 60, .agreement = 0.95, .chroma = kScale};
}

TEST(KeyStrengthTest, ClearEvidenceIsNearlyCertain) {
    EXPECT_GT(keyStrength(clearEvidence()), 0.97f);
    EXPECT_LE(keyStrength(clearEvidence()), 1.0f);
}

TEST(KeyStrengthTest, FiguresOfOneClassAndOfEqualClassesAreClosedForms) {
    KeyEvidence evidence{
        .correlation = 0.5, .lead = 0.25, .seconds = 1e-9, .agreement = -0.75, .chroma = {3}};
    auto [correlation, lead, logSeconds, missing, agreement, logContrast] = keyFigures(evidence);
    EXPECT_EQ(correlation, 0.5);
    EXPECT_EQ(lead, 0.25);
    EXPECT_DOUBLE_EQ(logSeconds, std::log(0.05));
    EXPECT_NEAR(missing, 6, 1e-12); // of seven, one is there
    EXPECT_EQ(agreement, -0.75);
    EXPECT_NEAR(logContrast, std::log(std::sqrt(11.0) + 0.05),
                1e-12); // the spread of 1 and 11 zeros
    evidence.seconds = 1e9;
    evidence.chroma.fill(2);
    const auto even = keyFigures(evidence);
    EXPECT_DOUBLE_EQ(even[2], std::log(20.0));
    EXPECT_EQ(even[3], 0); // twelve classes: none is missing
    EXPECT_DOUBLE_EQ(even[5], std::log(0.05));
}

TEST(KeyStrengthTest, SilenceHasNoKey) {
    EXPECT_EQ(keyStrength({}), 0);
    KeyEvidence opposite = clearEvidence();
    opposite.correlation = -0.5;
    EXPECT_EQ(keyStrength(opposite), 0);
}

TEST(KeyStrengthTest, EvenClassesHaveNoKey) {
    KeyEvidence noise{.correlation = 0.3, .lead = 0.02, .seconds = 30, .agreement = 0.1};
    noise.chroma.fill(1);
    noise.chroma[0] = 1.02;
    EXPECT_EQ(keyStrength(noise), 0);
}

TEST(KeyStrengthTest, StrengthsBelowFifteenHundredthsAreNone) {
    bool hasNone = false;
    bool hasSome = false;
    KeyEvidence evidence = clearEvidence();
    for (evidence.correlation = 0.01; evidence.correlation < 1; evidence.correlation += 0.01) {
        const float strength = keyStrength(evidence);
        EXPECT_TRUE(strength == 0 || (strength >= 0.15f && strength <= 1));
        hasNone = hasNone || strength == 0;
        hasSome = hasSome || strength > 0;
    }
    EXPECT_TRUE(hasNone);
    EXPECT_TRUE(hasSome);
}

TEST(KeyStrengthTest, MoreOfEachKindOfEvidenceIsNeverWeaker) {
    KeyEvidence weak{
        .correlation = 0.7, .lead = 0.1, .seconds = 8, .agreement = 0.6, .chroma = kScale};
    const float before = keyStrength(weak);
    ASSERT_GT(before, 0.15f);
    ASSERT_LT(before, 0.97f);
    for (double KeyEvidence::*const kind :
         {&KeyEvidence::correlation, &KeyEvidence::lead, &KeyEvidence::agreement}) {
        KeyEvidence more = weak;
        more.*kind += 0.1;
        EXPECT_GT(keyStrength(more), before);
    }
    weak.seconds = 16;
    EXPECT_GT(keyStrength(weak), before);
}

TEST(KeyStrengthTest, BeyondTwentySecondsLengthTellsNoMore) {
    KeyEvidence evidence = clearEvidence();
    evidence.seconds = 20;
    const float at20 = keyStrength(evidence);
    evidence.seconds = 3600;
    EXPECT_EQ(keyStrength(evidence), at20);
}

TEST(KeyStrengthTest, ASingleClassIsWeakerThanAScale) {
    KeyEvidence tone = clearEvidence();
    tone.chroma = {};
    tone.chroma[9] = 1;
    EXPECT_LT(keyStrength(tone), keyStrength(clearEvidence()));
}

} // namespace
} // namespace qel::readings
