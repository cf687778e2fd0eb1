// The constant-Q keys: what a stream delivers, and what must make no difference.

#include "tests/pitch/ConstantQTesting.h"

#include <cmath>
#include <limits>

namespace qel::test {
namespace {

class ConstantQTest : public testing::Test {
private:
    // Has the kernels, so that each test makes them once.
    TestAnalyzer mKernels{{kSpectrumKey}, StreamSetup{}};
};

TEST_F(ConstantQTest, AFrameIsDeliveredWhenAllItsSamplesAreThere) {
    const struct {
        std::size_t samples;
        std::size_t frames;
    } kCases[] = {{0, 0},    {1, 0},    {8191, 0},  {8192, 1},
                  {9215, 1}, {9216, 2}, {10240, 3}, {44100, 36}};
    for (const auto& [samples, frames] : kCases) {
        for (const UInt32 channels : {1u, 2u}) {
            // With the flush that ends the run.
            EXPECT_EQ(2 * frames, RunConstantQ(Noise(0.5f, channels, samples, 1), 8000.0).size())
                << samples;
        }
    }
}

TEST_F(ConstantQTest, EveryFrameIsDeliveredInThePushThatCompletesIt) {
    const Audio audio = Noise(0.5f, 1, 9216, 1);
    TestAnalyzer analyzer({kSpectrumKey}, StreamSetup{});
    EXPECT_EQ(0, analyzer.Push(audio, 0, 4096));
    EXPECT_EQ(0, analyzer.Push(audio, 4096, 4095));
    EXPECT_EQ(0u, analyzer.Deliveries().size());
    EXPECT_EQ(0, analyzer.Push(audio, 8191, 1));
    EXPECT_EQ(1u, analyzer.Deliveries().size());
    EXPECT_EQ(0, analyzer.Push(audio, 8192, 1023));
    EXPECT_EQ(1u, analyzer.Deliveries().size());
    EXPECT_EQ(0, analyzer.Push(audio, 9215, 1));
    EXPECT_EQ(2u, analyzer.Deliveries().size());
}

TEST_F(ConstantQTest, TheProfileOfAFrameFollowsItsSpectrum) {
    const Audio audio = Noise(0.5f, 2, SamplesFor(4), 1);
    for (const bool profileFirst : {false, true}) {
        const std::vector<std::string> keys = {profileFirst ? kProfileKey : kSpectrumKey,
                                               profileFirst ? kSpectrumKey : kProfileKey};
        const std::vector<Delivery> deliveries = RunConstantQ(audio, kConstantQRate, 4096, keys);
        ASSERT_EQ(8u, deliveries.size());
        for (std::size_t n = 0; n < deliveries.size(); ++n) {
            const bool isSpectrum = n % 2 == 0;
            EXPECT_EQ(isSpectrum ? kSpectrumKey : kProfileKey, deliveries[n].key);
            ASSERT_EQ(2u, deliveries[n].blocks.size());
            for (const std::vector<std::byte>& block : deliveries[n].blocks) {
                EXPECT_EQ(isSpectrum ? 848u : 144u, block.size());
            }
        }
    }
}

TEST_F(ConstantQTest, EachKeyAloneDeliversWhatItDeliversBesideTheOther) {
    const Audio audio = MusicLike(kConstantQRate, 2, SamplesFor(4));
    TestAnalyzer both(kConstantQKeys, {kConstantQRate, 2, 4096, 0});
    both.PushInBlocks(audio, 4096);
    for (const std::string& key : kConstantQKeys) {
        EXPECT_EQ(both.DeliveriesOf(key), RunConstantQ(audio, kConstantQRate, 4096, {key}));
        EXPECT_EQ(4u, both.DeliveriesOf(key).size());
    }
}

TEST_F(ConstantQTest, PushSizesMakeNoDifference) {
    const Audio audio = MusicLike(kConstantQRate, 2, SamplesFor(12) + 77);
    const std::vector<Delivery> expected = RunConstantQ(audio, kConstantQRate, 4096);
    EXPECT_EQ(24u, expected.size());
    for (const UInt32 block : {1u, 63u, 1000u, 1024u}) {
        EXPECT_EQ(expected, RunConstantQ(audio, kConstantQRate, block)) << block;
    }
}

// One push can hold several frames.
TEST_F(ConstantQTest, ALongPushDeliversItsFramesOneByOne) {
    const Audio audio = MusicLike(kConstantQRate, 1, 65536);
    TestAnalyzer analyzer(kConstantQKeys, {kConstantQRate, 1, 65536, 0});
    EXPECT_EQ(0, analyzer.Push(audio));
    EXPECT_EQ(2 * FramesIn(65536), analyzer.Deliveries().size());
    EXPECT_EQ(RunConstantQ(audio), analyzer.Deliveries());
}

TEST_F(ConstantQTest, FramesDoNotKnowOfEachOther) {
    const Audio audio = MusicLike(kConstantQRate, 1, SamplesFor(6));
    const std::vector<std::vector<float>> rows = SpectraOf(audio);
    for (const std::size_t frame : {1u, 3u, 5u}) {
        const auto first = audio[0].begin() + static_cast<std::ptrdiff_t>(frame * kConstantQHop);
        const Audio alone = {{first, first + kConstantQFrame}};
        EXPECT_EQ(rows.at(frame), SpectraOf(alone).at(0)) << frame;
    }
}

TEST_F(ConstantQTest, ChannelsAreIndependent) {
    const Audio audio = MusicLike(kConstantQRate, 3, SamplesFor(4));
    const std::vector<Delivery> together = RunConstantQ(audio);
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const std::vector<Delivery> alone = RunConstantQ({audio[channel]});
        ASSERT_EQ(alone.size(), together.size());
        for (std::size_t n = 0; n < alone.size(); ++n) {
            EXPECT_EQ(alone[n].Floats(0), together[n].Floats(channel)) << channel;
        }
    }
}

TEST_F(ConstantQTest, ASilentFrameGivesZeros) {
    for (const Delivery& delivery : RunConstantQ(Silence(2, SamplesFor(2)))) {
        for (const std::size_t channel : {0u, 1u}) {
            for (const float value : delivery.Floats(channel)) {
                ASSERT_EQ(0.0f, value) << delivery.key;
            }
        }
    }
}

TEST_F(ConstantQTest, SilenceBesideOrBehindSoundGivesZeros) {
    const Audio sound = Noise(0.5f, 1, SamplesFor(2), 2);
    const Audio behind = Joined(sound, Silence(1, kConstantQFrame));
    const std::vector<std::vector<float>> rows = SpectraOf(behind);
    // The last frame begins where the silence does.
    EXPECT_EQ(std::vector<float>(kConstantQBins), rows.back());
    EXPECT_NE(std::vector<float>(kConstantQBins), rows.front());
    const Audio beside = {sound[0], Silence(1, sound[0].size())[0]};
    for (const std::vector<float>& row : SpectraOf(beside, kConstantQRate, 4096, 1)) {
        EXPECT_EQ(std::vector<float>(kConstantQBins), row);
    }
}

// No magnitude of a number is negative or no number.
TEST_F(ConstantQTest, MagnitudesAreNumbersFromZeroUp) {
    for (const float amplitude : {1e-30f, 1e-15f, 1.0f, 1e15f}) {
        for (const Delivery& delivery : RunConstantQ(Noise(amplitude, 1, SamplesFor(2), 3))) {
            for (const float value : delivery.Floats(0)) {
                ASSERT_GE(value, 0.0f);
                ASSERT_TRUE(std::isfinite(value));
            }
        }
    }
}

// Each sample is in every value of the frame's transform, and a product of it with a zero is still
// no number.
TEST_F(ConstantQTest, ASampleThatIsNoNumberSpoilsTheFramesItIsIn) {
    const Audio good = Noise(0.5f, 2, SamplesFor(20), 4);
    const std::vector<std::vector<float>> expected = SpectraOf(good);
    for (const float odd : {std::nanf(""), std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity()}) {
        Audio audio = good;
        const std::size_t at =
            9 * kConstantQHop; // the first sample of frame 9, the last of frame 1
        audio[0][at] = odd;
        const std::vector<std::vector<float>> spoilt = SpectraOf(audio);
        ASSERT_EQ(20u, spoilt.size());
        for (std::size_t frame = 0; frame < 20; ++frame) {
            if (frame >= 2 && frame <= 9) {
                for (const float value : spoilt[frame]) {
                    ASSERT_TRUE(std::isnan(value)) << "frame " << frame;
                }
            } else {
                EXPECT_EQ(expected[frame], spoilt[frame]) << "frame " << frame;
            }
        }
        EXPECT_EQ(SpectraOf(good, kConstantQRate, 4096, 1),
                  SpectraOf(audio, kConstantQRate, 4096, 1));
    }
}

// The sum of this frame is 8e39, beyond single precision, though every sample is a number. In the
// product it meets the zeros of every kernel.
TEST_F(ConstantQTest, ATransformThatOverflowsSpoilsTheFrame) {
    const Audio audio = Joined(Constant(1e36f, 1, kConstantQFrame), Noise(0.5f, 1, 8192, 4));
    const std::vector<std::vector<float>> rows = SpectraOf(audio);
    ASSERT_EQ(9u, rows.size());
    for (std::size_t bin = 0; bin < kConstantQBins; ++bin) {
        EXPECT_TRUE(std::isnan(rows.front()[bin])) << bin;
        EXPECT_TRUE(std::isfinite(rows.back()[bin])) << bin;
    }
}

TEST_F(ConstantQTest, TheDeclaredLengthMakesNoDifference) {
    const Audio audio = MusicLike(kConstantQRate, 1, SamplesFor(3));
    const std::vector<Delivery> expected = RunConstantQ(audio);
    for (const SInt64 length : {1LL, 10240LL, 44100LL, 4000000000LL}) {
        TestAnalyzer analyzer(kConstantQKeys, {kConstantQRate, 1, 4096, length});
        analyzer.PushInBlocks(audio, 4096);
        EXPECT_EQ(expected, analyzer.Deliveries()) << length;
    }
}

TEST_F(ConstantQTest, AProcessInTheMiddleMakesNoDifference) {
    const Audio audio = MusicLike(kConstantQRate, 1, SamplesFor(6));
    TestAnalyzer analyzer(kConstantQKeys, StreamSetup{});
    for (std::size_t at = 0; at < audio[0].size(); at += 1500) {
        const std::size_t frames = std::min<std::size_t>(1500, audio[0].size() - at);
        EXPECT_EQ(0, analyzer.Push(audio, at, static_cast<UInt32>(frames)));
        EXPECT_EQ(0, analyzer.Process(1));
        EXPECT_EQ(0, analyzer.Process(0));
    }
    EXPECT_EQ(RunConstantQ(audio), analyzer.Deliveries());
}

TEST_F(ConstantQTest, AResetBeginsAnew) {
    const Audio audio = MusicLike(kConstantQRate, 2, SamplesFor(5));
    TestAnalyzer analyzer(kConstantQKeys, {kConstantQRate, 2, 4096, 0});
    analyzer.PushInBlocks(audio, 4096);
    const std::vector<Delivery> first = analyzer.Deliveries();
    analyzer.PushInBlocks(Noise(0.9f, 2, 5777, 5), 4096);
    analyzer.Forget();
    EXPECT_EQ(0, analyzer.Reset());
    analyzer.PushInBlocks(audio, 4096);
    EXPECT_EQ(first, analyzer.Deliveries());
    EXPECT_EQ(RunConstantQ(audio), first);
}

TEST_F(ConstantQTest, AResetForgetsThePartOfAFrame) {
    TestAnalyzer analyzer(kConstantQKeys, StreamSetup{});
    analyzer.PushInBlocks(Noise(0.9f, 1, 8191, 5), 4096);
    EXPECT_EQ(0, analyzer.Reset());
    analyzer.PushInBlocks(Noise(0.9f, 1, 8191, 6), 4096);
    EXPECT_TRUE(analyzer.Deliveries().empty());
}

} // namespace
} // namespace qel::test
