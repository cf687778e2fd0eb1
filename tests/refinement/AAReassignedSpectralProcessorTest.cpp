#include "refinement/AAReassignedSpectralProcessor.h"

#include "tests/spectral/TestProcessor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace qel::core {
namespace {

using test::ListOf;
using test::Noise;
using test::Signal;

constexpr UInt32 kFrame = 512;
constexpr UInt32 kHop = 64;
constexpr UInt32 kBins = kFrame / 2;

// What was there when the spectral function ran.
struct SeenFrame {
    std::vector<Signal> cif, lgd, real, imag; // per channel
};

// Keeps every frame; the windows can be looked at.
class OpenProcessor : public AAReassignedSpectralProcessor {
public:
    explicit OpenProcessor(UInt32 channels = 1, UInt32 maxFrames = 4096)
        : AAReassignedSpectralProcessor(kFrame, kHop, channels, maxFrames, false, 44100.0f) {
        SetSpectralFunction(&OpenProcessor::Keep, this);
    }

    using AAReassignedSpectralProcessor::mDerivativeWindow;
    using AAReassignedSpectralProcessor::mFrameCounter;
    using AAReassignedSpectralProcessor::mTimeRampWindow;
    using AAReassignedSpectralProcessor::mWindow;

    std::vector<SeenFrame> frames;

