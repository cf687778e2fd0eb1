// What the generator of "sound check" makes of an analyzer that works, from the inside.

#include "loudness/soundcheck/AABreloSoundCheckGenerator.h"
#include "tests/loudness/soundcheck/SoundCheckTesting.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace qel::core {
namespace {

using test::kStep;

constexpr double kRateHz = 44100.0;

class WorkingGenerator : public AABreloSoundCheckGenerator {
public:
    using AABreloSoundCheckGenerator::AABreloSoundCheckGenerator;
    UInt32 analyzedChannels = 1;

private:
    void AllocateBuffers() override {
        mAnalyzer = new BufferedSoundCheckAnalyzer("a name");
        ASSERT_EQ(0, mAnalyzer->Start(test::InterleavedFloat(kRateHz, analyzedChannels), nullptr,
                                      nullptr, 0));
    }
};

struct Call {
    bool firstWasNull, keyWasOurs;
    std::vector<std::vector<std::byte>> blocks;

    template <class Value>
    Value Read(std::size_t block, std::size_t offset) const {
        Value value{};
        std::memcpy(&value, blocks.at(block).data() + offset, sizeof value);
        return value;
    }
};

class AABreloSoundCheckGeneratorBlocksTest : public testing::Test {
protected:
    AABreloSoundCheckGeneratorBlocksTest() : mSamples(test::RoughNoise(2 * 3 * kStep, 1)) {}

    void Make(UInt32 streamChannels, UInt32 analyzedChannels) {
        mGenerator = std::make_unique<WorkingGenerator>(streamChannels, kRateHz, 4 * kStep, 0,
                                                        Receive, &mCalls);
        mGenerator->analyzedChannels = analyzedChannels;
        mGenerator->ReadyAnalysis();
    }

    SInt32 Push(UInt32 frames) {
        AudioBufferList list =
            test::ListOf(mSamples.data(), frames * mGenerator->analyzedChannels * sizeof(float),
                         mGenerator->analyzedChannels);
        return mGenerator->PushAudio(&list, frames);
    }

    static void Receive(void* first, CFStringRef key, UInt32 count, QelAudioAnalysisBlock* blocks,
                        void* refCon) {
        Call call{first == nullptr, CFEqual(key, CFSTR("sound check")) != 0, {}};
        for (UInt32 b = 0; b < count; ++b) {
            const auto* bytes = static_cast<const std::byte*>(blocks[b].mData);
            call.blocks.emplace_back(bytes, bytes + blocks[b].mDataByteSize);
        }
        static_cast<std::vector<Call>*>(refCon)->push_back(call);
    }

    // The figures that the analyzer below gives for the same audio.
    std::array<test::Figures, 2> Expected(UInt32 frames, bool finished) const {
        SoundCheckAnalyzer analyzer;
        const auto format = test::InterleavedFloat(kRateHz, mGenerator->analyzedChannels);
        EXPECT_EQ(0, analyzer.Start(&format, nullptr));
        EXPECT_EQ(0, analyzer.Process(frames, mSamples.data()));
        if (finished) {
            EXPECT_EQ(0, analyzer.Finish());
        }
        return test::FiguresOf(*analyzer.GetData());
    }

    static void ExpectBlock(const Call& call, std::size_t block, const test::Figures& figures) {
        ASSERT_EQ(40u, call.blocks.at(block).size());
        EXPECT_EQ(0u, call.Read<UInt32>(block, 0));
        EXPECT_EQ(figures.averageLoudness, call.Read<UInt32>(block, 4));
        EXPECT_EQ(figures.maxLoudness, call.Read<UInt32>(block, 8));
        EXPECT_EQ(figures.maxEnergyTime, call.Read<double>(block, 16));
        EXPECT_EQ(static_cast<UInt32>(figures.peak), call.Read<UInt32>(block, 24));
        EXPECT_EQ(figures.peakTime, call.Read<double>(block, 32));
    }

