// What holds for all readings.

#include "tests/readings/Signals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qel::readings::test {
namespace {

// The tempi, with -1 where none is known: NaN does not equal itself.
std::vector<float> known(const RunningTempo& tempo) {
    std::vector<float> bpm = tempo.bpm;
    std::ranges::replace_if(
        bpm, [](float value) { return std::isnan(value); }, -1.0f);
    return bpm;
}

// Everything that a reading says, as numbers.
std::vector<double> numbersOf(const Answers& a) {
    std::vector<double> all{a.seconds,
                            a.tempo->bpm,
                            a.tempo->alternativeBpm,
                            a.tempo->strength,
                            double(a.tempo->isSteady),
                            double(a.bars->beatsPerBar),
                            a.bars->strength,
                            double(a.key->main.tonic),
                            double(a.key->main.isMinor),
                            a.key->strength,
                            a.loudness->integratedLufs.value_or(1),
                            a.loudness->truePeakDbtp.value_or(1),
                            a.bandwidth->cutoffHz.value_or(-1)};
    for (const Beat& beat : a.beats->beats) {
        all.push_back(beat.seconds);
    }
    for (const double seconds : a.bars->downBeatSeconds) {
        all.push_back(seconds);
    }
    for (const KeySegment& segment : a.key->segments) {
        all.push_back(segment.beginSeconds);
        all.push_back(segment.key.tonic);
    }
    for (const Onset& onset : *a.onsets) {
        all.push_back(onset.seconds);
        all.push_back(onset.strength);
    }
    for (const Pitch& pitch : *a.pitch) {
        all.push_back(pitch.frequencyHz);
    }
    all.insert(all.end(), a.timbre->values.begin(), a.timbre->values.end());
    const std::vector<float> tempi = known(*a.runningTempo);
    all.insert(all.end(), tempi.begin(), tempi.end());
    return all;
}

Samples music(double rateHz = kRateHz) {
    return sum(strokes(times(0.3, 0.5, 9), 9, rateHz), tone(196, 9, 0.1f, rateHz));
}

Answers readInPushes(const Samples& samples, std::size_t first, std::size_t step) {
    Reader reader(allReadings(), {.sampleRateHz = kRateHz});
    std::size_t size = first;
    for (std::size_t at = 0; at < samples.size(); at += size, size = first + (size + step) % 5000) {
        size = std::min(size, samples.size() - at);
        reader.push(std::span(samples).subspan(at, size));
    }
    return reader.finish();
}

TEST(ReaderTest, AnswersDoNotDependOnTheCuts) {
    const Samples samples = music();
    const std::vector<double> whole = numbersOf(readInPushes(samples, samples.size(), 0));
    EXPECT_EQ(whole, numbersOf(readInPushes(samples, 512, 0)));
    EXPECT_EQ(whole, numbersOf(readInPushes(samples, 1, 977)));
    EXPECT_EQ(whole, numbersOf(readInPushes(samples, 4099, 0)));
}

TEST(ReaderTest, AResetReaderIsLikeANewOne) {
    const Samples samples = music();
    Reader reader(allReadings(), {.sampleRateHz = kRateHz});
    reader.push(std::span<const float>(noise(4)));
    reader.finish();
    reader.reset();
    reader.push(std::span<const float>(samples));
    EXPECT_EQ(numbersOf(reader.finish()), numbersOf(readInPushes(samples, 4096, 0)));
}

TEST(ReaderTest, EachReadingAloneIsTheSame) {
    const Samples samples = music();
    const Answers all = readInPushes(samples, 4096, 0);
    EXPECT_EQ(read({Reading::Tempo}, samples).tempo->bpm, all.tempo->bpm);
    EXPECT_EQ(read({Reading::Key}, samples).key->main, all.key->main);
    EXPECT_EQ(read({Reading::Onsets}, samples).onsets->size(), all.onsets->size());
    EXPECT_EQ(read({Reading::Bars}, samples).bars->downBeatSeconds, all.bars->downBeatSeconds);
    EXPECT_EQ(read({Reading::Timbre}, samples).timbre->values, all.timbre->values);
    EXPECT_EQ(known(*read({Reading::RunningTempo}, samples).runningTempo),
              known(*all.runningTempo));
}

TEST(ReaderTest, OnlyWhatWasAskedForIsAnswered) {
    const Answers answers = read({Reading::Key}, music());
    EXPECT_TRUE(answers.key);
    EXPECT_FALSE(answers.tempo || answers.beats || answers.bars || answers.onsets ||
                 answers.pitch || answers.timbre || answers.loudness || answers.bandwidth ||
                 answers.runningTempo);
    EXPECT_NEAR(answers.seconds, 9, 1e-9);
}

TEST(ReaderTest, ShortAndEmptyStreamsAreAnswered) {
    for (const std::size_t length : {0u, 1u, 511u, 512u, 1023u, 1024u, 5000u}) {
        const Answers answers = readInPushes(Samples(length, 0.1f), 4096, 0);
        EXPECT_EQ(answers.tempo->bpm, 0) << length;
        EXPECT_FALSE(answers.tempo->isSteady);
        EXPECT_TRUE(answers.beats->beats.empty());
        EXPECT_EQ(answers.bars->beatsPerBar, 0);
        EXPECT_LE(answers.onsets->size(), 1u);
    }
}

TEST(ReaderTest, WhatIsNotFiniteCountsAsSilence) {
    Samples broken = music();
    Samples mended = broken;
    for (const std::size_t at : {5000u, 100000u, 100001u, 300000u}) {
        broken[at] = at % 2 == 0 ? std::numeric_limits<float>::quiet_NaN()
                                 : -std::numeric_limits<float>::infinity();
        mended[at] = 0;
    }
    EXPECT_EQ(numbersOf(readInPushes(broken, 4096, 0)), numbersOf(readInPushes(mended, 4096, 0)));
}

TEST(ReaderTest, SilenceDCAndFullScaleGiveFiniteAnswers) {
    for (const Samples& samples :
         {silence(9), Samples(400000, 1.0f), sine(441, 9, 1.0f), noise(9, 1.0f)}) {
        for (const double number : numbersOf(readInPushes(samples, 4096, 0))) {
            EXPECT_TRUE(std::isfinite(number));
        }
    }
}

TEST(ReaderTest, HugeSamplesGiveFiniteAnswers) {
    Samples broken = music();
    broken[100000] = 3e38f;
    for (const Samples& samples : {broken, noise(9, 1e30f)}) {
        for (const double number : numbersOf(readInPushes(samples, 4096, 0))) {
            EXPECT_TRUE(std::isfinite(number));
        }
    }
}

TEST(ReaderTest, SilenceHasNoTempoNoBeatsAndNoBars) {
    for (const Samples& samples : {silence(20), Samples(900000, 0.25f)}) {
        const Answers answers = readInPushes(samples, 4096, 0);
        EXPECT_EQ(answers.tempo->bpm, 0);
        EXPECT_EQ(answers.tempo->strength, 0);
        EXPECT_TRUE(answers.beats->beats.empty());
        EXPECT_EQ(answers.bars->beatsPerBar, 0);
    }
}

TEST(ReaderTest, AfterTheEndOnlyAResetHelps) {
    Reader reader({Reading::Key}, {.sampleRateHz = kRateHz});
    const Samples samples = music();
    reader.push(std::span<const float>(samples));
    const KeyAnswer first = *reader.finish().key;
    EXPECT_THROW(reader.push(std::span<const float>(samples)), std::logic_error);
    EXPECT_THROW(reader.finish(), std::logic_error);
    reader.reset();
    reader.push(std::span<const float>(samples));
    EXPECT_EQ(reader.finish().key->main, first.main);
}

TEST(ReaderTest, AMovedFromReaderSaysSo) {
    Reader reader({Reading::Key}, {.sampleRateHz = kRateHz});
    Reader other = std::move(reader);
    EXPECT_THROW(reader.finish(), std::logic_error);
    EXPECT_THROW(reader.reset(), std::logic_error);
    EXPECT_EQ(other.finish().key->strength, 0);
}

class ReaderRateTest : public testing::TestWithParam<double> {};

TEST_P(ReaderRateTest, ClicksHaveTheirTempo) {
    const double rateHz = GetParam();
    const Answers answers =
        read({Reading::Tempo, Reading::Onsets, Reading::Loudness, Reading::Bandwidth},
             strokes(times(0.3, 0.5, 20), 20, rateHz), rateHz);
    const double octaves = std::round(std::log2(answers.tempo->bpm / 120));
    EXPECT_NEAR(answers.tempo->bpm / std::exp2(octaves), 120, 0.5);
    EXPECT_NEAR(static_cast<double>(answers.onsets->size()), 40, 1);
}

INSTANTIATE_TEST_SUITE_P(Rates, ReaderRateTest,
                         testing::Values(16000.0, 22050.0, 48000.0, 96000.0));

TEST(ReaderTest, ChannelsAreReadAsTheirMean) {
    const Samples left = music();
    Samples right = left;
    std::ranges::transform(right, right.begin(), [](float x) { return 0.5f * x; });
    Reader reader({Reading::Onsets}, {.sampleRateHz = kRateHz, .channels = 2});
    const std::vector<const float*> channels{left.data(), right.data()};
    reader.push(channels, left.size());
    Samples mean = left;
    std::ranges::transform(mean, mean.begin(), [](float x) { return (x + 0.5f * x) * 0.5f; });
    const auto expected = onsetsOf(mean);
    const auto found = *reader.finish().onsets;
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_EQ(found[i].seconds, expected[i].seconds);
    }
}

TEST(ReaderTest, SetupsAndPushesOutOfRangeAreRefused) {
    EXPECT_THROW(Reader({Reading::Key}, {.sampleRateHz = 7999}), std::invalid_argument);
    EXPECT_THROW(Reader({Reading::Key}, {.sampleRateHz = std::nan("")}), std::invalid_argument);
    EXPECT_THROW(Reader({Reading::Key}, {.channels = 0}), std::invalid_argument);
    EXPECT_THROW(Reader({Reading::Key}, {.channels = 65}), std::invalid_argument);
    EXPECT_THROW(Reader({static_cast<Reading>(99)}, {}), std::invalid_argument);
    EXPECT_THROW(Reader({static_cast<Reading>(-1)}, {}), std::invalid_argument);
    Reader reader({Reading::Key}, {.channels = 2});
    EXPECT_THROW(reader.push(std::span<const float>(silence(1))), std::invalid_argument);
}

} // namespace
} // namespace qel::readings::test
