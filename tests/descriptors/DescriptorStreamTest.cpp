// What holds for every key whatever the audio: cuts into pushes, resets, channels, lengths, rates,
// threads, and input that is no number.

#include "tests/descriptors/DescriptorAssertions.h"
#include "tests/harness/TestSignals.h"

#include <limits>
#include <thread>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr UInt32 kFrames = 8192;

std::vector<Delivery> ResultsOf(const std::vector<std::string>& keys, const StreamSetup& setup,
                                const Audio& audio, UInt32 blockFrames) {
    TestAnalyzer analyzer(keys, setup);
    analyzer.PushInBlocks(audio, blockFrames);
    EXPECT_EQ(0, analyzer.Process());
    return analyzer.Deliveries();
}

// The channel of the deliveries alone, as if it had been a mono stream.
std::vector<Delivery> OneChannel(const std::vector<Delivery>& deliveries, std::size_t channel) {
    std::vector<Delivery> mono;
    for (const Delivery& delivery : deliveries) {
        mono.push_back({delivery.key, {delivery.blocks.at(channel)}});
    }
    return mono;
}

TEST(DescriptorStreamTest, PerFrameResultsDoNotDependOnTheSizeOfThePushes) {
    const Audio audio = MusicLike(kRate, 2, kFrames);
    const StreamSetup setup{kRate, 2, kFrames, 0};
    const std::vector<Delivery> whole = ResultsOf(kFrameKeys, setup, audio, kFrames);
    ASSERT_EQ(kFrameKeys.size() * NumFrames(kFrames), whole.size());
    for (const UInt32 blockFrames : {1u, 7u, 63u, 511u, 512u, 513u, 1000u, 1024u, 4096u}) {
        EXPECT_EQ(whole, ResultsOf(kFrameKeys, setup, audio, blockFrames)) << blockFrames;
    }
}

TEST(DescriptorStreamTest, PerFrameResultsDoNotDependOnTheLargestPush) {
    const Audio audio = MusicLike(kRate, 1, kFrames);
    const std::vector<Delivery> expected = ResultsOf(kFrameKeys, {kRate, 1, 4096, 0}, audio, 100);
    for (const UInt32 maxFrames : {100u, 1024u, 100000u}) {
        EXPECT_EQ(expected, ResultsOf(kFrameKeys, {kRate, 1, maxFrames, 0}, audio, 100))
            << maxFrames;
    }
}

TEST(DescriptorStreamTest, MixedPushesWithEmptyOnesBetweenGiveTheSameFrames) {
    const Audio audio = MusicLike(kRate, 1, kFrames);
    TestAnalyzer analyzer(kFrameKeys, {kRate, 1, 4096, 0});
    std::size_t at = 0;
    for (const UInt32 frames : {0u, 1000u, 0u, 1u, 4096u, 0u, 512u, 511u, 0u, 2072u, 0u}) {
        ASSERT_EQ(0, analyzer.Push(audio, at, frames));
        at += frames;
    }
    ASSERT_EQ(kFrames, at);
    EXPECT_EQ(ResultsOf(kFrameKeys, {kRate, 1, 4096, 0}, audio, 4096), analyzer.Deliveries());
}

TEST(DescriptorStreamTest, ResultsOfAKeyDoNotDependOnTheOtherKeys) {
    const Audio audio = MusicLike(kRate, 1, kFrames);
    TestAnalyzer all(kAllSixKeys, {kRate, 1, 4096, 0});
    all.PushInBlocks(audio, 1000);
    for (const std::string& key : kAllSixKeys) {
        TestAnalyzer alone({key}, {kRate, 1, 4096, 0});
        alone.PushInBlocks(audio, 1000);
        EXPECT_FALSE(alone.Deliveries().empty());
        EXPECT_EQ(all.DeliveriesOf(key), alone.Deliveries()) << key;
    }
}

TEST(DescriptorStreamTest, KeysOfOneFrameAreDeliveredInOneOrderWhateverTheirOrderInTheList) {
    TestAnalyzer analyzer({kSpectrum, kFlux, kPeak, kHistogram, kGeneric, kTemporal},
                          {kRate, 1, 4096, 0});
    ASSERT_EQ(0, analyzer.Push(Noise(0.5f, 1, 1536, 1)));
    std::vector<std::string> order;
    for (const Delivery& delivery : analyzer.Deliveries()) {
        order.push_back(delivery.key);
    }
    const std::vector<std::string> expected = {kTemporal, kGeneric,  kHistogram, kPeak,
                                               kFlux,     kSpectrum, kGeneric,   kHistogram,
                                               kPeak,     kFlux,     kSpectrum};
    EXPECT_EQ(expected, order);
}

