// "generic spectrum properties" and "spectrum" where the figures are known in closed form.

#include "tests/descriptors/DescriptorAssertions.h"
#include "tests/harness/TestSignals.h"

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;
constexpr double kM = static_cast<double>(kNumBins);
constexpr double kHzPerBin = kRate / static_cast<double>(kFrameSize);
// The sum of the window: (N + 1) / 2, as only the term that would be 0 is missing from a period.
constexpr double kWindowSum = 512.5;

// The first row that one key delivers for one channel of audio.
std::vector<float> FirstRow(const std::string& key, const Audio& audio, double rateHz = kRate) {
    TestAnalyzer analyzer({key}, StreamSetup{rateHz, 1, 8192, 0});
    EXPECT_EQ(0, analyzer.Push(audio));
    return analyzer.Rows(key).at(0);
}

// An impulse has the same magnitude in every bin, h = 2 |x| w, but bin 0 holds DC and Nyquist
// together and so is the root of 2 times as high.
TEST(GenericFiguresTest, ImpulseGivesTheFiguresOfAFlatSpectrum) {
    constexpr std::size_t kAt = 300;
    const std::vector<float> row = FirstRow(kGeneric, Impulses(kFrameSize, {{kAt, -0.5f}}));
    const double h = 2.0 * 0.5 * Window()[kAt];
    const double root2 = std::sqrt(2.0);
    const double sum = h * (511.0 + root2);
    const double energy = h * h * 513.0;
    const double mean = sum / kM;
    constexpr double kRounding = 1e-5; // transform and sums of 512 terms, single precision
    const auto near = [&](double expected, generic::Index index) {
        EXPECT_NEAR(expected, row[index], kRounding * std::abs(expected)) << "value " << index;
    };
    near(mean, generic::Mean);
    near(std::pow(2.0, 0.5 / kM) * h, generic::GeometricMean);
    near(energy, generic::Energy);
    near(20.0 * std::log10(0.0001 + energy / kM), generic::EnergyDecibels);
    near(10.0 * std::log10(0.0001 + energy / kM), generic::PowerDecibels);
    near(130816.0 / (511.0 + root2), generic::Centroid); // 130816 = 1 + 2 + ... + 511
    near(std::pow(2.0, 0.5 / kM) * h / mean, generic::Flatness);
    near(130816.0 * h * h, generic::Hfc1);
    near(130816.0 * h, generic::Hfc2);
    near(root2 / std::sqrt(513.0 / 512.0), generic::Crest);
    EXPECT_EQ(0.0f, row[generic::MaximumFrequency]);
    // Bins 0 to 2 lie at or below 100 Hz and hold 4 of the 513 parts of the energy.
    near(4.0 / 513.0, generic::LowEnergy);
    // Bins 35 to 511 lie above 1500 Hz.
    near(477.0 / (511.0 + root2), generic::Brightness);
    // 85% of 513 parts is 436.05; bins 0 to k hold k + 2 parts, so bin 435 goes past it.
    near(435.0 * kHzPerBin, generic::Rolloff);
    // The spread is a variance: mean square less squared mean, two nearly equal figures.
    EXPECT_NEAR(energy / kM - mean * mean, row[generic::Spread], kRounding * energy / kM);
}

TEST(GenericFiguresTest, SlopeOfAFlatSpectrumShowsTheMeanFrequencyDividedByOneLess) {
    constexpr std::size_t kAt = 512;
    const std::vector<float> row = FirstRow(kGeneric, Impulses(kFrameSize, {{kAt, 1.0f}}));
    const double h = 2.0 * Window()[kAt];
    // In bins: g = 130816 / 511 = 256, not the true mean 255.5. The squares of 0 to 511 sum to
    // 44608256, so the sum of (k - 256)^2 is 44608256 - 2 * 256 * 130816 + 512 * 65536. With m = h
    // but h root 2 at bin 0, the numerator is h (130816 - 512 * 256 - (root 2 - 1) 256).
    const double denominator = 44608256.0 - 512.0 * 130816.0 + 512.0 * 65536.0;
    const double numerator = h * (130816.0 - 512.0 * 256.0 - (std::sqrt(2.0) - 1.0) * 256.0);
    // The terms of the numerator cancel: their magnitudes sum to about h * 512 * 128.
    const double terms = h * 512.0 * 128.0 / denominator / kHzPerBin;
    EXPECT_NEAR(numerator / denominator / kHzPerBin, row[generic::Slope], 1e-5 * terms);
}

