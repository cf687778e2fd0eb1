#include "page/TempoCurve.h"

#include <gtest/gtest.h>

namespace qel::page {
namespace {

TEST(TempoCurveTest, EvenBeatsHaveOneTempo) {
    const std::vector<double> beats{1, 1.5, 2, 2.5, 3, 3.5};
    EXPECT_EQ(TempoOfBeats(beats), std::vector<float>(6, 120.0f));
}

TEST(TempoCurveTest, AloneABeatHasNoTempo) {
    EXPECT_EQ(TempoOfBeats(std::vector<double>{7}), std::vector<float>{0.0f});
    EXPECT_TRUE(TempoOfBeats(std::vector<double>{}).empty());
}

// Four beats of 0.5 s, then of 1 s: at the change two of each, 3 s for four beats.
TEST(TempoCurveTest, AChangeIsSeenOverFourBeats) {
    const std::vector<double> beats{0, 0.5, 1, 1.5, 2, 3, 4, 5, 6};
    const std::vector<float> tempi = TempoOfBeats(beats);
    EXPECT_FLOAT_EQ(tempi[2], 120);
    EXPECT_FLOAT_EQ(tempi[4], 80);
    EXPECT_FLOAT_EQ(tempi[6], 60);
}

} // namespace
} // namespace qel::page
