#include "loudness/range/AARangeMeter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr double kRateHz = 44100.0;
constexpr UInt32 kHop = 512;
constexpr UInt32 kMaxFrames = 8192;

using Planes = std::vector<std::vector<float>>;
using Records = std::vector<QelAudioAnalysisRange>;

// What the data callback brought last.
struct Received {
    int calls = 0;
    std::vector<QelAudioAnalysisBlock> blocks;
    Records records;
    bool keyIsRange = false;
    bool firstArgumentIsNull = false;
};

void Receive(void* first, CFStringRef key, UInt32 count, QelAudioAnalysisBlock* blocks,
             void* refCon) {
    auto& received = *static_cast<Received*>(refCon);
    ++received.calls;
    received.keyIsRange = CFEqual(key, kQelAnalysisKey_AudioRange);
    received.firstArgumentIsNull = first == nullptr;
    received.blocks.assign(blocks, blocks + count);
    received.records.resize(count == 0 ? 0 : blocks[0].mDataByteSize / sizeof(received.records[0]));
    if (count > 0) {
        std::memcpy(received.records.data(), blocks[0].mData, blocks[0].mDataByteSize);
    }
}

bool SameBytes(const Records& a, const Records& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(a[0])) == 0);
}

class Meter {
public:
    explicit Meter(UInt32 channels, UInt32 maxFrames = kMaxFrames, UInt32 streamLength = 0)
        : mMeter(channels, kRateHz, maxFrames, streamLength, Receive, &mReceived) {}

    SInt32 Push(const Planes& planes, std::size_t first, UInt32 frames) {
        // A list with room for as many buffers as the stream has channels.
        const std::size_t bytes = sizeof(AudioBufferList) + planes.size() * sizeof(AudioBuffer);
        std::vector<std::max_align_t> memory(bytes / sizeof(std::max_align_t) + 1);
        auto* list = new (memory.data()) AudioBufferList{};
        list->mNumberBuffers = static_cast<UInt32>(planes.size());
        for (std::size_t c = 0; c < planes.size(); ++c) {
            list->mBuffers[c] = {1, frames * UInt32{sizeof(float)},
                                 const_cast<float*>(planes[c].data() + first)};
        }
        return mMeter.PushAudio(list, frames);
    }
    void PushAll(const Planes& planes, UInt32 blockFrames) {
        for (std::size_t at = 0; at < planes.at(0).size(); at += blockFrames) {
            ASSERT_EQ(Push(planes, at, blockFrames), 0);
        }
    }
    Records Final() {
        mReceived = {};
        EXPECT_EQ(mMeter.ProcessFinal(1), 0);
        return mReceived.records;
    }
    AARangeMeter& Get() { return mMeter; }
    const Received& Last() const { return mReceived; }

private:
    Received mReceived;
    AARangeMeter mMeter;
};

std::vector<float> Noise(std::size_t frames, float amplitude, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-amplitude, amplitude);
    std::vector<float> samples(frames);
    for (float& sample : samples) {
        sample = uniform(random);
    }
    return samples;
}

TEST(AARangeMeterTest, OtherPushesThanWholeHopsAreRefusedAndLeaveNothing) {
    const Planes noise = {Noise(20 * kHop, 0.5f, 1)};
    const Planes loud = {std::vector<float>(4096, 1.0f)};
    Meter plain(1);
    plain.PushAll(noise, kHop);
    Meter disturbed(1);
    for (UInt32 b = 0; b < 20; ++b) {
        for (const UInt32 frames : {0u, 1u, 500u, 511u, 513u, 1000u, 1025u, 4095u}) {
            EXPECT_EQ(disturbed.Push(loud, 0, frames), -1) << frames;
        }
        EXPECT_EQ(disturbed.Push(noise, b * kHop, kHop), 0);
    }
    EXPECT_TRUE(SameBytes(disturbed.Final(), plain.Final()));
}

TEST(AARangeMeterTest, ANullListIsRefusedAfterTheFrameCount) {
    Meter meter(1);
    EXPECT_EQ(meter.Get().PushAudio(nullptr, 500), -1);
    EXPECT_EQ(meter.Get().PushAudio(nullptr, kHop), kAudioAnalysisErr_NullBufferList);
}

