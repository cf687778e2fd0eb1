// The energy that the engine finds in sounds whose spectrum is known in closed form, worked out
// from the table of bands. With the window's height of 2^15, half of that as its mean, and half of
// a sine in each of its two frequencies, a sine of amplitude 1 in the middle of a bin has the
// modulus 2^15 / 2 * 1024 / 2 = 2^23 there and half of it in the bins beside.

#include "tests/loudness/soundcheck/LoudnessFiguresTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace qel::test {
namespace {

using Complex = std::complex<double>;

constexpr unsigned kRates[] = {22050, 32000, 44100, 48000, 96000};
constexpr double kUnitPower = 0x1p46;
constexpr double kHalfSample = std::numbers::pi / 1024.0;

std::vector<double> Powers(const Excerpt& excerpt) {
    return WindowedPower(excerpt.data(), 1);
}

// The first, middle and last bin of each band; the bins beside them may be in another.
TEST(LoudnessFiguresTest, SinesInTheMiddleOfBinsCountAsTheTableSays) {
    for (const unsigned rateHz : kRates) {
        for (const ReferenceBand& band : ReferenceBands(rateHz)) {
            for (const unsigned bin :
                 {band.startBin, (band.startBin + band.endBin) / 2, band.endBin - 1}) {
                if (band.weight == 0 || bin < 2 || bin > 510) {
                    continue;
                }
                for (const double amplitude : {1.0, 0.1}) {
                    SCOPED_TRACE(testing::Message() << rateHz << " Hz, bin " << bin);
                    const double expected =
                        kUnitPower * amplitude * amplitude *
                        (BinWeight(bin, rateHz) + 0.25 * BinWeight(bin - 1, rateHz) +
                         0.25 * BinWeight(bin + 1, rateHz));
                    const Excerpt excerpt = SineExcerpt(bin, amplitude);
                    ExpectEnergy(expected, EngineEnergy(rateHz, excerpt));
                    ExpectEnergy(expected, WeightedEnergy(Powers(excerpt), rateHz));
                }
            }
        }
    }
}

// The transform of a run of ones at a distance of u bins.
Complex Dirichlet(double u) {
    const double below = std::sin(std::numbers::pi * u / 1024.0);
    const double modulus = below == 0.0 ? 1024.0 : std::sin(std::numbers::pi * u) / below;
    return std::polar(1.0, -std::numbers::pi * u * 1023.0 / 1024.0) * modulus;
}

Complex WindowTransform(double u) {
    return 16384.0 * (Dirichlet(u) - 0.5 * std::polar(1.0, kHalfSample) * Dirichlet(u - 1.0) -
                      0.5 * std::polar(1.0, -kHalfSample) * Dirichlet(u + 1.0));
}

std::vector<double> SinePowers(double bins, double amplitude, double phase) {
    std::vector<double> powers;
    for (int k = 0; k <= 512; ++k) {
        const Complex upper = std::polar(1.0, phase) * WindowTransform(k - bins);
        const Complex lower = std::polar(1.0, -phase) * WindowTransform(k + bins);
        powers.push_back(amplitude * amplitude / 4.0 * std::norm(upper - lower));
    }
    return powers;
}

TEST(LoudnessFiguresTest, SinesAnywhereCountAsTheTableSays) {
    const double frequenciesHz[] = {30.0,   100.0,  200.0,  440.0,  1000.0,  1080.0, 3150.0,
                                    3333.3, 4400.0, 7700.0, 9500.0, 10000.0, 10990.0};
    for (const unsigned rateHz : kRates) {
        for (const double frequencyHz : frequenciesHz) {
            for (const double phase : {0.0, 1.0, 2.5}) {
                SCOPED_TRACE(testing::Message() << rateHz << " Hz, " << frequencyHz << " Hz");
                const double bins = frequencyHz * 1024.0 / rateHz;
                const double expected = WeightedEnergy(SinePowers(bins, 0.8, phase), rateHz);
                const Excerpt excerpt = SineExcerpt(bins, 0.8, phase);
                ExpectEnergy(expected, EngineEnergy(rateHz, excerpt));
                ExpectEnergy(expected, WeightedEnergy(Powers(excerpt), rateHz));
            }
        }
    }
}

// 2^24 in bin 0, which is counted, and half of that in bin 1.
TEST(LoudnessFiguresTest, AConstantCountsInBandZero) {
    for (const unsigned rateHz : {22050u, 44100u, 48000u}) {
        const double expected = 0x1p48 * 0.25 * (1.0 + 0.25) * BinWeight(0, rateHz);
        ExpectEnergy(expected, EngineEnergy(rateHz, Excerpt(kExcerptFrames, 0.5f)));
    }
}

// The packed spectrum has the term of half the rate beside bin 0, and the first band counts it. The
// bin beside that, 511, is in band 24 at 44100 Hz, where it counts 3e-15, and in none at 96000 Hz.
TEST(LoudnessFiguresTest, HalfTheRateCountsInBandZero) {
    Excerpt alternating(kExcerptFrames);
    for (std::size_t i = 0; i < kExcerptFrames; ++i) {
        alternating[i] = i % 2 == 0 ? 0.5f : -0.5f;
    }
    for (const unsigned rateHz : {44100u, 96000u}) {
        const double expected = 0x1p48 * 0.25 * BinWeight(0, rateHz);
        ExpectEnergy(expected, EngineEnergy(rateHz, alternating));
    }
}

// Bin 470 is the first beyond 22050 Hz at 48000 Hz, and 235 at 96000 Hz; what lies two and more
// bins above counts nothing, whatever its level.
TEST(LoudnessFiguresTest, NothingCountsAboveTheHighestBand) {
    EXPECT_LT(EngineEnergy(48000, SineExcerpt(472, 1.0)), kRoundingEnergy);
    EXPECT_LT(EngineEnergy(96000, SineExcerpt(237, 1.0)), kRoundingEnergy);
    EXPECT_LT(EngineEnergy(22050, SineExcerpt(443, 1.0)), kRoundingEnergy);
    EXPECT_LT(EngineEnergy(32000, SineExcerpt(498, 1.0)), kRoundingEnergy);
}

TEST(LoudnessFiguresTest, HalfTheLevelIsAQuarterOfTheEnergy) {
    std::mt19937 generator(3);
    Excerpt loud(kExcerptFrames), soft(kExcerptFrames);
    for (std::size_t i = 0; i < kExcerptFrames; ++i) {
        loud[i] = static_cast<float>(Uniform(generator));
        soft[i] = 0.5f * loud[i];
    }
    EXPECT_EQ(EngineEnergy(44100, loud), 4.0 * EngineEnergy(44100, soft));
}

// Noise of equal energy in every octave: a line in the middle of each bin, with the amplitude
// 1 / sqrt(k) and a phase of its own. Each bin has its own line and, turned by the window's half
// sample, half of each of the lines beside it.
struct PinkExcerpt {
    explicit PinkExcerpt(std::mt19937& generator) : lines(513), samples(kExcerptFrames) {
        for (std::size_t k = 1; k < 512; ++k) {
            lines[k] = std::polar(kLevel / std::sqrt(static_cast<double>(k)),
                                  std::numbers::pi * Uniform(generator));
        }
        std::vector<Complex> turns;
        for (int i = 0; i < 1024; ++i) {
            turns.push_back(std::polar(1.0, 2.0 * std::numbers::pi * i / 1024.0));
        }
        for (std::size_t i = 0; i < kExcerptFrames; ++i) {
            double sum = 0;
            for (std::size_t k = 1; k < 512; ++k) {
                const Complex& turn = turns[i * k % kExcerptFrames];
                sum += lines[k].real() * turn.real() - lines[k].imag() * turn.imag();
            }
            samples[i] = static_cast<float>(sum);
        }
    }

