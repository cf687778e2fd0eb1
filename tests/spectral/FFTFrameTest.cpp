#include "spectral/FFTFrame.h"

#include "tests/spectral/TestProcessor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <new>
#include <numbers>
#include <numeric>
#include <vector>

namespace qel::core {
namespace {

using test::Noise;
using test::PlainTransform;
using test::Signal;

class OpenFrame : public FFTFrame {
public:
    using FFTFrame::FFTFrame;
    using FFTFrame::mHalfSize;
    using FFTFrame::mLog2Size;
    using FFTFrame::mSetup;
    using FFTFrame::mSize;
    using FFTFrame::mSpectrum;
};

std::vector<double> Widened(const Signal& signal) {
    return {signal.begin(), signal.end()};
}

// The error of a value of order 1 / sqrt(N) that went through log2(N) stages of single precision.
double Tolerance(std::size_t size) {
    const auto n = static_cast<double>(size);
    return std::exp2(-24) * (std::log2(n) + 2) / std::sqrt(n);
}

TEST(FFTFrameTest, SizesFollowFromTheArgument) {
    OpenFrame frame(1024);
    EXPECT_EQ(frame.mSize, 1024u);
    EXPECT_EQ(frame.mHalfSize, 512u);
    EXPECT_EQ(frame.mLog2Size, 10u);
    ASSERT_NE(frame.mSetup, nullptr);
    EXPECT_EQ(Signal(frame.mSpectrum.realp, frame.mSpectrum.realp + 1024), Signal(1024, 0));
    EXPECT_EQ(Signal(frame.mSpectrum.imagp, frame.mSpectrum.imagp + 1024), Signal(1024, 0));
}

TEST(FFTFrameTest, WithoutASizeAllIsZeroUntilInitialize) {
    OpenFrame frame;
    EXPECT_EQ(frame.mSize, 0u);
    EXPECT_EQ(frame.mHalfSize, 0u);
    EXPECT_EQ(frame.mLog2Size, 0u);
    EXPECT_EQ(frame.mSetup, nullptr);
    EXPECT_EQ(frame.mSpectrum.realp, nullptr);
    EXPECT_EQ(frame.mSpectrum.imagp, nullptr);
    frame.Initialize(16);
    Signal ones(16, 1);
    frame.FFT(ones.data());
    EXPECT_EQ(frame.mSpectrum.realp[0], 1.0f);
}

TEST(FFTFrameTest, InitializeAgainServesTheNewSize) {
    OpenFrame frame(256);
    frame.Initialize(8);
    EXPECT_EQ(frame.mSize, 8u);
    EXPECT_EQ(frame.mHalfSize, 4u);
    EXPECT_EQ(frame.mLog2Size, 3u);
    frame.Initialize(512);
    Signal ones(512, 1);
    frame.FFT(ones.data());
    EXPECT_EQ(frame.mSpectrum.realp[0], 1.0f);
}

TEST(FFTFrameTest, SizesOutOfRangeRaiseBadAllocAndLeaveNothing) {
    OpenFrame frame(8);
    for (const int size : {std::numeric_limits<int>::min(), -1, 0, 1, (1 << 30) + 1}) {
        EXPECT_THROW(frame.Initialize(size), std::bad_alloc) << size;
        EXPECT_EQ(frame.mSize, 0u);
        EXPECT_EQ(frame.mSpectrum.realp, nullptr);
    }
    EXPECT_THROW(OpenFrame(0), std::bad_alloc);
    frame.Initialize(2);
    EXPECT_EQ(frame.mHalfSize, 1u);
}

TEST(FFTFrameTest, ConstantGivesItsMeanInTheFirstEntry) {
    for (const int size : {2, 4, 64, 4096}) {
        OpenFrame frame(size);
        Signal ones(static_cast<std::size_t>(size), 1);
        frame.FFT(ones.data());
        EXPECT_EQ(frame.mSpectrum.realp[0], 1.0f); // sums of a power of two are exact
        EXPECT_EQ(frame.mSpectrum.imagp[0], 0.0f);
        for (UInt32 k = 1; k < frame.mHalfSize; ++k) {
            EXPECT_EQ(frame.mSpectrum.realp[k], 0.0f) << size << ", " << k;
            EXPECT_EQ(frame.mSpectrum.imagp[k], 0.0f) << size << ", " << k;
        }
    }
}

TEST(FFTFrameTest, SpectrumIsThePlainTransformDividedByTheSizeWithoutNyquist) {
    for (const int size : {2, 4, 32, 1024}) {
        OpenFrame frame(size);
        Signal samples = Noise(static_cast<std::size_t>(size), 1);
        const Signal before = samples;
        frame.FFT(samples.data());
        EXPECT_EQ(samples, before);
        const auto plain = PlainTransform(Widened(samples));
        EXPECT_EQ(frame.mSpectrum.imagp[0], 0.0f);
        for (UInt32 k = 0; k < frame.mHalfSize; ++k) {
            const std::complex<double> expected = plain[k] / static_cast<double>(size);
            const double tolerance = Tolerance(samples.size());
            EXPECT_NEAR(double{frame.mSpectrum.realp[k]}, expected.real(), tolerance) << k;
            EXPECT_NEAR(double{frame.mSpectrum.imagp[k]}, expected.imag(), tolerance) << k;
        }
    }
}

TEST(FFTFrameTest, MagnitudeIsSquaredAndHasNoPhase) {
    constexpr std::size_t kSize = 256;
    OpenFrame frame(kSize);
    Signal samples = Noise(kSize, 2);
    frame.FFT(samples.data());
    frame.GetMagnitudeInPlace();
    const auto plain = PlainTransform(Widened(samples));
    for (UInt32 k = 0; k < kSize / 2; ++k) {
        const double expected = std::norm(plain[k]) / (kSize * kSize);
        // Twice the relative error of a magnitude, which is at most of order 1 / sqrt(N) itself.
        const double tolerance =
            3 * Tolerance(kSize) * std::abs(plain[k]) / kSize + 1e-7 * expected;
        EXPECT_NEAR(double{frame.mSpectrum.realp[k]}, expected, tolerance) << k;
        EXPECT_EQ(frame.mSpectrum.imagp[k], 0.0f) << k;
    }
}

TEST(FFTFrameTest, InverseGivesTheSamplesBackWithoutTheirNyquistTerm) {
    constexpr std::size_t kSize = 128;
    OpenFrame frame(kSize);
    Signal samples = Noise(kSize, 3);
    frame.FFT(samples.data());
    Signal back(kSize);
    frame.InverseFFT(back.data());
    double alternating = 0;
    for (std::size_t n = 0; n < kSize; ++n) {
        alternating += (n % 2 == 0 ? 1.0 : -1.0) * double{samples[n]};
    }
    EXPECT_GT(std::abs(alternating), 0.1); // or the term would not show
    for (std::size_t n = 0; n < kSize; ++n) {
        const double nyquist = (n % 2 == 0 ? 1.0 : -1.0) * alternating / kSize;
        // Values near 1 through two transforms of 7 stages each.
        EXPECT_NEAR(double{back[n]}, double{samples[n]} - nyquist, 14 * std::exp2(-24)) << n;
    }
}

TEST(FFTFrameTest, ForwardGoesThroughTheVirtualFix) {
    class Unfixed : public OpenFrame {
    public:
        using OpenFrame::OpenFrame;
        void FixSpectrum() override {}
    };
    Unfixed frame(16);
    Signal ones(16, 1);
    frame.FFT(ones.data());
    EXPECT_EQ(frame.mSpectrum.realp[0], 32.0f); // doubled, not divided
}

TEST(FFTFrameTest, WindowIsAppliedInPlace) {
    const FFTFrame frame;
    Signal samples{1, 2, 3, 4};
    const Signal window{2, 0, -1, 0.5f};
    frame.ApplyWindow(samples.data(), window.data(), 3);
    EXPECT_EQ(samples, (Signal{2, 0, -3, 4}));
}

struct Window {
    Signal mValues;
    float mSum;
};

Window Create(int type, unsigned int length, float unused = 0) {
    const FFTFrame frame;
    Window window{Signal(length, -9), 0};
    window.mSum = frame.CreateWindow(window.mValues.data(), length, type, unused);
    return window;
}

template <class Formula>
void ExpectWindow(int type, unsigned int length, Formula formula) {
    const Window window = Create(type, length);
    for (unsigned int i = 0; i < length; ++i) {
        // t and the result are rounded to float, each by at most 2^-25 for values below 1; the
        // steepest window changes by 8 per unit of t.
        const double t = static_cast<double>(i) / length;
        EXPECT_NEAR(double{window.mValues[i]}, formula(t), 9 * std::exp2(-25)) << type << ", " << i;
    }
    EXPECT_EQ(window.mSum, std::accumulate(window.mValues.begin(), window.mValues.end(), 0.0f));
}

TEST(FFTFrameTest, WindowsFollowTheirFormulas) {
    constexpr double kPi = std::numbers::pi;
    for (const unsigned int length : {1u, 7u, 64u, 1000u}) {
        ExpectWindow(kWindowHann, length, [](double t) {
            const double root = std::sin(kPi * t);
            return root * root;
        });
        ExpectWindow(kWindowHamming, length,
                     [](double t) { return 0.54 - 0.46 * std::cos(2 * kPi * t); });
        ExpectWindow(kWindowBlackman, length, [](double t) {
            return 0.42 - 0.5 * std::cos(2 * kPi * t) + 0.08 * std::cos(4 * kPi * t);
        });
        ExpectWindow(kWindowSine, length, [](double t) { return std::sin(kPi * t); });
        ExpectWindow(2, length, [](double t) {
            const double u = 4.2 * (2 * t - 1);
            return std::exp(-0.5 * u * u);
        });
    }
}

TEST(FFTFrameTest, EveryOtherTypeIsTheSameGaussian) {
    const Window gaussian = Create(4, 100);
    for (const int type : {2, -1, 6, 1000}) {
        EXPECT_EQ(Create(type, 100).mValues, gaussian.mValues) << type;
        EXPECT_EQ(Create(type, 100).mSum, gaussian.mSum) << type;
    }
    EXPECT_NE(Create(kWindowHann, 100).mValues, gaussian.mValues);
    EXPECT_EQ(gaussian.mValues[50], 1.0f);
}

TEST(FFTFrameTest, LastArgumentOfAWindowHasNoEffect) {
    EXPECT_EQ(Create(kWindowHann, 32, 5).mValues, Create(kWindowHann, 32, -1).mValues);
    EXPECT_EQ(Create(4, 32, 5).mValues, Create(4, 32, 0).mValues);
}

TEST(FFTFrameTest, WindowOfNoLengthSumsToZero) {
    EXPECT_EQ(Create(kWindowHamming, 0).mSum, 0.0f);
}

} // namespace
} // namespace qel::core
