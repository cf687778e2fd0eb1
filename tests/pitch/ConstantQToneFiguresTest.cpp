// "constant q spectrum" of sounds whose magnitudes are known in closed form: single sines and
// single samples.

#include "tests/pitch/ConstantQTesting.h"

#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

constexpr double kPi = std::numbers::pi;

double CentreHz(std::size_t bin) {
    return 90.0 * std::exp2(static_cast<double>(bin) / 36.0);
}

// Samples of a bin's kernel, not rounded: Q periods.
double KernelSamples(std::size_t bin, double rateHz) {
    const double q = 1.0 / (std::exp2(1.0 / 36.0) - 1.0);
    return q * rateHz / CentreHz(bin);
}

bool FitsIntoTheFrame(std::size_t bin, double rateHz) {
    return KernelSamples(bin, rateHz) <= static_cast<double>(kConstantQFrame);
}

// A sine of amplitude 1 at the centre of a bin: half the sum of the kernel's window over the frame.
// That is 0.27 for a whole window, 0.54 being its mean. Of a longer kernel the frame meets the
// share r, the integral of 0.54 - 0.46 cos(2 pi x) from 0 to r.
double OwnMagnitude(std::size_t bin, double rateHz) {
    const double r =
        std::min(1.0, static_cast<double>(kConstantQFrame) / KernelSamples(bin, rateHz));
    return 0.5 * (0.54 * r - 0.46 * std::sin(2.0 * kPi * r) / (2.0 * kPi));
}

// One frame for the sine at the centre of each bin, one after the other; every eighth result of
// the stream, beginning with the first, is one of them.
std::vector<std::vector<float>> SpectraOfCentres(double rateHz) {
    Audio audio(1);
    for (std::size_t bin = 0; bin < kConstantQBins; ++bin) {
        audio = Joined(std::move(audio), Sine(rateHz, CentreHz(bin), 1.0, kConstantQFrame));
    }
    const std::vector<std::vector<float>> rows = SpectraOf(audio, rateHz);
    std::vector<std::vector<float>> spectra;
    for (std::size_t n = 0; n < rows.size(); n += kConstantQFrame / kConstantQHop) {
        spectra.push_back(rows[n]);
    }
    return spectra;
}

class ConstantQToneFiguresTest : public testing::TestWithParam<double> {
protected:
    const double mRateHz = GetParam();
    const std::vector<std::vector<float>> mSpectra = SpectraOfCentres(mRateHz);
};

// A bin away, a whole kernel gives 0.23 / 0.54 of its own magnitude. A kernel that is longer than
// the frame prefers what is higher, since the frame meets more of the next ones: 4 % more per bin
// at 90 Hz and 44100 Hz, but the 1.75 Hz between the two cost 11 %. So the own bin stays the
// loudest; only from about twice that rate on does the next one overtake it.
TEST_P(ConstantQToneFiguresTest, TheSineAtEveryCentreIsLoudestInItsOwnBin) {
    ASSERT_EQ(kConstantQBins, mSpectra.size());
    for (std::size_t bin = 0; bin < kConstantQBins; ++bin) {
        EXPECT_EQ(bin, Loudest(mSpectra[bin]));
    }
}

// The parts left out below the threshold weigh up to 1 %. A kernel's length is rounded up to whole
// samples, which detunes it by up to Q / N bins, 0.24 at N = 217: 4 % of the magnitude. Of the
// shorter stretch that the frame has of a long kernel, the sine's negative frequency adds or takes
// another 2 %.
TEST_P(ConstantQToneFiguresTest, TheOwnBinHasTheMagnitudeOfItsWindow) {
    ASSERT_EQ(kConstantQBins, mSpectra.size());
    for (std::size_t bin = 0; bin < kConstantQBins; ++bin) {
        const double expected = OwnMagnitude(bin, mRateHz);
        const double detuning = 51.44 / KernelSamples(bin, mRateHz);
        const double error = FitsIntoTheFrame(bin, mRateHz) ? 0.01 + detuning * detuning : 0.03;
        EXPECT_NEAR(expected, mSpectra[bin][bin], error * expected) << bin;
    }
}

