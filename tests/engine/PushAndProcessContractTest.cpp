// The checks of a push in their order, and progress.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"

#include <gtest/gtest.h>

namespace qel::test {
namespace {

constexpr UInt32 kMaxFrames = 2048;

class PushTest : public testing::Test {
protected:
    PushTest()
        : mAnalyzer({"spectrum", "temporal properties"}, StreamSetup{44100.0, 2, kMaxFrames, 0}),
          mAudio(Noise(0.5f, 2, 2 * kMaxFrames, 1)) {}

    SInt32 PushList(BufferList& list, UInt32 frames) {
        return QelAudioAnalysisPushAudio(mAnalyzer.Handle(), frames, list.Get());
    }

    TestAnalyzer mAnalyzer;
    Audio mAudio;
};

TEST_F(PushTest, ExactlyTheLargestPushPasses) {
    EXPECT_EQ(0, mAnalyzer.Push(mAudio, 0, kMaxFrames));
    EXPECT_EQ(3u, mAnalyzer.DeliveriesOf("spectrum").size());
}

TEST_F(PushTest, OneFrameMoreIsTooMany) {
    EXPECT_EQ(-3863, mAnalyzer.Push(mAudio, 0, kMaxFrames + 1));
    EXPECT_TRUE(mAnalyzer.Deliveries().empty());
}

TEST_F(PushTest, TooManyFramesWinsOverAWrongNumberOfBuffers) {
    BufferList list(5);
    EXPECT_EQ(-3863, PushList(list, kMaxFrames + 1));
    EXPECT_EQ(-3865, PushList(list, kMaxFrames));
}

TEST_F(PushTest, TheNumberOfBuffersMustBeTheNumberOfChannels) {
    for (const UInt32 buffers : {0u, 1u, 3u}) {
        const Audio audio = Noise(0.5f, buffers, 100, 1);
        BufferList list(audio, 0, 100);
        EXPECT_EQ(-3865, PushList(list, 100)) << buffers;
        EXPECT_EQ(-3865, PushList(list, 0)) << buffers;
    }
    EXPECT_TRUE(mAnalyzer.Deliveries().empty());
}

TEST_F(PushTest, EveryBufferMustHold4BytesPerFrame) {
    for (const UInt32 channel : {0u, 1u}) {
        BufferList list(mAudio, 0, 100);
        list.Buffer(channel).mDataByteSize = 399;
        EXPECT_EQ(-3865, PushList(list, 100)) << channel;
    }
    EXPECT_TRUE(mAnalyzer.Deliveries().empty());
}

TEST_F(PushTest, BuffersMayBeLargerThanThePush) {
    BufferList list(mAudio, 0, 200);
    EXPECT_EQ(0, PushList(list, 100));
    EXPECT_EQ(1u, mAnalyzer.Deliveries().size());
}

TEST_F(PushTest, NullDataIsRefusedWhenThereAreFrames) {
    for (const UInt32 channel : {0u, 1u}) {
        for (const UInt32 bytes : {0u, 400u}) {
            BufferList list(mAudio, 0, 100);
            list.Buffer(channel).mData = nullptr;
            list.Buffer(channel).mDataByteSize = bytes;
            EXPECT_EQ(-3865, PushList(list, 100)) << channel;
        }
    }
    EXPECT_TRUE(mAnalyzer.Deliveries().empty());
}

TEST_F(PushTest, NullDataIsFineWithoutFrames) {
    BufferList list(2);
    EXPECT_EQ(0, PushList(list, 0));
    EXPECT_EQ(1u, mAnalyzer.Deliveries().size()); // "temporal properties" of an empty block
}

TEST_F(PushTest, NullDataIsNotLookedAtWithoutAnyoneToReadIt) {
    TestAnalyzer idle({}, StreamSetup{44100.0, 2, kMaxFrames, 0});
    BufferList list(2);
    EXPECT_EQ(0, QelAudioAnalysisPushAudio(idle.Handle(), 100, list.Get()));
}

TEST_F(PushTest, ARefusedPushLeavesTheStreamAsItWas) {
    ASSERT_EQ(0, mAnalyzer.Push(mAudio, 0, 1000));
    BufferList list(mAudio, 0, 100);
    list.Buffer(1).mDataByteSize = 4;
    ASSERT_EQ(-3865, PushList(list, 100));
    ASSERT_EQ(-3863, mAnalyzer.Push(mAudio, 0, kMaxFrames + 1));
    ASSERT_EQ(0, mAnalyzer.Push(mAudio, 1000, 24));
    TestAnalyzer fresh({"spectrum"}, StreamSetup{44100.0, 2, kMaxFrames, 0});
    ASSERT_EQ(0, fresh.Push(mAudio, 0, 1024));
    EXPECT_EQ(fresh.Deliveries(), mAnalyzer.DeliveriesOf("spectrum"));
}

TEST_F(PushTest, TheSamplesAreNotChanged) {
    const Audio before = mAudio;
    ASSERT_EQ(0, mAnalyzer.Push(mAudio, 0, kMaxFrames));
    EXPECT_EQ(before, mAudio);
}

TEST(PushLimitsTest, ALargestPushOf0AllowsEmptyPushesOnly) {
    TestAnalyzer analyzer({"spectrum", "temporal properties"}, StreamSetup{44100.0, 1, 0, 0});
    EXPECT_EQ(0, analyzer.Push(Silence(1, 1), 0, 0));
    EXPECT_EQ(-3863, analyzer.Push(Silence(1, 1), 0, 1));
}

TEST(DeliveryTest, HandsOverHandleKeyCountAndTheClientsPointer) {
    // Handle and pointer are checked by TestAnalyzer on every delivery; key and count here.
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{44100.0, 2, 4096, 0});
    int calls = 0;
    analyzer.onDelivery = [&](QelAudioAnalysisRef, CFStringRef key, UInt32 count,
                              QelAudioAnalysisBlock* blocks) {
        ++calls;
        EXPECT_EQ("spectrum", ToText(key));
        EXPECT_EQ(2u, count);
        EXPECT_EQ(4096u, blocks[1].mDataByteSize);
    };
    ASSERT_EQ(0, analyzer.Push(Noise(0.5f, 2, 1024, 1)));
    EXPECT_EQ(1, calls);
}

// What a progress callback was given, and what it answers.
struct Progress {
    std::vector<float> percents;
    bool alwaysNull = true;
    int answer = 0;