TEST(GenericFiguresTest, SineOnABinGivesThatBinsFrequencyAndTheWindowsHeight) {
    constexpr double kBin = 100.0;
    const Audio audio = Sine(kRate, kBin * kHzPerBin, 0.5, kFrameSize);
    const std::vector<float> row = FirstRow(kGeneric, audio);
    EXPECT_FLOAT_EQ(static_cast<float>(kBin * kHzPerBin), row[generic::MaximumFrequency]);
    // The window spreads the energy as 1, 4, 1: up to bin 100 that is 83%, less than 85%.
    EXPECT_FLOAT_EQ(static_cast<float>(101.0 * kHzPerBin), row[generic::Rolloff]);
    EXPECT_NEAR(kBin, row[generic::Centroid], 1.0); // side lobes pull it by a fraction of a bin
    // Amplitude 0.5, doubled, halved between positive and negative frequencies, times the window's
    // sum; the window is not quite periodic in the frame, which costs parts of a thousand.
    const std::vector<double> magnitudes = SingleMagnitudes(FirstRow(kSpectrum, audio));
    EXPECT_NEAR(0.5 * kWindowSum, magnitudes[100], 0.001 * kWindowSum);
    EXPECT_NEAR(0.25 * kWindowSum, magnitudes[99], 0.002 * kWindowSum);
}

TEST(GenericFiguresTest, NyquistIsTheImaginaryPartOfBin0AndCountsIntoItsMagnitude) {
    Audio audio = Constant(0.5f, 1, kFrameSize);
    for (std::size_t i = 1; i < kFrameSize; i += 2) {
        audio[0][i] = -0.5f;
    }
    const std::vector<float> spectrum = FirstRow(kSpectrum, audio);
    EXPECT_NEAR(2.0 * 0.5 * kWindowSum, spectrum[1], 1e-5 * kWindowSum);
    EXPECT_NEAR(0.0, spectrum[0], 1e-5 * kWindowSum);
    // The highest frequency there is reports as the lowest: meant so.
    EXPECT_EQ(0.0f, FirstRow(kGeneric, audio)[generic::MaximumFrequency]);
}

TEST(GenericFiguresTest, LowEnergyTakesEveryBinUpTo100HzAndNoFurther) {
    const Audio impulse = Impulses(kFrameSize, {{512, 1.0f}});
    // Bin spacing 187.5 Hz: bin 0 alone, 2 of 513 parts of the energy.
    EXPECT_NEAR(2.0 / 513.0, FirstRow(kGeneric, impulse, 192000.0)[generic::LowEnergy], 1e-7);
    // Spacing of exactly 100 Hz: bin 1 still takes part.
    EXPECT_NEAR(3.0 / 513.0, FirstRow(kGeneric, impulse, 102400.0)[generic::LowEnergy], 1e-7);
    // Spacing 31.25 Hz: bins 0 to 3.
    EXPECT_NEAR(5.0 / 513.0, FirstRow(kGeneric, impulse, 32000.0)[generic::LowEnergy], 1e-7);
    // All bins below 100 Hz: the loop ends with the bins.
    EXPECT_NEAR(1.0, FirstRow(kGeneric, impulse, 100.0)[generic::LowEnergy], 1e-6);
}

TEST(GenericFiguresTest, BrightnessTakesOnlyBinsAbove1500Hz) {
    const Audio impulse = Impulses(kFrameSize, {{512, 1.0f}});
    const double parts = 511.0 + std::sqrt(2.0);
    // Bin 15 lies at exactly 1500 Hz and stays out.
    EXPECT_NEAR(496.0 / parts, FirstRow(kGeneric, impulse, 102400.0)[generic::Brightness], 1e-5);
    EXPECT_EQ(0.0f, FirstRow(kGeneric, impulse, 2000.0)[generic::Brightness]);
}

TEST(SpectrumTest, ImpulseTurnsByItsPlaceInEveryBin) {
    constexpr std::size_t kAt = 256; // a quarter of the frame: a quarter turn per bin
    const std::vector<float> row = FirstRow(kSpectrum, Impulses(kFrameSize, {{kAt, 1.0f}}));
    const double h = 2.0 * Window()[kAt];
    constexpr double kTurn[4][2] = {{1.0, 0.0}, {0.0, -1.0}, {-1.0, 0.0}, {0.0, 1.0}};
    for (std::size_t k = 1; k < kNumBins; ++k) {
        EXPECT_NEAR(h * kTurn[k % 4][0], row[2 * k], 1e-6 * h);
        EXPECT_NEAR(h * kTurn[k % 4][1], row[2 * k + 1], 1e-6 * h);
    }
    EXPECT_NEAR(h, row[0], 1e-6 * h); // DC
    EXPECT_NEAR(h, row[1], 1e-6 * h); // Nyquist: an even place
}

} // namespace
} // namespace qel::test
