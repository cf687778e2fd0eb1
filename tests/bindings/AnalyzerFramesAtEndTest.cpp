// Frames that all arrive at the end of a stream, and pushes of sizes that a key does not take.
#include "tests/harness/Waveforms.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace qel {
namespace {

constexpr double kRateHz = 32000;
constexpr std::size_t kLength = 4000;
constexpr std::size_t kFrames = (kLength - 512) / 64 + 1;

using Channels = std::vector<std::vector<float>>;

// All results of a stream pushed at once, by key.
std::map<std::string, std::vector<StoredResult>>
resultsOf(const std::vector<std::string>& keys, const Channels& audio, std::uint32_t length) {
    Analyzer analyzer(keys, {.sampleRateHz = kRateHz,
                             .channels = static_cast<std::uint32_t>(audio.size()),
                             .maxFrames = kLength,
                             .lengthFrames = length});
    std::map<std::string, std::vector<StoredResult>> results;
    analyzer.onResult([&](const Result& result) {
        results[std::string(result.key())].push_back(result.store());
    });
    analyzer.push(std::vector<std::span<const float>>(audio.begin(), audio.end()));
    EXPECT_TRUE(results["reasigned spectrum"].empty()) << "before the end";
    EXPECT_TRUE(analyzer.finish());
    return results;
}

TEST(AnalyzerFramesAtEndTest, EveryFrameIsAResultWithATime) {
    auto results = resultsOf({"reasigned spectrum"}, {test::Noise(kLength, 1.0f, 1)}, kLength);
    const std::vector<StoredResult>& frames = results["reasigned spectrum"];
    ASSERT_EQ(frames.size(), kFrames);
    for (std::size_t f = 0; f < frames.size(); ++f) {
        EXPECT_EQ(frames[f].frameIndex, f);
        EXPECT_DOUBLE_EQ(frames[f].timeSeconds, static_cast<double>(f) * 64 / kRateHz);
        ASSERT_EQ(frames[f].channels.size(), 1u);
        EXPECT_EQ(frames[f].channels[0].size(), 512u);
    }
    const std::vector<float>& middle = frames[kFrames / 2].channels[0];
    EXPECT_TRUE(std::any_of(middle.begin(), middle.end(), [](float x) { return x != 0; }));
}

TEST(AnalyzerFramesAtEndTest, ChannelsHaveTheirOwnFrames) {
    const Channels audio = {test::Noise(kLength, 1.0f, 1), test::Sine(kLength, 40, 0.5)};
    auto both = resultsOf({"reasigned spectrum"}, audio, kLength)["reasigned spectrum"];
    ASSERT_EQ(both.size(), kFrames);
    for (std::size_t c = 0; c < 2; ++c) {
        auto alone = resultsOf({"reasigned spectrum"}, {audio[c]}, kLength)["reasigned spectrum"];
        ASSERT_EQ(alone.size(), kFrames);
        for (std::size_t f = 0; f < kFrames; ++f) {
            EXPECT_EQ(both[f].channels.at(c), alone[f].channels.at(0)) << "channel " << c;
        }
    }
}

TEST(AnalyzerFramesAtEndTest, AStreamShorterThanAFrameHasNone) {
    EXPECT_TRUE(
        resultsOf({"reasigned spectrum"}, {test::Noise(511, 1.0f, 1)}, 511)["reasigned spectrum"]
            .empty());
}

// An analyzer for a key that takes multiples of 512, and one that takes anything.
class PushMultipleTest : public ::testing::Test {
protected:
    PushMultipleTest() : mAnalyzer({"audio range", "spectrum"}, {.maxFrames = kLength}) {
        mAnalyzer.onResult([this](const Result& result) {
            ++mCounts[std::string(result.key())];
            if (result.key() == "audio range") {
                mRange = result.range();
            }
        });
    }

    SInt32 statusOf(std::size_t count) {
        try {
            mAnalyzer.push(std::span<const float>(mNoise).first(count));
        } catch (const Error& error) {
            mText = error.what();
            return error.status();
        }
        return 0;
    }

    std::vector<float> mNoise = test::Noise(kLength, 1.0f, 1);
    Analyzer mAnalyzer;
    std::map<std::string, int> mCounts;
    AudioRange mRange;
    std::string mText;
};

TEST_F(PushMultipleTest, OtherPushesAreRefusedByNameAndTakenByTheOtherKeys) {
    EXPECT_EQ(statusOf(1000), kAudioAnalysisErr_BadFormat);
    EXPECT_NE(mText.find("\"audio range\", which takes multiples of 512"), std::string::npos)
        << mText;
    EXPECT_EQ(statusOf(24), kAudioAnalysisErr_BadFormat);
    EXPECT_EQ(mCounts["spectrum"], 1) << "1000 and 24 samples are a frame";
}

TEST_F(PushMultipleTest, MultiplesAreTakenAndNoSamplesAtAllAreNoFault) {
    EXPECT_EQ(statusOf(512), 0);
    EXPECT_EQ(statusOf(0), 0);
    EXPECT_EQ(statusOf(3072), 0);
    EXPECT_TRUE(mAnalyzer.finish());
    EXPECT_EQ(mCounts["audio range"], 1);
    ASSERT_TRUE(mRange.headroom.has_value());
    // Noise up to full scale: the 0.025% that are left out of 3584 samples are none but the last.
    EXPECT_NEAR(*mRange.headroom, 0, 0.005);
}

TEST_F(PushMultipleTest, WhatWasRefusedDoesNotCount) {
    mNoise.assign(kLength, 0.9f);
    mNoise[10] = -0.9f;
    EXPECT_EQ(statusOf(1000), kAudioAnalysisErr_BadFormat);
    mNoise = test::Sine(kLength, 64, 0.25);
    EXPECT_EQ(statusOf(1024), 0);
    EXPECT_TRUE(mAnalyzer.finish());
    ASSERT_TRUE(mRange.headroom.has_value());
    EXPECT_NEAR(*mRange.headroom, 0.75, 0.01); // two classes of 1 / 511 each way
}

} // namespace
} // namespace qel
