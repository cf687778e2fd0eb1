#include "tools/qel/Options.h"

#include "output/formats/Strength.h"
#include "tools/qel/ToolError.h"

#include <gtest/gtest.h>

namespace qel::tool {
namespace {

TEST(OptionsTest, AParameterIsANameAndANumber) {
    EXPECT_EQ(ParseParameter("Min BPM=60"), output::Parameter("Min BPM", 60.0f));
    EXPECT_EQ(ParseParameter("x=-1.5e-3"), output::Parameter("x", -1.5e-3f));
}

TEST(OptionsTest, MalformedParametersAreRefused) {
    for (const char* text :
         {"", "Min BPM", "=60", "Min BPM=", "Min BPM=6o", "Min BPM= 60", "Min BPM=60 ",
          "Min BPM=nan", "Min BPM=inf", "Min BPM=1e99", "Min BPM=1,5", "Min BPM=60=70"}) {
        EXPECT_THROW(ParseParameter(text), UsageError) << text;
    }
}

TEST(OptionsTest, AStrengthIsANumberOfZeroOrAbove) {
    EXPECT_EQ(ParseStrength("0"), 0.0f);
    EXPECT_EQ(ParseStrength("0.25"), 0.25f);
    EXPECT_EQ(ParseStrength("1e1"), 10.0f);
}

TEST(OptionsTest, WhatIsNoStrengthIsRefused) {
    for (const char* text : {"", "-0.1", "-1", "nan", "inf", "1e99", "0,5", "0.5x", " 1", "x"}) {
        EXPECT_THROW(ParseStrength(text), UsageError) << text;
    }
}

// 0.7 as a float lies below 0.7 as a double: what reads 0.7 is not weaker than 0.7.
TEST(OptionsTest, AnEventOfJustTheStrengthThatWasAskedForStays) {
    EXPECT_TRUE(output::IsStrong({0, 0.7f}, ParseStrength("0.7")));
}

TEST(OptionsTest, NothingIsWeakerThanTheDefault) {
    const float least = ParseStrength(AnalyzeOptions().minStrength);
    EXPECT_TRUE(output::IsStrong({0, 0.0f}, least));
    EXPECT_TRUE(output::IsStrong({0, -0.0f}, least));
}

} // namespace
} // namespace qel::tool
