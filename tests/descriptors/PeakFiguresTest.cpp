// "spectrum peak properties" on spectra with a known number of peaks.
//
// Two impulses d samples apart have the spectrum |a + b e^(-j w d)|: a smooth ripple with a maximum
// wherever w d is a multiple of 2 pi, that is at the multiples of 1024 / d bins. The first and the
// last bin cannot be peaks, so d = 2 has none, 4 has one, 6 two, 8 three, 10 four, 14 six.

#include "tests/descriptors/DescriptorAssertions.h"
#include "tests/harness/TestSignals.h"

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
// A few sums of few terms in single precision, after a transform of two samples.
constexpr double kTolerance = 1e-5;

// One frame of silence but for two impulses whose windowed heights are nearly `height` and half of
// it; the second half of the frame is silent, so the next frame does not see them.
Audio Ripple(std::size_t distance, double height = 1.0) {
    constexpr std::size_t kAt = 400;
    return Impulses(kFrameSize,
                    {{kAt, static_cast<float>(height / Window()[kAt])},
                     {kAt + distance, static_cast<float>(0.5 * height / Window()[kAt])}});
}

class PeakFiguresTest : public testing::Test {
protected:
    // One frame of each stretch of 1024 samples that is given: the hop is half of it, so the frame
    // in between is pushed as well, and its row is dropped from what this returns.
    std::vector<std::vector<float>> RowsOf(const std::vector<Audio>& stretches) {
        TestAnalyzer analyzer({kPeak}, StreamSetup{mRateHz, 1, kFrameSize, 0});
        std::vector<std::vector<float>> rows;
        for (const Audio& stretch : stretches) {
            EXPECT_EQ(0, analyzer.Push(stretch));
            rows.push_back(analyzer.Rows(kPeak).back());
        }
        return rows;
    }

    // The reference on the double-precision spectrum: the ripples' peaks are far from ties.
    PeakFigures Expected(const Audio& frame, const std::array<Figure, 8>& previous = {}) {
        return PeakProperties(Magnitudes(PackedSpectrum(frame[0], 0)), mRateHz, previous);
    }

    double mRateHz = kRate;
};

TEST_F(PeakFiguresTest, RipplesHaveTheNumberOfPeaksThatTheTestsRelyOn) {
    const std::pair<std::size_t, std::size_t> expected[] = {{2, 0}, {4, 1},  {6, 2},
                                                            {8, 3}, {10, 4}, {14, 6}};
    for (const auto& [distance, peaks] : expected) {
        EXPECT_EQ(peaks, Expected(Ripple(distance)).numPeaks) << "distance " << distance;
    }
}

TEST_F(PeakFiguresTest, OnePeakGivesFiguresInClosedForm) {
    const std::vector<float> row = RowsOf({Ripple(4)})[0];
    // At the peak both impulses add up: 2 (a + b).
    const double second = 0.5 * Window()[404] / Window()[400];
    const double p = 2.0 * (1.0 + second);
    EXPECT_NEAR(p, row[peak::PeakMean], kTolerance * p);
    EXPECT_EQ(0.0f, row[peak::HarmonicCentroid]); // the first peak has the ordinal number 0
    EXPECT_NEAR(p, row[peak::FirstTristimulus], kTolerance * p);
    EXPECT_EQ(0.0f, row[peak::Dissonance]);
    EXPECT_EQ(0.0f, row[peak::Regularity]);
    // p[b[0]] = p[256] is 0, so the total is 0 and the deviation with it.
    EXPECT_EQ(0.0f, row[peak::HarmonicDeviation]);
    EXPECT_EQ(0.0f, row[peak::SecondTristimulus]);
    EXPECT_EQ(0.0f, row[peak::ThirdTristimulus]);
}

TEST_F(PeakFiguresTest, FramesOfTwoToSixPeaksAgreeWithTheReference) {
    for (const std::size_t distance : {6u, 8u, 10u, 14u}) {
        SCOPED_TRACE(distance);
        ExpectRow(Expected(Ripple(distance)).figures, RowsOf({Ripple(distance)})[0], kTolerance);
    }
}

TEST_F(PeakFiguresTest, WithoutPeaksFourFiguresPersistAndTheOthersAreZero) {
    const Audio rich = MusicLike(kRate, 1, kFrameSize);
    for (const Audio& without : {Silence(1, kFrameSize), Ripple(2)}) {
        const std::vector<std::vector<float>> rows =
            RowsOf({rich, Silence(1, kFrameSize), without});
        // The frame across the border, music fading into silence, is the last one with peaks.
        TestAnalyzer border({kPeak}, StreamSetup{kRate, 1, 2 * kFrameSize, 0});
        ASSERT_EQ(0, border.Push(Joined(rich, Silence(1, kHopSize))));
        const std::vector<float> last = border.Rows(kPeak).back();
        for (const peak::Index index : {peak::HarmonicDeviation, peak::SecondTristimulus,
                                        peak::ThirdTristimulus, peak::Regularity}) {
            EXPECT_NE(0.0f, last[index]);
            EXPECT_EQ(last[index], rows[1][index]) << "value " << index;
            EXPECT_EQ(last[index], rows[2][index]) << "value " << index;
        }
        for (const peak::Index index :
             {peak::HarmonicCentroid, peak::FirstTristimulus, peak::Dissonance}) {
            EXPECT_EQ(0.0f, rows[2][index]) << "value " << index;
        }
    }
}