TEST(AARangeMeterTest, TheCutIntoPushesDoesNotMatter) {
    const Planes noise = {Noise(80 * kHop, 0.5f, 2), Noise(80 * kHop, 0.01f, 3)};
    Meter whole(2);
    whole.PushAll(noise, kHop);
    const Records expected = whole.Final();
    for (const UInt32 block : {2 * kHop, 5 * kHop, 8 * kHop, 10 * kHop, 16 * kHop}) {
        Meter cut(2, kMaxFrames);
        cut.PushAll(noise, block);
        EXPECT_TRUE(SameBytes(cut.Final(), expected)) << block;
    }
}

TEST(AARangeMeterTest, NeitherTheLargestPushNorTheDeclaredLengthMatters) {
    const Planes noise = {Noise(40 * kHop, 0.5f, 4)};
    Meter plain(1);
    plain.PushAll(noise, 4 * kHop);
    const Records expected = plain.Final();
    for (const UInt32 length : {1u, 40 * kHop, 0xffffffffu}) {
        Meter other(1, 4 * kHop, length);
        other.PushAll(noise, 4 * kHop);
        EXPECT_TRUE(SameBytes(other.Final(), expected));
    }
}

TEST(AARangeMeterTest, TheFirstHopMakesNoUsableFrame) {
    const Planes noise = {Noise(2 * kHop, 0.5f, 5)};
    Meter meter(1);
    ASSERT_EQ(meter.Push(noise, 0, kHop), 0);
    const Records one = meter.Final();
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0].mNoiseFloor, 100.0f);
    EXPECT_EQ(one[0].mCutoff, -1.0f);
    EXPECT_EQ(one[0].mNoiseFloorValid, 0);
    EXPECT_EQ(one[0].mCutoffValid, 0);
    EXPECT_EQ(one[0].mHeadroomValid, 1);
    // The next one sees the samples of the first.
    ASSERT_EQ(meter.Push(noise, kHop, kHop), 0);
    EXPECT_EQ(meter.Final()[0].mNoiseFloorValid, 1);
}

TEST(AARangeMeterTest, EveryBlockIsTheWholeArray) {
    const Planes noise = {Noise(8 * kHop, 0.5f, 6), Noise(8 * kHop, 0.1f, 7),
                          std::vector<float>(8 * kHop)};
    Meter meter(3);
    meter.PushAll(noise, 8 * kHop);
    const Records records = meter.Final();
    EXPECT_EQ(meter.Last().calls, 1);
    EXPECT_TRUE(meter.Last().keyIsRange);
    EXPECT_TRUE(meter.Last().firstArgumentIsNull);
    ASSERT_EQ(meter.Last().blocks.size(), 3u);
    for (const QelAudioAnalysisBlock& block : meter.Last().blocks) {
        EXPECT_EQ(block.mData, meter.Last().blocks[0].mData);
        EXPECT_EQ(block.mDataByteSize, 3u * 24u);
    }
    ASSERT_EQ(records.size(), 3u);
    for (const QelAudioAnalysisRange& record : records) {
        EXPECT_EQ(record.mHeadroomValid, 1);
        EXPECT_EQ(record.mNoiseFloorValid, 1); // of any channel
    }
    // Uniform noise leaves what its bounds leave, within two steps of the histogram and the
    // 0.025% of the tails.
    EXPECT_NEAR(records[0].mHeadroom, 0.5f, 0.01f);
    EXPECT_NEAR(records[1].mHeadroom, 0.9f, 0.01f);
    EXPECT_NE(records[0].mNoiseFloor, 100.0f);
    EXPECT_EQ(records[2].mNoiseFloor, 100.0f);
    EXPECT_EQ(records[2].mCutoff, -1.0f);
}

