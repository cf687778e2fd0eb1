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

TEST(HistogramPropertiesTest, OneDeliveryPerFrameWithOneBlockOf8BytesPerChannel) {
    TestAnalyzer analyzer({kHistogram}, StreamSetup{kRate, 2, 4096, 0});
    ASSERT_EQ(0, analyzer.Push(Noise(0.5f, 2, 1536, 1)));
    ASSERT_EQ(2u, analyzer.Deliveries().size());
    for (const Delivery& delivery : analyzer.Deliveries()) {
        EXPECT_EQ(kHistogram, delivery.key);
        ASSERT_EQ(2u, delivery.blocks.size());
        EXPECT_EQ(8u, delivery.blocks[1].size());
    }
}

TEST(HistogramPropertiesTest, AFlatSpectrumHasAllCountsInTheFirstBin) {
    ExpectAllCountsInOneBin(FirstRow(Silence(1, kFrameSize)));
}

// The 1 that is added to the range makes a bin at least 1/40 wide: a quiet impulse, whose bin 0
// stands out by 41%, does not reach the second bin.
TEST(HistogramPropertiesTest, AQuietSoundHasAllCountsInTheFirstBinToo) {
    ExpectAllCountsInOneBin(FirstRow(Impulses(kFrameSize, {{512, 0.01f}})));
}

TEST(HistogramPropertiesTest, ALoudImpulsePutsBin0ApartFromTheOthers) {
    // Magnitudes 2000 and, in bin 0 alone, 2828: the range 828 + 1 puts 511 counts into the first
    // bin and one into the last.
    const std::vector<float> row = FirstRow(Impulses(kFrameSize, {{512, 1000.0f}}));
    std::array<double, 40> counts{};
    counts[0] = 511.0;
    counts[39] = 1.0;
    ExpectRow(MomentsOfCounts(counts), row, kTolerance);
}

TEST(HistogramPropertiesTest, TheFiguresOfAFlatSpectrumAreTheSameFromFrameToFrame) {
    TestAnalyzer analyzer({kHistogram}, StreamSetup{kRate, 1, 4096, 0});
    ASSERT_EQ(0, analyzer.Push(Silence(1, 4096)));
    const std::vector<std::vector<float>> rows = analyzer.Rows(kHistogram);
    ASSERT_EQ(7u, rows.size());
    for (const std::vector<float>& row : rows) {
        EXPECT_EQ(rows[0], row);
        EXPECT_GT(row[histogram::Kurtosis], 0.0f);
        EXPECT_GT(row[histogram::Skewness], 0.0f);
    }
}

} // namespace
} // namespace qel::test
