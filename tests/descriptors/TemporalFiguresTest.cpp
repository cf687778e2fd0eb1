// "temporal properties": figures of each pushed block, whatever the frames are.

#include "tests/descriptors/DescriptorAssertions.h"
#include "tests/harness/TestSignals.h"

#include <numbers>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

// The only row of one push of one channel.
std::vector<float> RowOf(const Audio& audio) {
    TestAnalyzer analyzer({kTemporal}, StreamSetup{kRate, 1, 8192, 0});
    EXPECT_EQ(0, analyzer.Push(audio));
    return analyzer.Rows(kTemporal).at(0);
}

TEST(TemporalFiguresTest, SineCrossesZeroTwiceAPeriodAndHasRmsOfItsPeakOverRootTwo) {
    // 100 whole periods of 44.1 samples, begun between two samples so that none is exactly 0.
    constexpr std::size_t kFrames = 4410;
    Audio audio(1, std::vector<float>(kFrames));
    for (std::size_t i = 0; i < kFrames; ++i) {
        const double turns = 1000.0 * (static_cast<double>(i) + 0.25) / kRate;
        audio[0][i] = static_cast<float>(0.8 * std::sin(2.0 * std::numbers::pi * turns));
    }
    const std::vector<float> row = RowOf(audio);
    // 200 sign changes in 100 periods, but the last one lies at the block's own end.
    EXPECT_FLOAT_EQ(199.0f / kFrames, row[temporal::Crossings]);
    EXPECT_NEAR(0.8 / std::numbers::sqrt2, row[temporal::Rms],
                1e-5); // a single-precision sum of 4410
}

TEST(TemporalFiguresTest, ConstantNeverCrossesZeroAndHasRmsOfItsSize) {
    const std::vector<float> row = RowOf(Constant(-0.25f, 1, 1024));
    EXPECT_EQ(0.0f, row[temporal::Crossings]);
    EXPECT_FLOAT_EQ(0.25f, row[temporal::Rms]);
}

TEST(TemporalFiguresTest, AlternatingSignsCrossBetweenAllNeighbours) {
    const std::vector<float> row = RowOf({{0.5f, -0.5f, 0.5f, -0.5f}});
    EXPECT_FLOAT_EQ(3.0f / 4.0f, row[temporal::Crossings]);
    EXPECT_FLOAT_EQ(0.5f, row[temporal::Rms]);
}

TEST(TemporalFiguresTest, ASampleOfExactlyZeroCountsAsPositive) {
    EXPECT_FLOAT_EQ(0.0f, RowOf({{1.0f, 0.0f, 1.0f, 0.0f}})[temporal::Crossings]);
    EXPECT_FLOAT_EQ(3.0f / 4.0f, RowOf({{-1.0f, 0.0f, -1.0f, 0.0f}})[temporal::Crossings]);
    EXPECT_FLOAT_EQ(0.0f, RowOf({{0.0f, 0.0f, 0.0f, 0.0f}})[temporal::Crossings]);
    EXPECT_FLOAT_EQ(1.0f / 4.0f, RowOf({{1.0f, 0.0f, 0.0f, -1.0f}})[temporal::Crossings]);
}

TEST(TemporalFiguresTest, EnvelopeTakesOneStepPerPushFromZeroState) {
    TestAnalyzer analyzer({kTemporal}, StreamSetup{kRate, 1, 4096, 0});
    analyzer.PushInBlocks(Constant(0.5f, 1, 640), 64);
    const std::vector<std::vector<float>> rows = analyzer.Rows(kTemporal);
    ASSERT_EQ(10u, rows.size());
    // The impulse response begins with b0, b1 - a1 b0: closed forms of the first two steps.
    constexpr double b0 = 6.084133929107338e-06;
    constexpr double b1 = 1.8252401787322015e-05;
    constexpr double a1 = -2.926084280014038;
    EXPECT_NEAR(0.5 * b0, rows[0][temporal::Envelope], 1e-6 * b0);
    EXPECT_NEAR(0.5 * b0 + 0.5 * (b1 - a1 * b0), rows[1][temporal::Envelope], 1e-6 * b1);
    for (std::size_t i = 1; i < rows.size(); ++i) {
        EXPECT_GT(rows[i][temporal::Envelope], rows[i - 1][temporal::Envelope]);
    }
}