    const std::vector<float> mSamples;
    std::vector<Call> mCalls;
    std::unique_ptr<WorkingGenerator> mGenerator;
};

TEST_F(AABreloSoundCheckGeneratorBlocksTest, EveryPushBringsTheRunningFiguresAndTheEndTheLoudness) {
    for (const UInt32 channels : {1u, 2u}) {
        mCalls.clear();
        Make(channels, channels);
        EXPECT_EQ(0, Push(3 * kStep));
        EXPECT_EQ(0, mGenerator->ProcessFinal(1));
        ASSERT_EQ(2u, mCalls.size());
        for (std::size_t i = 0; i < 2; ++i) {
            EXPECT_TRUE(mCalls[i].firstWasNull);
            EXPECT_TRUE(mCalls[i].keyWasOurs);
            ASSERT_EQ(channels, mCalls[i].blocks.size());
            const auto figures = Expected(3 * kStep, i == 1);
            for (std::size_t c = 0; c < channels; ++c) {
                ExpectBlock(mCalls[i], c, figures[c]);
                EXPECT_GT(figures[c].peak, 0);
                EXPECT_EQ(i == 1, figures[c].averageLoudness > 0);
            }
        }
    }
}

TEST_F(AABreloSoundCheckGeneratorBlocksTest, PushesThatFillNoStepBringFiguresToo) {
    Make(1, 1);
    EXPECT_EQ(0, Push(100));
    EXPECT_EQ(0, Push(0));
    ASSERT_EQ(2u, mCalls.size());
    for (const Call& call : mCalls) {
        ExpectBlock(call, 0, test::Figures{});
    }
}

TEST_F(AABreloSoundCheckGeneratorBlocksTest, ChannelsThatAreNotMeasuredHaveNoFigures) {
    Make(4, 1);
    EXPECT_EQ(0, Push(2 * kStep));
    EXPECT_EQ(0, mGenerator->ProcessFinal(1));
    ASSERT_EQ(2u, mCalls.size());
    ASSERT_EQ(4u, mCalls[1].blocks.size());
    ExpectBlock(mCalls[1], 0, Expected(2 * kStep, true)[0]);
    for (std::size_t c = 1; c < 4; ++c) {
        ExpectBlock(mCalls[1], c, test::Figures{});
    }
}

TEST_F(AABreloSoundCheckGeneratorBlocksTest, AFlushPushesSilenceThatTheFiguresCount) {
    Make(1, 1);
    EXPECT_EQ(0, Push(kStep));
    EXPECT_EQ(0, mGenerator->Process(1, nullptr, nullptr));
    ASSERT_EQ(3u, mCalls.size()); // push, the flush's push, end
    // Silence is below the gate: the figures stay.
    ExpectBlock(mCalls[2], 0, Expected(kStep, true)[0]);
}

TEST_F(AABreloSoundCheckGeneratorBlocksTest, AStatusOfTheAnalyzerIsReturnedAndNothingIsDelivered) {
    Make(1, 1);
    AudioBufferList list = test::ListOf(nullptr, 0, 1);
    EXPECT_EQ(-50, mGenerator->PushAudio(&list, 100));
    EXPECT_EQ(kAudioAnalysisErr_NullBufferList, mGenerator->PushAudio(nullptr, 100));
    EXPECT_TRUE(mCalls.empty());
}

TEST_F(AABreloSoundCheckGeneratorBlocksTest, AStopAtTheEndIsReturned) {
    Make(1, 1);
    EXPECT_EQ(-1, mGenerator->Process(
                      0, [](void*, float, void*) { return 1; }, nullptr));
    EXPECT_EQ(1u, mCalls.size());
}

TEST_F(AABreloSoundCheckGeneratorBlocksTest, OnlyItsOwnKeyHasASize) {
    Make(1, 1);
    EXPECT_EQ(40u, mGenerator->GetSizeOfAnalysisDataForKey(CFSTR("sound check")));
    EXPECT_EQ(0u, mGenerator->GetSizeOfAnalysisDataForKey(CFSTR("audio range")));
    EXPECT_EQ(0u, mGenerator->GetSizeOfAnalysisDataForKey(nullptr));
}

} // namespace
} // namespace qel::core