    void Push(std::vector<Signal> channels) {
        ListOf list(channels);
        ProcessForwards(static_cast<UInt32>(channels[0].size()), list.Get());
    }

private:
    static void Keep(SpectralAndAudioBufferList* list, void* refCon) {
        auto& self = *static_cast<OpenProcessor*>(refCon);
        SeenFrame seen;
        for (UInt32 c = 0; c < list->mNumChannels; ++c) {
            const auto row = [c](const AudioBufferList* buffers) {
                const auto* const values = static_cast<const float*>(buffers->mBuffers[c].mData);
                return Signal(values, values + kBins);
            };
            seen.cif.push_back(row(self.GetCIFBufferList()));
            seen.lgd.push_back(row(self.GetLGDBufferList()));
            const DSPSplitComplex& spectrum = list->mSpectra[c];
            seen.real.emplace_back(spectrum.realp, spectrum.realp + kBins);
            seen.imag.emplace_back(spectrum.imagp, spectrum.imagp + kBins);
        }
        self.frames.push_back(std::move(seen));
    }
};

Signal Tone(double bin, double phase, std::size_t length) {
    Signal signal(length);
    for (std::size_t n = 0; n < length; ++n) {
        const double turns = bin * static_cast<double>(n) / kFrame;
        signal[n] = static_cast<float>(std::cos(2.0 * std::numbers::pi * turns + phase));
    }
    return signal;
}

TEST(FixSpectrumTest, HalvesAllAndClearsTheFirstAndTheLastImaginaryPart) {
    Signal real = {2.0f, -3.0f, 4.0f, 5.0f, 99.0f};
    Signal imag = {7.0f, 6.0f, -8.0f, 10.0f, 99.0f};
    FixSpectrum({real.data(), imag.data()}, 4);
    EXPECT_EQ(real, (Signal{1.0f, -1.5f, 2.0f, 2.5f, 99.0f}));
    EXPECT_EQ(imag, (Signal{0.0f, 3.0f, -4.0f, 0.0f, 99.0f}));
}

TEST(FixSpectrumTest, OfOneBinLeavesTheRealPartAndOfNoneNothing) {
    Signal real = {2.0f};
    Signal imag = {7.0f};
    FixSpectrum({real.data(), imag.data()}, 0);
    EXPECT_EQ(imag, Signal{7.0f});
    FixSpectrum({real.data(), imag.data()}, 1);
    EXPECT_EQ(real, Signal{1.0f});
    EXPECT_EQ(imag, Signal{0.0f});
}

TEST(AAReassignedSpectralProcessorTest, TheTimeRampCountsSamplesFromTheMiddle) {
    const OpenProcessor processor;
    for (int i = 0; i < static_cast<int>(kFrame); ++i) {
        const float ramp = static_cast<float>(i) - 255.5f;
        EXPECT_EQ(processor.mTimeRampWindow[i], ramp * processor.mWindow[i]) << i;
    }
}

// The definition, in double precision and without a fast transform: the window's spectrum with its
// lower half mirrored without conjugation and 0 in the middle, times the bins' numbers plus a
// half, and back.
std::vector<double> DerivativeOf(const float* window) {
    std::vector<std::complex<double>> ramped(kFrame);
    const auto turn = [](UInt32 product) {
        return std::polar(1.0, 2.0 * std::numbers::pi * (product % kFrame) / kFrame);
    };
    for (UInt32 k = 0; k < kBins; ++k) {
        std::complex<double> bin;
        for (UInt32 n = 0; n < kFrame; ++n) {
            bin += static_cast<double>(window[n]) * std::conj(turn(k * n));
        }
        if (k == kBins - 1) {
            bin.imag(0.0);
        }
        ramped[k] = bin * (k + 0.5);
        if (k > 0) {
            ramped[kFrame - k] = bin * (0.5 - k);
        }
    }
    std::vector<double> derivative(kFrame);
    for (UInt32 n = 0; n < kFrame; ++n) {
        for (UInt32 k = 0; k < kFrame; ++k) {
            derivative[n] -= (ramped[k] * turn(k * n)).imag() / kFrame;
        }
    }
    return derivative;
}

TEST(AAReassignedSpectralProcessorTest, TheDerivativeWindowFollowsItsDefinition) {
    const OpenProcessor processor;
    const std::vector<double> expected = DerivativeOf(processor.mWindow);
    for (UInt32 n = 0; n < kFrame; ++n) {
        // Values go up to a half. The spectrum's rounding errors, 6e-8 of its 128, are raised by
        // the ramp of up to 256, and the mean of 512 of them has a 23rd of that.
        EXPECT_NEAR(processor.mDerivativeWindow[n], expected[n], 9e-5) << n;
    }
}

// The window's change per sample, in units in which a bin has the width 1: N / 2 pi times the slope
// of a Hann window of N samples.
TEST(AAReassignedSpectralProcessorTest, TheDerivativeWindowIsNearlyTheDerivative) {
    const OpenProcessor processor;
    for (UInt32 n = 0; n < kFrame; ++n) {
        const double slope = 0.5 * std::sin(2.0 * std::numbers::pi * n / kFrame);
        // The spectrum that is mirrored without conjugation has lost the shift of half a sample,
        // pi / 512 of the slope's height, and the half of the ramp brings about as much.
        EXPECT_NEAR(processor.mDerivativeWindow[n], slope, 0.005) << n;
    }
}

TEST(AAReassignedSpectralProcessorTest, BinsAroundAToneHaveItsFrequency) {
    for (const double bin : {10.0, 57.3, 100.0, 200.5}) {
        OpenProcessor processor;
        processor.Push({Tone(bin, 0.7, kFrame + 3 * kHop)});
        ASSERT_EQ(processor.frames.size(), 4u);
        for (const SeenFrame& frame : processor.frames) {
            const auto nearest = static_cast<std::size_t>(std::lround(bin));
            for (std::size_t k = nearest - 1; k <= nearest + 1; ++k) {
                // Bins count from 1. The derivative window is a hundredth of its height off the
                // derivative, and so is the distance to the tone, of up to 1.5 bins.
                EXPECT_NEAR(frame.cif[0][k], bin + 1.0, 0.015) << "bin " << k;
            }
        }
    }
}

// A click at sample n of a frame makes all three spectra proportional to their windows at n, so
// that the delay is the time ramp's value there in every bin.
TEST(AAReassignedSpectralProcessorTest, AClickHasItsOwnDelayInAllBins) {
    for (const int at : {30, 200, 300, 480}) {
        Signal click(kFrame, 0.0f);
        click[static_cast<std::size_t>(at)] = 1.0f;
        OpenProcessor processor;
        processor.Push({click});
        ASSERT_EQ(processor.frames.size(), 1u);
        const double delay = (at - 255.5) / kFrame;
        for (UInt32 k = 0; k + 1 < kBins; ++k) { // the last bin lost its imaginary part
            if (std::abs(processor.frames[0].real[0][k]) > 0.0f) {
                // Quotients of single-precision numbers, divided by 512.
                EXPECT_NEAR(processor.frames[0].lgd[0][k], 1.0 + delay, 1e-5) << k;
            }
        }
    }
}

// A tone of ten periods per hop, so that all frames are alike but for their numbers.
TEST(AAReassignedSpectralProcessorTest, FramesAreNumberedFromOneOn) {
    OpenProcessor processor;
    EXPECT_EQ(processor.mFrameCounter, 1.0);
    processor.Push({Tone(80.0, 0.0, kFrame + 9 * kHop)});
    ASSERT_EQ(processor.frames.size(), 10u);
    for (std::size_t f = 0; f < 10; ++f) {
        // A steady tone has its energy in the middle of the frame, where the ramp is 0; what is
        // left are the errors of single-precision transforms.
        EXPECT_NEAR(processor.frames[f].lgd[0][80], static_cast<double>(f + 1), 1e-5);
    }
    EXPECT_EQ(processor.mFrameCounter, 11.0);
    processor.AllocateBuffers();
    EXPECT_EQ(processor.mFrameCounter, 1.0);
}

TEST(AAReassignedSpectralProcessorTest, SilenceHasNeitherFrequencyNorTime) {
    OpenProcessor processor;
    processor.Push({Signal(kFrame, 0.0f)});
    ASSERT_EQ(processor.frames.size(), 1u);
    for (UInt32 k = 0; k < kBins; ++k) {
        EXPECT_TRUE(std::isnan(processor.frames[0].cif[0][k])) << k;
        EXPECT_TRUE(std::isnan(processor.frames[0].lgd[0][k])) << k;
    }
}

TEST(AAReassignedSpectralProcessorTest, TheSpectralFunctionGetsAFixedSpectrum) {
    std::vector<Signal> noise = {Noise(kFrame, 1)};
    test::TestProcessor plain(kFrame, kHop, 1, kFrame);
    plain.HanningWindow();
    plain.Push(noise, kFrame);
    test::Frame expected = plain.mFrames.at(0);
    FixSpectrum({expected.mReal[0].data(), expected.mImag[0].data()}, kBins);

    OpenProcessor processor;
    processor.Push(noise);
    ASSERT_EQ(processor.frames.size(), 1u);
    EXPECT_EQ(processor.frames[0].real, expected.mReal);
    EXPECT_EQ(processor.frames[0].imag, expected.mImag);
}

TEST(AAReassignedSpectralProcessorTest, ChannelsAreWorkedOnApart) {
    const Signal left = Noise(kFrame + 2 * kHop, 1);
    const Signal right = Noise(kFrame + 2 * kHop, 2);
    OpenProcessor both(2);
    both.Push({left, right});
    OpenProcessor one;
    one.Push({right});
    ASSERT_EQ(both.frames.size(), 3u);
    for (std::size_t f = 0; f < 3; ++f) {
        EXPECT_EQ(both.frames[f].cif[1], one.frames[f].cif[0]);
        EXPECT_EQ(both.frames[f].lgd[1], one.frames[f].lgd[0]);
        EXPECT_NE(both.frames[f].cif[0], one.frames[f].cif[0]);
    }
}

TEST(AAReassignedSpectralProcessorTest, BlocksMayBeShorterThanAFrame) {
    const Signal noise = Noise(kFrame + 5 * kHop, 3);
    OpenProcessor whole;
    whole.Push({noise});
    OpenProcessor cut(1, 7);
    for (std::size_t at = 0; at < noise.size(); at += 7) {
        const std::size_t end = std::min(at + 7, noise.size());
        cut.Push({Signal(noise.begin() + static_cast<long>(at),
                         noise.begin() + static_cast<long>(end))});
    }
    ASSERT_EQ(cut.frames.size(), whole.frames.size());
    for (std::size_t f = 0; f < whole.frames.size(); ++f) {
        EXPECT_EQ(cut.frames[f].cif, whole.frames[f].cif);
        EXPECT_EQ(cut.frames[f].lgd, whole.frames[f].lgd);
    }
}

} // namespace
} // namespace qel::core
