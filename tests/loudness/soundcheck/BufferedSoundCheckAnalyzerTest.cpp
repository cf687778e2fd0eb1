// Audio that needs no converter, in pieces of any size.

#include "loudness/soundcheck/BufferedSoundCheckAnalyzer.h"

#include "tests/loudness/soundcheck/SoundCheckTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace qel::core {
namespace {

using test::Figures;
using test::FiguresOf;
using test::InterleavedFloat;
using test::kStep;

constexpr double kRateHz = 44100.0;
using BothChannels = std::array<Figures, 2>;

class BufferedSoundCheckAnalyzerTest : public testing::Test {
protected:
    OSStatus Start(const CAStreamBasicDescription& format) {
        mChannels = format.mChannelsPerFrame;
        return mAnalyzer.Start(format, nullptr, nullptr, 0);
    }

    OSStatus Push(const float* samples, std::size_t frames) {
        const AudioBufferList list =
            test::ListOf(samples, frames * mChannels * sizeof(float), mChannels);
        return mAnalyzer.ProcessBuffer(static_cast<UInt32>(frames), list, nullptr);
    }

    void PushInPieces(const std::vector<float>& samples, std::size_t pieceFrames) {
        const std::size_t frames = samples.size() / mChannels;
        for (std::size_t at = 0; at < frames; at += pieceFrames) {
            ASSERT_EQ(0, Push(samples.data() + at * mChannels, std::min(pieceFrames, frames - at)));
        }
    }

    BothChannels Finished() {
        EXPECT_EQ(0, mAnalyzer.Finish());
        return FiguresOf(*mAnalyzer.GetData());
    }

    BufferedSoundCheckAnalyzer mAnalyzer{"a name"};
    UInt32 mChannels = 0;
};

// What the analyzer below gives for whole steps in calls of that many.
BothChannels Walked(const std::vector<float>& samples, UInt32 channels, UInt32 stepsPerCall) {
    SoundCheckAnalyzer analyzer;
    const CAStreamBasicDescription format = InterleavedFloat(kRateHz, channels);
    EXPECT_EQ(0, analyzer.Start(&format, nullptr));
    const std::size_t stride = std::size_t{stepsPerCall} * kStep * channels;
    for (std::size_t at = 0; at + stride <= samples.size(); at += stride) {
        EXPECT_EQ(0, analyzer.Process(stepsPerCall * kStep, samples.data() + at));
    }
    EXPECT_EQ(0, analyzer.Finish());
    return FiguresOf(*analyzer.GetData());
}

TEST_F(BufferedSoundCheckAnalyzerTest, MonoGivesTheSameInPiecesOfEverySize) {
    const std::vector<float> samples = test::RoughNoise(5 * kStep + 777, 1);
    const BothChannels expected = Walked(samples, 1, 1);
    ASSERT_GT(expected[0].averageLoudness, 0u);
    for (const std::size_t piece :
         {std::size_t{1}, std::size_t{7}, std::size_t{1000}, std::size_t{kStep - 1},
          std::size_t{kStep}, std::size_t{kStep + 1}, std::size_t{100000}, samples.size()}) {
        ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 1)));
        PushInPieces(samples, piece);
        EXPECT_EQ(expected, Finished()) << piece;
    }
}

TEST_F(BufferedSoundCheckAnalyzerTest, StereoInPiecesUpToAStepGivesWhatSingleStepsGive) {
    const std::vector<float> samples = test::RoughNoise(2 * (4 * kStep + 777), 2);
    const BothChannels expected = Walked(samples, 2, 1);
    ASSERT_GT(expected[1].averageLoudness, 0u);
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{1000},
                                    std::size_t{kStep - 1}, std::size_t{kStep}}) {
        ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 2)));
        PushInPieces(samples, piece);
        EXPECT_EQ(expected, Finished()) << piece;
    }
}

// Whole steps of one push go to the analyzer in one call, whose excerpts lie closer.
TEST_F(BufferedSoundCheckAnalyzerTest, StereoInOnePieceIsWalkedInOneCall) {
    const std::vector<float> samples = test::RoughNoise(2 * (4 * kStep + 777), 3);
    ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 2)));
    PushInPieces(samples, 4 * kStep + 777);
    const BothChannels inOneCall = Finished();
    EXPECT_EQ(Walked(samples, 2, 4), inOneCall);
    EXPECT_NE(Walked(samples, 2, 1), inOneCall);
}

TEST_F(BufferedSoundCheckAnalyzerTest, ATrackBelowOneStepHasNoFigures) {
    const std::vector<float> samples(kStep - 1, 1.0f);
    for (const std::size_t piece : {std::size_t{100}, samples.size()}) {
        ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 1)));
        PushInPieces(samples, piece);
        EXPECT_EQ(BothChannels{}, Finished());
    }
}

TEST_F(BufferedSoundCheckAnalyzerTest, WhatIsAfterTheLastWholeStepIsDropped) {
    std::vector<float> samples = test::RoughNoise(2 * kStep, 4);
    const BothChannels expected = Walked(samples, 1, 1);
    samples.resize(3 * kStep - 1, 1.0f);
    ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 1)));
    PushInPieces(samples, 4096);
    EXPECT_EQ(expected, Finished());
    // It was kept, though: one frame more, and it counts.
    const float more = 0.0f;
    EXPECT_EQ(0, Push(&more, 1));
    EXPECT_EQ(32768, Finished()[0].peakLevel);
}

