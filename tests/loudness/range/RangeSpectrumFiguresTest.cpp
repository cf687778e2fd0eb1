// Noise floor and cutoff of sounds for which they can be told by hand.
//
// Levels are counted in steps of 1 dB. The level taken for a bin is the one before the step that
// its median lies in, less half a step: of a median of L dB the floor of L, minus 1.5 dB.

#include "tests/loudness/range/RangeFiguresSignals.h"
#include "tests/loudness/range/RangeStreamRun.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr std::size_t kFrames = 409600; // 799 frames
constexpr std::size_t kLongFrames = 524288;

// A mean of equal numbers of about 100 in single precision.
constexpr double kTolerance = 1e-4;

double FloorOf(double medianDecibels) {
    return std::floor(medianDecibels) - 1.5;
}

QelAudioAnalysisRange RangeOf(const std::vector<float>& samples, double rateHz = kRate) {
    const RangeResults results = AnalyzeRange({samples}, rateHz);
    EXPECT_EQ(1u, results.channels.size());
    const QelAudioAnalysisRange& range = results.channels.at(0);
    EXPECT_EQ(range.mNoiseFloor == kNoNoiseFloor ? 0 : 1, range.mNoiseFloorValid);
    EXPECT_EQ(range.mCutoff == kNoCutoff ? 0 : 1, range.mCutoffValid);
    return range;
}

// The one frame that lies wholly within a push of 1024 samples; the one before it begins with the
// silence before the stream. An impulse at its sample n has a flat spectrum of the window's value
// there, w^2 = 2 sin^2((n + 0.5) pi / 1024). The noise beside it keeps the frame from being taken
// for empty; it is 50 dB below.
TEST(RangeSpectrumFiguresTest, AnImpulseShowsTheWindowAndTheScale) {
    for (const std::size_t n : {30u, 100u, 256u, 511u, 600u, 900u, 1000u}) {
        const double sine = std::sin((static_cast<double>(n) + 0.5) * std::numbers::pi / 1024.0);
        // So that the level lies in the middle of a step.
        const double level = -24.5;
        // level = 10 log10(4 amplitude^2 w^2 / 2048)
        const double amplitude =
            std::sqrt(std::pow(10.0, level / 10.0) * 2048.0 / 4.0) / (std::sqrt(2.0) * sine);
        std::vector<float> samples = NoiseOfLevel(-75.5, 1024, 7);
        samples[n] = static_cast<float>(amplitude);
        EXPECT_NEAR(FloorOf(level), RangeOf(samples).mNoiseFloor, kTolerance) << n;
    }
}

TEST(RangeSpectrumFiguresTest, WhiteNoiseIsItsOwnFloor) {
    for (const double level : {-20.5, -40.5, -60.5, -75.5}) {
        const QelAudioAnalysisRange range = RangeOf(NoiseOfLevel(level, kFrames, 8));
        EXPECT_NEAR(FloorOf(level), range.mNoiseFloor, kTolerance) << level;
        EXPECT_EQ(kNoCutoff, range.mCutoff) << level;
    }
}

// The power of a bin is p E with p = 10^0.3 / log(2) = 2.879 and E of the exponential distribution.
// Below 0 dB lie those with E < 0.3474, which are 1 - exp(-0.3474) = 29.35 % of all. Half of these
// lie below E = -log(1 - 0.1467) = 0.1587: p E = 0.4569, which is -3.40 dB.
TEST(RangeSpectrumFiguresTest, LevelsOfZeroAndMoreAreOutOfTheMeasurement) {
    EXPECT_NEAR(FloorOf(-3.40), RangeOf(NoiseOfLevel(3.0, 2 * kFrames, 9)).mNoiseFloor, kTolerance);
}