// Four bins away and more, only the window's side lobes are left, 43 dB down, and below the
// threshold they are zero.
TEST_P(ConstantQToneFiguresTest, BinsThatFitIntoTheFrameHearNothingOfDistantSines) {
    ASSERT_EQ(kConstantQBins, mSpectra.size());
    std::size_t compared = 0;
    for (std::size_t sine = 0; sine < kConstantQBins; ++sine) {
        for (std::size_t bin = 0; bin < kConstantQBins; ++bin) {
            const bool distant = bin + 4 <= sine || sine + 4 <= bin;
            if (distant && FitsIntoTheFrame(bin, mRateHz)) {
                EXPECT_LT(mSpectra[sine][bin], 0.27 * 0.015) << "sine " << sine << ", bin " << bin;
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, kConstantQBins * 100);
}

INSTANTIATE_TEST_SUITE_P(Rates, ConstantQToneFiguresTest,
                         testing::Values(22050.0, 44100.0, 48000.0));

class ConstantQPlacementTest : public testing::Test {
private:
    // Has the kernels, so that each test makes them once.
    TestAnalyzer mKernels{{kSpectrumKey}, StreamSetup{}};
};

TEST_F(ConstantQPlacementTest, TwiceTheAmplitudeIsTwiceTheMagnitude) {
    Audio audio = MusicLike(kConstantQRate, 1, SamplesFor(3));
    const std::vector<std::vector<float>> once = SpectraOf(audio);
    for (float& sample : audio[0]) {
        sample *= 2.0f;
    }
    const std::vector<std::vector<float>> twice = SpectraOf(audio);
    ASSERT_EQ(3u, once.size());
    ASSERT_EQ(3u, twice.size());
    for (std::size_t n = 0; n < 3; ++n) {
        for (std::size_t bin = 0; bin < kConstantQBins; ++bin) {
            // A factor of two changes no rounding.
            EXPECT_EQ(2.0f * once[n][bin], twice[n][bin]);
        }
    }
}

// A single sample reads a kernel's window at its place.
std::vector<float> SpectrumOfImpulse(std::size_t at) {
    return SpectraOf(Impulses(kConstantQFrame, {{at, 1.0f}})).at(0);
}

// Every kernel begins with the frame's first sample. In the middle of a kernel its window is
// 1 / N; the side lobes that the threshold leaves out move that by a few per cent.
TEST_F(ConstantQPlacementTest, AnImpulseInTheMiddleOfAKernelHasTheWeightOfItsWindow) {
    for (const std::size_t bin : {72u, 90u, 108u, 144u, 180u, 211u}) {
        const double length = KernelSamples(bin, kConstantQRate);
        const float magnitude = SpectrumOfImpulse(static_cast<std::size_t>(length / 2.0))[bin];
        EXPECT_NEAR(1.0 / length, magnitude, 0.05 / length) << bin;
    }
}

// Of the lowest kernels only the beginning meets the frame, as it should.
TEST_F(ConstantQPlacementTest, LongKernelsMeetTheFrameWithTheirBeginning) {
    for (const std::size_t bin : {0u, 10u, 20u, 36u}) {
        const double length = KernelSamples(bin, kConstantQRate);
        ASSERT_GT(length, static_cast<double>(kConstantQFrame));
        for (const std::size_t at : {4000u, 6000u, 8191u}) {
            const double turn = 2.0 * kPi * static_cast<double>(at) / length;
            EXPECT_NEAR(0.54 - 0.46 * std::cos(turn), SpectrumOfImpulse(at)[bin] * length, 0.05)
                << "bin " << bin << ", sample " << at;
        }
    }
}

// After its end a kernel has nothing but what the threshold, by leaving out side lobes, spreads
// over its row.
TEST_F(ConstantQPlacementTest, BehindItsEndAKernelHearsNothing) {
    const std::vector<float> spectrum = SpectrumOfImpulse(8000);
    for (const std::size_t bin : {72u, 108u, 144u, 180u, 211u}) {
        const double length = KernelSamples(bin, kConstantQRate);
        ASSERT_LT(length, 7000.0);
        EXPECT_LT(spectrum[bin] * length, 0.05) << bin;
    }
}

// Nothing takes out the mean or windows the frame; yet a constant is far below the lowest kernel's
// pass band once the whole kernel meets it.
TEST_F(ConstantQPlacementTest, AConstantIsNotHeardWhereTheKernelFitsIntoTheFrame) {
    const std::vector<float> spectrum = SpectraOf(Constant(1.0f, 1, kConstantQFrame)).at(0);
    for (std::size_t bin = 0; bin < kConstantQBins; ++bin) {
        if (FitsIntoTheFrame(bin, kConstantQRate)) {
            EXPECT_LT(spectrum[bin], 0.0054) << bin;
        }
    }
}

} // namespace
} // namespace qel::test
