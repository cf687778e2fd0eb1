// What the spectral processor is made of: sizes, windows, magnitudes, reset, and misuse.

#include "tests/spectral/TestProcessor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <new>
#include <numbers>
#include <string>

namespace qel::core {
namespace {

using test::Frame;
using test::ListOf;
using test::Signal;
using test::TestProcessor;

TEST(QelAASpectralProcessorTest, SizesFollowFromTheArguments) {
    TestProcessor processor(1024, 512, 2, 4096);
    EXPECT_EQ(processor.mLog2FFTSize, 10u);
    EXPECT_EQ(processor.mFFTMask, 1023u);
    EXPECT_EQ(processor.mInputCopyBytes, 4096u);
    EXPECT_EQ(processor.mRingSize, 8192u);
    EXPECT_EQ(processor.mRingMask, 8191u);
    EXPECT_EQ(processor.mOutputReadPos, 7168u); // one transform length before 0
    EXPECT_EQ(processor.mInputWritePos, 0u);
    EXPECT_EQ(processor.mInputReadPos, 0u);
    EXPECT_EQ(processor.mOutputWritePos, 0u);
    EXPECT_EQ(processor.mInputAvailable, 0u);
    EXPECT_EQ(TestProcessor(1024, 512, 1, 1024).mRingSize, 2048u);
    EXPECT_EQ(TestProcessor(1024, 512, 1, 1025).mRingSize, 4096u);
    EXPECT_EQ(TestProcessor(1024, 512, 1, 0, true).mInputCopyBytes, 2048u);
}

TEST(QelAASpectralProcessorTest, ListPointsIntoTheChannels) {
    TestProcessor processor(16, 8, 3, 16);
    const SpectralAndAudioBufferList& list = *processor.mSpectralBufferList;
    EXPECT_EQ(list.mNumChannels, 3u);
    EXPECT_EQ(list.mAudioBuffers->mNumberBuffers, 3u);
    for (UInt32 c = 0; c < 3; ++c) {
        EXPECT_EQ(list.mAudioBuffers->mBuffers[c].mData, processor.mChannels[c].mAudioFrame.get());
        EXPECT_EQ(list.mSpectra[c].realp, processor.mChannels[c].mSplitData.get());
        EXPECT_EQ(list.mSpectra[c].imagp, processor.mChannels[c].mSplitData.get() + 8);
    }
}

TEST(QelAASpectralProcessorTest, FirstWindowIsTheSine) {
    TestProcessor processor(64, 32, 1, 64);
    const Signal first(processor.mWindow.get(), processor.mWindow + 64);
    processor.HanningWindow();
    processor.SineWindow();
    EXPECT_EQ(Signal(processor.mWindow.get(), processor.mWindow + 64), first);
}

TEST(QelAASpectralProcessorTest, WindowsFollowTheirFormulas) {
    constexpr double kPi = std::numbers::pi;
    for (const UInt32 size : {8u, 64u, 1024u}) {
        TestProcessor processor(size, size, 1, size);
        const auto expectWindow = [&](auto formula) {
            for (UInt32 i = 0; i < size; ++i) {
                const double expected = formula(static_cast<double>(i), static_cast<double>(size));
                // Values below 1, rounded once to float: at most 2^-25, that is 2.98e-8. The rest
                // is for the double's own rounding.
                EXPECT_NEAR(static_cast<double>(processor.mWindow[i]), expected, 3.1e-8)
                    << size << ", " << i;
            }
        };
        processor.SineWindow();
        expectWindow([&](double i, double n) { return std::sin(kPi * i / (n - 1)); });
        processor.HanningWindow();
        expectWindow([&](double i, double n) {
            const double root = std::sin(kPi * (i + 1) / (n + 1));
            return root * root;
        });
        // 0.54 and 0.46 as single-precision values, written out.
        processor.HammingWindow();
        expectWindow([&](double i, double n) {
            return 0.5400000214576721 - 0.46000000834465027 * std::cos(2 * kPi * i / (n - 1));
        });
    }
}

TEST(QelAASpectralProcessorTest, EndsOfTheWindowsAreAsPromised) {
    TestProcessor processor(16, 8, 1, 16);
    processor.SineWindow();
    EXPECT_EQ(processor.mWindow[0], 0.0f);
    processor.HanningWindow();
    EXPECT_GT(processor.mWindow[0], 0.0f);
    EXPECT_GT(processor.mWindow[15], 0.0f);
    EXPECT_NEAR(static_cast<double>(processor.mWindow[0]),
                static_cast<double>(processor.mWindow[15]), 1e-7); // one rounding of the phase
    processor.HammingWindow();
    // 0.54 - 0.46 with both coefficients as floats.
    EXPECT_EQ(processor.mWindow[0], static_cast<float>(double{0.54f} - double{0.46f}));
}

TEST(QelAASpectralProcessorTest, GivenWindowIsCopied) {
    TestProcessor processor(4, 4, 1, 4);
    Signal window{1, 2, 3, 4};
    processor.SetWindow(window.data());
    window.assign(4, 0);
    EXPECT_EQ(Signal(processor.mWindow.get(), processor.mWindow + 4), (Signal{1, 2, 3, 4}));
}

TEST(QelAASpectralProcessorTest, ConstantGivesDoubledSumInTheFirstBin) {
    constexpr UInt32 kSize = 64;
    TestProcessor processor(kSize, kSize, 1, kSize);
    processor.SetWindow(Signal(kSize, 1.0f).data());
    std::vector<Signal> input{Signal(kSize, 0.25f)};
    processor.Push(input, kSize);
    ASSERT_EQ(processor.mFrames.size(), 1u);
    const Frame& frame = processor.mFrames[0];
    // Sums of a power of two are exact.
    EXPECT_EQ(frame.mReal[0][0], 2 * kSize * 0.25f);
    EXPECT_EQ(frame.mImag[0][0], 0.0f);
    for (UInt32 k = 1; k < kSize / 2; ++k) {
        EXPECT_EQ(frame.mReal[0][k], 0.0f);
        EXPECT_EQ(frame.mImag[0][k], 0.0f);
    }
}

TEST(QelAASpectralProcessorTest, SilenceGivesAZeroSpectrumAndZeroExtremes) {
    TestProcessor processor(64, 32, 2, 64);
    std::vector<Signal> silence(2, Signal(64, 0.0f));
    processor.Push(silence, 64);
    ASSERT_EQ(processor.mFrames.size(), 1u);
    for (UInt32 c = 0; c < 2; ++c) {
        EXPECT_EQ(processor.mFrames[0].mReal[c], Signal(32, 0.0f));
        EXPECT_EQ(processor.mFrames[0].mImag[c], Signal(32, 0.0f));
    }
    std::vector<Signal> magnitudes(2, Signal(32, -1.0f));
    float mins[2] = {-1, -1};
    float maxs[2] = {-1, -1};
    processor.GetMagnitude(ListOf(magnitudes).Get(), mins, maxs);
    for (UInt32 c = 0; c < 2; ++c) {
        EXPECT_EQ(magnitudes[c], Signal(32, 0.0f));
        EXPECT_EQ(mins[c], 0.0f);
        EXPECT_EQ(maxs[c], 0.0f);
    }
}

TEST(QelAASpectralProcessorTest, MagnitudesTakeBinZeroAsOneComplexNumber) {
    TestProcessor processor(8, 8, 2, 8);
    // Pythagorean triples: exact but for one rounding of the root. The least magnitude stands last
    // in one channel and first in the other, and so does the greatest.
    const float real[2][4] = {{8, 3, -5, 0}, {0, -6, 10, 16}};
    const float imag[2][4] = {{15, 4, 12, -2}, {4, 8, -24, -30}};
    const float expected[2][4] = {{17, 5, 13, 2}, {4, 10, 26, 34}};
    for (UInt32 c = 0; c < 2; ++c) {
        const DSPSplitComplex& spectrum = processor.mSpectralBufferList->mSpectra[c];
        std::copy_n(real[c], 4, spectrum.realp);
        std::copy_n(imag[c], 4, spectrum.imagp);
    }
    std::vector<Signal> magnitudes(2, Signal(4));
    float mins[2] = {};
    float maxs[2] = {};
    processor.GetMagnitude(ListOf(magnitudes).Get(), mins, maxs);
    for (UInt32 c = 0; c < 2; ++c) {
        for (UInt32 k = 0; k < 4; ++k) {
            EXPECT_FLOAT_EQ(magnitudes[c][k], expected[c][k]);
        }
    }
    EXPECT_FLOAT_EQ(mins[0], 2);
    EXPECT_FLOAT_EQ(maxs[0], 17);
    EXPECT_FLOAT_EQ(mins[1], 4);
    EXPECT_FLOAT_EQ(maxs[1], 34);
}

TEST(QelAASpectralProcessorTest, FrequenciesStepByTheRateOverTheLength) {
    const TestProcessor processor(1024, 512, 1, 1024);
    Signal frequencies(513, -1.0f);
    processor.GetFrequencies(frequencies.data(), 48000.0f);
    for (std::size_t k = 0; k < 512; ++k) {
        EXPECT_EQ(frequencies[k], 46.875f * static_cast<float>(k)); // exact in float
    }
    EXPECT_EQ(frequencies[512], -1.0f);
}

TEST(QelAASpectralProcessorTest, ResetKeepsThePendingCountAndClearsTheRest) {
    TestProcessor processor(8, 8, 1, 8);
    processor.SetWindow(Signal(8, 1.0f).data());
    std::vector<Signal> first{test::Noise(6, 1)};
    EXPECT_EQ(processor.Push(first, 6), 0);
    processor.Reset();
    EXPECT_EQ(processor.mInputAvailable, 6u);
    EXPECT_EQ(processor.mInputWritePos, 0u);
    EXPECT_EQ(processor.mInputReadPos, 0u);
    EXPECT_EQ(processor.mOutputWritePos, 0u);
    EXPECT_EQ(processor.mOutputReadPos, 8u);
    // Two samples complete a frame whose other six come from cleared memory.
    std::vector<Signal> second{Signal(2, 5.0f)};
    EXPECT_EQ(processor.Push(second, 2), 1);
    EXPECT_EQ(processor.mFrames.at(0).mAudio[0], (Signal{5, 5, 0, 0, 0, 0, 0, 0}));
}

TEST(QelAASpectralProcessorTest, ResetClearsRingsAndFramesAndLeavesTheSpectrum) {
    TestProcessor processor(8, 4, 1, 8);
    std::vector<Signal> input{test::Noise(12, 2)};
    std::vector<Signal> output{Signal(12)};
    ListOf in(input);
    ListOf out(output);
    processor.Process(8, in.Get(), out.Get());
    const auto& channel = processor.mChannels[0];
    channel.mSplitData[3] = 7;
    processor.Reset();
    EXPECT_EQ(Signal(channel.mInputRing.get(), channel.mInputRing + 16), Signal(16, 0.0f));
    EXPECT_EQ(Signal(channel.mOutputRing.get(), channel.mOutputRing + 16), Signal(16, 0.0f));
    EXPECT_EQ(Signal(channel.mFFTBuffer.get(), channel.mFFTBuffer + 8), Signal(8, 0.0f));
    EXPECT_EQ(Signal(channel.mAudioFrame.get(), channel.mAudioFrame + 8), Signal(8, 0.0f));
    EXPECT_EQ(channel.mSplitData[3], 7.0f);
}

TEST(QelAASpectralProcessorTest, NoSpectralFunctionIsAllowed) {
    TestProcessor processor(8, 4, 1, 8);
    processor.SetSpectralFunction(nullptr, nullptr);
    std::vector<Signal> input{Signal(8, 1.0f)};
    EXPECT_EQ(processor.Push(input, 8), 1);
    EXPECT_TRUE(processor.mFrames.empty());
}

TEST(QelAASpectralProcessorTest, PrintingShowsEveryBinOfEveryChannel) {
    TestProcessor processor(4, 4, 2, 4);
    processor.mChannels[0].mSplitData[1] = -1.5f;
    processor.mChannels[1].mSplitData[2] = 0.25f;
    testing::internal::CaptureStdout();
    processor.PrintSpectralBufferList();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " bin[0]: 0.000000 + 0.000000i\n"
                                                      " bin[1]: -1.500000 + 0.000000i\n"
                                                      " bin[0]: 0.000000 + 0.250000i\n"
                                                      " bin[1]: 0.000000 + 0.000000i\n");
}

TEST(QelAASpectralProcessorTest, SizesBeyondTheRangeRaiseBadAlloc) {
    constexpr UInt32 kMax = std::numeric_limits<UInt32>::max();
    EXPECT_THROW(TestProcessor(0, 1, 1, 16), std::bad_alloc);
    EXPECT_THROW(TestProcessor(1, 1, 1, 16), std::bad_alloc);
    EXPECT_THROW(TestProcessor(UInt32{1} << 30, 1, 1, 16), std::bad_alloc);
    EXPECT_THROW(TestProcessor(kMax, 1, 1, 16), std::bad_alloc);
    EXPECT_THROW(TestProcessor(1024, 512, 1, kMax), std::bad_alloc);
    EXPECT_THROW(TestProcessor(1024, 512, 1, kMax - 1023), std::bad_alloc); // wraps to 0
    EXPECT_THROW(TestProcessor(1024, 512, 1, (UInt32{1} << 31) - 1023), std::bad_alloc);
}

TEST(QelAASpectralProcessorTest, WithoutChannelsFramesAreCountedAllTheSame) {
    TestProcessor processor(8, 8, 0, 8);
    AudioBufferList none{};
    EXPECT_EQ(processor.ProcessForwards(8, &none), 1);
    EXPECT_EQ(processor.mFrames.size(), 1u);
}

TEST(QelAASpectralProcessorTest, LengthThatIsNoPowerOfTwoStaysInsideItsMemory) {
    TestProcessor processor(24, 12, 1, 24);
    std::vector<Signal> input{test::Noise(200, 3)};
    std::vector<Signal> output{Signal(200)};
    EXPECT_GT(processor.Push(input, 24), 0);
    ListOf in(input);
    ListOf out(output);
    processor.Process(24, in.Get(), out.Get()); // the address sanitizer watches this
}

} // namespace
} // namespace qel::core
