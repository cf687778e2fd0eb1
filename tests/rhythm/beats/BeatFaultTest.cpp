// Calls in an order, and streams of a kind, that the beat keys must stand all the same.

#include "tests/harness/TestAnalyzer.h"
#include "tests/harness/TestSignals.h"
#include "tests/rhythm/beats/BeatRun.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <new>

namespace qel::test {
namespace {

constexpr SInt32 kNoMeter = -3;

// A failed Process leaves the stored audio and the buffers fit for more of either.
TEST(BeatFaultTest, PushesOfAnySizeMayFollowAProcessWithoutAMeter) {
    for (const UInt32 channels : {1u, 2u}) {
        const Audio audio = MusicLike(44100.0, channels, 3 * 44100);
        const StreamSetup setup{44100.0, channels, 4096, 3 * 44100};
        TestAnalyzer analyzer({kMeterKey}, setup);
        std::size_t frame = 0;
        for (const UInt32 size : {1000u, 1000u, 4096u, 10u}) {
            ASSERT_EQ(analyzer.Push(audio, frame, size), 0);
            frame += size;
            EXPECT_EQ(analyzer.Process(), kNoMeter);
        }
        while (frame < audio[0].size()) {
            const auto size =
                static_cast<UInt32>(std::min<std::size_t>(4096, audio[0].size() - frame));
            ASSERT_EQ(analyzer.Push(audio, frame, size), 0);
            frame += size;
        }
        analyzer.Forget();
        const SInt32 status = analyzer.Process();

        TestAnalyzer fresh({kMeterKey}, setup);
        fresh.PushInBlocks(audio, 4096);
        EXPECT_EQ(status, fresh.Process());
        EXPECT_EQ(analyzer.Deliveries(), fresh.Deliveries());
    }
}

TEST(BeatFaultTest, AnySampleRateEndsInAStatus) {
    const double infinity = std::numeric_limits<double>::infinity();
    const Audio audio = MusicLike(44100.0, 1, 8192);
    for (const double rate : {0.0, -44100.0, std::nan(""), infinity, -infinity, 1e300, 1e-300, 1.0,
                              99.0, 100.0, 300.0, 1000.0, 1e9, 4294967295.0, 1e12}) {
        TestAnalyzer analyzer(kAllBeatKeys, StreamSetup{rate, 1, 4096, 0});
        analyzer.PushInBlocks(audio, 4096);
        const SInt32 status = analyzer.Process();
        EXPECT_TRUE(status == 0 || status == -1 || status == kNoMeter) << rate << ": " << status;
    }
}

// The length is a promise that may be false: nothing large is taken for it.
TEST(BeatFaultTest, AFalseDeclaredLengthGivesTheSameResults) {
    Drums drums;
    const Audio audio{DrumTrack(44100.0, drums)};
    std::vector<Delivery> expected;
    for (const SInt64 length : {SInt64{0}, static_cast<SInt64>(audio[0].size()), SInt64{1} << 30,
                                (SInt64{1} << 32) - 1, SInt64{100}}) {
        TestAnalyzer analyzer(kAllBeatKeys, StreamSetup{44100.0, 1, 4096, length});
        analyzer.PushInBlocks(audio, 4096);
        EXPECT_EQ(analyzer.Process(), 0) << length;
        ASSERT_EQ(analyzer.DeliveriesOf(kTempoKey).size(), 1u) << length;
        ASSERT_EQ(analyzer.DeliveriesOf(kMeterKey).size(), 1u) << length;
        const std::vector<Delivery> tempoAndMeter = {analyzer.DeliveriesOf(kTempoKey).front(),
                                                     analyzer.DeliveriesOf(kMeterKey).front()};
        if (expected.empty()) {
            expected = tempoAndMeter;
        }
        EXPECT_EQ(tempoAndMeter, expected) << length;
    }
}

TEST(BeatFaultTest, EverythingMayBeCalledAfterAnInitializationThatRanOutOfMemory) {
    TestAnalyzer analyzer(kAllBeatKeys);
    EXPECT_THROW(analyzer.Initialize(StreamSetup{44100.0, 1, 1u << 30, 0}), std::bad_alloc);
    const Audio audio = Silence(1, 64);
    EXPECT_EQ(analyzer.Push(audio), 0);
    EXPECT_EQ(analyzer.Process(), 0); // no group came to be
    EXPECT_EQ(analyzer.Initialize(StreamSetup{44100.0, 1, 4096, 0}), 0);
    EXPECT_EQ(analyzer.Push(audio), 0);
    EXPECT_EQ(analyzer.Process(), -1);
}

TEST(BeatFaultTest, AnEventBlockWithoutEventsIsAnEmptyList) {
    TestAnalyzer analyzer({kBeatKey}, StreamSetup{});
    QelAudioAnalysisEventList list{3, nullptr};
    const QelAudioAnalysisBlock block{&list, sizeof list};
    const CFOwner<CFStringRef> key = MakeString(kBeatKey);
    const CFOwner<CFPropertyListRef> result(
        QelAudioAnalysisCreateCFRepresentation(analyzer.Handle(), nullptr, key.Get(), 1, &block));
    const auto channels = static_cast<CFArrayRef>(
        CFDictionaryGetValue(static_cast<CFDictionaryRef>(result.Get()), key.Get()));
    const auto events = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(channels, 0));
    const auto times = static_cast<CFArrayRef>(CFDictionaryGetValue(events, kBeatTimeString));
    ASSERT_NE(times, nullptr);
    EXPECT_EQ(CFArrayGetCount(times), 0);
}

} // namespace
} // namespace qel::test
