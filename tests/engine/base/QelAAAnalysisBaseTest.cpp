#include "engine/base/QelAAAnalysisBase.h"

#include "support/containers/CACFDictionary.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <vector>

namespace qel::core {
namespace {

// Keeps what the base class does with it.
class Probe : public QelAAAnalysisBase {
public:
    explicit Probe(UInt32 channels = 2, UInt32 maxFrames = 64)
        : QelAAAnalysisBase(channels, 44100.0, maxFrames, 0, &Receive, this) {}

    SInt32 PushAudio(AudioBufferList* list, UInt32 frames) override {
        pushedFrames.push_back(frames);
        for (UInt32 b = 0; b < list->mNumberBuffers; ++b) {
            const auto* samples = static_cast<const float*>(list->mBuffers[b].mData);
            for (UInt32 i = 0; i < frames; ++i) {
                pushedSamples.push_back(samples[i]);
            }
        }
        return -12345; // dropped by Process
    }

    void Cleanup() override {
        ++cleanups;
        QelAAAnalysisBase::Cleanup();
    }

    void AllocateBuffers() override {
        ++allocations;
        if (failAllocation) {
            throw std::bad_alloc();
        }
    }

    static void Receive(void* unused, CFStringRef key, UInt32 count, QelAudioAnalysisBlock* blocks,
                        void* refCon) {
        auto* probe = static_cast<Probe*>(refCon);
        EXPECT_EQ(unused, nullptr);
        EXPECT_TRUE(CFEqual(key, CFSTR("spectrum")));
        for (UInt32 i = 0; i < count; ++i) {
            const auto* floats = static_cast<const float*>(blocks[i].mData);
            probe->delivered.emplace_back(floats, floats + blocks[i].mDataByteSize / sizeof(float));
        }
    }

    using QelAAAnalysisBase::Deliver;
    using QelAAAnalysisBase::GetNumAnalysisFramesForData;
    using QelAAAnalysisBase::MakeFloatArrayForKey;
    using QelAAAnalysisBase::mBlocks;
    using QelAAAnalysisBase::mComputeFlags;

