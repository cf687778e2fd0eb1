// The constant-Q keys: what a stream delivers, and what must make no difference.

#include "tests/pitch/ConstantQTesting.h"

#include <cmath>
#include <limits>

namespace qel::test {
namespace {

class ConstantQStreamTest : public testing::Test {
private:
    // Has the kernels, so that each test makes them once.
    TestAnalyzer mKernels{{kSpectrumKey}, StreamSetup{}};
};

TEST_F(ConstantQStreamTest, TheProfileOfAFrameFollowsItsSpectrum) {
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

TEST_F(ConstantQStreamTest, FramesDoNotKnowOfEachOther) {
    const Audio audio = MusicLike(kConstantQRate, 1, SamplesFor(6));
    const std::vector<std::vector<float>> rows = SpectraOf(audio);
    for (const std::size_t frame : {1u, 3u, 5u}) {
        const auto first = audio[0].begin() + static_cast<std::ptrdiff_t>(frame * kConstantQHop);
        const Audio alone = {{first, first + kConstantQFrame}};
        EXPECT_EQ(rows.at(frame), SpectraOf(alone).at(0)) << frame;
    }
}

TEST_F(ConstantQStreamTest, SilenceBesideOrAfterSoundGivesZeros) {
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
TEST_F(ConstantQStreamTest, MagnitudesAreNumbersFromZeroUp) {
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
TEST_F(ConstantQStreamTest, ASampleThatIsNoNumberSpoilsTheFramesItIsIn) {
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
TEST_F(ConstantQStreamTest, ATransformThatOverflowsSpoilsTheFrame) {
    const Audio audio = Joined(Constant(1e36f, 1, kConstantQFrame), Noise(0.5f, 1, 8192, 4));
    const std::vector<std::vector<float>> rows = SpectraOf(audio);
    ASSERT_EQ(9u, rows.size());
    for (std::size_t bin = 0; bin < kConstantQBins; ++bin) {
        EXPECT_TRUE(std::isnan(rows.front()[bin])) << bin;
        EXPECT_TRUE(std::isfinite(rows.back()[bin])) << bin;
    }
}

} // namespace
} // namespace qel::test
