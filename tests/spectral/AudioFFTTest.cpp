#include "spectral/AudioFFT.h"

#include "tests/spectral/TestProcessor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <memory>
#include <numbers>
#include <vector>

namespace qel::core {
namespace {

using test::Noise;
using test::PlainTransform;
using test::Signal;

struct Dispose {
    void operator()(AudioFFTContext* context) const { DisposeAudioFFT(context); }
};
using Context = std::unique_ptr<AudioFFTContext, Dispose>;

Context MakeContext(int log2Length) {
    AudioFFTContext* context = nullptr;
    EXPECT_EQ(CreateAudioFFT(log2Length, &context), 0);
    return Context(context);
}

std::vector<double> Widened(const Signal& signal) {
    return {signal.begin(), signal.end()};
}

// The error of a bin, in double: a single-precision transform of N points in log2(N) stages has an
// error of about 2^-24 log2(N) times the norm of the samples, which for noise is below sqrt(N).
double Tolerance(int log2Length) {
    return std::exp2(-24) * (log2Length + 2) * std::sqrt(std::exp2(log2Length));
}

TEST(CreateAudioFFTTest, NullResultPointerIsABadParameter) {
    EXPECT_EQ(CreateAudioFFT(10, nullptr), -50);
}

TEST(CreateAudioFFTTest, LengthsThatCannotBeHadAreOutOfMemoryAndGiveNull) {
    for (const int log2Length : {-1, 31, 1000}) {
        AudioFFTContext other{};
        AudioFFTContext* context = &other;
        EXPECT_EQ(CreateAudioFFT(log2Length, &context), -108) << log2Length;
        EXPECT_EQ(context, nullptr) << log2Length;
    }
}

TEST(CreateAudioFFTTest, ContextHasASetupAndNoScratchYet) {
    const Context context = MakeContext(8);
    EXPECT_NE(context->mSetup, nullptr);
    EXPECT_EQ(context->mScratch, nullptr);
    EXPECT_EQ(context->mScratchImag, nullptr);
}

TEST(DisposeAudioFFTTest, NullIsAllowed) {
    DisposeAudioFFT(nullptr);
}

TEST(RealFFTTest, SpectrumIsPackedAndDoubled) {
    for (const int log2Length : {1, 2, 5, 10}) {
        const std::size_t half = std::size_t{1} << (log2Length - 1);
        const Context context = MakeContext(log2Length);
        const Signal samples = Noise(2 * half, 1);
        Signal real(half);
        Signal imag(half);
        for (std::size_t m = 0; m < half; ++m) {
            real[m] = samples[2 * m];
            imag[m] = samples[2 * m + 1];
        }
        RealFFT(context.get(), static_cast<unsigned int>(log2Length), real.data(), imag.data());
        const auto expected = PlainTransform(Widened(samples));
        const double tolerance = 2 * Tolerance(log2Length);
        EXPECT_NEAR(double{real[0]}, 2 * expected[0].real(), tolerance);
        EXPECT_NEAR(double{imag[0]}, 2 * expected[half].real(), tolerance);
        for (std::size_t k = 1; k < half; ++k) {
            EXPECT_NEAR(double{real[k]}, 2 * expected[k].real(), tolerance) << half << ", " << k;
            EXPECT_NEAR(double{imag[k]}, 2 * expected[k].imag(), tolerance) << half << ", " << k;
        }
    }
}

TEST(RealFFTTest, LengthBeyondTheContextLeavesTheSamples) {
    const Context context = MakeContext(2);
    Signal real{1, 2, 3, 4};
    Signal imag{5, 6, 7, 8};
    RealFFT(context.get(), 3, real.data(), imag.data());
    EXPECT_EQ(real, (Signal{1, 2, 3, 4}));
    EXPECT_EQ(imag, (Signal{5, 6, 7, 8}));
}

void ExpectPlainTransformWithoutNyquist(const Signal& samples, const Signal& out,
                                        double tolerance) {
    const auto expected = PlainTransform(Widened(samples));
    EXPECT_NEAR(double{out[0]}, expected[0].real(), tolerance);
    EXPECT_EQ(out[1], 0.0f);
    for (std::size_t k = 1; k < samples.size() / 2; ++k) {
        EXPECT_NEAR(double{out[2 * k]}, expected[k].real(), tolerance) << k;
        EXPECT_NEAR(double{out[2 * k + 1]}, expected[k].imag(), tolerance) << k;
    }
}

TEST(RealFFTInterleavedTest, GivesThePlainTransformWithoutNyquist) {
    for (const int log2Length : {1, 2, 6, 10}) {
        const Context context = MakeContext(log2Length);
        const Signal samples = Noise(std::size_t{1} << log2Length, 2);
        Signal out(samples.size(), 9);
        ASSERT_EQ(RealFFTInterleaved(context.get(), static_cast<unsigned int>(log2Length),
                                     samples.data(), out.data()),
                  0);
        ExpectPlainTransformWithoutNyquist(samples, out, Tolerance(log2Length));
    }
}

TEST(RealFFTInterleavedTest, NyquistAloneGivesNothing) {
    const Context context = MakeContext(4);
    Signal samples(16);
    for (std::size_t n = 0; n < samples.size(); ++n) {
        samples[n] = n % 2 == 0 ? 1.0f : -1.0f;
    }
    ASSERT_EQ(RealFFTInterleaved(context.get(), 4, samples.data(), samples.data()), 0);
    EXPECT_EQ(samples, Signal(16, 0)); // sums of ones are exact
}

TEST(RealFFTInterleavedTest, SecondCallReusesTheScratch) {
    const Context context = MakeContext(6);
    const Signal first = Noise(64, 3);
    const Signal second = Noise(64, 4);
    Signal out(64);
    ASSERT_EQ(RealFFTInterleaved(context.get(), 6, first.data(), out.data()), 0);
    const float* const scratch = context->mScratch;
    ASSERT_NE(scratch, nullptr);
    EXPECT_EQ(context->mScratchImag, scratch + 32);
    ASSERT_EQ(RealFFTInterleaved(context.get(), 6, second.data(), out.data()), 0);
    EXPECT_EQ(context->mScratch, scratch);
    ExpectPlainTransformWithoutNyquist(second, out, Tolerance(6));
}

TEST(RealFFTInterleavedTest, OtherLengthsStayInsideTheScratch) {
    const Context context = MakeContext(6);
    Signal samples = Noise(16, 5);
    Signal out(16);
    ASSERT_EQ(RealFFTInterleaved(context.get(), 4, samples.data(), out.data()), 0);
    ExpectPlainTransformWithoutNyquist(samples, out, Tolerance(4));
    samples = Noise(64, 6);
    out.assign(64, 0);
    ASSERT_EQ(RealFFTInterleaved(context.get(), 6, samples.data(), out.data()), 0);
    ExpectPlainTransformWithoutNyquist(samples, out, Tolerance(6));
    out.assign(128, 3);
    EXPECT_EQ(RealFFTInterleaved(context.get(), 7, out.data(), out.data()), -50);
    EXPECT_EQ(out, Signal(128, 3));
}

TEST(RealFFTInterleavedTest, OfASingleSampleNothingIsWritten) {
    const Context context = MakeContext(0);
    const float sample = 5;
    float out = 3;
    EXPECT_EQ(RealFFTInterleaved(context.get(), 0, &sample, &out), 0);
    EXPECT_EQ(out, 3.0f);
}

TEST(FFTWindowCoeffsTest, EntriesFollowTheirFormula) {
    ASSERT_EQ(sFFTWindowCoeffs.size(), 1024u);
    for (std::size_t k = 0; k < 1024; ++k) {
        const double root = std::sin(std::numbers::pi * (static_cast<double>(k) + 0.5) / 1024);
        // One rounding to float, relative 2^-24; the rest is for the doubles' own.
        const double expected = 32768 * root * root;
        EXPECT_NEAR(double{sFFTWindowCoeffs[k]}, expected, 1.0001 * std::exp2(-24) * expected) << k;
    }
}

TEST(FFTWindowCoeffsTest, FirstEntryPeakAndSymmetryAreAsKnown) {
    EXPECT_EQ(sFFTWindowCoeffs[0], 0.07710622f);
    EXPECT_EQ(sFFTWindowCoeffs[511], sFFTWindowCoeffs[512]);
    EXPECT_LT(sFFTWindowCoeffs[512], 32768.0f);
    for (std::size_t k = 0; k < 511; ++k) {
        EXPECT_EQ(sFFTWindowCoeffs[k], sFFTWindowCoeffs[1023 - k]) << k;
        EXPECT_LT(sFFTWindowCoeffs[k], sFFTWindowCoeffs[k + 1]) << k;
    }
}

TEST(HasVectorUnitTest, IsAlwaysOne) {
    EXPECT_EQ(HasVectorUnit(), 1);
}

} // namespace
} // namespace qel::core
