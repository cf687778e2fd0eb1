// "spectrum histogram properties": moments of the 40 counts, not of the magnitudes.

#include "tests/descriptors/DescriptorAssertions.h"
#include "tests/harness/TestSignals.h"

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
// Whole counts go in; sums of 40 powers in single precision come out.
constexpr double kTolerance = 1e-5;

std::vector<float> FirstRow(const Audio& audio) {
    TestAnalyzer analyzer({kHistogram}, StreamSetup{kRate, 1, 4096, 0});
    EXPECT_EQ(0, analyzer.Push(audio));
    return analyzer.Rows(kHistogram).at(0);
}

// All 512 counts in one bin: the other 39 are below the mean of 12.8 by all of it.
void ExpectAllCountsInOneBin(const std::vector<float>& row) {
    const double high = 512.0 - 12.8;
    const double low = -12.8;
    const double s2 = high * high + 39.0 * low * low;
    const double s3 = high * high * high + 39.0 * low * low * low;
    const double s4 = std::pow(high, 4.0) + 39.0 * std::pow(low, 4.0);
    ASSERT_EQ(2u, row.size());
    EXPECT_NEAR(s4 / (s2 * s2), row[histogram::Kurtosis], kTolerance);
    EXPECT_NEAR(s3 / std::pow(s2, 1.5), row[histogram::Skewness], kTolerance);
}

// The 1 that is added to the range makes a bin at least 1/40 wide: a quiet impulse, whose bin 0
// stands out by 41%, does not reach the second bin.
TEST(HistogramFiguresTest, AQuietSoundHasAllCountsInTheFirstBinToo) {
    ExpectAllCountsInOneBin(FirstRow(Impulses(kFrameSize, {{512, 0.01f}})));
}

TEST(HistogramFiguresTest, ALoudImpulsePutsBin0ApartFromTheOthers) {
    // Magnitudes 2000 and, in bin 0 alone, 2828: the range 828 + 1 puts 511 counts into the first
    // bin and one into the last.
    const std::vector<float> row = FirstRow(Impulses(kFrameSize, {{512, 1000.0f}}));
    std::array<double, 40> counts{};
    counts[0] = 511.0;
    counts[39] = 1.0;
    ExpectRow(MomentsOfCounts(counts), row, kTolerance);
}

} // namespace
} // namespace qel::test
