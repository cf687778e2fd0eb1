// The headroom of sounds for which it can be told by hand.
//
// Samples are counted in steps of 1 / 511: step b begins at b / 511 - 1. From both ends of the
// scale one step at a time is taken in, until 0.025 % of the samples are. If step b is the last one
// taken from the negative end, the result is 1 minus the magnitude of the edge below the step
// before it, that is (b - 1) / 511, and 0 for b of 0.

#include "tests/loudness/range/RangeFiguresSignals.h"
#include "tests/loudness/range/RangeStreamRun.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr std::size_t kFrames = 409600; // of which 0.025 % are 102.4

// An edge in single precision.
constexpr double kTolerance = 2e-7;

double HeadroomAtStep(int step) {
    return std::max(step - 1, 0) / 511.0;
}

float HeadroomOf(const Audio& audio) {
    const RangeResults results = AnalyzeRange(audio, kRate);
    EXPECT_EQ(1u, results.channels.size());
    EXPECT_EQ(1, results.channels.at(0).mHeadroomValid);
    return results.channels.at(0).mHeadroom;
}

// The troughs of a sine stay long enough in one step: the share of the time that a sine of
// amplitude A spends below -s is acos(s / A) / pi, here more than 1 %.
TEST(RangeFiguresTest, ASineKeepsTheRestOfTheScale) {
    struct {
        double amplitude;
        int step; // of -A: the whole part of (1 - A) 511
    } const cases[] = {
        {0.999, 0}, // 0.5
        {0.998, 1}, // 1.02
        {0.996, 2}, // 2.04
        {0.9, 51},  // 51.1
        {0.5, 255}, // 255.5
        {0.25, 383} // 383.25
    };
    for (const auto& [amplitude, step] : cases) {
        EXPECT_NEAR(HeadroomAtStep(step), HeadroomOf(Sine(kRate, 997.0, amplitude, kFrames)),
                    kTolerance)
            << amplitude;
    }
}

TEST(RangeFiguresTest, FullScaleAndBeyondLeavesNothing) {
    Audio clipped = Sine(kRate, 997.0, 2.0, kFrames);
    EXPECT_EQ(0.0f, HeadroomOf(clipped));
    for (float& sample : clipped[0]) {
        sample = std::clamp(sample, -1.0f, 1.0f);
    }
    EXPECT_EQ(0.0f, HeadroomOf(clipped));
    EXPECT_EQ(0.0f, HeadroomOf(Noise(100.0f, 1, kFrames, 1)));
}

// Uniform noise of amplitude 0.3 spends 1 / 511 / 0.6 of its time in each step, and in the lowest,
// 357 from 357.7 on, 0.3 of that.
TEST(RangeFiguresTest, UniformNoiseKeepsTheRestOfTheScale) {
    EXPECT_NEAR(HeadroomAtStep(357), HeadroomOf(Noise(0.3f, 1, kFrames, 2)), kTolerance);
}

// The value comes from the negative end alone, by as many steps as the positive end was taken in.
TEST(RangeFiguresTest, ALouderPositiveSideIsTakenForItsMirrorImage) {
    Audio audio = Sine(kRate, 997.0, 0.5, kFrames);
    for (float& sample : audio[0]) {
        sample += 0.4f;
    }
    // 0.9 is in step 970 of 0 to 1023, that is 1.9 * 511 = 970.9, which is taken with step 53.
    EXPECT_NEAR(HeadroomAtStep(53), HeadroomOf(audio), kTolerance);
    for (float& sample : audio[0]) {
        sample = -sample;
    }
    // -0.9 is in step 51.
    EXPECT_NEAR(HeadroomAtStep(51), HeadroomOf(audio), kTolerance);
}

// Quiet noise with some samples of other values spread over it.
Audio WithPeaks(std::size_t negative, std::size_t positive) {
    Audio audio = Noise(0.1f, 1, kFrames, 3);
    for (std::size_t i = 0; i < negative + positive; ++i) {
        audio[0][1000 + i * 2001] = i < negative ? -0.75f : 0.75f;
    }
    return audio;
}

