#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <span>

namespace qel::readings::test {
namespace {

constexpr double kExactSeconds = 0.005;
constexpr double kDelaySeconds = 0.12; // as QelReadings.hpp has it

void expectOnsets(const std::vector<Onset>& found, const std::vector<double>& wanted,
                  double exactSeconds = kExactSeconds) {
    ASSERT_EQ(found.size(), wanted.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_NEAR(found[i].seconds, wanted[i], exactSeconds);
    }
}

void expectSame(std::span<const Onset> some, std::span<const Onset> others) {
    ASSERT_EQ(some.size(), others.size());
    for (std::size_t i = 0; i < some.size(); ++i) {
        EXPECT_EQ(some[i].seconds, others[i].seconds);
        EXPECT_EQ(some[i].strength, others[i].strength);
    }
}

Samples scaled(Samples samples, float factor) {
    for (float& sample : samples) {
        sample *= factor;
    }
    return samples;
}

TEST(OnsetDetectorTest, FindsEachStrokeAtItsTime) {
    const std::vector<double> when = times(0.5, 0.37, 9.5);
    expectOnsets(onsetsOf(strokes(when, 10)), when);
}

TEST(OnsetDetectorTest, FindsClicksWhereverTheyLieInTheirFrame) {
    constexpr std::size_t kDistance = 22091; // no multiple of the hop of 512
    Samples clicks(20 * kDistance);
    std::vector<double> when;
    for (std::size_t at = 5000; at + 5000 < clicks.size(); at += kDistance) {
        clicks[at] = 0.5f;
        clicks[at + 1] = -0.4f;
        when.push_back(static_cast<double>(at) / kRateHz);
    }
    expectOnsets(onsetsOf(clicks), when, 0.001);
}

TEST(OnsetDetectorTest, WhatSoundsFromTheFirstSampleOnBegins) {
    expectOnsets(onsetsOf(strokes({0, 0.5, 1}, 2)), {0, 0.5, 1});
    expectOnsets(onsetsOf(tone(220, 2)), {0});
}

TEST(OnsetDetectorTest, AQuietStreamHasTheSameOnsets) {
    const std::vector<double> when = times(0.5, 0.37, 5.5);
    expectOnsets(onsetsOf(scaled(strokes(when, 6), 0.001f)), when); // peaks at -63 dB
}

TEST(OnsetDetectorTest, SteadyNoiseHasFewOnsets) {
    for (const float amplitude : {0.9f, 0.1f, 0.005f}) {
        const auto onsets = onsetsOf(joined({silence(1), noise(20, amplitude)}));
        EXPECT_LE(onsets.size(), 4u) << amplitude; // its begin, and one in six seconds
    }
}

TEST(OnsetDetectorTest, ALongerStreamHasTheSameOnsets) {
    const std::vector<double> when = times(0.5, 0.41, 9.5);
    const Samples music = strokes(when, 10);
    expectSame(onsetsOf(joined({music, silence(60)})), onsetsOf(music));
}

TEST(OnsetDetectorTest, SteadySoundHasOneAtItsBegin) {
    for (const Samples& steady : {sine(440, 10), tone(220, 10)}) {
        EXPECT_EQ(onsetsOf(joined({silence(1), steady})).size(), 1u);
    }
    EXPECT_TRUE(onsetsOf(silence(10)).empty());
}

TEST(OnsetDetectorTest, VibratoIsNoOnset) {
    Samples voice;
    double phase = 0;
    for (std::size_t i = 0; i < 8 * 44100; ++i) {
        const double t = static_cast<double>(i) / kRateHz;
        phase += 440 * (1 + 0.02 * std::sin(2 * std::numbers::pi * 5.5 * t)) / kRateHz;
        voice.push_back(0.3f * static_cast<float>(std::sin(2 * std::numbers::pi * phase)));
    }
    EXPECT_LE(onsetsOf(voice).size(), 1u);
}

TEST(OnsetDetectorTest, StrengthsLieBetween0And1) {
    for (const Onset& onset : onsetsOf(strokes(times(0.2, 0.2, 5), 5))) {
        EXPECT_GT(onset.strength, 0);
        EXPECT_LE(onset.strength, 1);
    }
}

TEST(OnsetDetectorTest, OnsetsComeWithTheDelayThatIsStated) {
    for (const double rateHz : {44100.0, 48000.0, 22050.0, 96000.0}) {
        const Samples samples = strokes(times(0.5, 0.37, 4), 5, rateHz);
        const std::vector<Onset> all = *read({Reading::Onsets}, samples, rateHz).onsets;
        ASSERT_EQ(all.size(), 10u);
        Reader reader({Reading::Onsets}, {.sampleRateHz = rateHz});
        constexpr std::size_t kStep = 100;
        for (std::size_t at = 0; at + kStep <= samples.size(); at += kStep) {
            reader.push(std::span(samples).subspan(at, kStep));
            const double heard = static_cast<double>(at + kStep) / rateHz;
            const auto certain = std::ranges::count_if(
                all, [&](const Onset& onset) { return onset.seconds + kDelaySeconds <= heard; });
            const std::span<const Onset> found = reader.onsets();
            ASSERT_GE(found.size(), static_cast<std::size_t>(certain)) << heard;
            expectSame(found, std::span(all).first(found.size()));
        }
    }
}

TEST(OnsetDetectorTest, FinishBeginsWithWhatWasCertainBefore) {
    Reader reader({Reading::Onsets}, {.sampleRateHz = kRateHz});
    const Samples samples = strokes(times(0.5, 0.37, 5), 5);
    reader.push(std::span<const float>(samples));
    const std::vector<Onset> before(reader.onsets().begin(), reader.onsets().end());
    const std::vector<Onset> all = *reader.finish().onsets;
    ASSERT_FALSE(before.empty());
    ASSERT_LE(before.size(), all.size());
    expectSame(before, std::span(all).first(before.size()));
    reader.reset();
    EXPECT_TRUE(reader.onsets().empty());
}

TEST(OnsetDetectorTest, AReaderOfOtherReadingsHasNone) {
    Reader reader({Reading::Key}, {.sampleRateHz = kRateHz});
    const Samples samples = strokes(times(0.5, 0.37, 5), 5);
    reader.push(std::span<const float>(samples));
    EXPECT_TRUE(reader.onsets().empty());
}

TEST(OnsetDetectorTest, TheEndOfTheStreamIsNoOnset) {
    for (const Samples& cut : {tone(220, 3), noise(3)}) {
        for (const Onset& onset : onsetsOf(cut)) {
            EXPECT_LT(onset.seconds, 2.9);
        }
    }
}

} // namespace
} // namespace qel::readings::test