TEST_F(PeakFiguresTest, WithOneToFourPeaksTheUpperTristimuliPersistAndTheFirstIsFresh) {
    const Audio rich = MusicLike(kRate, 1, kFrameSize);
    const std::vector<std::vector<float>> rows =
        RowsOf({rich, Silence(1, kFrameSize), Ripple(4), Silence(1, kFrameSize), Ripple(6),
                Silence(1, kFrameSize), Ripple(8), Silence(1, kFrameSize), Ripple(10)});
    const std::vector<float>& kept = rows[1];
    for (std::size_t i = 2; i < rows.size(); i += 2) {
        const std::size_t distance = i + 2;
        SCOPED_TRACE(distance);
        const PeakFigures expected = Expected(Ripple(distance));
        ASSERT_GE(expected.numPeaks, 1u);
        ASSERT_LE(expected.numPeaks, 4u);
        EXPECT_EQ(kept[peak::SecondTristimulus], rows[i][peak::SecondTristimulus]);
        EXPECT_EQ(kept[peak::ThirdTristimulus], rows[i][peak::ThirdTristimulus]);
        for (const peak::Index index :
             {peak::PeakMean, peak::HarmonicCentroid, peak::HarmonicDeviation,
              peak::FirstTristimulus, peak::Regularity}) {
            const Figure& figure = expected.figures[index];
            EXPECT_NEAR(figure.value, rows[i][index], kTolerance * figure.scale + figure.slack)
                << "value " << index;
        }
    }
}

TEST_F(PeakFiguresTest, FivePeaksOrMoreRefreshTheUpperTristimuli) {
    const std::vector<std::vector<float>> rows =
        RowsOf({MusicLike(kRate, 1, kFrameSize), Silence(1, kFrameSize), Ripple(14)});
    const PeakFigures expected = Expected(Ripple(14));
    ASSERT_EQ(6u, expected.numPeaks);
    ExpectRow(expected.figures, rows[2], kTolerance);
}

TEST_F(PeakFiguresTest, AResetForgetsThePersistingFigures) {
    TestAnalyzer analyzer({kPeak}, StreamSetup{kRate, 1, kFrameSize, 0});
    ASSERT_EQ(0, analyzer.Push(MusicLike(kRate, 1, kFrameSize)));
    ASSERT_EQ(0, analyzer.Reset());
    analyzer.Forget();
    ASSERT_EQ(0, analyzer.Push(Silence(1, kFrameSize)));
    const std::vector<float> row = analyzer.Rows(kPeak).at(0);
    for (std::size_t index = 1; index < row.size(); ++index) {
        EXPECT_EQ(0.0f, row[index]) << "value " << index;
    }
}

TEST_F(PeakFiguresTest, TheMeanOfNoPeaksIsZero) {
    const std::vector<std::vector<float>> rows =
        RowsOf({Silence(1, kFrameSize), MusicLike(kRate, 1, kFrameSize), Silence(1, kFrameSize)});
    EXPECT_EQ(0.0f, rows[0][peak::PeakMean]);
    EXPECT_EQ(0.0f, rows[2][peak::PeakMean]);
}

// Two peaks of one height have their bins far beyond the packed array, so the amplitude in the
// rough sum is 0 and only the bare -5 of the second exponential is left.
TEST_F(PeakFiguresTest, DissonanceOfTwoPeaksOfEqualHeightCloseTogetherIsNegative) {
    mRateHz = 100.0; // the peaks at bins 171 and 341 lie 16.6 Hz apart
    const std::vector<float> row = RowsOf({Ripple(6)})[0];
    const double first = 171.0 * 100.0 / 1024.0;
    const double apart = 170.0 * 100.0 / 1024.0;
    const double s = 0.24 / (0.0207 * first + 18.96);
    const double expected = -5.0 * std::exp(-5.75 * s * apart);
    EXPECT_LT(row[peak::Dissonance], -1.0f);
    EXPECT_NEAR(expected, row[peak::Dissonance], -kTolerance * expected);
}

// Peaks in the lowest bins index the packed array where it holds peaks, so the amplitude counts.
TEST_F(PeakFiguresTest, DissonanceOfManyLowPeaksIsPositive) {
    const Audio noise = Noise(0.5f, 1, kFrameSize, 9);
    const std::vector<float> row = RowsOf({noise})[0];
    const PeakFigures expected = Expected(noise);
    ASSERT_FALSE(expected.ambiguous);
    EXPECT_GT(row[peak::Dissonance], 0.0f);
    // From double-precision magnitudes here: those of the library carry the transform's rounding.
    ExpectRow(expected.figures, row, 1e-4);
}

} // namespace
} // namespace qel::test