    static int Report(void* unused, float percent, void* refCon) {
        auto* self = static_cast<Progress*>(refCon);
        self->percents.push_back(percent);
        self->alwaysNull = self->alwaysNull && unused == nullptr;
        return self->answer;
    }
};

TEST(ProcessTest, ReportsOneHundredPercentOnceWithANullFirstArgument) {
    for (const UInt8 flush : {UInt8{0}, UInt8{1}, UInt8{255}}) {
        TestAnalyzer analyzer({"spectrum", "temporal properties"}, StreamSetup{});
        Progress progress;
        EXPECT_EQ(0,
                  QelAudioAnalysisProcess(analyzer.Handle(), flush, Progress::Report, &progress));
        EXPECT_EQ(std::vector<float>{100.0f}, progress.percents);
        EXPECT_TRUE(progress.alwaysNull);
    }
}

TEST(ProcessTest, AnAnswerOtherThan0GivesMinus1) {
    for (const int answer : {1, -1, 42}) {
        TestAnalyzer analyzer({"spectrum"}, StreamSetup{});
        Progress progress;
        progress.answer = answer;
        EXPECT_EQ(-1, QelAudioAnalysisProcess(analyzer.Handle(), 1, Progress::Report, &progress));
        EXPECT_EQ(1u, progress.percents.size());
    }
}

TEST(ProcessTest, WithoutAProgressCallbackItSucceeds) {
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{});
    EXPECT_EQ(0, analyzer.Process(0));
    EXPECT_EQ(0, analyzer.Process(1));
}

TEST(ProcessTest, MayRunTwiceAndForgetsTheFirstCallback) {
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{});
    Progress progress;
    progress.answer = 1;
    EXPECT_EQ(-1, QelAudioAnalysisProcess(analyzer.Handle(), 1, Progress::Report, &progress));
    EXPECT_EQ(-1, QelAudioAnalysisProcess(analyzer.Handle(), 1, Progress::Report, &progress));
    EXPECT_EQ(0, analyzer.Process(1));
    EXPECT_EQ(2u, progress.percents.size());
}

TEST(ProcessTest, WithoutKeysThereIsNoOneToReport) {
    TestAnalyzer analyzer({}, StreamSetup{});
    Progress progress;
    progress.answer = 1;
    EXPECT_EQ(0, QelAudioAnalysisProcess(analyzer.Handle(), 1, Progress::Report, &progress));
    EXPECT_TRUE(progress.percents.empty());
}

TEST(ProcessTest, AStopDoesNotEndTheStream) {
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{});
    Progress progress;
    progress.answer = 1;
    ASSERT_EQ(-1, QelAudioAnalysisProcess(analyzer.Handle(), 1, Progress::Report, &progress));
    EXPECT_EQ(0, analyzer.Push(Noise(0.5f, 1, 1024, 1)));
    EXPECT_EQ(1u, analyzer.Deliveries().size());
}

TEST(ResetTest, MayRunAtAnyTimeAfterInitialization) {
    TestAnalyzer analyzer({"spectrum"}, StreamSetup{});
    EXPECT_EQ(0, analyzer.Reset());
    EXPECT_EQ(0, analyzer.Reset());
    ASSERT_EQ(0, analyzer.Push(Noise(0.5f, 1, 1000, 1)));
    EXPECT_EQ(0, analyzer.Reset());
    // The thousand samples are gone: 24 more do not complete a frame.
    ASSERT_EQ(0, analyzer.Push(Noise(0.5f, 1, 24, 1)));
    EXPECT_TRUE(analyzer.Deliveries().empty());
}

} // namespace
} // namespace qel::test