TEST(RangeFiguresTest, AFewPeaksDoNotCount) {
    // The noise begins in step 459 (0.9 * 511 = 459.9), of which it fills a tenth: some 400
    // samples.
    const double quiet = HeadroomAtStep(459);
    // -0.75 is in step 127 (0.25 * 511 = 127.75).
    EXPECT_NEAR(quiet, HeadroomOf(WithPeaks(102, 0)), kTolerance);
    EXPECT_NEAR(HeadroomAtStep(127), HeadroomOf(WithPeaks(103, 0)), kTolerance);
    // 0.75 is in step 894 (1.75 * 511 = 894.25), which is taken with step 129. Both ends together
    // make the share.
    EXPECT_NEAR(quiet, HeadroomOf(WithPeaks(51, 51)), kTolerance);
    EXPECT_NEAR(HeadroomAtStep(129), HeadroomOf(WithPeaks(51, 52)), kTolerance);
    EXPECT_NEAR(HeadroomAtStep(129), HeadroomOf(WithPeaks(0, 103)), kTolerance);
    EXPECT_NEAR(quiet, HeadroomOf(WithPeaks(0, 102)), kTolerance);
}

// Of no samples nothing needs to be taken in.
TEST(RangeFiguresTest, NoAudioHasNoHeadroomThoughOneIsReported) {
    RangeStreamRun run({kRate, 1, 4096, 0});
    const RangeResults results = run.Process();
    EXPECT_EQ(0, results.status);
    EXPECT_EQ(1, results.deliveries);
    ASSERT_EQ(1u, results.channels.size());
    EXPECT_EQ(0.0f, results.channels[0].mHeadroom);
    EXPECT_EQ(1, results.channels[0].mHeadroomValid);
    EXPECT_EQ(kNoNoiseFloor, results.channels[0].mNoiseFloor);
    EXPECT_EQ(kNoCutoff, results.channels[0].mCutoff);
}

// The counts of samples outlive a reset, the number of samples does not. Of 40960 quiet samples
// 10.24 are enough.
TEST(RangeFiguresTest, ThePeaksBeforeAResetStillCount) {
    RangeStreamRun run({kRate, 1, 4096, 0});
    run.Push(WithPeaks(20, 0));
    EXPECT_NEAR(HeadroomAtStep(459), run.Process().channels.at(0).mHeadroom, kTolerance);
    run.Reset();
    run.Push(Noise(0.1f, 1, 40960, 4));
    EXPECT_NEAR(HeadroomAtStep(127), run.Process().channels.at(0).mHeadroom, kTolerance);
    // Another 40960 samples, and 20.48 are wanted.
    run.Push(Noise(0.1f, 1, 40960, 5));
    EXPECT_NEAR(HeadroomAtStep(459), run.Process().channels.at(0).mHeadroom, kTolerance);
    // A reset counts them anew.
    run.Reset();
    EXPECT_EQ(0.0f, run.Process().channels.at(0).mHeadroom);
    run.Push(Noise(0.1f, 1, 512, 6));
    EXPECT_NEAR(HeadroomAtStep(127), run.Process().channels.at(0).mHeadroom, kTolerance);
}

TEST(RangeFiguresTest, EachChannelHasItsOwnHeadroom) {
    const Audio audio = {Sine(kRate, 997.0, 0.9, kFrames)[0], Silence(1, kFrames)[0],
                         Sine(kRate, 997.0, 0.5, kFrames)[0]};
    const RangeResults results = AnalyzeRange(audio, kRate);
    ASSERT_EQ(3u, results.channels.size());
    EXPECT_NEAR(HeadroomAtStep(51), results.channels[0].mHeadroom, kTolerance);
    EXPECT_NEAR(HeadroomAtStep(511), results.channels[1].mHeadroom, kTolerance);
    EXPECT_NEAR(HeadroomAtStep(255), results.channels[2].mHeadroom, kTolerance);
}

} // namespace
} // namespace qel::test
