// "phase properties" against a re-computation in double precision and against closed forms.

#include "tests/timbre/ReferencePhases.h"
#include "tests/timbre/TimbreTesting.h"

#include <numbers>

namespace qel::test {
namespace {

enum Property : std::size_t { kDeviation, kWeighted, kNormalized, kComplex, kRectified };

constexpr std::size_t kFrame = 1024;
constexpr std::size_t kHop = 512;

ReferenceSpectrum SpectrumAt(const std::vector<float>& samples, std::size_t frame) {
    return SpectrumOf(FrameAt(samples, frame * kHop, kFrame), ReferenceHannWindow(kFrame));
}

double MagnitudeSum(const std::vector<float>& samples, std::size_t frame) {
    double sum = 0.0;
    for (const Bounded& magnitude : SpectrumAt(samples, frame).Magnitudes()) {
        sum += magnitude.value;
    }
    return sum;
}

// How many of the frames' bounds are narrow against what is expected.
struct Narrow {
    BoundCount deviation;
    BoundCount weighted;
    BoundCount complex;
};

void ExpectPhases(const std::vector<float>& samples, const std::vector<std::vector<float>>& rows,
                  Narrow& narrow) {
    ReferencePhases reference(kFrame / 2);
    for (std::size_t frame = 0; frame < rows.size(); ++frame) {
        SCOPED_TRACE("frame " + std::to_string(frame));
        const std::vector<float>& row = rows[frame];
        const ReferencePhaseValues expected = reference.Next(SpectrumAt(samples, frame));
        EXPECT_NEAR(expected.deviation.value, row[kDeviation], expected.deviation.error);
        EXPECT_NEAR(expected.weightedDeviation.value, row[kWeighted],
                    expected.weightedDeviation.error);
        EXPECT_NEAR(expected.normalizedDeviation.value, row[kNormalized],
                    expected.normalizedDeviation.error);
        EXPECT_GE(row[kComplex], expected.lowestDifference);
        EXPECT_LE(row[kComplex], expected.highestDifference);
        EXPECT_EQ(row[kComplex], row[kRectified]);
        narrow.deviation.Add(expected.deviation, 0.05 * expected.deviation.value);
        narrow.weighted.Add(expected.weightedDeviation, 0.02 * expected.weightedDeviation.value);
        const double width = expected.highestDifference - expected.lowestDifference;
        narrow.complex.Add({0.0, width}, 0.2 * expected.highestDifference);
    }
}

class PhaseRateTest : public testing::TestWithParam<RateAndBlock> {};

TEST_P(PhaseRateTest, SoundLikeMusicAgreesWithADoublePrecisionRecomputation) {
    Narrow narrow;
    for (const UInt32 channels : {1u, 2u}) {
        const Audio audio =
            MusicLike(GetParam().rateHz, channels, kPhaseProperties.SamplesFor(80) + 100, 8);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            SCOPED_TRACE("channel " + std::to_string(channel));
            const auto rows = RowsOf(kPhaseProperties, audio, GetParam(), channel);
            ASSERT_EQ(80u, rows.size());
            ExpectPhases(audio[channel], rows, narrow);
        }
    }
    // That the comparison means something: frames differ by far more than that.
    EXPECT_GE(narrow.deviation.Share(), 0.9);
    EXPECT_GE(narrow.weighted.Share(), 0.9);
    EXPECT_GE(narrow.complex.Share(), 0.5);
}

// No bin of noise hides another, and hardly any is near zero.
TEST_P(PhaseRateTest, NoiseAgreesWithADoublePrecisionRecomputation) {
    const Audio audio = Noise(0.7f, 1, kPhaseProperties.SamplesFor(80), 9);
    Narrow narrow;
    ExpectPhases(audio[0], RowsOf(kPhaseProperties, audio, GetParam()), narrow);
    EXPECT_GE(narrow.deviation.Share(), 0.9);
    EXPECT_GE(narrow.weighted.Share(), 0.9);
    EXPECT_GE(narrow.complex.Share(), 0.5);
}

INSTANTIATE_TEST_SUITE_P(Rates, PhaseRateTest, testing::ValuesIn(kRatesAndBlocks));

// There is nothing before the first frame, so that it differs by its magnitudes.
TEST(PhaseFiguresTest, TheFirstFrameDiffersByItsMagnitudes) {
    for (const std::uint32_t seed : {1u, 2u, 3u}) {
        const Audio audio = MusicLike(44100.0, 1, kFrame, seed);
        const auto rows = RowsOf(kPhaseProperties, audio);
        ASSERT_EQ(1u, rows.size());
        const double sum = MagnitudeSum(audio[0], 0);
        // Each magnitude is some 2e-6 of the root mean square off, and so is the sum.
        EXPECT_NEAR(sum, rows[0][kComplex], 1e-4 * sum);
    }
}

// Without magnitudes there is no division, whatever the phases before were.
TEST(PhaseFiguresTest, SilenceAfterSoundHasNoWeights) {
    const Audio audio = Joined(Noise(0.5f, 1, 4 * kHop, 10), Silence(1, 4 * kHop));
    const auto rows = RowsOf(kPhaseProperties, audio);
    ASSERT_EQ(7u, rows.size());
    for (std::size_t frame = 0; frame < rows.size(); ++frame) {
        SCOPED_TRACE(frame);
        const bool silent = frame >= 4;
        EXPECT_EQ(silent, rows[frame][kWeighted] == 0.0f);
        EXPECT_EQ(silent, rows[frame][kNormalized] == 0.0f);
        // The first silent frame still differs from the prediction.
        EXPECT_EQ(frame >= 5, rows[frame][kComplex] == 0.0f);
    }
    Narrow narrow;
    ExpectPhases(audio[0], rows, narrow);
}

// A click in the first half of a frame has magnitudes of twice its windowed value and phases p that
// fall evenly; bin 0 joins both ends of the spectrum, and so has the square root of two as much.
// The frame after is silent. Its prediction is exp(p - p) = 1 times those magnitudes.
TEST(PhaseFiguresTest, AfterAClickTheDifferenceIsItsMagnitudes) {
    constexpr std::size_t kAt = 301; // odd, so that no phase is half a turn
    const auto rows = RowsOf(kPhaseProperties, Impulses(kFrame + kHop, {{kAt, 0.8f}}));
    ASSERT_EQ(2u, rows.size());
    const double magnitude = 2.0 * 0.8 * ReferenceHannWindow(kFrame)[kAt];
    const double sum = (511.0 + std::numbers::sqrt2) * magnitude;
    EXPECT_NEAR(sum, rows[0][kComplex], 1e-5 * sum); // 512 roundings of a sum, and of exp
    EXPECT_NEAR(sum, rows[1][kComplex], 1e-5 * sum);
}

// Required by the contract: the prediction is exp(phase), not exp(i phase). A sine continues
// unchanged, so a prediction by rotation would come out near its magnitudes, and the difference
// near 0. This one lies beyond them, since exp of an angle between -2 pi and 2 pi is seldom near 1.
TEST(PhaseFiguresTest, TheComplexDifferenceTakesTheExponentAsAReal) {
    const Audio audio = Sine(44100.0, 1000.3, 0.5, kPhaseProperties.SamplesFor(40));
    const auto rows = RowsOf(kPhaseProperties, audio);
    std::size_t beyond = 0;
    for (std::size_t frame = 2; frame < rows.size(); ++frame) {
        beyond += static_cast<double>(rows[frame][kComplex]) > MagnitudeSum(audio[0], frame);
    }
    EXPECT_GE(beyond, 10u); // of 38; of a turned prediction it would be none
}

// The phases of a steady sine advance evenly, so that weighted by magnitude they hardly deviate,
// while those of noise do by a quarter of a turn.
TEST(PhaseFiguresTest, WeightedDeviationTellsATone) {
    const std::size_t samples = kPhaseProperties.SamplesFor(20);
    const auto tone = RowsOf(kPhaseProperties, Sine(44100.0, 1000.3, 0.5, samples));
    const auto noise = RowsOf(kPhaseProperties, Noise(0.5f, 1, samples, 11));
    for (std::size_t frame = 3; frame < 20; ++frame) {
        const double share = 512.0; // normalization leaves the number of bins in
        EXPECT_LT(share * static_cast<double>(tone[frame][kNormalized]), 0.05);
        EXPECT_GT(share * static_cast<double>(noise[frame][kNormalized]), 1.0);
    }
}

// A factor of a power of two leaves the angles as they are, to the bit.
TEST(PhaseFiguresTest, LevelChangesTheWeightedValuesAlone) {
    const Audio audio = MusicLike(44100.0, 1, kPhaseProperties.SamplesFor(10), 12);
    Audio loud = audio;
    for (float& sample : loud[0]) {
        sample *= 4.0f;
    }
    const auto rows = RowsOf(kPhaseProperties, audio);
    const auto loudRows = RowsOf(kPhaseProperties, loud);
    for (std::size_t frame = 0; frame < rows.size(); ++frame) {
        EXPECT_EQ(rows[frame][kDeviation], loudRows[frame][kDeviation]);
        EXPECT_EQ(4.0f * rows[frame][kWeighted], loudRows[frame][kWeighted]);
        EXPECT_EQ(rows[frame][kNormalized], loudRows[frame][kNormalized]);
        EXPECT_EQ(4.0f * rows[frame][kComplex], loudRows[frame][kComplex]);
    }
}

} // namespace
} // namespace qel::test