    std::vector<UInt32> pushedFrames;
    std::vector<float> pushedSamples;
    std::vector<std::vector<float>> delivered;
    int allocations = 0;
    int cleanups = 0;
    bool failAllocation = false;
};

struct Report {
    int calls = 0;
    void* first = &calls;
    float percent = 0.0f;
    int answer = 0;
};

int Progress(void* first, float percent, void* refCon) {
    auto* report = static_cast<Report*>(refCon);
    ++report->calls;
    report->first = first;
    report->percent = percent;
    return report->answer;
}

TEST(QelAAAnalysisBaseTest, ProcessWithoutProgressCallbackReturnsZero) {
    Probe probe;
    EXPECT_EQ(probe.Process(0, nullptr, nullptr), 0);
    EXPECT_EQ(probe.Process(1, nullptr, nullptr), 0);
}

TEST(QelAAAnalysisBaseTest, ProcessReportsOneHundredOnceWithANullFirstArgument) {
    Probe probe;
    Report report;
    EXPECT_EQ(probe.Process(0, &Progress, &report), 0);
    EXPECT_EQ(report.calls, 1);
    EXPECT_EQ(report.first, nullptr);
    EXPECT_EQ(report.percent, 100.0f);
}

TEST(QelAAAnalysisBaseTest, AnyAnswerOtherThanZeroStopsWithMinusOne) {
    Probe probe;
    for (const int answer : {1, -1, 7}) {
        Report report;
        report.answer = answer;
        EXPECT_EQ(probe.Process(0, &Progress, &report), -1);
    }
}

TEST(QelAAAnalysisBaseTest, FlushPushesOneLargestBlockOfSilenceToEveryChannel) {
    Probe probe(2, 64);
    EXPECT_EQ(probe.Process(1, nullptr, nullptr), 0) << "the status of the push is dropped";
    EXPECT_EQ(probe.pushedFrames, std::vector<UInt32>{64});
    EXPECT_EQ(probe.pushedSamples, std::vector<float>(2 * 64, 0.0f));
}

TEST(QelAAAnalysisBaseTest, ProcessWithoutFlushPushesNothing) {
    Probe probe;
    EXPECT_EQ(probe.Process(0, nullptr, nullptr), 0);
    EXPECT_TRUE(probe.pushedFrames.empty());
}

TEST(QelAAAnalysisBaseTest, MetaDataIsTheSampleRateAlone) {
    Probe probe;
    unsigned char record[24];
    std::memset(record, 0xA5, sizeof record);
    EXPECT_EQ(probe.GetMetaDataForKey(CFSTR("anything"), record), 0);
    double rate = 0.0;
    std::memcpy(&rate, record, sizeof rate);
    EXPECT_EQ(rate, 44100.0);
    for (std::size_t i = sizeof rate; i < sizeof record; ++i) {
        EXPECT_EQ(record[i], 0xA5) << "byte " << i;
    }
}

TEST(QelAAAnalysisBaseTest, DefaultsAnswerNothing) {
    Probe probe;
    float value = 3.0f;
    EXPECT_EQ(probe.GetParameter(CFSTR("complexity"), &value), 0);
    EXPECT_EQ(value, 3.0f);
    EXPECT_EQ(probe.SetParameter(CFSTR("complexity"), 1.0f), 0);
    EXPECT_EQ(probe.GetSizeOfAnalysisDataForKey(CFSTR("spectrum")), 0u);
    EXPECT_EQ(probe.CreateCFRepresentation(nullptr, CFSTR("spectrum"), 0, nullptr), nullptr);
    CFMutableArrayRef names = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    EXPECT_EQ(probe.GetParameterList(&names), 0);
    EXPECT_EQ(CFArrayGetCount(names), 0);
    CFRelease(names);
}

TEST(QelAAAnalysisBaseTest, ReadyBuildsTheBuffersAnewEachTime) {
    Probe probe;
    EXPECT_EQ(probe.ReadyAnalysis(), 0);
    EXPECT_EQ(probe.ReadyAnalysis(), 0);
    EXPECT_EQ(probe.allocations, 2);
    EXPECT_EQ(probe.cleanups, 0);
}

TEST(QelAAAnalysisBaseTest, AFailedReadyGivesBackWhatItHadAndStaysUsable) {
    Probe probe;
    probe.mComputeFlags.alloc(2, true);
    probe.mComputeFlags[1] = true;
    probe.failAllocation = true;
    EXPECT_THROW(probe.ReadyAnalysis(), std::bad_alloc);
    EXPECT_EQ(probe.cleanups, 1);
    EXPECT_TRUE(probe.mComputeFlags[1]) << "what was asked for outlives the failure";
    EXPECT_EQ(probe.Process(1, nullptr, nullptr), 0);
    EXPECT_TRUE(probe.pushedFrames.empty());
    probe.failAllocation = false;
    EXPECT_EQ(probe.ReadyAnalysis(), 0);
    EXPECT_EQ(probe.Process(1, nullptr, nullptr), 0);
    EXPECT_EQ(probe.pushedFrames, std::vector<UInt32>{64});
}

TEST(QelAAAnalysisBaseTest, MoreFramesThanBytesCanCountRaiseBadAlloc) {
    EXPECT_THROW(Probe(1, 0x40000000u), std::bad_alloc);
}

TEST(QelAAAnalysisBaseTest, FramesOfDataAreBlocksByChannels) {
    EXPECT_EQ(Probe(2).GetNumAnalysisFramesForData(7, nullptr), 3u);
    EXPECT_EQ(Probe(1).GetNumAnalysisFramesForData(7, nullptr), 7u);
    EXPECT_EQ(Probe(0).GetNumAnalysisFramesForData(7, nullptr), 0u);
}

TEST(QelAAAnalysisBaseTest, DeliveredBlocksHoldCopies) {
    Probe probe;
    const float left[] = {1.0f, 2.0f, 3.0f};
    float right[] = {4.0f, 5.0f, 6.0f};
    probe.mBlocks.Prepare(2, sizeof left);
    probe.mBlocks.Store(0, left);
    probe.mBlocks.Store(1, right);
    right[0] = 0.0f;
    probe.Deliver(CFSTR("spectrum"));
    const std::vector<std::vector<float>> expected = {{1.0f, 2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}};
    EXPECT_EQ(probe.delivered, expected);
}

// Block of frame f and channel c at f * channels + c; the array is by channel, then by frame.
TEST(QelAAAnalysisBaseTest, FloatBlocksBecomeArraysByChannelThenFrame) {
    Probe probe(2);
    std::vector<std::vector<float>> values = {
        {0.0f, 0.5f}, {10.0f, 10.5f}, {1.0f, 1.5f}, {11.0f, 11.5f}};
    std::vector<QelAudioAnalysisBlock> blocks;
    for (auto& v : values) {
        blocks.push_back({v.data(), static_cast<UInt32>(v.size() * sizeof(float))});
    }
    CACFDictionary dict(true);
    probe.MakeFloatArrayForKey(&dict, blocks.data(), 4, CFSTR("key"));

    CFArrayRef channels = nullptr;
    ASSERT_TRUE(dict.GetArray(CFSTR("key"), channels));
    ASSERT_EQ(CFArrayGetCount(channels), 2);
    for (CFIndex c = 0; c < 2; ++c) {
        const auto frames = static_cast<CFArrayRef>(CFArrayGetValueAtIndex(channels, c));
        ASSERT_EQ(CFArrayGetCount(frames), 2);
        for (CFIndex f = 0; f < 2; ++f) {
            const auto floats = static_cast<CFArrayRef>(CFArrayGetValueAtIndex(frames, f));
            ASSERT_EQ(CFArrayGetCount(floats), 2);
            for (CFIndex i = 0; i < 2; ++i) {
                float value = -1.0f;
                const auto number = static_cast<CFNumberRef>(CFArrayGetValueAtIndex(floats, i));
                EXPECT_TRUE(CFNumberGetValue(number, kCFNumberFloat32Type, &value));
                EXPECT_EQ(value, 10.0f * static_cast<float>(c) + static_cast<float>(f) +
                                     0.5f * static_cast<float>(i));
            }
        }
    }
}

TEST(QelAAAnalysisBaseTest, ABlockShorterThanTheFirstIsReadToItsEndOnly) {
    Probe probe(1);
    std::vector<float> full = {1.0f, 2.0f, 3.0f};
    std::vector<float> half = {4.0f};
    const QelAudioAnalysisBlock blocks[] = {{full.data(), 12}, {half.data(), 4}, {nullptr, 12}};
    CACFDictionary dict(true);
    probe.MakeFloatArrayForKey(&dict, blocks, 3, CFSTR("key"));
    CFArrayRef channels = nullptr;
    ASSERT_TRUE(dict.GetArray(CFSTR("key"), channels));
    const auto frames = static_cast<CFArrayRef>(CFArrayGetValueAtIndex(channels, 0));
    ASSERT_EQ(CFArrayGetCount(frames), 3);
    const CFIndex expected[] = {3, 1, 0};
    for (CFIndex f = 0; f < 3; ++f) {
        EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(CFArrayGetValueAtIndex(frames, f))),
                  expected[f]);
    }
}

} // namespace
} // namespace qel::core