TEST(TemporalFiguresTest, EnvelopeSettlesNearTheRmsOfASteadySound) {
    TestAnalyzer analyzer({kTemporal}, StreamSetup{kRate, 1, 4096, 0});
    analyzer.PushInBlocks(Constant(0.5f, 1, 16000), 8);
    // The gain at rest is the sum of b over the sum of a. The latter cancels to 4.88e-5, and what
    // is left of the tables' single precision makes 0.99707 of it. Rounding of the filter's state
    // is divided by the same small sum: thousandths.
    EXPECT_NEAR(0.5 * 0.99707, analyzer.Rows(kTemporal).back()[temporal::Envelope], 0.002);
}

TEST(TemporalFiguresTest, EnvelopeStartsFromZeroStateAfterAReset) {
    TestAnalyzer analyzer({kTemporal}, StreamSetup{kRate, 1, 4096, 0});
    analyzer.PushInBlocks(Noise(0.5f, 1, 4096, 3), 64);
    ASSERT_EQ(0, analyzer.Reset());
    analyzer.Forget();
    ASSERT_EQ(0, analyzer.Push(Constant(1.0f, 1, 64)));
    EXPECT_FLOAT_EQ(6.084133929107338e-06f, analyzer.Rows(kTemporal)[0][temporal::Envelope]);
}

TEST(TemporalFiguresTest, EmptyPushHasNoCrossingRateAndAnRmsOfZero) {
    TestAnalyzer analyzer({kTemporal}, StreamSetup{kRate, 2, 4096, 0});
    ASSERT_EQ(0, analyzer.Push(Silence(2, 1), 0, 0));
    ASSERT_EQ(1u, analyzer.Deliveries().size());
    for (std::size_t c = 0; c < 2; ++c) {
        const std::vector<float> row = analyzer.Rows(kTemporal, c).at(0);
        EXPECT_TRUE(std::isnan(row[temporal::Crossings]));
        EXPECT_EQ(0.0f, row[temporal::Rms]);
        EXPECT_EQ(0.0f, row[temporal::Envelope]);
    }
}

TEST(TemporalFiguresTest, EmptyPushIsOneStepOfTheEnvelopeWithInputZeroAndSpoilsNothing) {
    const Audio audio = Noise(0.5f, 1, 640, 5);
    TestAnalyzer analyzer({kTemporal}, StreamSetup{kRate, 1, 4096, 0});
    EnvelopeFilter envelope;
    for (std::size_t block = 0; block < 10; ++block) {
        const UInt32 frames = block == 4 || block == 7 ? 0 : 64;
        ASSERT_EQ(0, analyzer.Push(audio, 64 * block, frames));
        const std::vector<float> row = analyzer.Rows(kTemporal).back();
        const double expected = envelope.Step(frames == 0 ? 0.0f : row[temporal::Rms]);
        EXPECT_NEAR(expected, row[temporal::Envelope], 1e-6 * expected) << "push " << block;
        EXPECT_EQ(frames == 0, std::isnan(row[temporal::Crossings]));
    }
}

TEST(TemporalFiguresTest, ValuesFollowThePushesAndNotTheFrames) {
    const Audio audio = Joined(Constant(0.5f, 1, 100), Silence(1, 100));
    TestAnalyzer halves({kTemporal}, StreamSetup{kRate, 1, 4096, 0});
    halves.PushInBlocks(audio, 100);
    EXPECT_FLOAT_EQ(0.5f, halves.Rows(kTemporal)[0][temporal::Rms]);
    EXPECT_EQ(0.0f, halves.Rows(kTemporal)[1][temporal::Rms]);
    EXPECT_FLOAT_EQ(std::sqrt(0.125f), RowOf(audio)[temporal::Rms]);
}

} // namespace
} // namespace qel::test
