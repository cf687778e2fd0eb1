// How tracks are born, go on and die, on sounds whose spectra are known.

#include "tests/harness/TestSignals.h"
#include "tests/timbre/ReferencePartials.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
// At this rate a bin is 1 Hz wide, and a frequency is the bin number itself.
constexpr double kBinRate = 1024.0;

using Envelope = std::function<double(std::size_t)>;

// A sine in the middle of an even bin repeats itself after every hop: the frames of a steady one
// are equal in every bit.
void AddTone(Audio& audio, int bin, const Envelope& amplitude) {
    for (std::size_t i = 0; i < audio[0].size(); ++i) {
        const auto turn = static_cast<double>((static_cast<std::size_t>(bin) * i) % 1024);
        const double sine = std::sin(2.0 * std::numbers::pi * (turn + 0.125) / 1024.0);
        audio[0][i] += static_cast<float>(amplitude(i) * sine);
    }
}

Envelope Steady(double amplitude) {
    return [=](std::size_t) { return amplitude; };
}

// On from one sample up to another.
Envelope Between(std::size_t first, std::size_t last, double amplitude) {
    return [=](std::size_t i) { return i >= first && i < last ? amplitude : 0.0; };
}

PartialResults Analyzed(const Audio& audio, double rateHz = kBinRate) {
    PartialResults results = AnalyzePartials(audio, rateHz)[0];
    ExpectReferencePartials(audio[0], rateHz, results, 1.0);
    return results;
}

// The bins of the tracks, in order.
std::vector<int> Bins(const PartialRow& row) {
    std::vector<int> bins;
    for (const PartialRecord& record : row) {
        bins.push_back(static_cast<int>(std::lround(record.mFrequency)));
    }
    return bins;
}

TEST(PartialsFiguresTest, ASineIsOneTrackWithItsFrequencyAndMagnitude) {
    Audio audio = Silence(1, SamplesForPartials(6));
    AddTone(audio, 40, Steady(0.5));
    const PartialResults results = Analyzed(audio, kRate);
    for (std::size_t n = 0; n < 6; ++n) {
        ASSERT_EQ(1u, results.partials[n].size());
        const PartialRecord& record = results.partials[n][0];
        // The window's ends, at 1025 instead of 1024, move the vertex by much less than this.
        EXPECT_NEAR(40.0 * kRate / 1024.0, record.mFrequency, 0.05);
        // The window adds up to 512.5, and half of it, doubled, meets the sine.
        EXPECT_NEAR(0.5 * 512.5, record.mMagnitude, 0.05);
        EXPECT_EQ(0.0f, record.mPhase);
        EXPECT_EQ(static_cast<double>(n), record.mTime);
        EXPECT_EQ(record.mFrequency, results.fundamentalsHz[n]);
        EXPECT_EQ(0.0f, results.inharmonicities[n]);
    }
}

TEST(PartialsFiguresTest, AStreamOfOneFrameReportsAllItsPeaksInRisingOrder) {
    const PartialResults results = Analyzed(Noise(0.5f, 1, kPartialsFrame, 21));
    ASSERT_EQ(1u, results.partials.size());
    const PartialRow& row = results.partials[0];
    EXPECT_GT(row.size(), 100u);
    for (std::size_t i = 0; i < row.size(); ++i) {
        EXPECT_EQ(0.0, row[i].mTime);
        EXPECT_EQ(std::floor(row[i].mFrequency), static_cast<float>(row[i].mIndex));
        EXPECT_TRUE(i == 0 || row[i].mFrequency > row[i - 1].mFrequency);
    }
}

TEST(PartialsFiguresTest, TheOutermostBinsAreNeverPeaks) {
    EXPECT_EQ(0u, Analyzed(Constant(0.5f, 1, SamplesForPartials(3))).Greatest());
    const std::vector<std::pair<int, std::vector<int>>> cases = {
        {511, {}}, {510, {510}}, {2, {2}}, {509, {509}}};
    for (const auto& [bin, expected] : cases) {
        Audio audio = Silence(1, SamplesForPartials(1));
        AddTone(audio, bin, Steady(0.5));
        EXPECT_EQ(expected, Bins(Analyzed(audio).partials[0])) << bin;
    }
}

// The threshold is the logarithm of a 500th of the greatest magnitude. New tracks have their height
// set against that logarithm, which is lower than the 500th itself at any level: so nothing that
// is a peak is kept from being born.
TEST(PartialsFiguresTest, PeaksWithinAFactorOf500AreBornAtAnyLevel) {
    for (const double level : {0.02, 0.5, 30.0, 1e4, 1e6}) {
        for (const double ratio : {450.0, 550.0}) {
            Audio audio = Silence(1, SamplesForPartials(1));
            AddTone(audio, 300, Steady(level));
            AddTone(audio, 100, Steady(level / ratio));
            // A quiet peak must reach above the floor of 0.001, too; all of these do.
            const std::vector<int> expected =
                ratio < 500.0 ? std::vector<int>{100, 300} : std::vector<int>{300};
            EXPECT_EQ(expected, Bins(Analyzed(audio).partials[0])) << level << ' ' << ratio;
        }
    }
}