// Loud for 3 parts of 10 and quiet for 7: the median of all is what 5 / 7 of the quiet levels lie
// below. E = -log(2 / 7) = 1.2528, which is 2.57 dB above log(2).
TEST(RangeSpectrumFiguresTest, TheMedianIsOverTime) {
    const double level = -60.0;
    std::vector<float> samples = NoiseOfLevel(-20.0, 3 * 512 * 100, 10);
    const std::vector<float> quiet = NoiseOfLevel(level, 7 * 512 * 100, 11);
    samples.insert(samples.end(), quiet.begin(), quiet.end());
    EXPECT_NEAR(FloorOf(level + 2.57), RangeOf(samples).mNoiseFloor, kTolerance);
}

// Noise that falls by 3 dB a second, from a variance of 1e-2. Frames count down to a variance of
// 1e-8, that is for 20 seconds: their mean levels 10 log10(2 variance) are evenly spread from
// -16.99 to -76.99 dB. About its mean a level is 10 log10(E), of which the mean is -10 log10(e)
// times Euler's constant = -2.51 dB. The median over the spread is the middle and that: -49.50 dB.
TEST(RangeSpectrumFiguresTest, WhatDecaysCountsUntilItIsTooQuiet) {
    constexpr double kFallPerSecond = 3.0;
    std::vector<float> samples = Noise(1.0f, 1, 33 * 44100, 12)[0];
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double seconds = static_cast<double>(i) / kRate;
        const double variance = 1e-2 * std::pow(10.0, -kFallPerSecond * seconds / 10.0);
        samples[i] *= static_cast<float>(std::sqrt(3.0 * variance));
    }
    EXPECT_NEAR(FloorOf(-49.50), RangeOf(samples).mNoiseFloor, kTolerance);
}

// The least variance is 1e-8, about the mean: whatever is added to all of it does not matter. The
// variance of a frame of 1024 samples of uniform noise strays by 3 % from that of the noise.
TEST(RangeSpectrumFiguresTest, AFrameOfTooLittleVarianceDoesNotCount) {
    for (const float offset : {0.0f, 0.25f}) {
        const auto noise = [offset](double level) {
            std::vector<float> samples = NoiseOfLevel(level, kFrames, 13);
            for (float& sample : samples) {
                sample += offset;
            }
            return samples;
        };
        EXPECT_GT(VarianceOfLevel(-77.6), 1.25e-8);
        EXPECT_NEAR(FloorOf(-77.6), RangeOf(noise(-77.6)).mNoiseFloor, kTolerance) << offset;
        EXPECT_LT(VarianceOfLevel(-79.6), 0.8e-8);
        EXPECT_EQ(kNoNoiseFloor, RangeOf(noise(-79.6)).mNoiseFloor) << offset;
    }
}

// Every frame of two halves has as many zeros as stated, in each half of it half of them.
std::vector<float> NoiseWithZeros(std::size_t evenHalf, std::size_t oddHalf) {
    std::vector<float> samples = NoiseOfLevel(-40.5, kFrames, 14);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::size_t zeros = (i / 512) % 2 == 0 ? evenHalf : oddHalf;
        if (i % 512 < zeros) {
            samples[i] = 0.0f;
        }
    }
    return samples;
}

TEST(RangeSpectrumFiguresTest, AFrameWithATenthOfZerosDoesNotCount) {
    EXPECT_EQ(1, RangeOf(NoiseWithZeros(51, 51)).mNoiseFloorValid);
    EXPECT_EQ(0, RangeOf(NoiseWithZeros(51, 52)).mNoiseFloorValid);
    EXPECT_EQ(0, RangeOf(NoiseWithZeros(52, 51)).mNoiseFloorValid);
    EXPECT_EQ(0, RangeOf(NoiseWithZeros(0, 512)).mNoiseFloorValid);
}