TEST(DescriptorStreamTest, AResetEqualsAFreshAnalyzerBitForBit) {
    const Audio audio = MusicLike(kRate, 2, kFrames);
    TestAnalyzer analyzer(kAllSixKeys, {kRate, 2, 4096, 0});
    // An odd number of samples, so that some are pending inside when the reset comes.
    ASSERT_EQ(0, analyzer.Push(Noise(1.0f, 2, 3001, 8)));
    ASSERT_EQ(0, analyzer.Reset());
    analyzer.Forget();
    analyzer.PushInBlocks(audio, 1000);
    EXPECT_EQ(ResultsOf(kAllSixKeys, {kRate, 2, 4096, 0}, audio, 1000), analyzer.Deliveries());
}

TEST(DescriptorStreamTest, InitializingAgainEqualsAFreshAnalyzerBitForBit) {
    const Audio audio = MusicLike(22050.0, 1, kFrames);
    TestAnalyzer analyzer(kAllSixKeys, {kRate, 2, 4096, 0});
    ASSERT_EQ(0, analyzer.Push(Noise(1.0f, 2, 3001, 8)));
    ASSERT_EQ(0, analyzer.Initialize({22050.0, 1, 2048, 0}));
    analyzer.Forget();
    analyzer.PushInBlocks(audio, 1000);
    EXPECT_EQ(ResultsOf(kAllSixKeys, {22050.0, 1, 2048, 0}, audio, 1000), analyzer.Deliveries());
}

TEST(DescriptorStreamTest, ChannelsAreIndependentOfEachOther) {
    const Audio audio = MusicLike(kRate, 3, kFrames);
    const std::vector<Delivery> together = ResultsOf(kAllSixKeys, {kRate, 3, 4096, 0}, audio, 1000);
    for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_EQ(ResultsOf(kAllSixKeys, {kRate, 1, 4096, 0}, {audio[c]}, 1000),
                  OneChannel(together, c));
    }
}

TEST(DescriptorStreamTest, StereoOfEqualChannelsEqualsMonoTwiceBitForBit) {
    const Audio mono = MusicLike(kRate, 1, kFrames);
    const std::vector<Delivery> expected = ResultsOf(kAllSixKeys, {kRate, 1, 4096, 0}, mono, 1000);
    const std::vector<Delivery> stereo =
        ResultsOf(kAllSixKeys, {kRate, 2, 4096, 0}, {mono[0], mono[0]}, 1000);
    EXPECT_EQ(expected, OneChannel(stereo, 0));
    EXPECT_EQ(expected, OneChannel(stereo, 1));
}

TEST(DescriptorStreamTest, StreamsMayBeLongerOrShorterThanDeclared) {
    const Audio audio = MusicLike(kRate, 1, kFrames);
    const std::vector<Delivery> expected = ResultsOf(kAllSixKeys, {kRate, 1, 4096, 0}, audio, 1000);
    for (const SInt64 length :
         {SInt64{1}, SInt64{100}, SInt64{kFrames}, SInt64{1} << 24, SInt64{1} << 32, SInt64{-1}}) {
        EXPECT_EQ(expected, ResultsOf(kAllSixKeys, {kRate, 1, 4096, length}, audio, 1000))
            << length;
    }
}

TEST(DescriptorStreamTest, ProcessAddsNoFramesAndTheStreamGoesOnAfterIt) {
    const Audio audio = MusicLike(kRate, 1, kFrames);
    TestAnalyzer analyzer(kAllSixKeys, {kRate, 1, 4096, 0});
    for (std::size_t at = 0; at < kFrames; at += 1024) {
        ASSERT_EQ(0, analyzer.Push(audio, at, 1024));
        const std::size_t before = analyzer.Deliveries().size();
        ASSERT_EQ(0, analyzer.Process(1));
        ASSERT_EQ(0, analyzer.Process(0));
        EXPECT_EQ(before, analyzer.Deliveries().size());
    }
    EXPECT_EQ(ResultsOf(kAllSixKeys, {kRate, 1, 4096, 0}, audio, 1024), analyzer.Deliveries());
}

TEST(DescriptorStreamTest, AStreamShorterThanAFrameGivesTemporalPropertiesOnly) {
    TestAnalyzer analyzer(kAllSixKeys, {kRate, 1, 4096, 0});
    ASSERT_EQ(0, analyzer.Push(Noise(0.5f, 1, 1023, 1)));
    ASSERT_EQ(0, analyzer.Process());
    ASSERT_EQ(1u, analyzer.Deliveries().size());
    EXPECT_EQ(kTemporal, analyzer.Deliveries()[0].key);
}

