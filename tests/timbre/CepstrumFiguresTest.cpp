// "cepstrum" against a re-computation in double precision and against closed forms.

#include "tests/timbre/TimbreTesting.h"

#include <complex>
#include <numbers>

namespace qel::test {
namespace {

class CepstrumRateTest : public testing::TestWithParam<RateAndBlock> {};

TEST_P(CepstrumRateTest, AgreesWithADoublePrecisionRecomputation) {
    BoundCount tight;
    for (const UInt32 channels : {1u, 2u}) {
        const Audio audio =
            MusicLike(GetParam().rateHz, channels, kCepstrum.SamplesFor(150) + 33, 6);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const auto rows = RowsOf(kCepstrum, audio, GetParam(), channel);
            ASSERT_EQ(150u, rows.size());
            for (std::size_t frame = 0; frame < rows.size(); ++frame) {
                SCOPED_TRACE("frame " + std::to_string(frame));
                const std::vector<Bounded> expected =
                    ReferenceCepstrum(FrameAt(audio[channel], frame * 256, 512));
                ASSERT_NO_FATAL_FAILURE(ExpectWithin(expected, rows[frame]));
                // Of values that reach some hundreds.
                tight.Add(expected[1], 1.0);
            }
        }
    }
    EXPECT_GE(tight.Share(), 0.9); // that the comparison means something
}

INSTANTIATE_TEST_SUITE_P(Rates, CepstrumRateTest, testing::ValuesIn(kRatesAndBlocks));

// The transform of half a period of a sine over 256 values, summed term by term.
std::vector<double> SineWindowCepstrum(double factor) {
    std::vector<double> cepstrum(128);
    for (std::size_t q = 0; q < 128; ++q) {
        std::complex<double> sum = 0.0;
        double alternating = 0.0;
        for (std::size_t n = 0; n < 256; ++n) {
            const double value = std::sin(static_cast<double>(n) * std::numbers::pi / 255.0);
            const double turns = static_cast<double>(q * n % 256) / 256.0;
            sum += std::polar(value, -2.0 * std::numbers::pi * turns);
            alternating += n % 2 == 0 ? value : -value;
        }
        const double magnitude = q == 0 ? std::hypot(sum.real(), alternating) : std::abs(sum);
        cepstrum[q] = 2.0 * std::abs(factor) * magnitude;
    }
    return cepstrum;
}

// A sound whose magnitudes are all below 0.001 cannot be told from silence.
TEST(CepstrumFiguresTest, WhatIsBelowTheFloorIsSilence) {
    const std::size_t samples = kCepstrum.SamplesFor(4);
    // 512 samples of up to 1e-6, doubled, make 0.00102 at most; the window takes a third of it.
    EXPECT_EQ(RowsOf(kCepstrum, Silence(1, samples)),
              RowsOf(kCepstrum, Noise(1e-6f, 1, samples, 7)));
    EXPECT_NE(RowsOf(kCepstrum, Silence(1, samples)),
              RowsOf(kCepstrum, Noise(1e-3f, 1, samples, 7)));
}

// One sample gives a flat spectrum of twice the sample under its window, but for bin 0, where both
// ends of the spectrum join and make it the square root of two times as much. So the logarithms are
// constant, but for the first, which the window's zero takes away.
TEST(CepstrumFiguresTest, AnImpulseGivesTheTransformOfTheWindowToo) {
    constexpr std::size_t kAt = 200;
    const double magnitude =
        2.0 * 0.9 * std::sin(static_cast<double>(kAt) * std::numbers::pi / 511.0);
    const std::vector<double> expected = SineWindowCepstrum(std::log(magnitude));
    const auto rows = RowsOf(kCepstrum, Impulses(512, {{kAt, 0.9f}}));
    ASSERT_EQ(1u, rows.size());
    for (std::size_t q = 0; q < 128; ++q) {
        EXPECT_NEAR(expected[q], rows[0][q], 1e-3) << q; // 326 logarithms, each 1e-6 off
    }
}

// Two impulses give a spectrum that rises and falls once every 512 / distance bins, and its
// transform, over 256 bins, a peak at half the distance.
TEST(CepstrumFiguresTest, AnEchoIsAtHalfItsDelay) {
    for (const std::size_t delay : {40u, 60u, 100u}) {
        const auto rows = RowsOf(kCepstrum, Impulses(512, {{200, 0.9f}, {200 + delay, 0.4f}}));
        ASSERT_EQ(1u, rows.size());
        std::size_t loudest = 10; // what lies before belongs to the window
        for (std::size_t q = 10; q < 128; ++q) {
            loudest = rows[0][q] > rows[0][loudest] ? q : loudest;
        }
        EXPECT_EQ(delay / 2, loudest);
    }
}

} // namespace
} // namespace qel::test