// The floor is the top of the spectrum, unless more than 6 dB below it anything lies.
TEST(RangeSpectrumFiguresTest, AFloorIsRefusedOnlyIfSomethingLiesFarBelow) {
    const auto noise = [](double middleDecibels) {
        return BandedNoise(kRate, kLongFrames,
                           {{5000.0, -40.5}, {9000.0, middleDecibels}, {kRate, -40.5}}, 15);
    };
    EXPECT_NEAR(-42.5, RangeOf(noise(-30.5)).mNoiseFloor, kTolerance);
    EXPECT_NEAR(-42.5, RangeOf(noise(-45.5)).mNoiseFloor, kTolerance);
    EXPECT_EQ(kNoNoiseFloor, RangeOf(noise(-47.5)).mNoiseFloor);
    EXPECT_EQ(kNoNoiseFloor, RangeOf(noise(-60.5)).mNoiseFloor);
}

// Where the spectrum falls at once, the smoothed one falls most steeply in the middle, from the
// last bin before the fall to the first one after. The window lets the upper side leak into the
// lower one: by its main lobe of 3 bins, and from its side lobes by less than 30 dB beyond 6 bins.
// So half the fall is passed within 4 bins beyond the edge.
TEST(RangeSpectrumFiguresTest, ACutoffIsFoundWhereTheSpectrumFalls) {
    for (const double rateHz : {44100.0, 48000.0}) {
        const double binHz = rateHz / 1024.0;
        for (const double edgeHz : {14000.0, 16000.0, 18000.0}) {
            const QelAudioAnalysisRange range = RangeOf(
                BandedNoise(rateHz, kLongFrames, {{edgeHz, -30.5}, {rateHz, -65.5}}, 16), rateHz);
            EXPECT_GT(range.mCutoff, edgeHz - 1.5 * binHz) << rateHz;
            EXPECT_LT(range.mCutoff, edgeHz + 4.0 * binHz) << rateHz;
            // A whole number of bins.
            EXPECT_NEAR(std::round(range.mCutoff / binHz), range.mCutoff / binHz, 1e-5);
            EXPECT_NEAR(-67.5, range.mNoiseFloor, kTolerance);
        }
    }
    const double binHz = kRate / 1024.0;
    const QelAudioAnalysisRange low =
        RangeOf(BandedNoise(kRate, kLongFrames, {{12000.0, -30.5}, {kRate, -65.5}}, 17));
    EXPECT_GT(low.mCutoff, 12000.0 - 1.5 * binHz);
    EXPECT_LT(low.mCutoff, 12000.0 + 4.0 * binHz);
}

// The steepest slope of a fall of D dB is D / 22.3 dB a bin: the weights of the smoothing add up to
// 1 / sin(pi / 70) = 22.29 and the greatest is 1. Of 43.07 Hz a bin 5 dB make 0.0052 dB per Hz, and
// 4 dB make 0.0042, of which at least 0.005 are wanted.
TEST(RangeSpectrumFiguresTest, AGentleFallIsNoCutoff) {
    const auto cutoff = [](double fallDecibels) {
        const std::vector<float> noise =
            BandedNoise(kRate, kLongFrames, {{16000.0, -40.5}, {kRate, -40.5 - fallDecibels}}, 18);
        return RangeOf(noise).mCutoff;
    };
    EXPECT_EQ(kNoCutoff, cutoff(4.0));
    EXPECT_NEAR(16000.0, cutoff(6.0), 2.0 * kRate / 1024.0);
    // Upward is none either.
    EXPECT_EQ(kNoCutoff, cutoff(-30.0));
}

// Of 8 dB the steepest slope is 8 / 22.3 = 0.36 dB a bin. A bin is 21.5 Hz at 22050, 43.1 at 44100
// and 93.8 Hz at 96000, which make 0.017, 0.0083 and 0.0038 dB per Hz.
TEST(RangeSpectrumFiguresTest, AFallIsMeasuredPerHertz) {
    const std::vector<float> noise =
        BandedNoise(1.0, kLongFrames, {{0.35, -40.5}, {0.5, -48.5}}, 23);
    for (const double rateHz : {22050.0, 44100.0}) {
        EXPECT_NEAR(0.35 * rateHz, RangeOf(noise, rateHz).mCutoff, 3.0 * rateHz / 1024.0);
    }
    EXPECT_EQ(kNoCutoff, RangeOf(noise, 96000.0).mCutoff);
}

