#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qel::readings::test {
namespace {

Loudness loudnessOf(const std::vector<Samples>& channels, double rateHz = 48000) {
    Reader reader({Reading::Loudness}, {.sampleRateHz = rateHz,
                                        .channels = static_cast<std::uint32_t>(channels.size())});
    std::vector<const float*> pointers;
    for (const Samples& channel : channels) {
        pointers.push_back(channel.data());
    }
    reader.push(pointers, channels.front().size());
    return *reader.finish().loudness;
}

float amplitudeOf(double decibels) {
    return static_cast<float>(std::pow(10, decibels / 20));
}

// Cases 1 and 2 of EBU Tech 3341: a stereo sine of 1000 Hz at -23 and -33 dBFS.
TEST(LoudnessMeterTest, AStereoSineHasItsLevelAsLoudness) {
    for (const double level : {-23.0, -33.0}) {
        const Samples channel = sine(1000, 20, amplitudeOf(level), 48000);
        EXPECT_NEAR(*loudnessOf({channel, channel}).integratedLufs, level, 0.1);
    }
}

// A level that changes is seen in the momentary loudness 0.4 s later, whatever the pushes.
TEST(LoudnessMeterTest, TheMomentaryLoudnessFollowsTheLevel) {
    const Samples channel =
        joined({sine(1000, 2, amplitudeOf(-20), 48000), sine(1000, 2, amplitudeOf(-30), 48000)});
    const Loudness loudness = loudnessOf({channel, channel});
    EXPECT_DOUBLE_EQ(loudness.momentaryHopSeconds, 0.1);
    ASSERT_EQ(loudness.momentaryLufs.size(), 40u);
    for (std::size_t i = 3; i < 20; ++i) {
        EXPECT_NEAR(loudness.momentaryLufs[i], -20, 0.1) << i;
    }
    for (std::size_t i = 24; i < 40; ++i) {
        EXPECT_NEAR(loudness.momentaryLufs[i], -30, 0.1) << i;
    }
}

TEST(LoudnessMeterTest, TheMomentaryLoudnessOfSilenceIsMinusInfinity) {
    for (const float value : loudnessOf({silence(1, 48000)}).momentaryLufs) {
        EXPECT_EQ(value, -std::numeric_limits<float>::infinity());
    }
}

// Case 1 of EBU Tech 3342: 20 s at -20 dBFS, 20 s at -30 dBFS have a range of 10 LU.
TEST(LoudnessMeterTest, TwoLevelsHaveTheirDistanceAsRange) {
    const Samples channel =
        joined({sine(1000, 20, amplitudeOf(-20), 48000), sine(1000, 20, amplitudeOf(-30), 48000)});
    EXPECT_NEAR(*loudnessOf({channel, channel}).rangeLu, 10, 1);
}

// A sine of a quarter of the rate that is sampled at 45 degrees has samples of 0.707 of its peak.
TEST(LoudnessMeterTest, TheTruePeakLiesBetweenSamples) {
    Samples channel;
    for (int i = 0; i < 48000; ++i) {
        channel.push_back((i / 2) % 2 == 0 ? 0.5f : -0.5f);
    }
    const Loudness loudness = loudnessOf({channel});
    EXPECT_NEAR(*loudness.samplePeakDbfs, 20 * std::log10(0.5), 0.001);
    EXPECT_NEAR(*loudness.truePeakDbtp, 20 * std::log10(0.5 * std::sqrt(2.0)), 0.4);
}

// BS.1770: channels at the sides count 1.41 times, those in the back once, the low-frequency one
// not.
TEST(LoudnessMeterTest, TheChannelsOf7Point1CountByTheirPlaces) {
    const Samples tone = sine(1000, 10, 0.1f, 48000);
    const Samples nothing = silence(10, 48000);
    const auto of = [&](std::size_t place) {
        std::vector<Samples> channels(8, nothing);
        channels[place] = tone;
        return loudnessOf(channels).integratedLufs;
    };
    const double front = *loudnessOf({tone, nothing}).integratedLufs;
    EXPECT_NEAR(*of(0), front, 1e-6);
    EXPECT_FALSE(of(3));
    EXPECT_NEAR(*of(4), front, 1e-6);
    EXPECT_NEAR(*of(7), front + 10 * std::log10(1.41), 1e-3);
}

TEST(LoudnessMeterTest, SilenceHasNone) {
    const Loudness loudness = loudnessOf({silence(5, 48000)});
    EXPECT_FALSE(loudness.integratedLufs);
    EXPECT_FALSE(loudness.rangeLu);
    EXPECT_FALSE(loudness.truePeakDbtp);
    EXPECT_FALSE(loudness.samplePeakDbfs);
}

TEST(LoudnessMeterTest, WhatIsNotFiniteCountsAsSilence) {
    Samples broken = sine(1000, 10, 0.1f, 48000);
    const Samples whole = broken;
    broken[10000] = std::numeric_limits<float>::quiet_NaN();
    broken[20000] = std::numeric_limits<float>::infinity();
    EXPECT_NEAR(*loudnessOf({broken}).integratedLufs, *loudnessOf({whole}).integratedLufs, 0.05);
}

} // namespace
} // namespace qel::readings::test
