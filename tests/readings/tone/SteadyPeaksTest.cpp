#include "readings/tone/SteadyPeaks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

namespace qel::readings {
namespace {

constexpr double kBinHz = 44100.0 / 4096;

// Its logarithm is a parabola, whose vertex is found exactly.
std::vector<float> bell(double place, double height = 100) {
    std::vector<float> magnitudes(2048);
    for (std::size_t k = 0; k < magnitudes.size(); ++k) {
        const double off = static_cast<double>(k) - place;
        magnitudes[k] = static_cast<float>(height * std::exp(-off * off));
    }
    return magnitudes;
}

TEST(SteadyPeaksTest, SilenceHasNoPeak) {
    SteadyPeaks peaks(kBinHz);
    EXPECT_TRUE(peaks.find(std::vector<float>(2048)).empty());
}

TEST(SteadyPeaksTest, APeakLiesBetweenTheBins) {
    for (double place = 19.55; place < 20.5; place += 0.1) {
        SteadyPeaks peaks(kBinHz);
        const auto found = peaks.find(bell(place));
        ASSERT_EQ(found.size(), 1u) << place;
        EXPECT_NEAR(found[0].hz, place * kBinHz, 1e-3 * kBinHz) << place;
    }
}

TEST(SteadyPeaksTest, APeakThatStaysCountsWithTheRootOfItsMagnitude) {
    SteadyPeaks peaks(kBinHz);
    EXPECT_NEAR(peaks.find(bell(20))[0].weight, 0.15 * 10, 1e-5);
    EXPECT_NEAR(peaks.find(bell(20))[0].weight, 10, 1e-5);
    EXPECT_NEAR(peaks.find(bell(20.15))[0].weight, 10, 0.2); // less than 0.2 bins away
    EXPECT_NEAR(peaks.find(bell(20.45))[0].weight, 0.15 * 10, 0.2);
}

// From 20.45 to 20.55 the greatest bin changes from 20 to 21.
TEST(SteadyPeaksTest, APeakMayStayThoughItsBinChanges) {
    SteadyPeaks peaks(kBinHz);
    peaks.find(bell(20.45));
    EXPECT_GT(peaks.find(bell(20.55))[0].weight, 8);
}

TEST(SteadyPeaksTest, AFrameWithoutThePeakEndsItsStay) {
    SteadyPeaks peaks(kBinHz);
    peaks.find(bell(20));
    peaks.find(std::vector<float>(2048));
    EXPECT_NEAR(peaks.find(bell(20))[0].weight, 1.5, 1e-5);
}

TEST(SteadyPeaksTest, AfterResetNothingWasThereBefore) {
    SteadyPeaks peaks(kBinHz);
    peaks.find(bell(20));
    peaks.reset();
    EXPECT_NEAR(peaks.find(bell(20))[0].weight, 1.5, 1e-5);
}

TEST(SteadyPeaksTest, PeaksFrom65To2000HzCount) {
    SteadyPeaks peaks(kBinHz);
    EXPECT_TRUE(peaks.find(bell(55 / kBinHz)).empty());
    EXPECT_EQ(peaks.find(bell(80 / kBinHz)).size(), 1u);
    EXPECT_EQ(peaks.find(bell(1980 / kBinHz)).size(), 1u);
    EXPECT_TRUE(peaks.find(bell(2050 / kBinHz)).empty());
}

// A sine of amplitude 1 has 2048.
TEST(SteadyPeaksTest, PeaksBelowMinus100DecibelsDoNotCount) {
    SteadyPeaks peaks(kBinHz);
    EXPECT_EQ(peaks.find(bell(20, 0.021)).size(), 1u);
    EXPECT_TRUE(peaks.find(bell(20, 0.019)).empty());
}

// At 768 kHz, 2000 Hz are 11 bins; at 8 kHz they are as many as a frame has.
TEST(SteadyPeaksTest, EveryBinWidthHasItsPeaks) {
    for (const double rateHz : {8000.0, 192000.0, 768000.0}) {
        SteadyPeaks peaks(rateHz / 4096);
        const double place = 1000 * 4096 / rateHz;
        const auto found = peaks.find(bell(place));
        ASSERT_EQ(found.size(), 1u) << rateHz;
        EXPECT_NEAR(found[0].hz, 1000, 1e-3 * rateHz / 4096) << rateHz;
    }
}

} // namespace
} // namespace qel::readings
