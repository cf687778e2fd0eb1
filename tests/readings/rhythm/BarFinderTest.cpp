#include "readings/rhythm/BarFinder.h"

#include <gtest/gtest.h>

namespace qel::readings::test {
namespace {

TEST(BarFinderTest, ABarOfTwoSecondsHasTheGreatestScoreOfItsLength) {
    EXPECT_EQ(BarFinder::lengthScore(2), 0);
    for (const double seconds : {0.5, 1.0, 1.9, 2.1, 3.0, 5.0}) {
        EXPECT_LT(BarFinder::lengthScore(seconds), 0) << seconds;
    }
}

TEST(BarFinderTest, TheScoreOfALengthFallsWithTheSquareOfItsOctaves) {
    const double octave = BarFinder::lengthScore(4);
    EXPECT_DOUBLE_EQ(BarFinder::lengthScore(1), octave);
    EXPECT_DOUBLE_EQ(BarFinder::lengthScore(8), 4 * octave);
    EXPECT_DOUBLE_EQ(BarFinder::lengthScore(0.25), 9 * octave);
}

} // namespace
} // namespace qel::readings::test