// Of two falls the upper one is found.
TEST(RangeSpectrumFiguresTest, TheHighestFallIsTheCutoff) {
    const QelAudioAnalysisRange range = RangeOf(
        BandedNoise(kRate, kLongFrames, {{14000.0, -20.5}, {18000.0, -45.5}, {kRate, -57.5}}, 19));
    EXPECT_NEAR(18000.0, range.mCutoff, 3.0 * kRate / 1024.0);
}

TEST(RangeSpectrumFiguresTest, OnlyTheUpperHalfOfTheSpectrumIsSearched) {
    const auto cutoff = [](double edgeHz) {
        return RangeOf(BandedNoise(kRate, kLongFrames, {{edgeHz, -30.5}, {kRate, -65.5}}, 20))
            .mCutoff;
    };
    EXPECT_EQ(kNoCutoff, cutoff(5000.0));
    EXPECT_EQ(kNoCutoff, cutoff(9000.0));
    // A fall whose smoothed flank reaches into the upper half is told where that begins, at bin
    // 257.
    EXPECT_NEAR(257.0 * kRate / 1024.0, cutoff(10800.0), 0.01);
}

TEST(RangeSpectrumFiguresTest, OfASilentChannelOnlyItsOwnFiguresAreMissing) {
    const std::vector<float> noise =
        BandedNoise(kRate, kLongFrames, {{16000.0, -30.5}, {kRate, -65.5}}, 21);
    const std::vector<float> silence(noise.size());
    for (const std::size_t silent : {0u, 1u}) {
        Audio audio = {noise, noise};
        audio[silent] = silence;
        const RangeResults results = AnalyzeRange(audio, kRate);
        ASSERT_EQ(2u, results.channels.size());
        EXPECT_EQ(kNoNoiseFloor, results.channels[silent].mNoiseFloor);
        EXPECT_EQ(kNoCutoff, results.channels[silent].mCutoff);
        const QelAudioAnalysisRange& other = results.channels[1 - silent];
        EXPECT_NEAR(-67.5, other.mNoiseFloor, kTolerance);
        EXPECT_NEAR(16000.0, other.mCutoff, 4.0 * kRate / 1024.0);
        for (const QelAudioAnalysisRange& range : results.channels) {
            EXPECT_EQ(1, range.mHeadroomValid);
            EXPECT_EQ(1, range.mNoiseFloorValid);
            EXPECT_EQ(1, range.mCutoffValid);
        }
    }
}

// A reset forgets the spectra, but not the half frame that the push before it ended with.
TEST(RangeSpectrumFiguresTest, TheHalfFrameBeforeAResetStays) {
    const double level = -24.5;
    const double amplitude = std::sqrt(std::pow(10.0, level / 10.0) * 2048.0 / 4.0 / 2.0);
    const std::vector<float> noise = NoiseOfLevel(-75.5, 1024, 22);
    std::vector<float> first(noise.begin(), noise.begin() + 512);
    const std::vector<float> second(noise.begin() + 512, noise.end());
    first.back() = static_cast<float>(amplitude); // in the middle of the frame across
    RangeStreamRun run({kRate, 1, 4096, 0});
    run.Push({second}, 512);
    EXPECT_EQ(0, run.Process().channels.at(0).mNoiseFloorValid);
    run.Push({first}, 512);
    EXPECT_EQ(1, run.Process().channels.at(0).mNoiseFloorValid);
    run.Reset();
    EXPECT_EQ(0, run.Process().channels.at(0).mNoiseFloorValid);
    run.Push({second}, 512);
    const RangeResults results = run.Process();
    EXPECT_EQ(1, results.channels.at(0).mNoiseFloorValid);
    EXPECT_NEAR(FloorOf(level), results.channels.at(0).mNoiseFloor, kTolerance);
}

} // namespace
} // namespace qel::test