TEST(AARangeMeterTest, AResetLeavesTheSampleHistogramAndTheTail) {
    // 99 hops of quiet noise after a reset, before which there were as many loud samples as fit
    // the tails' 0.025%: 50688 samples allow 12.
    const Planes quiet = {Noise(99 * kHop, 0.1f, 8)};
    Planes loud = {std::vector<float>(kHop)};
    for (UInt32 i = 0; i < 13; ++i) {
        loud[0][i] = 0.9f;
    }
    Meter fresh(1);
    fresh.PushAll(quiet, kHop);
    EXPECT_NEAR(fresh.Final()[0].mHeadroom, 0.9f, 0.01f);

    Meter reset(1);
    ASSERT_EQ(reset.Push(loud, 0, kHop), 0);
    EXPECT_EQ(reset.Get().ReadyAnalysis(), 0);
    reset.PushAll(quiet, kHop);
    EXPECT_NEAR(reset.Final()[0].mHeadroom, 0.1f, 0.01f);

    // The tail: noise before the reset makes the first frame usable.
    Meter withTail(1);
    ASSERT_EQ(withTail.Push(quiet, 0, kHop), 0);
    withTail.Get().ReadyAnalysis();
    EXPECT_EQ(withTail.Final()[0].mNoiseFloorValid, 0); // the levels are gone
    ASSERT_EQ(withTail.Push(quiet, kHop, kHop), 0);
    EXPECT_EQ(withTail.Final()[0].mNoiseFloorValid, 1);
}

TEST(AARangeMeterTest, AFlushAddsSilenceIfTheLargestPushIsWholeHops) {
    const Planes noise = {Noise(8 * kHop, 0.5f, 9)};
    for (const UInt32 maxFrames : {8 * kHop, 8 * kHop + 1}) {
        Meter flushed(1, maxFrames);
        flushed.PushAll(noise, 8 * kHop);
        EXPECT_EQ(flushed.Get().Process(1, nullptr, nullptr), 0);
        const Records result = flushed.Last().records;

        Meter byHand(1);
        byHand.PushAll(noise, 8 * kHop);
        if (maxFrames % kHop == 0) {
            ASSERT_EQ(byHand.Push({std::vector<float>(maxFrames)}, 0, maxFrames), 0);
        }
        EXPECT_TRUE(SameBytes(result, byHand.Final())) << maxFrames;
    }
}

TEST(AARangeMeterTest, TheEndMayBeReportedRepeatedly) {
    const Planes noise = {Noise(8 * kHop, 0.5f, 10)};
    Meter meter(1);
    meter.PushAll(noise, kHop);
    const Records first = meter.Final();
    EXPECT_TRUE(SameBytes(meter.Final(), first));
}

TEST(AARangeMeterTest, AStopComesAfterTheDelivery) {
    Meter meter(1);
    float reported = 0.0f;
    const auto stop = [](void* first, float percent, void* refCon) {
        *static_cast<float*>(refCon) = percent;
        return first == nullptr ? 1 : 0;
    };
    EXPECT_EQ(meter.Get().Process(0, stop, &reported), -1);
    EXPECT_EQ(reported, 100.0f);
    EXPECT_EQ(meter.Last().calls, 1);
}

TEST(AARangeMeterTest, ThereMayBeNoCallbackAndNoResult) {
    AARangeMeter mute(1, kRateHz, kMaxFrames, 0, nullptr, nullptr);
    EXPECT_EQ(mute.ProcessFinal(0), 0);

    Meter none(0);
    EXPECT_EQ(none.Push({}, 0, kHop), 0);
    EXPECT_TRUE(none.Final().empty());
    EXPECT_EQ(none.Last().calls, 1);
}

TEST(AARangeMeterTest, ItHasNeitherARepresentationNorASize) {
    Meter meter(1);
    const QelAudioAnalysisBlock block{nullptr, 0};
    EXPECT_EQ(meter.Get().CreateCFRepresentation(kCFAllocatorDefault, kQelAnalysisKey_AudioRange, 1,
                                                 &block),
              nullptr);
    EXPECT_EQ(meter.Get().GetSizeOfAnalysisDataForKey(kQelAnalysisKey_AudioRange), 0u);
}

} // namespace
} // namespace qel::core
