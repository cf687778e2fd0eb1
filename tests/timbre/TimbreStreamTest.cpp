// What must make no difference to the keys that are delivered frame by frame: how the stream is cut
// into pushes, what came before a reset, other channels and other keys.

#include "tests/timbre/TimbreTesting.h"

#include <limits>

namespace qel::test {
namespace {

class TimbreStreamTest : public testing::TestWithParam<FrameKey> {
protected:
    const FrameKey& Key() const { return GetParam(); }
    Audio Sound(UInt32 channels, std::size_t frames, std::size_t more = 0) const {
        return MusicLike(44100.0, channels, Key().SamplesFor(frames) + more, 13);
    }
};

TEST_P(TimbreStreamTest, AFrameIsDeliveredWhenAllItsSamplesAreThere) {
    const std::size_t frame = Key().frameSamples;
    const std::size_t hop = Key().hopSamples;
    for (const std::size_t samples : {std::size_t{0}, std::size_t{1}, frame - 1, frame,
                                      frame + hop - 1, frame + hop, frame + 5 * hop + 7}) {
        for (const UInt32 channels : {1u, 2u}) {
            const auto deliveries = RunKeys({Key().key}, Noise(0.5f, channels, samples, 14));
            EXPECT_EQ(Key().FramesIn(samples), deliveries.size()) << samples;
        }
    }
}

TEST_P(TimbreStreamTest, EveryFrameIsDeliveredInThePushThatCompletesIt) {
    const std::size_t frame = Key().frameSamples;
    const Audio audio = Sound(1, 2);
    TestAnalyzer analyzer({Key().key}, StreamSetup{});
    EXPECT_EQ(0, analyzer.Push(audio, 0, static_cast<UInt32>(frame - 1)));
    EXPECT_EQ(0u, analyzer.Deliveries().size());
    EXPECT_EQ(0, analyzer.Push(audio, frame - 1, 1));
    EXPECT_EQ(1u, analyzer.Deliveries().size());
    EXPECT_EQ(0, analyzer.Push(audio, frame, static_cast<UInt32>(Key().hopSamples - 1)));
    EXPECT_EQ(1u, analyzer.Deliveries().size());
    EXPECT_EQ(0, analyzer.Push(audio, frame + Key().hopSamples - 1, 1));
    EXPECT_EQ(2u, analyzer.Deliveries().size());
}

TEST_P(TimbreStreamTest, PushSizesMakeNoDifference) {
    const Audio audio = Sound(2, 9, 77);
    const std::vector<Delivery> expected = RunKeys({Key().key}, audio);
    EXPECT_EQ(9u, expected.size());
    for (const UInt32 block : {1u, 63u, 1000u, 1024u}) {
        EXPECT_EQ(expected, RunKeys({Key().key}, audio, {44100.0, block})) << block;
    }
}

TEST_P(TimbreStreamTest, ALongPushDeliversItsFramesOneByOne) {
    const Audio audio = Sound(1, 9);
    const auto length = static_cast<UInt32>(audio[0].size());
    TestAnalyzer analyzer({Key().key}, {44100.0, 1, length, 0});
    EXPECT_EQ(0, analyzer.Push(audio));
    EXPECT_EQ(RunKeys({Key().key}, audio), analyzer.Deliveries());
}

TEST_P(TimbreStreamTest, BothChannelsComeInOneCallbackAndAreIndependent) {
    const Audio audio = Sound(2, 6);
    const std::vector<Delivery> together = RunKeys({Key().key}, audio);
    ASSERT_EQ(6u, together.size());
    for (std::size_t channel = 0; channel < 2; ++channel) {
        const std::vector<Delivery> alone = RunKeys({Key().key}, {audio[channel]});
        ASSERT_EQ(together.size(), alone.size());
        for (std::size_t n = 0; n < alone.size(); ++n) {
            ASSERT_EQ(2u, together[n].blocks.size());
            EXPECT_EQ(Key().numbers * sizeof(float), together[n].blocks[channel].size());
            EXPECT_EQ(alone[n].blocks.at(0), together[n].blocks[channel]) << "frame " << n;
        }
    }
    EXPECT_NE(together[3].blocks[0], together[3].blocks[1]);
}

TEST_P(TimbreStreamTest, AResetBeginsAnew) {
    const Audio audio = Sound(2, 6);
    TestAnalyzer analyzer({Key().key}, {44100.0, 2, 4096, 0});
    analyzer.PushInBlocks(audio, 4096);
    const std::vector<Delivery> first = analyzer.Deliveries();
    EXPECT_EQ(6u, first.size());
    analyzer.PushInBlocks(Noise(0.9f, 2, 5777, 15), 4096);
    EXPECT_EQ(0, analyzer.Process());
    analyzer.Forget();
    EXPECT_EQ(0, analyzer.Reset());
    analyzer.PushInBlocks(audio, 1000);
    EXPECT_EQ(first, analyzer.Deliveries());
}

TEST_P(TimbreStreamTest, AResetForgetsThePartOfAFrame) {
    const std::size_t almost = Key().frameSamples - 1;
    TestAnalyzer analyzer({Key().key}, StreamSetup{});
    analyzer.PushInBlocks(Noise(0.9f, 1, almost, 15), 4096);
    EXPECT_EQ(0, analyzer.Reset());
    analyzer.PushInBlocks(Noise(0.9f, 1, almost, 16), 4096);
    EXPECT_TRUE(analyzer.Deliveries().empty());
}

TEST_P(TimbreStreamTest, AProcessInTheMiddleMakesNoDifference) {
    const Audio audio = Sound(1, 6);
    TestAnalyzer analyzer({Key().key}, StreamSetup{});
    for (std::size_t at = 0; at < audio[0].size(); at += 1500) {
        const std::size_t frames = std::min<std::size_t>(1500, audio[0].size() - at);
        EXPECT_EQ(0, analyzer.Push(audio, at, static_cast<UInt32>(frames)));
        EXPECT_EQ(0, analyzer.Process(1));
        EXPECT_EQ(0, analyzer.Process(0));
    }
    EXPECT_EQ(RunKeys({Key().key}, audio), analyzer.Deliveries());
}

TEST_P(TimbreStreamTest, TheDeclaredLengthMakesNoDifference) {
    const Audio audio = Sound(1, 3);
    const std::vector<Delivery> expected = RunKeys({Key().key}, audio);
    for (const SInt64 length : {1LL, 10240LL, 4000000000LL}) {
        TestAnalyzer analyzer({Key().key}, {44100.0, 1, 4096, length});
        analyzer.PushInBlocks(audio, 4096);
        EXPECT_EQ(expected, analyzer.Deliveries()) << length;
    }
}

TEST_P(TimbreStreamTest, OtherKeysBesideItMakeNoDifference) {
    std::vector<std::string> all;
    for (const FrameKey& key : kFrameKeys) {
        all.push_back(key.key);
    }
    const Audio audio = Sound(1, 4);
    TestAnalyzer analyzer(all, StreamSetup{});
    analyzer.PushInBlocks(audio, 1000);
    EXPECT_EQ(RunKeys({Key().key}, audio), analyzer.DeliveriesOf(Key().key));
}

// Nothing of it stays behind: only the phases look back, over two frames.
TEST_P(TimbreStreamTest, ASampleThatIsNoNumberSpoilsTheFramesItIsIn) {
    constexpr std::size_t kFrames = 10;
    const Audio good = Sound(2, kFrames);
    const std::vector<Delivery> expected = RunKeys({Key().key}, good);
    const std::size_t at = 4 * Key().hopSamples; // the first sample of frame 4, and in frame 3
    const std::size_t lookBack = Key().key == kPhaseProperties.key ? 2 : 0;
    for (const float odd : {std::nanf(""), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity()}) {
        Audio audio = good;
        audio[0][at] = odd;
        const std::vector<Delivery> spoilt = RunKeys({Key().key}, audio);
        ASSERT_EQ(kFrames, spoilt.size());
        for (std::size_t n = 0; n < kFrames; ++n) {
            const bool contains = n == 3 || n == 4;
            if (contains || n < 3 || n > 4 + lookBack) {
                EXPECT_EQ(!contains, expected[n].blocks[0] == spoilt[n].blocks[0]) << n;
            }
            EXPECT_EQ(expected[n].blocks[1], spoilt[n].blocks[1]) << n;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Keys, TimbreStreamTest, testing::ValuesIn(kFrameKeys),
                         [](const auto& testInfo) {
                             std::string name = testInfo.param.key;
                             std::erase(name, ' ');
                             return name;
                         });

} // namespace
} // namespace qel::test
