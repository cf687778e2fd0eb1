// The 36 band energies of "gamma tome spectrum".

#include "tests/rhythm/tempomap/TempoTesting.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace qel::test {
namespace {

using Rows = std::vector<std::vector<float>>;

Rows EnergiesOf(const Audio& audio, double rateHz = kAccentTestRate, std::size_t channel = 0) {
    TestAnalyzer analyzer({kGammaKey}, {rateHz, static_cast<UInt32>(audio.size()), 4096, 0});
    analyzer.PushInBlocks(audio, 1000);
    return analyzer.Rows(kGammaKey, channel);
}

// A sine in the middle of a spectrum bin, or between bins.
Audio ToneAtBin(double bin, std::size_t frames = 1024) {
    return Sine(kAccentTestRate, bin * kAccentTestRate / kAccentFrameSize, 0.5, frames);
}

std::size_t LargestBand(const std::vector<float>& energies) {
    return static_cast<std::size_t>(std::max_element(energies.begin(), energies.end()) -
                                    energies.begin());
}

// Sums of positive terms from spectra of about 1e-6 relative error: relative 1e-4. A band that is
// weak beside the others sees their rounding too: 1e-6 of the largest amplitude, times its own
// amplitude, hence at most 1e-9 of the largest energy where it matters.
void ExpectEnergies(const std::vector<GammaBands>& expected, const Rows& actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t frame = 0; frame < expected.size(); ++frame) {
        ASSERT_EQ(kNumGammaBands, actual[frame].size());
        const double largest = *std::max_element(expected[frame].begin(), expected[frame].end());
        for (std::size_t band = 0; band < kNumGammaBands; ++band) {
            ASSERT_NEAR(expected[frame][band], actual[frame][band],
                        1e-4 * expected[frame][band] + 1e-9 * largest)
                << "frame " << frame << ", band " << band;
        }
    }
}

class GammaRateTest : public testing::TestWithParam<double> {};

