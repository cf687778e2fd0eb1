// "spectrum flux properties": from one frame to the next.

#include "tests/descriptors/DescriptorAssertions.h"
#include "tests/harness/TestSignals.h"

#include <numeric>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
// Sums of 512 magnitudes in single precision.
constexpr double kTolerance = 1e-5;

// The rows of "spectrum flux properties" and the delivered magnitudes of the same frames.
struct FluxRun {
    explicit FluxRun(const Audio& audio) {
        TestAnalyzer analyzer({kFlux, kSpectrum}, StreamSetup{kRate, 1, 8192, 0});
        EXPECT_EQ(0, analyzer.Push(audio));
        rows = analyzer.Rows(kFlux);
        for (const std::vector<float>& pairs : analyzer.Rows(kSpectrum)) {
            magnitudes.push_back(SingleMagnitudes(pairs));
            totals.push_back(
                std::accumulate(magnitudes.back().begin(), magnitudes.back().end(), 0.0));
        }
    }
    std::vector<std::vector<float>> rows;
    std::vector<std::vector<double>> magnitudes;
    std::vector<double> totals;
};

TEST(FluxFiguresTest, TheFirstFrameComparesWithZeros) {
    const FluxRun run(Noise(0.5f, 1, kFrameSize, 2));
    ASSERT_EQ(1u, run.rows.size());
    const double total = run.totals[0];
    EXPECT_NEAR(total, run.rows[0][flux::FluxValue], kTolerance * total);
    // Bin 0 is left out of the difference, and only there.
    EXPECT_NEAR(total - run.magnitudes[0][0], run.rows[0][flux::Difference], kTolerance * total);
}

TEST(FluxFiguresTest, TheFirstFrameOfAnImpulseHasItInClosedForm) {
    const FluxRun run(Impulses(kFrameSize, {{512, 1.0f}}));
    const double h = 2.0 * Window()[512];
    EXPECT_NEAR(511.0 * h, run.rows[0][flux::Difference], kTolerance * 511.0 * h);
    EXPECT_NEAR((511.0 + std::sqrt(2.0)) * h, run.rows[0][flux::FluxValue], kTolerance * 513.0 * h);
}

TEST(FluxFiguresTest, AFallingTotalGivesAFluxOfZeroAndADifferenceAboveIt) {
    Audio audio = Noise(0.5f, 1, 2 * kFrameSize, 4);
    for (std::size_t i = kFrameSize; i < audio[0].size(); ++i) {
        audio[0][i] *= 0.01f;
    }
    const FluxRun run(audio);
    ASSERT_EQ(3u, run.rows.size());
    for (std::size_t frame = 1; frame < 3; ++frame) {
        ASSERT_LT(run.totals[frame], run.totals[frame - 1]);
        EXPECT_EQ(0.0f, run.rows[frame][flux::FluxValue]);
        EXPECT_GT(run.rows[frame][flux::Difference], 0.0f);
    }
}

TEST(FluxFiguresTest, ARisingTotalGivesTheRiseOfTheTotalAndNotTheRiseBinByBin) {
    Audio audio = Noise(0.05f, 1, 2 * kFrameSize, 4);
    for (std::size_t i = kFrameSize; i < audio[0].size(); ++i) {
        audio[0][i] *= 10.0f;
    }
    const FluxRun run(audio);
    ASSERT_EQ(3u, run.rows.size());
    const double rise = run.totals[2] - run.totals[1];
    ASSERT_GT(rise, 0.0);
    EXPECT_NEAR(rise, run.rows[2][flux::FluxValue], kTolerance * (run.totals[2] + run.totals[1]));
}

TEST(FluxFiguresTest, SilenceAfterSoundGivesAFluxOfZeroAndTheWholeOfItAsDifference) {
    // The last frame before silence is the one that still holds a half of the sound.
    const FluxRun run(Joined(Noise(0.5f, 1, kFrameSize, 6), Silence(1, 2 * kFrameSize)));
    ASSERT_EQ(5u, run.rows.size());
    EXPECT_EQ(0.0f, run.rows[2][flux::FluxValue]);
    const double left = run.totals[1] - run.magnitudes[1][0];
    EXPECT_NEAR(left, run.rows[2][flux::Difference], kTolerance * left);
    EXPECT_EQ(0.0f, run.rows[3][flux::FluxValue]);
    EXPECT_EQ(0.0f, run.rows[3][flux::Difference]);
}

} // namespace
} // namespace qel::test
