// The way back: from spectra to overlap-added audio.

#include "tests/spectral/TestProcessor.h"

#include <gtest/gtest.h>

#include <cmath>

namespace qel::core {
namespace {

using test::ListOf;
using test::Signal;
using test::TestProcessor;

// Runs all of `input` through Process in blocks.
std::vector<Signal> Processed(TestProcessor& processor, std::vector<Signal>& input,
                              std::size_t block) {
    std::vector<Signal> output(input.size(), Signal(input[0].size(), -9.0f));
    for (std::size_t at = 0; at < input[0].size(); at += block) {
        const std::size_t frames = std::min(block, input[0].size() - at);
        ListOf in(input, at);
        ListOf out(output, at);
        processor.Process(static_cast<UInt32>(frames), in.Get(), out.Get());
    }
    return output;
}

double SineSquared(std::size_t i, std::size_t size) {
    const double root =
        std::sin(std::numbers::pi * static_cast<double>(i) / static_cast<double>(size - 1));
    return root * root;
}

TEST(SpectralSynthesisTest, SineWindowAtHalfOverlapReconstructsUpToItsSquare) {
    constexpr std::size_t kSize = 256;
    constexpr std::size_t kHop = kSize / 2;
    std::vector<Signal> input{test::Noise(3000, 20), test::Noise(3000, 21)};
    for (const std::size_t block : {1u, 100u, 128u, 500u}) {
        TestProcessor processor(kSize, kHop, 2, 500);
        const std::vector<Signal> output = Processed(processor, input, block);
        for (std::size_t c = 0; c < 2; ++c) {
            for (std::size_t t = 0; t < output[c].size(); ++t) {
                double expected = 0;
                if (t >= kSize) {
                    // One transform length late; two frames overlap, but for the first hop.
                    const std::size_t n = t - kSize;
                    const double gain = SineSquared(n % kHop, kSize) +
                                        (n >= kHop ? SineSquared(n % kHop + kHop, kSize) : 0);
                    expected = gain * static_cast<double>(input[c][n]);
                }
                // Two transforms of 8 passes each, on frames of length (in energy) about 6.5: 16
                // passes times 2^-24 times 6.5, and one sample has a share of 1/16 of that.
                ASSERT_NEAR(static_cast<double>(output[c][t]), expected, 16 * 6.5 * std::exp2(-24))
                    << block << ", " << t;
            }
        }
    }
}

TEST(SpectralSynthesisTest, OutputDoesNotDependOnTheSizeOfTheBlocks) {
    std::vector<Signal> input{test::Noise(5000, 22)};
    TestProcessor reference(256, 64, 1, 5000);
    const std::vector<Signal> expected = Processed(reference, input, 5000);
    for (const std::size_t block : {1u, 63u, 512u, 1000u}) {
        TestProcessor processor(256, 64, 1, 1000);
        const std::vector<Signal> output = Processed(processor, input, block);
        for (std::size_t t = 0; t < 5000; ++t) {
            // A sample is the sum of its frames in their order, whatever the blocks: equal.
            ASSERT_EQ(output[0][t], expected[0][t]) << block << ", " << t;
        }
    }
}

TEST(SpectralSynthesisTest, InverseTransformUndoesTheForwardOne) {
    for (UInt32 size = 2; size <= 4096; size *= 2) {
        TestProcessor processor(size, size, 1, size);
        const Signal frame = test::Noise(size, size);
        float* const buffer = processor.mChannels[0].mFFTBuffer;
        std::copy(frame.begin(), frame.end(), buffer);
        processor.DoFwdFFT();
        std::fill_n(buffer, size, 9.0f);
        processor.DoInvFFT();
        // Up to 24 passes over values below 1.
        for (UInt32 i = 0; i < size; ++i) {
            ASSERT_NEAR(static_cast<double>(buffer[i]), static_cast<double>(frame[i]),
                        24 * std::exp2(-24))
                << size;
        }
    }
}

TEST(SpectralSynthesisTest, ShiftedFrameIsNotShiftedBack) {
    constexpr std::size_t kSize = 16;
    TestProcessor processor(kSize, kSize, 1, kSize, false, true);
    processor.SetWindow(Signal(kSize, 1.0f).data());
    std::vector<Signal> input{test::Noise(2 * kSize, 23)};
    const std::vector<Signal> output = Processed(processor, input, kSize);
    for (std::size_t i = 0; i < kSize; ++i) {
        // Eight passes over values below 1.
        EXPECT_NEAR(static_cast<double>(output[0][kSize + i]),
                    static_cast<double>(input[0][(i + kSize / 2) % kSize]), 8 * std::exp2(-24));
    }
}

TEST(SpectralSynthesisTest, SecondWindowingLeavesTheSynthesizedFrameAsAudio) {
    constexpr std::size_t kSize = 16;
    TestProcessor processor(kSize, kSize, 1, kSize);
    processor.SetWindow(Signal(kSize, 2.0f).data());
    std::vector<Signal> input{test::Noise(kSize, 24)};
    Processed(processor, input, kSize);
    for (std::size_t i = 0; i < kSize; ++i) {
        // Eight passes over values below 2.
        EXPECT_NEAR(static_cast<double>(processor.mChannels[0].mAudioFrame[i]),
                    2 * static_cast<double>(input[0][i]), 16 * std::exp2(-24));
    }
}

TEST(SpectralSynthesisTest, SpectrumCanBeFilteredOnTheWay) {
    constexpr std::size_t kSize = 16;
    TestProcessor processor(kSize, kSize, 1, kSize);
    processor.SetWindow(Signal(kSize, 1.0f).data());
    // Keeps the mean of each frame.
    processor.SetSpectralFunction(
        [](SpectralAndAudioBufferList* list, void*) {
            const DSPSplitComplex& spectrum = list->mSpectra[0];
            std::fill_n(spectrum.realp + 1, kSize / 2 - 1, 0.0f);
            std::fill_n(spectrum.imagp, kSize / 2, 0.0f);
        },
        nullptr);
    std::vector<Signal> input{Signal(2 * kSize, 0.0f)};
    input[0][3] = 8;
    const std::vector<Signal> output = Processed(processor, input, kSize);
    for (std::size_t i = 0; i < kSize; ++i) {
        EXPECT_EQ(output[0][kSize + i], 0.5f); // 8 / 16, exact
    }
}

TEST(SpectralSynthesisTest, ProcessBackwardsMakesOneFramePerCall) {
    constexpr std::size_t kSize = 16;
    constexpr std::size_t kHop = 8;
    constexpr float kLevel = 0.75f;
    TestProcessor processor(kSize, kHop, 2, kSize);
    // The spectrum of a constant; the inverse transform works in place, so it is set every time.
    float level = kLevel;
    processor.SetSpectralFunction(
        [](SpectralAndAudioBufferList* list, void* refCon) {
            for (UInt32 c = 0; c < list->mNumChannels; ++c) {
                std::fill_n(list->mSpectra[c].realp, kSize / 2, 0.0f);
                std::fill_n(list->mSpectra[c].imagp, kSize / 2, 0.0f);
                list->mSpectra[c].realp[0] = 2 * kSize * *static_cast<float*>(refCon);
            }
        },
        &level);
    std::vector<Signal> output(2, Signal(10 * kHop, -9.0f));
    for (std::size_t block = 0; block < 10; ++block) {
        ListOf out(output, block * kHop);
        EXPECT_EQ(processor.ProcessBackwards(kHop, out.Get()), 1);
    }
    for (std::size_t c = 0; c < 2; ++c) {
        EXPECT_EQ(processor.mChannels[c].mAudioFrame[5], kLevel);
        for (std::size_t t = 0; t < output[c].size(); ++t) {
            // One transform length late; from the second frame on two windows overlap.
            double expected = 0;
            if (t >= kSize) {
                const std::size_t n = t - kSize;
                expected = std::sqrt(SineSquared(n % kHop, kSize));
                if (n >= kHop) {
                    expected += std::sqrt(SineSquared(n % kHop + kHop, kSize));
                }
            }
            // Window, product and sum: three roundings of values below 2.
            EXPECT_NEAR(static_cast<double>(output[c][t]), expected * static_cast<double>(kLevel),
                        6 * std::exp2(-24));
        }
    }
}

TEST(SpectralSynthesisTest, OutputThatWasGivenOutIsCleared) {
    TestProcessor processor(8, 8, 1, 8);
    auto& ring = processor.mChannels[0].mOutputRing;
    for (UInt32 i = 0; i < processor.mRingSize; ++i) {
        ring[i] = static_cast<float>(i + 1);
    }
    processor.mOutputReadPos = 12;
    std::vector<Signal> output{Signal(6)};
    processor.CopyOutput(6, ListOf(output).Get());
    EXPECT_EQ(output[0], (Signal{13, 14, 15, 16, 1, 2}));
    EXPECT_EQ(processor.mOutputReadPos, 2u);
    EXPECT_EQ(Signal(ring.get(), ring + 16),
              (Signal{0, 0, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0, 0, 0, 0}));
}

TEST(SpectralSynthesisTest, OutputThatEndsAtTheEndOfTheRingWrapsThePosition) {
    TestProcessor processor(8, 8, 1, 8);
    processor.mChannels[0].mOutputRing[15] = 3;
    processor.mOutputReadPos = 12;
    std::vector<Signal> output{Signal(4, -1.0f)};
    processor.CopyOutput(4, ListOf(output).Get());
    EXPECT_EQ(output[0], (Signal{0, 0, 0, 3}));
    EXPECT_EQ(processor.mOutputReadPos, 0u);
}

TEST(SpectralSynthesisTest, MoreOutputThanTheRingHoldsIsFilledWithSilence) {
    TestProcessor processor(8, 8, 1, 8);
    std::fill_n(processor.mChannels[0].mOutputRing.get(), 16, 1.0f);
    std::vector<Signal> output{Signal(20, -1.0f)};
    processor.CopyOutput(20, ListOf(output).Get());
    Signal expected(20, 1.0f);
    std::fill(expected.begin() + 16, expected.end(), 0.0f);
    EXPECT_EQ(output[0], expected);
}

} // namespace
} // namespace qel::core