TEST(PartialsFiguresTest, WhatStaysBelowTheFloorIsNoPeak) {
    Audio audio = Silence(1, SamplesForPartials(2));
    AddTone(audio, 40, Steady(0.0009 / 512.5));
    EXPECT_EQ(0u, Analyzed(audio).Greatest());
    AddTone(audio, 40, Steady(0.0002 / 512.5));
    EXPECT_EQ(1u, Analyzed(audio).Greatest());
}

// In silence the magnitude at the track's place is 0.001: a fifth of 0.005.
TEST(PartialsFiguresTest, AQuietTrackLivesThroughFourFramesOfSilence) {
    const std::size_t silent = 6; // the first silent frame; the one before is half silent
    for (const double magnitude : {0.0085, 0.0115}) {
        Audio audio = Silence(1, SamplesForPartials(16));
        AddTone(audio, 40, Between(0, silent * kPartialsHop, magnitude / 512.5));
        const PartialResults results = Analyzed(audio);
        ASSERT_EQ(1u, results.partials[silent - 1].size());
        PartialRecord last = results.partials[silent - 1][0];
        EXPECT_NEAR(magnitude / 2.0, last.mMagnitude, magnitude / 50.0);
        for (std::size_t n = silent; n < 16; ++n) {
            SCOPED_TRACE(n);
            const bool lives = magnitude < 0.01 && n < silent + 4;
            last.mTime = static_cast<double>(n);
            ASSERT_EQ(lives ? 1u : 0u, results.partials[n].size());
            EXPECT_TRUE(!lives || SameBytes(last, results.partials[n][0]));
            EXPECT_EQ(lives ? last.mFrequency : 0.0f, results.fundamentalsHz[n]);
        }
    }
}

TEST(PartialsFiguresTest, ALoudTrackDiesWithTheFirstSilentFrame) {
    Audio audio = Silence(1, SamplesForPartials(10));
    AddTone(audio, 40, Between(0, 6 * kPartialsHop, 0.5));
    const PartialResults results = Analyzed(audio);
    EXPECT_FALSE(results.partials[5].empty());
    EXPECT_TRUE(results.partials[6].empty());
    EXPECT_EQ(0.0f, results.fundamentalsHz[6]);
}

// The tone comes back more quietly, as the limit of growth of a quiet track wants it. The other
// one, younger and of lower frequency, stands after it as long as its track lasts, and before a
// new one.
TEST(PartialsFiguresTest, ATrackIsFoundAgainAfterFourMissedFramesAndNotAfterFive) {
    for (const std::size_t missed : {1u, 4u, 5u}) {
        SCOPED_TRACE(missed);
        const std::size_t silent = 6;
        const std::size_t again = silent + missed; // half of this frame has the tone again
        Audio audio = Silence(1, SamplesForPartials(again + 1));
        AddTone(audio, 100, Between(0, silent * kPartialsHop, 0.008 / 512.5));
        AddTone(audio, 100, Between((again + 1) * kPartialsHop, audio[0].size(), 0.005 / 512.5));
        AddTone(audio, 40, Between(silent * kPartialsHop, audio[0].size(), 0.02 / 512.5));
        const PartialResults results = Analyzed(audio);
        for (std::size_t n = silent - 1; n < again; ++n) {
            const bool lives = n < silent + 4;
            EXPECT_EQ(lives ? (std::vector<int>{100, 40}) : std::vector<int>{40},
                      Bins(results.partials[n]))
                << n;
        }
        const bool found = missed < 5;
        ASSERT_EQ(found ? (std::vector<int>{100, 40}) : (std::vector<int>{40, 100}),
                  Bins(results.partials[again]));
        EXPECT_NEAR(0.0025, results.partials[again][found ? 0 : 1].mMagnitude, 1e-4);
    }
}

// With both neighbours at the floor, a peak stands exactly in its bin.
TEST(PartialsFiguresTest, APeakOneWholeBinAwayIsTooFar) {
    Audio audio = Silence(1, SamplesForPartials(7));
    AddTone(audio, 40, Between(0, 3 * kPartialsHop, 0.0018 / 512.5));
    AddTone(audio, 41, Between(5 * kPartialsHop, audio[0].size(), 0.0018 / 512.5));
    const PartialResults results = Analyzed(audio);
    for (const std::size_t n : {0u, 4u, 5u}) {
        ASSERT_FALSE(results.partials[n].empty());
        EXPECT_EQ(40.0f, results.partials[n][0].mFrequency);
    }
    ASSERT_EQ(2u, results.partials[5].size());
    EXPECT_EQ(41.0f, results.partials[5][1].mFrequency);
}

TEST(PartialsFiguresTest, TheFundamentalIsTheOldestTrackAndThenTheNextOldest) {
    Audio audio = Silence(1, SamplesForPartials(30));
    AddTone(audio, 200, Between(0, 20 * kPartialsHop, 0.5));
    AddTone(audio, 100, Between(5 * kPartialsHop, audio[0].size(), 0.5));
    const PartialResults results = Analyzed(audio);
    for (std::size_t n = 0; n < 30; ++n) {
        EXPECT_NEAR(n < 20 ? 200.0f : 100.0f, results.fundamentalsHz[n], 0.5f) << n;
    }
}