TEST_F(BufferedSoundCheckAnalyzerTest, FloatsCanBeGivenWithoutAList) {
    const std::vector<float> samples = test::RoughNoise(2 * kStep, 5);
    ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 1)));
    for (std::size_t at = 0; at < samples.size(); at += 512) {
        ASSERT_EQ(0, mAnalyzer.ProcessFloats(512, samples.data() + at));
    }
    EXPECT_EQ(Walked(samples, 1, 1), Finished());
}

TEST_F(BufferedSoundCheckAnalyzerTest, CanonicalAudioMustBeInterleavedWithOneOrTwoChannels) {
    std::vector<CAStreamBasicDescription> refused;
    for (const UInt32 channels : {0u, 3u}) {
        refused.push_back(InterleavedFloat(kRateHz, channels));
    }
    for (const UInt32 channels : {1u, 2u, 44100u}) {
        refused.push_back(InterleavedFloat(kRateHz, channels));
        refused.back().SetCanonical(channels, false);
    }
    for (const CAStreamBasicDescription& format : refused) {
        BufferedSoundCheckAnalyzer analyzer("a name");
        EXPECT_EQ(-50, analyzer.Start(format, nullptr, nullptr, 0)) << format.AsString();
        EXPECT_EQ(-50, analyzer.StartStatus());
        EXPECT_EQ(nullptr, analyzer.GetData());
        // The refusal is what everything else returns, and nothing is read.
        const AudioBufferList list = test::ListOf(nullptr, 0, 1);
        EXPECT_EQ(-50, analyzer.ProcessBuffer(1000, list, nullptr));
        EXPECT_EQ(-50, analyzer.ProcessBuffer(0, list, nullptr));
        EXPECT_EQ(-50, analyzer.ProcessFloats(1000, nullptr));
        EXPECT_EQ(0, analyzer.Finish());
    }
}

TEST_F(BufferedSoundCheckAnalyzerTest, BeforeAStartNothingIsTaken) {
    const float sample = 1.0f;
    mChannels = 1;
    EXPECT_EQ(-50, mAnalyzer.StartStatus());
    EXPECT_EQ(-50, Push(&sample, 1));
    EXPECT_EQ(-50, mAnalyzer.ProcessFloats(1, &sample));
    EXPECT_EQ(0, mAnalyzer.Finish());
    EXPECT_EQ(nullptr, mAnalyzer.GetData());
}

TEST_F(BufferedSoundCheckAnalyzerTest, AudioWithoutAPlaceIsRefusedAndTheTrackGoesOn) {
    const std::vector<float> samples = test::RoughNoise(kStep, 6);
    ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 1)));
    EXPECT_EQ(0, Push(samples.data(), 1000));
    EXPECT_EQ(-50, Push(nullptr, 1000));
    AudioBufferList empty = test::ListOf(samples.data(), 4000, 1);
    empty.mNumberBuffers = 0;
    EXPECT_EQ(-50, mAnalyzer.ProcessBuffer(1000, empty, nullptr));
    EXPECT_EQ(-50, mAnalyzer.ProcessFloats(1000, nullptr));
    EXPECT_EQ(0, Push(nullptr, 0));
    EXPECT_EQ(0, Push(samples.data() + 1000, kStep - 1000));
    EXPECT_EQ(Walked(samples, 1, 1), Finished());
}

TEST_F(BufferedSoundCheckAnalyzerTest, MoreBytesThan32BitsCountAreRefused) {
    const float sample = 1.0f;
    ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 2)));
    EXPECT_EQ(-50, mAnalyzer.ProcessFloats(1u << 29, &sample)); // 2^32 bytes
    EXPECT_EQ(-50, mAnalyzer.ProcessFloats(0xFFFFFFFFu, &sample));
    EXPECT_EQ(BothChannels{}, Finished());
}

TEST_F(BufferedSoundCheckAnalyzerTest, AnotherStartDropsWhatIsKeptOfTheTrackBefore) {
    ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 2)));
    PushInPieces(std::vector<float>(2 * (kStep + 5000), 1.0f), 3000);
    const std::vector<float> samples = test::RoughNoise(2 * kStep, 7);
    ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 1)));
    EXPECT_EQ(0, mAnalyzer.StartStatus());
    PushInPieces(samples, 3000);
    EXPECT_EQ(0, mAnalyzer.Finish());
    // The second channel has no results but those of the track before, which there are none of.
    EXPECT_EQ(Walked(samples, 1, 1), FiguresOf(*mAnalyzer.GetData()));
}

TEST_F(BufferedSoundCheckAnalyzerTest, ARefusedStartStopsTheAnalyzerUntilOneSucceeds) {
    ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 1)));
    PushInPieces(std::vector<float>(kStep, 0.5f), kStep);
    const BothChannels before = FiguresOf(*mAnalyzer.GetData());
    EXPECT_EQ(-50, Start(InterleavedFloat(kRateHz, 3)));
    mChannels = 1;
    const std::vector<float> loud(kStep, 1.0f);
    EXPECT_EQ(-50, Push(loud.data(), kStep));
    EXPECT_EQ(before, FiguresOf(*mAnalyzer.GetData()));
    ASSERT_EQ(0, Start(InterleavedFloat(kRateHz, 1)));
    EXPECT_EQ(0, Push(loud.data(), kStep));
    EXPECT_EQ(32768, Finished()[0].peak);
}

} // namespace
} // namespace qel::core