    std::vector<double> Power() const {
        const Complex turn = std::polar(1.0, kHalfSample);
        std::vector<double> power(513);
        power[0] = kUnitPower * std::pow((std::conj(turn) * lines[1]).real(), 2);
        for (std::size_t k = 1; k < 512; ++k) {
            power[k] = kUnitPower * std::norm(lines[k] - 0.5 * turn * lines[k - 1] -
                                              0.5 * std::conj(turn) * lines[k + 1]);
        }
        power[512] = kUnitPower * std::pow((turn * lines[511]).real(), 2);
        return power;
    }

    static constexpr double kLevel = 0.1;
    std::vector<Complex> lines;
    Excerpt samples;
};

TEST(LoudnessFiguresTest, PinkNoiseCountsAsTheTableSays) {
    std::mt19937 generator(41);
    const PinkExcerpt pink(generator);
    for (const unsigned rateHz : kRates) {
        const double expected = WeightedEnergy(pink.Power(), rateHz);
        ExpectEnergy(expected, EngineEnergy(rateHz, pink.samples));
        ExpectEnergy(expected, WeightedEnergy(Powers(pink.samples), rateHz));
    }
}

// What a channel's average is expected to be: within five standard errors, from the energies
// themselves, of the mean that the powers' means give.
void ExpectMean(const std::vector<Excerpt>& excerpts, std::span<const double> meanPower,
                unsigned rateHz) {
    const NormalizationOwner data = OpenNormalization(rateHz, 1);
    double sum = 0, squares = 0;
    for (const Excerpt& excerpt : excerpts) {
        ASSERT_EQ(0, core::NormalizationProcessFloats(data.get(), excerpt.data(), 1, 0));
        const double energy = EngineEnergy(rateHz, excerpt);
        sum += energy;
        squares += energy * energy;
    }
    core::NormalizationCreateStats(data.get(), 1);
    const auto count = static_cast<double>(excerpts.size());
    const double mean = sum / count;
    const double standardError = std::sqrt((squares / count - mean * mean) / count);
    const double expected = WeightedEnergy(meanPower, rateHz);
    EXPECT_NEAR(expected, mean, 5.0 * standardError);
    EXPECT_LT(standardError, 0.02 * mean);
    // Every excerpt is above the gate. A sum in single precision over some hundreds of terms.
    EXPECT_EQ(excerpts.size(), data->energyCount[0]);
    EXPECT_NEAR(mean / kLoudnessUnit, data->averageLoudness[0], 1.0 + 1e-5 * mean / kLoudnessUnit);
}

// On the average the lines' phases don't matter: a bin has the power of its own line and a quarter
// of each of its neighbours'. Half of that of the lines beside them is at the ends, where line 1
// or 511 meets its mirror image.
TEST(LoudnessFiguresTest, PinkNoiseHasTheMeanThatTheTableGives) {
    std::mt19937 generator(42);
    std::vector<Excerpt> excerpts;
    for (int i = 0; i < 300; ++i) {
        excerpts.push_back(PinkExcerpt(generator).samples);
    }
    const double level = kUnitPower * PinkExcerpt::kLevel * PinkExcerpt::kLevel;
    std::vector<double> mean(513);
    const auto line = [](int k) { return k < 1 || k > 511 ? 0.0 : 1.0 / k; };
    for (int k = 1; k < 512; ++k) {
        mean[static_cast<std::size_t>(k)] =
            level * (line(k) + 0.25 * line(k - 1) + 0.25 * line(k + 1));
    }
    mean[0] = 0.5 * level * line(1);
    mean[512] = 0.5 * level * line(511);
    for (const unsigned rateHz : kRates) {
        SCOPED_TRACE(rateHz);
        ExpectMean(excerpts, mean, rateHz);
    }
}

// Each bin of white noise has its variance times the sum of the squared window, 2^30 * 1024 * 3/8.
TEST(LoudnessFiguresTest, WhiteNoiseHasTheMeanThatTheTableGives) {
    std::mt19937 generator(43);
    std::vector<Excerpt> excerpts(600, Excerpt(kExcerptFrames));
    for (Excerpt& excerpt : excerpts) {
        for (float& sample : excerpt) {
            sample = static_cast<float>(0.5 * Uniform(generator));
        }
    }
    const std::vector<double> mean(513, 0.25 / 3.0 * 0x1p30 * 1024.0 * 3.0 / 8.0);
    for (const unsigned rateHz : kRates) {
        SCOPED_TRACE(rateHz);
        ExpectMean(excerpts, mean, rateHz);
    }
}

} // namespace
} // namespace qel::test
