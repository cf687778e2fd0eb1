// "constant q spectrum" on sound like music against a re-computation in double precision, at many
// sample rates.

#include "tests/pitch/ConstantQTesting.h"

#include <cmath>
#include <limits>

namespace qel::test {
namespace {

// About a second at the usual rates.
constexpr std::size_t kFrames = 40;

class ConstantQRateTest : public testing::TestWithParam<double> {};

TEST_P(ConstantQRateTest, MonoAgreesWithADoublePrecisionRecomputation) {
    const Audio audio = MusicLike(GetParam(), 1, SamplesFor(kFrames) + 500);
    ExpectSpectra(ReferenceConstantQ(GetParam()), audio[0], SpectraOf(audio, GetParam(), 1000));
}

TEST_P(ConstantQRateTest, StereoAgreesWithADoublePrecisionRecomputation) {
    const Audio audio = MusicLike(GetParam(), 2, SamplesFor(kFrames), 2);
    const ReferenceConstantQ reference(GetParam());
    for (const std::size_t channel : {0u, 1u}) {
        SCOPED_TRACE(channel);
        ExpectSpectra(reference, audio[channel], SpectraOf(audio, GetParam(), 63, channel));
    }
}

// The frames of noise have no loud bin that could hide the others.
TEST_P(ConstantQRateTest, NoiseAgreesWithADoublePrecisionRecomputation) {
    const Audio audio = Noise(0.9f, 1, SamplesFor(10), 3);
    ExpectSpectra(ReferenceConstantQ(GetParam()), audio[0], SpectraOf(audio, GetParam(), 4096));
}

INSTANTIATE_TEST_SUITE_P(Rates, ConstantQRateTest, testing::Values(22050.0, 44100.0, 48000.0));

// Rates from the lowest at which all kernels have two samples up to 192 kHz, with every tenth bin,
// or every thirtieth. Below 7167 Hz the frame is longer than the transform of the kernels, and
// below 10463 Hz the highest bins lie above half the rate.
TEST(ConstantQAgreementTest, OtherRatesAgreeWithADoublePrecisionRecomputation) {
    for (const double rateHz :
         {110.0, 1000.0, 2000.0, 7000.0, 7200.0, 8000.0, 11025.0, 16000.0, 96000.0, 192000.0}) {
        SCOPED_TRACE(rateHz);
        const Audio audio = Noise(0.5f, 2, SamplesFor(3), 4);
        const ReferenceConstantQ reference(rateHz, {}, rateHz > 50000.0 ? 30 : 10);
        ExpectSpectra(reference, audio[0], SpectraOf(audio, rateHz, 4096, 0));
        ExpectSpectra(reference, audio[1], SpectraOf(audio, rateHz, 4096, 1));
    }
}

// The rate is a number with a fraction, and the kernels follow it.
TEST(ConstantQAgreementTest, AFractionOfTheRateCounts) {
    const double rateHz = 1000.75;
    const Audio audio = Noise(0.5f, 1, SamplesFor(2), 5);
    ExpectSpectra(ReferenceConstantQ(rateHz), audio[0], SpectraOf(audio, rateHz));
    EXPECT_NE(SpectraOf(audio, rateHz), SpectraOf(audio, 1000.0));
}

// Figures of the design that were worked out beforehand, so that the reference itself is held to
// something.
TEST(ConstantQAgreementTest, TheReferenceHasTheKnownSizes) {
    const ReferenceConstantQ at44(44100.0, {}, 1000);
    EXPECT_FLOAT_EQ(51.438606f, static_cast<float>(at44.Q()));
    EXPECT_EQ(212u, at44.BinCount());
    EXPECT_EQ(25205u, at44.LongestKernel());
    EXPECT_EQ(25205u, at44.KernelLength(0));
    EXPECT_EQ(32768u, at44.TransformSize());
    EXPECT_EQ(90.0f, at44.CentreHz(0));
    EXPECT_EQ(180.0f, at44.CentreHz(36));
    // 90 * 2^(211 / 36), the last one below 5250 Hz.
    EXPECT_NEAR(5231.0, at44.CentreHz(211), 0.5);
    EXPECT_LT(at44.CentreHz(211), 5250.0f);
    EXPECT_GT(at44.CentreHz(212), 5250.0f);

    const ReferenceConstantQ at48(48000.0, {}, 1000);
    EXPECT_EQ(27434u, at48.LongestKernel());
    EXPECT_EQ(32768u, at48.TransformSize());
    EXPECT_EQ(212u, at48.BinCount());
}

TEST(ConstantQAgreementTest, NoKernelIsLongerThanItsTransform) {
    for (const double rateHz : {110.0, 2000.0, 8000.0, 44100.0, 192000.0}) {
        const ReferenceConstantQ reference(rateHz, {}, 1000);
        EXPECT_EQ(reference.LongestKernel(), reference.KernelLength(0));
        for (std::size_t bin = 1; bin < reference.BinCount(); ++bin) {
            ASSERT_LE(reference.KernelLength(bin), reference.KernelLength(bin - 1)) << bin;
        }
        EXPECT_LE(reference.KernelLength(0), reference.TransformSize());
    }
}

// Of a frame that is longer than the transform of the kernels, only its beginning counts.
TEST(ConstantQAgreementTest, ALongFrameCountsWithItsFirstSamples) {
    const double rateHz = 2000.0;
    const std::size_t transform = ReferenceConstantQ(rateHz, {}, 1000).TransformSize();
    ASSERT_EQ(2048u, transform);
    const Audio beginning = Noise(0.5f, 1, transform, 6);
    const Audio quiet = Joined(beginning, Silence(1, kConstantQFrame - transform));
    const Audio loud = Joined(beginning, Noise(1.0f, 1, kConstantQFrame - transform, 7));
    EXPECT_EQ(SpectraOf(quiet, rateHz), SpectraOf(loud, rateHz));
}

// Below 102 Hz the kernels of the highest bins would have one sample. What comes out is open, but
// all of it comes out, and of the usual size.
TEST(ConstantQAgreementTest, VeryLowRatesGiveWholeResults) {
    for (const double rateHz : {2.0, 3.0, 20.0, 90.0}) {
        SCOPED_TRACE(rateHz);
        const std::vector<Delivery> deliveries =
            RunConstantQ(Noise(0.5f, 1, SamplesFor(2), 8), rateHz);
        ASSERT_EQ(4u, deliveries.size());
        for (std::size_t n = 0; n < 4; n += 2) {
            EXPECT_EQ(kConstantQBins, deliveries[n].Floats(0).size());
            EXPECT_EQ(kProfileBins, deliveries[n + 1].Floats(0).size());
        }
    }
}

// Kernels that cannot be made, or would take gigabytes.
TEST(ConstantQAgreementTest, RatesWithoutKernelsGiveZeros) {
    const Audio audio = Noise(0.5f, 1, SamplesFor(2), 9);
    const std::vector<float> zeros(kConstantQBins);
    for (const double rateHz : {-44100.0, 0.0, 1e-30, 1.5, 2e6, 1e12, 1e300,
                                std::numeric_limits<double>::infinity(), std::nan("")}) {
        EXPECT_EQ((std::vector<std::vector<float>>{zeros, zeros}), SpectraOf(audio, rateHz))
            << rateHz;
    }
}

} // namespace
} // namespace qel::test
