#include "loudness/soundcheck/SoundCheckAnalyzer.h"

#include "tests/loudness/soundcheck/SoundCheckTesting.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

namespace qel::core {
namespace {

using test::Figures;
using test::FiguresOf;
using test::InterleavedFloat;
using test::kStep;
using test::MillisecondsOfStep;

constexpr double kRateHz = 44100.0;
constexpr float kLoudest = 1.0f; // where nobody may look

void StartWith(SoundCheckAnalyzer& analyzer, UInt32 channels, double rateHz = kRateHz) {
    const CAStreamBasicDescription format = InterleavedFloat(rateHz, channels);
    ASSERT_EQ(0, analyzer.Start(&format, nullptr));
}

// The eighth of full scale that the n-th excerpt peaks at.
float LevelOfExcerpt(std::size_t n) {
    return static_cast<float>(n + 1) / 8.0f;
}

TEST(SoundCheckAnalyzerTest, TheVersionIsZeroAndThereIsNoDataBeforeAStart) {
    EXPECT_EQ(0u, SoundCheckAnalyzer::Version());
    SoundCheckAnalyzer analyzer;
    EXPECT_EQ(nullptr, analyzer.GetData());
    EXPECT_EQ(0, analyzer.Finish());
    const std::vector<float> silence(kStep);
    EXPECT_EQ(-50, analyzer.Process(kStep, silence.data()));
    EXPECT_EQ(0, analyzer.Process(0, silence.data()));
}

TEST(SoundCheckAnalyzerTest, FormatsThatItCannotWalkAreRefusedWithNothingStored) {
    std::vector<CAStreamBasicDescription> refused;
    for (const UInt32 channels : {0u, 3u, 6u}) {
        refused.push_back(InterleavedFloat(kRateHz, channels));
    }
    for (const UInt32 channels : {1u, 2u}) {
        refused.push_back(InterleavedFloat(kRateHz, channels));
        refused.back().SetCanonical(channels, false);
        refused.push_back(InterleavedFloat(kRateHz, channels));
        refused.back().mFormatFlags |= kAudioFormatFlagIsBigEndian;
        refused.push_back(test::Interleaved16Bit(kRateHz, channels));
    }
    for (const CAStreamBasicDescription& format : refused) {
        SoundCheckAnalyzer fresh;
        EXPECT_EQ(-50, fresh.Start(&format, nullptr)) << format.AsString();
        EXPECT_EQ(nullptr, fresh.GetData());

        SoundCheckAnalyzer started;
        StartWith(started, 1, 32000.0);
        const std::vector<float> samples(kStep, 0.5f);
        EXPECT_EQ(0, started.Process(kStep, samples.data()));
        EXPECT_EQ(-50, started.Start(&format, nullptr)) << format.AsString();
        EXPECT_EQ(32000u, started.GetData()->sampleRate);
        EXPECT_EQ(16384, started.GetData()->peak[0]);
        EXPECT_EQ(0, started.Process(kStep, std::vector<float>(kStep, 0.75f).data()));
        EXPECT_EQ(1024u, started.GetData()->peakTime[0]); // 32768 / 32000 s: the track went on
    }
    SoundCheckAnalyzer analyzer;
    EXPECT_EQ(-50, analyzer.Start(nullptr, nullptr));
}

TEST(SoundCheckAnalyzerTest, OneExcerptIsTakenFromTheStartOfEachStep) {
    std::vector<float> samples(5 * kStep, 0.0f);
    for (std::size_t n = 0; n < 5; ++n) {
        samples[n * kStep + 1023] = LevelOfExcerpt(n);
        samples[n * kStep + 1024] = kLoudest;
        samples[n * kStep + kStep - 1] = kLoudest;
    }
    SoundCheckAnalyzer inOneCall, inSteps;
    StartWith(inOneCall, 1);
    StartWith(inSteps, 1);
    EXPECT_EQ(0, inOneCall.Process(5 * kStep, samples.data()));
    for (std::size_t n = 0; n < 5; ++n) {
        EXPECT_EQ(0, inSteps.Process(kStep, samples.data() + n * kStep));
        EXPECT_EQ(4096 * static_cast<SInt32>(n + 1), inSteps.GetData()->peak[0]);
        EXPECT_EQ(MillisecondsOfStep(n, kRateHz), inSteps.GetData()->peakTime[0]);
    }
    EXPECT_EQ(2972u, inSteps.GetData()->peakTime[0]); // 4 * 32768 / 44100 = 2.97215 s
    EXPECT_EQ(FiguresOf(*inSteps.GetData()), FiguresOf(*inOneCall.GetData()));
}

TEST(SoundCheckAnalyzerTest, OneCallOverStereoTakesExcerpts16384FramesApartOfItsFirstHalf) {
    constexpr std::size_t steps = 4;
    std::vector<float> samples(2 * steps * kStep, kLoudest);
    for (std::size_t n = 0; n < steps; ++n) {
        for (std::size_t f = 0; f < 1024; ++f) {
            samples[2 * (n * 16384 + f)] = 0.0f;
            samples[2 * (n * 16384 + f) + 1] = 0.0f;
        }
        samples[2 * (n * 16384 + 5)] = LevelOfExcerpt(n);
        samples[2 * (n * 16384 + 1023) + 1] = -LevelOfExcerpt(n) / 2.0f;
    }
    SoundCheckAnalyzer analyzer;
    StartWith(analyzer, 2);
    EXPECT_EQ(0, analyzer.Process(steps * kStep, samples.data()));
    const NormalizationData& data = *analyzer.GetData();
    EXPECT_EQ(16384, data.peak[0]);
    EXPECT_EQ(8192, data.peak[1]);
    // The times go on as if the excerpts lay 32768 frames apart.
    EXPECT_EQ(MillisecondsOfStep(3, kRateHz), data.peakTime[0]);
    EXPECT_EQ(MillisecondsOfStep(3, kRateHz), data.peakTime[1]);
    EXPECT_EQ(0, analyzer.Process(kStep, std::vector<float>(2 * kStep, 0.75f).data()));
    EXPECT_EQ(MillisecondsOfStep(4, kRateHz), data.peakTime[0]);
}

TEST(SoundCheckAnalyzerTest, OneCallPerStepOfStereoTakesExcerpts32768FramesApart) {
    std::vector<float> samples(2 * 3 * kStep, kLoudest);
    for (std::size_t n = 0; n < 3; ++n) {
        std::fill_n(samples.begin() + static_cast<std::ptrdiff_t>(2 * n * kStep), 2048,
                    LevelOfExcerpt(n));
    }
    SoundCheckAnalyzer analyzer;
    StartWith(analyzer, 2);
    for (std::size_t n = 0; n < 3; ++n) {
        EXPECT_EQ(0, analyzer.Process(kStep, samples.data() + 2 * n * kStep));
    }
    EXPECT_EQ(3 * 4096, analyzer.GetData()->peak[0]);
    EXPECT_EQ(3 * 4096, analyzer.GetData()->peak[1]);
    EXPECT_EQ(MillisecondsOfStep(2, kRateHz), analyzer.GetData()->peakTime[1]);
}

TEST(SoundCheckAnalyzerTest, AnotherNumberOfFramesThanWholeStepsChangesNothing) {
    SoundCheckAnalyzer analyzer;
    StartWith(analyzer, 1);
    const std::vector<float> samples(kStep + 1, 0.5f);
    AudioBufferList list = test::ListOf(samples.data(), 4 * samples.size(), 1);
    for (const UInt32 frames : {1u, 1024u, kStep - 1, kStep + 1, 0xFFFFFFFFu}) {
        EXPECT_EQ(-50, analyzer.Process(frames, samples.data())) << frames;
        EXPECT_EQ(-50, analyzer.Process(frames, &list)) << frames;
    }
    EXPECT_EQ((std::array<Figures, 2>{}), FiguresOf(*analyzer.GetData()));
    // The track is still at its beginning.
    EXPECT_EQ(0, analyzer.Process(kStep, std::vector<float>(kStep).data()));
    EXPECT_EQ(0, analyzer.Process(kStep, samples.data()));
    EXPECT_EQ(MillisecondsOfStep(1, kRateHz), analyzer.GetData()->peakTime[0]);
}

TEST(SoundCheckAnalyzerTest, NoFramesAreNoExcerpt) {
    SoundCheckAnalyzer analyzer;
    StartWith(analyzer, 2);
    AudioBufferList list = test::ListOf(nullptr, 0, 2);
    EXPECT_EQ(0, analyzer.Process(0, static_cast<const float*>(nullptr)));
    EXPECT_EQ(0, analyzer.Process(0, &list));
    EXPECT_EQ((std::array<Figures, 2>{}), FiguresOf(*analyzer.GetData()));
}

TEST(SoundCheckAnalyzerTest, FramesWithoutSamplesAreRefused) {
    SoundCheckAnalyzer analyzer;
    StartWith(analyzer, 1);
    EXPECT_EQ(-50, analyzer.Process(2 * kStep, static_cast<const float*>(nullptr)));
    EXPECT_EQ((std::array<Figures, 2>{}), FiguresOf(*analyzer.GetData()));
}

TEST(SoundCheckAnalyzerTest, AListMustHaveOneBuffer) {
    const std::vector<float> samples = test::RoughNoise(3 * kStep, 1);
    SoundCheckAnalyzer analyzer, direct;
    StartWith(analyzer, 1);
    StartWith(direct, 1);
    AudioBufferList list = test::ListOf(samples.data(), 4 * samples.size(), 1);
    for (const UInt32 buffers : {0u, 2u}) {
        list.mNumberBuffers = buffers;
        EXPECT_EQ(-50, analyzer.Process(3 * kStep, &list)) << buffers;
    }
    EXPECT_EQ(-50, analyzer.Process(3 * kStep, static_cast<const AudioBufferList*>(nullptr)));
    EXPECT_EQ((std::array<Figures, 2>{}), FiguresOf(*analyzer.GetData()));
    list.mNumberBuffers = 1;
    EXPECT_EQ(0, analyzer.Process(3 * kStep, &list));
    EXPECT_EQ(0, direct.Process(3 * kStep, samples.data()));
    EXPECT_EQ(FiguresOf(*direct.GetData()), FiguresOf(*analyzer.GetData()));
    EXPECT_GT(analyzer.GetData()->peak[0], 0);
}

TEST(SoundCheckAnalyzerTest, FinishWorksOutTheResultsOfItsChannels) {
    const std::vector<float> samples = test::RoughNoise(4 * kStep, 2);
    for (const UInt32 channels : {1u, 2u}) {
        SoundCheckAnalyzer analyzer;
        StartWith(analyzer, channels);
        EXPECT_EQ(0, analyzer.Process(2 * kStep, samples.data()));
        EXPECT_EQ(0u, analyzer.GetData()->averageLoudness[0]);
        EXPECT_EQ(0, analyzer.Finish());
        for (std::size_t c = 0; c < 2; ++c) {
            const Figures figures = FiguresOf(*analyzer.GetData(), c);
            EXPECT_EQ(c<channels, figures.averageLoudness> 0) << channels << c;
            EXPECT_EQ(c < channels,
                      figures.maxLoudness >= figures.averageLoudness && figures.maxLoudness > 0);
            EXPECT_EQ(figures.peak, figures.peakLevel);
        }
    }
}

TEST(SoundCheckAnalyzerTest, AnotherStartBeginsAnotherTrackInTheSameRecord) {
    SoundCheckAnalyzer analyzer, fresh;
    StartWith(analyzer, 2, 48000.0);
    const NormalizationData* data = analyzer.GetData();
    EXPECT_EQ(0, analyzer.Process(kStep, std::vector<float>(2 * kStep, kLoudest).data()));
    StartWith(analyzer, 1, 32000.0);
    StartWith(fresh, 1, 32000.0);
    EXPECT_EQ(data, analyzer.GetData());
    EXPECT_EQ((std::array<Figures, 2>{}), FiguresOf(*data));
    const std::vector<float> samples = test::RoughNoise(2 * kStep, 3);
    EXPECT_EQ(0, analyzer.Process(2 * kStep, samples.data()));
    EXPECT_EQ(0, fresh.Process(2 * kStep, samples.data()));
    EXPECT_EQ(FiguresOf(*fresh.GetData()), FiguresOf(*data));
}

TEST(SoundCheckAnalyzerTest, OddSampleRatesAreCutToWholeNumbersInRange) {
    const auto rateOf = [](double rateHz) {
        SoundCheckAnalyzer analyzer;
        StartWith(analyzer, 1, rateHz);
        // Whatever the rate, an excerpt can be measured.
        EXPECT_EQ(0, analyzer.Process(2 * kStep, std::vector<float>(2 * kStep, 0.5f).data()));
        return analyzer.GetData()->sampleRate;
    };
    EXPECT_EQ(44099u, rateOf(44099.999));
    EXPECT_EQ(0u, rateOf(0.0));
    EXPECT_EQ(0u, rateOf(-44100.0));
    EXPECT_EQ(0u, rateOf(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_EQ(std::numeric_limits<UInt32>::max(), rateOf(1e300));
    EXPECT_EQ(std::numeric_limits<UInt32>::max(), rateOf(std::numeric_limits<double>::infinity()));
}

TEST(SoundCheckAnalyzerTest, TimesAreRoundedToWholeMilliseconds) {
    SoundCheckAnalyzer analyzer;
    StartWith(analyzer, 1, 48000.0);
    const UInt32 expected[] = {0, 683, 1365, 2048}; // 32768 / 48000 = 0.682667 s
    for (std::size_t n = 0; n < 4; ++n) {
        EXPECT_EQ(0, analyzer.Process(kStep, std::vector<float>(kStep, LevelOfExcerpt(n)).data()));
        EXPECT_EQ(expected[n], analyzer.GetData()->peakTime[0]);
        EXPECT_EQ(expected[n], analyzer.GetData()->maxEnergyTime[0]);
    }
}

TEST(SoundCheckAnalyzerTest, TimesStopAtTheEndOf32Bits) {
    SoundCheckAnalyzer analyzer;
    StartWith(analyzer, 1, 0.001); // a step takes a year
    EXPECT_EQ(0, analyzer.Process(kStep, std::vector<float>(kStep, 0.25f).data()));
    EXPECT_EQ(0u, analyzer.GetData()->peakTime[0]);
    EXPECT_EQ(0, analyzer.Process(kStep, std::vector<float>(kStep, 0.5f).data()));
    EXPECT_EQ(std::numeric_limits<UInt32>::max(), analyzer.GetData()->peakTime[0]);
    StartWith(analyzer, 1, 0.0);
    EXPECT_EQ(0, analyzer.Process(kStep, std::vector<float>(kStep, 0.25f).data()));
    EXPECT_EQ(0u, analyzer.GetData()->peakTime[0]);
}

} // namespace
} // namespace qel::core