// Two tones; the level of the lower one grows by the same factor from frame to frame, from the
// given sample on. Whether it keeps its track is seen from the order.
PartialResults Growing(double gain, std::size_t first, std::size_t frames) {
    Audio audio = Silence(1, SamplesForPartials(frames));
    AddTone(audio, 40, [=](std::size_t i) {
        const double hops = i < first ? 0.0 : static_cast<double>(i - first) / kPartialsHop;
        return 0.5 * std::exp(hops * gain / 20.0);
    });
    AddTone(audio, 200, Steady(0.5));
    return Analyzed(audio);
}

TEST(PartialsFiguresTest, ANewTrackMayGrowByTheNumberE) {
    // 20 times the natural logarithm of the factor is set against 20.
    const PartialResults kept = Growing(19.8, 0, 3);
    const PartialResults lost = Growing(20.2, 0, 3);
    EXPECT_EQ((std::vector<int>{40, 200}), Bins(kept.partials[0]));
    EXPECT_EQ((std::vector<int>{40, 200}), Bins(lost.partials[0]));
    EXPECT_EQ((std::vector<int>{40, 200}), Bins(kept.partials[1]));
    // The track ends, and its peak gives a new one at the end of the same frame's list.
    EXPECT_EQ((std::vector<int>{200, 40}), Bins(lost.partials[1]));
    EXPECT_NEAR(40.0f, kept.fundamentalsHz[1], 0.5f);
    EXPECT_NEAR(200.0f, lost.fundamentalsHz[1], 0.5f);
}

// One and a half times the last growth is always allowed.
TEST(PartialsFiguresTest, SteadyGrowthKeepsATrack) {
    const PartialResults results = Growing(15.0, 0, 6);
    for (const PartialRow& row : results.partials) {
        EXPECT_EQ((std::vector<int>{40, 200}), Bins(row));
    }
}

// A steady tone of amplitude 0.5 has a log magnitude of log(128) = 4.85 in the bin below the peak;
// from it comes a limit of 4.85 - (1 - exp(-0.05)) (4.85 - 1.5) = 4.69. From the peak itself would
// come 5.35, from the limit at birth 19.1. The growth sets in at the middle of frame 8, which moves
// that frame by less than 1 and leaves a gain of 4.3 or 5 to the next one.
TEST(PartialsFiguresTest, TheNextLimitComesFromTheLevelBelowThePeak) {
    const std::size_t first = 8 * kPartialsHop + kPartialsHop;
    const PartialResults kept = Growing(5.0, first, 12);
    const PartialResults lost = Growing(5.9, first, 12);
    const auto gain = [](const PartialResults& results, std::size_t track) {
        const float before = results.partials[8][0].mMagnitude;
        return 20.0f * std::log(results.partials[9][track].mMagnitude / before);
    };
    ASSERT_EQ((std::vector<int>{40, 200}), Bins(lost.partials[8]));
    EXPECT_LT(gain(kept, 0), 4.6f);
    EXPECT_EQ((std::vector<int>{40, 200}), Bins(kept.partials[9]));
    EXPECT_EQ((std::vector<int>{40, 200}), Bins(kept.partials[11]));
    EXPECT_EQ((std::vector<int>{200, 40}), Bins(lost.partials[9]));
    EXPECT_GT(gain(lost, 1), 4.8f);
    EXPECT_LT(gain(lost, 1), 5.3f);
}

// Frames of real envelopes around bin 256 have spectra that are symmetric about it. The second half
// of the stream has the other sign, which splits the peak into two, less than a bin from the track
// on either side; many of them are just as far, to the last bit.
TEST(PartialsFiguresTest, OfTwoPeaksEquallyNearATrackTakesTheLower) {
    int ties = 0;
    for (int step = 0; step < 400; ++step) {
        const double second = -0.4 - 0.001 * step;
        Audio audio = Silence(1, SamplesForPartials(2));
        for (std::size_t i = 0; i < audio[0].size(); i += 2) {
            const double sign = i % 4 == 0 ? 1.0 : -1.0;
            audio[0][i] = static_cast<float>(sign * (i < 1024 ? 0.5 : 0.5 * second));
        }
        const PartialResults results = AnalyzePartials(audio, kBinRate)[0];
        if (results.partials[0].size() != 1 || results.partials[1].size() < 2) {
            continue;
        }
        const float track = results.partials[0][0].mFrequency;
        const float taken = results.partials[1][0].mFrequency;
        for (std::size_t i = 1; i < results.partials[1].size(); ++i) {
            const float other = results.partials[1][i].mFrequency;
            if (std::abs(other - track) == std::abs(taken - track) && other != taken) {
                ++ties;
                EXPECT_LT(taken, other) << step;
            }
        }
    }
    EXPECT_GT(ties, 10);
}

} // namespace
} // namespace qel::test