TEST(DescriptorStreamTest, EveryRateFrom8To192KilohertzGivesFiniteValues) {
    for (const double rateHz : {8000.0, 11025.0, 16000.0, 32000.0, 88200.0, 176400.0, 192000.0}) {
        SCOPED_TRACE(rateHz);
        for (const Delivery& delivery :
             ResultsOf(kAllSixKeys, {rateHz, 2, 4096, 0}, MusicLike(rateHz, 2, kFrames), 4096)) {
            for (std::size_t block = 0; block < delivery.blocks.size(); ++block) {
                for (const float value : delivery.Floats(block)) {
                    ASSERT_TRUE(std::isfinite(value)) << delivery.key;
                }
            }
        }
    }
}

// Only the envelope, a recursion, keeps what is no number; frames that no longer hold such a
// sample are as they would have been.
TEST(DescriptorStreamTest, FramesAfterANanOrAnInfinityAreUntouchedByIt) {
    const Audio clean = MusicLike(kRate, 1, kFrames);
    const StreamSetup setup{kRate, 1, 4096, 0};
    const std::vector<Delivery> expected = ResultsOf(kFrameKeys, setup, clean, 1000);
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
          -std::numeric_limits<float>::infinity()}) {
        Audio audio = clean;
        audio[0][700] = bad;
        const std::vector<Delivery> actual = ResultsOf(kFrameKeys, setup, audio, 1000);
        ASSERT_EQ(expected.size(), actual.size());
        // Sample 700 is in frames 0 and 1; the flux of frame 2 still looks back at frame 1.
        const std::size_t unaffected = 3 * kFrameKeys.size();
        const auto from = static_cast<std::ptrdiff_t>(unaffected);
        EXPECT_TRUE(std::equal(expected.begin() + from, expected.end(), actual.begin() + from));
    }
}

TEST(DescriptorStreamTest, OneChannelsNanDoesNotReachTheOther) {
    const Audio clean = MusicLike(kRate, 2, kFrames);
    Audio audio = clean;
    audio[0].assign(kFrames, std::numeric_limits<float>::quiet_NaN());
    const StreamSetup setup{kRate, 2, 4096, 0};
    EXPECT_EQ(OneChannel(ResultsOf(kAllSixKeys, setup, clean, 1000), 1),
              OneChannel(ResultsOf(kAllSixKeys, setup, audio, 1000), 1));
}

TEST(DescriptorStreamTest, HugeAndTinySamplesCauseNoFault) {
    for (const float size : {std::numeric_limits<float>::max(), 1e20f, 1e-20f, 1e-40f}) {
        const std::vector<Delivery> deliveries =
            ResultsOf(kAllSixKeys, {kRate, 1, 4096, 0}, Noise(size, 1, kFrames, 1), 1024);
        EXPECT_EQ(kFrames / 1024 + kFrameKeys.size() * NumFrames(kFrames), deliveries.size());
    }
}

TEST(DescriptorStreamTest, TwoHandlesInTwoThreadsGiveTheSameBytesAsOneAlone) {
    const Audio audio = MusicLike(kRate, 2, 5 * kFrames);
    const StreamSetup setup{kRate, 2, 4096, 0};
    const std::vector<Delivery> alone = ResultsOf(kAllSixKeys, setup, audio, 1000);
    std::vector<Delivery> first;
    std::vector<Delivery> second;
    std::thread other([&] { first = ResultsOf(kAllSixKeys, setup, audio, 1000); });
    second = ResultsOf(kAllSixKeys, setup, audio, 1000);
    other.join();
    EXPECT_EQ(alone, first);
    EXPECT_EQ(alone, second);
}

TEST(DescriptorStreamTest, TwoHandlesInTurnDoNotMeet) {
    const Audio audio = MusicLike(kRate, 1, kFrames);
    const Audio noise = Noise(0.5f, 1, kFrames, 3);
    TestAnalyzer one(kAllSixKeys, {kRate, 1, 4096, 0});
    TestAnalyzer two(kAllSixKeys, {48000.0, 1, 4096, 0});
    for (std::size_t at = 0; at < kFrames; at += 512) {
        ASSERT_EQ(0, one.Push(audio, at, 512));
        ASSERT_EQ(0, two.Push(noise, at, 512));
    }
    EXPECT_EQ(ResultsOf(kAllSixKeys, {kRate, 1, 4096, 0}, audio, 512), one.Deliveries());
    EXPECT_EQ(ResultsOf(kAllSixKeys, {48000.0, 1, 4096, 0}, noise, 512), two.Deliveries());
}

} // namespace
} // namespace qel::test
