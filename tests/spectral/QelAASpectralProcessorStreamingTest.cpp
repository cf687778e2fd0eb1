// From pushed blocks to frames and spectra.

#include "tests/spectral/TestProcessor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

namespace qel::core {
namespace {

using test::Frame;
using test::ListOf;
using test::Signal;
using test::TestProcessor;

enum class Window { kSine, kHanning, kHamming };

void Choose(TestProcessor& processor, Window window) {
    switch (window) {
    case Window::kSine:
        return processor.SineWindow();
    case Window::kHanning:
        return processor.HanningWindow();
    case Window::kHamming:
        return processor.HammingWindow();
    }
}

double WindowAt(Window window, std::size_t i, std::size_t size) {
    constexpr double kPi = std::numbers::pi;
    const auto at = static_cast<double>(i);
    const auto n = static_cast<double>(size);
    switch (window) {
    case Window::kSine:
        return std::sin(kPi * at / (n - 1));
    case Window::kHanning:
        return 0.5 * (1 - std::cos(2 * kPi * (at + 1) / (n + 1)));
    case Window::kHamming:
        return 0.54 - 0.46 * std::cos(2 * kPi * at / (n - 1));
    }
    return 0;
}

// Holds a packed, doubled spectrum against the plain transform of `windowed`.
void ExpectSpectrum(const Signal& real, const Signal& imag, const std::vector<double>& windowed) {
    const std::size_t size = windowed.size();
    const std::vector<std::complex<double>> plain = test::PlainTransform(windowed);
    const double energy =
        std::inner_product(windowed.begin(), windowed.end(), windowed.begin(), 0.0);
    // A transform of log2 N passes in floats is off by about 2^-24 of the vector's length per pass;
    // four times that for its worst bin and for the window's and the product's rounding.
    const double tolerance =
        2 * 4 * std::exp2(-24) * std::log2(static_cast<double>(size)) * std::sqrt(energy);
    EXPECT_NEAR(static_cast<double>(real[0]), 2 * plain[0].real(), tolerance);
    EXPECT_NEAR(static_cast<double>(imag[0]), 2 * plain[size / 2].real(), tolerance);
    for (std::size_t k = 1; k < size / 2; ++k) {
        EXPECT_NEAR(static_cast<double>(real[k]), 2 * plain[k].real(), tolerance) << k;
        EXPECT_NEAR(static_cast<double>(imag[k]), 2 * plain[k].imag(), tolerance) << k;
    }
}

std::vector<double> Windowed(const Signal& signal, std::size_t start, std::size_t count,
                             std::size_t size, Window window) {
    std::vector<double> frame(size, 0.0);
    for (std::size_t i = 0; i < count; ++i) {
        frame[i] = static_cast<double>(signal[start + i]) * WindowAt(window, i, size);
    }
    return frame;
}

TEST(SpectralFramesTest, SpectrumIsTwiceThePlainTransformOfTheWindowedFrame) {
    for (const Window window : {Window::kSine, Window::kHanning, Window::kHamming}) {
        for (UInt32 size = 8; size <= 1024; size *= 2) {
            SCOPED_TRACE(size);
            TestProcessor processor(size, size / 2, 2, size);
            Choose(processor, window);
            std::vector<Signal> input{test::Noise(size * 3 / 2, size),
                                      test::Noise(size * 3 / 2, size + 1)};
            processor.Push(input, size);
            ASSERT_EQ(processor.mFrames.size(), 2u);
            for (std::size_t f = 0; f < 2; ++f) {
                for (std::size_t c = 0; c < 2; ++c) {
                    ExpectSpectrum(processor.mFrames[f].mReal[c], processor.mFrames[f].mImag[c],
                                   Windowed(input[c], f * size / 2, size, size, window));
                }
            }
        }
    }
}

TEST(SpectralFramesTest, SmallestTransformHasTheSumAndTheDifference) {
    TestProcessor processor(2, 2, 1, 2);
    processor.SetWindow(Signal(2, 1.0f).data());
    std::vector<Signal> input{Signal{3, 5}};
    processor.Push(input, 2);
    ASSERT_EQ(processor.mFrames.size(), 1u);
    EXPECT_EQ(processor.mFrames[0].mReal[0][0], 16.0f);
    EXPECT_EQ(processor.mFrames[0].mImag[0][0], -4.0f);
}

TEST(SpectralFramesTest, TooFewSamplesGiveNoFrame) {
    TestProcessor processor(1024, 512, 1, 1024);
    std::vector<Signal> input{Signal(1023, 1.0f)};
    EXPECT_EQ(processor.Push(input, 1023), 0);
    EXPECT_EQ(processor.mInputAvailable, 1023u);
    EXPECT_TRUE(processor.mFrames.empty());
    std::vector<Signal> empty{Signal{}};
    ListOf list(empty);
    EXPECT_EQ(processor.ProcessForwards(0, list.Get()), 0);
    EXPECT_EQ(processor.mInputAvailable, 1023u);
}

TEST(SpectralFramesTest, FramesAtHalfOverlap) {
    const auto framesOf = [](std::size_t length, std::size_t block) {
        TestProcessor processor(1024, 512, 1, 4096);
        std::vector<Signal> input{Signal(length, 1.0f)};
        processor.Push(input, block);
        return processor.mFrames.size();
    };
    EXPECT_EQ(framesOf(1024, 1024), 1u);
    EXPECT_EQ(framesOf(1536, 512), 2u);
    EXPECT_EQ(framesOf(4096, 4096), 7u);
}

TEST(SpectralFramesTest, FrameStartsAreTheMultiplesOfTheHopThatLeaveRoomForAFrame) {
    constexpr std::size_t kSize = 16;
    for (const std::size_t hop : {1u, 5u, 8u, 16u, 17u, 40u, 100u}) {
        for (const std::size_t length : {0u, 15u, 16u, 17u, 31u, 32u, 33u, 100u, 257u}) {
            for (const std::size_t block : {1u, 7u, 32u}) {
                SCOPED_TRACE(testing::Message() << hop << ", " << length << ", " << block);
                TestProcessor processor(kSize, static_cast<UInt32>(hop), 1, 32);
                std::vector<Signal> ramp{Signal(length)};
                std::iota(ramp[0].begin(), ramp[0].end(), 0.0f);
                processor.Push(ramp, block);
                std::size_t frames = 0;
                for (std::size_t start = 0; start + kSize <= length; start += hop, ++frames) {
                    ASSERT_LT(frames, processor.mFrames.size());
                    const Signal expected(ramp[0].begin() + static_cast<std::ptrdiff_t>(start),
                                          ramp[0].begin() +
                                              static_cast<std::ptrdiff_t>(start + kSize));
                    EXPECT_EQ(processor.mFrames[frames].mAudio[0], expected);
                }
                EXPECT_EQ(processor.mFrames.size(), frames);
            }
        }
    }
}

TEST(SpectralFramesTest, FramesDoNotDependOnTheSizeOfThePushes) {
    std::vector<Signal> input{test::Noise(20000, 5), test::Noise(20000, 6)};
    TestProcessor reference(1024, 256, 2, 20000);
    EXPECT_EQ(reference.Push(input, 20000), 1);
    ASSERT_EQ(reference.mFrames.size(), 75u); // 1 + floor((20000 - 1024) / 256)
    for (const std::size_t block : {1u, 63u, 512u, 1000u, 4096u}) {
        TestProcessor processor(1024, 256, 2, 4096);
        processor.Push(input, block);
        EXPECT_TRUE(processor.mFrames == reference.mFrames) << block;
    }
}

TEST(SpectralFramesTest, ChannelsAreIndependent) {
    std::vector<Signal> input{test::Noise(3000, 7), Signal(3000, 0.0f), test::Noise(3000, 8)};
    TestProcessor together(256, 128, 3, 500);
    together.Push(input, 500);
    for (std::size_t c = 0; c < 3; ++c) {
        std::vector<Signal> one{input[c]};
        TestProcessor alone(256, 128, 1, 500);
        alone.Push(one, 500);
        ASSERT_EQ(alone.mFrames.size(), together.mFrames.size());
        for (std::size_t f = 0; f < alone.mFrames.size(); ++f) {
            EXPECT_EQ(alone.mFrames[f].mReal[0], together.mFrames[f].mReal[c]);
            EXPECT_EQ(alone.mFrames[f].mImag[0], together.mFrames[f].mImag[c]);
            EXPECT_EQ(alone.mFrames[f].mAudio[0], together.mFrames[f].mAudio[c]);
        }
    }
}

TEST(SpectralFramesTest, HalfFrameInputIsPaddedWithZeros) {
    constexpr std::size_t kSize = 64;
    TestProcessor processor(kSize, 16, 1, 100, true);
    std::vector<Signal> input{test::Noise(130, 9)};
    processor.Push(input, 100);
    // The frame test is on the whole length, although half of it is used.
    ASSERT_EQ(processor.mFrames.size(), 5u);
    for (std::size_t f = 0; f < 5; ++f) {
        const Signal& audio = processor.mFrames[f].mAudio[0];
        for (std::size_t i = 0; i < kSize; ++i) {
            EXPECT_EQ(audio[i], i < kSize / 2 ? input[0][16 * f + i] : 0.0f);
        }
        ExpectSpectrum(processor.mFrames[f].mReal[0], processor.mFrames[f].mImag[0],
                       Windowed(input[0], 16 * f, kSize / 2, kSize, Window::kSine));
    }
}

TEST(SpectralFramesTest, ZeroShiftTurnsTheSignOfOddBins) {
    constexpr std::size_t kSize = 64;
    TestProcessor processor(kSize, kSize, 1, kSize, false, true);
    std::vector<Signal> input{test::Noise(kSize, 10)};
    processor.Push(input, kSize);
    ASSERT_EQ(processor.mFrames.size(), 1u);
    EXPECT_EQ(processor.mFrames[0].mAudio[0], input[0]);
    std::vector<double> windowed = Windowed(input[0], 0, kSize, kSize, Window::kSine);
    std::rotate(windowed.begin(), windowed.begin() + kSize / 2, windowed.end());
    ExpectSpectrum(processor.mFrames[0].mReal[0], processor.mFrames[0].mImag[0], windowed);
}

TEST(SpectralFramesTest, BlockThatEndsAtTheEndOfTheRingWrapsThePosition) {
    TestProcessor processor(8, 8, 1, 8);
    ASSERT_EQ(processor.mRingSize, 16u);
    std::vector<Signal> input{test::Noise(24, 11)};
    const UInt32 writePositions[] = {8, 0, 8};
    for (std::size_t block = 0; block < 3; ++block) {
        ListOf list(input, 8 * block);
        EXPECT_EQ(processor.ProcessForwards(8, list.Get()), 1);
        EXPECT_EQ(processor.mInputWritePos, writePositions[block]);
        EXPECT_EQ(processor.mInputReadPos, writePositions[block]);
        const auto begin = input[0].begin() + static_cast<std::ptrdiff_t>(8 * block);
        EXPECT_EQ(processor.mFrames[block].mAudio[0], Signal(begin, begin + 8));
    }
}

TEST(SpectralFramesTest, HopOfZeroTakesNoInput) {
    TestProcessor processor(8, 0, 1, 8);
    std::vector<Signal> input{test::Noise(64, 12)};
    EXPECT_EQ(processor.Push(input, 8), 0);
    EXPECT_EQ(processor.mInputAvailable, 0u);
    EXPECT_TRUE(processor.mFrames.empty());
}

TEST(SpectralFramesTest, BlockBeyondTheMaximumIsTakenAsFarAsTheRingHasRoom) {
    TestProcessor processor(8, 8, 1, 8);
    std::vector<Signal> input{test::Noise(100, 13)};
    EXPECT_EQ(processor.Push(input, 100), 1);
    ASSERT_EQ(processor.mFrames.size(), 2u);
    EXPECT_EQ(processor.mFrames[1].mAudio[0], Signal(input[0].begin() + 8, input[0].begin() + 16));
    std::vector<Signal> next{test::Noise(8, 14)};
    EXPECT_EQ(processor.Push(next, 8), 1);
    EXPECT_EQ(processor.mFrames[2].mAudio[0], next[0]);
}

TEST(SpectralFramesTest, WarmingUpIsNoFrameAndLeavesNoTrace) {
    std::vector<Signal> input{test::Noise(300, 31)};
    TestProcessor plain(16, 5, 1, 64);
    TestProcessor warm(16, 5, 1, 64);
    warm.WarmUp();
    ASSERT_EQ(warm.mFrames.size(), 1u) << "of silence, which owners do not get";
    warm.mFrames.clear();
    plain.Push(input, 50);
    warm.Push(input, 50);
    EXPECT_EQ(warm.mFrames, plain.mFrames);
}

// Across the end of the ring as well, which has 128 samples.
TEST(SpectralFramesTest, TransformsAreTheSameWhereTheAudioIsNotKept) {
    std::vector<Signal> input{test::Noise(300, 31)};
    TestProcessor keeping(16, 5, 1, 64);
    TestProcessor other(16, 5, 1, 64);
    ASSERT_EQ(other.mRingSize, 128u);
    other.SetKeepsAudioFrames(false);
    keeping.Push(input, 50);
    other.Push(input, 50);
    ASSERT_EQ(keeping.mFrames.size(), 57u);
    ASSERT_EQ(other.mFrames.size(), 57u);
    for (std::size_t f = 0; f < 57; ++f) {
        EXPECT_EQ(other.mFrames[f].mReal, keeping.mFrames[f].mReal) << f;
        EXPECT_EQ(other.mFrames[f].mImag, keeping.mFrames[f].mImag) << f;
        EXPECT_EQ(other.mFrames[f].mAudio[0], Signal(16, 0.0f)) << f; // not written
        EXPECT_NE(keeping.mFrames[f].mAudio[0], Signal(16, 0.0f)) << f;
    }
}

} // namespace
} // namespace qel::core