TEST_P(GammaRateTest, EnergiesAgreeWithADoublePrecisionRecomputation) {
    const double rate = GetParam();
    const Audio mono = MusicLike(rate, 1, Seconds(10.0, rate));
    ExpectEnergies(GammaEnergies(mono[0]), EnergiesOf(mono, rate));
    const Audio stereo = MusicLike(rate, 2, Seconds(10.0, rate), 2);
    for (std::size_t c = 0; c < 2; ++c) {
        ExpectEnergies(GammaEnergies(stereo[c]), EnergiesOf(stereo, rate, c));
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, GammaRateTest, testing::Values(22050.0, 44100.0, 48000.0));

TEST(GammaBankFiguresTest, AToneNearTheTopCentreIsLargestInTheTopBandAndSoIsItsMirrorImage) {
    const std::vector<float> tone = EnergiesOf(ToneAtBin(106.0)).at(0);
    const std::vector<float> mirror = EnergiesOf(ToneAtBin(406.0)).at(0);
    EXPECT_EQ(35u, LargestBand(tone));
    EXPECT_EQ(35u, LargestBand(mirror));
    // The centre is at 106.35 and at 405.65, so both stand at the same distance from it.
    EXPECT_NEAR(tone[35], mirror[35], 0.01 * tone[35]);
    // Half the amplitude's half in the middle bin and half of that on either side, all of them
    // under a response of 1.30 that is flat over three bins.
    const double middle = 0.5 * 0.5 * 0.5 * 1.30;
    EXPECT_NEAR(1.5 * middle * middle, tone[35], 0.02 * tone[35]);
}

// From band 16 on the response is wider than a bin.
TEST(GammaBankFiguresTest, AToneAtABandsCentreIsLargestInThatBand) {
    for (std::size_t band = 16; band < kNumGammaBands; ++band) {
        EXPECT_EQ(band, LargestBand(EnergiesOf(ToneAtBin(GammaCentre(band))).at(0)));
    }
}

TEST(GammaBankFiguresTest, ToneAndMirrorImageGiveNearlyTheSameEnergies) {
    for (std::size_t band = 20; band < kNumGammaBands; ++band) {
        const std::vector<float> tone = EnergiesOf(ToneAtBin(GammaCentre(band))).at(0);
        const std::vector<float> mirror = EnergiesOf(ToneAtBin(512.0 - GammaCentre(band))).at(0);
        EXPECT_NEAR(tone[band], mirror[band], 0.01 * tone[band]) << "band " << band;
    }
}

// The bands that no rule gives, bin by bin: a tone in the middle of a low bin.
TEST(GammaBankFiguresTest, LowBinsAgreeWithTheMeasuredResponses) {
    for (std::size_t bin = 0; bin <= 12; ++bin) {
        for (const double at : {static_cast<double>(bin), 511.0 - static_cast<double>(bin)}) {
            Audio tone(1, std::vector<float>(1024));
            for (std::size_t i = 0; i < tone[0].size(); ++i) {
                tone[0][i] = static_cast<float>(
                    std::cos(2.0 * std::numbers::pi * at * static_cast<double>(i) / 1024.0));
            }
            SCOPED_TRACE(at);
            ExpectEnergies(GammaEnergies(tone[0]), EnergiesOf(tone));
        }
    }
}

// The response follows the bins, not the frequencies.
TEST(GammaBankFiguresTest, EverySampleRateGivesTheSameEnergies) {
    const Audio audio = MusicLike(kAccentTestRate, 1, 16384);
    const std::vector<Delivery> expected = Deliver({kGammaKey}, audio);
    EXPECT_EQ(expected, Deliver({kGammaKey}, audio, 8000.0));
    EXPECT_EQ(expected, Deliver({kGammaKey}, audio, 192000.0));
}

// Bin 0 of the packed spectrum holds it as its second number. Were it counted, band 0 would see it
// at 0.3168; what is left comes by bin 511, at 0.0124.
TEST(GammaBankFiguresTest, TheNyquistTermCountsNowhere) {
    Audio audio(1, std::vector<float>(1024));
    for (std::size_t i = 0; i < audio[0].size(); ++i) {
        audio[0][i] = i % 2 == 0 ? 1.0f : -1.0f;
    }
    const double half = 1025.0 / 2048.0 / 2.0;
    const double expected = half * half * 0.0124 * 0.0124;
    EXPECT_NEAR(expected, EnergiesOf(audio).at(0)[0], 0.01 * expected);
}

TEST(GammaBankFiguresTest, TwiceTheAmplitudeIsFourTimesTheEnergy) {
    const Audio audio = MusicLike(kAccentTestRate, 1, 8192);
    Audio twice = audio;
    for (float& sample : twice[0]) {
        sample *= 2.0f;
    }
    Rows expected = EnergiesOf(audio);
    for (std::vector<float>& row : expected) {
        for (float& energy : row) {
            energy *= 4.0f; // exact, and so is the doubling
        }
    }
    EXPECT_EQ(expected, EnergiesOf(twice));
}

TEST(GammaBankFiguresTest, WhatIsNoNumberStaysInItsChannelAndItsFrames) {
    Audio audio = MusicLike(kAccentTestRate, 2, 8192);
    const Rows clean = EnergiesOf(audio);
    const Rows other = EnergiesOf(audio, kAccentTestRate, 1);
    for (const float odd : {std::nanf(""), std::numeric_limits<float>::infinity()}) {
        audio[0][4096] = odd;
        const Rows rows = EnergiesOf(audio);
        ASSERT_EQ(15u, rows.size());
        for (std::size_t frame = 0; frame < rows.size(); ++frame) {
            if (frame == 7 || frame == 8) {
                EXPECT_FALSE(std::isfinite(rows[frame][20])) << frame;
            } else {
                EXPECT_EQ(clean[frame], rows[frame]) << frame;
            }
        }
        EXPECT_EQ(other, EnergiesOf(audio, kAccentTestRate, 1));
    }
}

} // namespace
} // namespace qel::test
