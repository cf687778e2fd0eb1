#include "readings/tone/PitchClasses.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numbers>

namespace qel::readings {
namespace {

double hzOf(double note) {
    return 440 * std::exp2((note - 69) / 12);
}

TEST(PitchClassesTest, NothingSoundsAtFirst) {
    const PitchClasses classes;
    EXPECT_EQ(classes.tuning(), 0);
    for (const double value : classes.chroma(0)) {
        EXPECT_EQ(value, 0);
    }
}

TEST(PitchClassesTest, AllOctavesOfANoteAreOneClass) {
    PitchClasses classes;
    for (const double note : {36.0, 48.0, 60.0, 72.0, 84.0}) {
        classes.add(hzOf(note), 2);
    }
    const PitchClasses::Chroma chroma = classes.chroma(0);
    EXPECT_DOUBLE_EQ(chroma[0], 10);
    for (std::size_t i = 1; i < chroma.size(); ++i) {
        EXPECT_EQ(chroma[i], 0) << i;
    }
}

TEST(PitchClassesTest, EachNoteHasItsClassCountedFromC) {
    for (int note = 24; note < 108; ++note) {
        PitchClasses classes;
        classes.add(hzOf(note), 1);
        EXPECT_DOUBLE_EQ(classes.chroma(0)[static_cast<std::size_t>(note % 12)], 1) << note;
    }
}

TEST(PitchClassesTest, TheTuningIsFoundInSteps) {
    for (int cents = -40; cents <= 40; cents += 10) {
        PitchClasses classes;
        for (const int note : {60, 64, 67}) {
            classes.add(hzOf(note + cents / 100.0), 1);
        }
        EXPECT_NEAR(classes.tuning(), cents / 100.0, 1e-9) << cents;
        const PitchClasses::Chroma chroma = classes.chroma(classes.tuning());
        EXPECT_NEAR(chroma[0], 1, 1e-9) << cents;
        EXPECT_NEAR(chroma[4], 1, 1e-9) << cents;
        EXPECT_NEAR(chroma[7], 1, 1e-9) << cents;
    }
}

// Directions a fifth of a turn apart on either side of zero: their sum points at zero.
TEST(PitchClassesTest, TuningsOnEitherSideOfANoteMeetAtIt) {
    PitchClasses classes;
    classes.add(hzOf(60.2), 1);
    classes.add(hzOf(63.8), 1);
    EXPECT_NEAR(classes.tuning(), 0, 1e-9);
}

TEST(PitchClassesTest, AStepOffTheTuningCountsByTheSquareOfACosine) {
    PitchClasses classes;
    classes.add(hzOf(62.3), 1);
    const double share = std::cos(0.3 * std::numbers::pi);
    EXPECT_NEAR(classes.chroma(0)[2], share * share, 1e-6);
}

TEST(PitchClassesTest, SumsAddStepByStep) {
    PitchClasses one;
    one.add(hzOf(61), 0.5f);
    PitchClasses other;
    other.add(hzOf(73), 0.25f);
    other.add(hzOf(69), 1);
    one.add(other);
    EXPECT_DOUBLE_EQ(one.chroma(0)[1], 0.75);
    EXPECT_DOUBLE_EQ(one.chroma(0)[9], 1);
}

} // namespace
} // namespace qel::readings
