// "mel frequency cepstral coefficients" and "mel spectrum" against a re-computation in double
// precision and against closed forms.

#include "tests/timbre/TimbreTesting.h"

#include <numbers>
#include <numeric>

namespace qel::test {
namespace {

constexpr std::size_t kSeconds = 2;

double Length(const std::vector<float>& vector) {
    return std::sqrt(
        std::transform_reduce(vector.begin(), vector.end(), 0.0, std::plus<>(), [](float value) {
            return static_cast<double>(value) * static_cast<double>(value);
        }));
}

// The greatest distance of two elements.
double Distance(const std::vector<float>& a, const std::vector<float>& b) {
    double greatest = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        greatest = std::max(greatest, static_cast<double>(std::abs(a[i] - b.at(i))));
    }
    return greatest;
}

std::vector<Bounded> MagnitudesOf(const std::vector<float>& samples, std::size_t frame) {
    return SpectrumOf(FrameAt(samples, frame * kMFCC.hopSamples, kMFCC.frameSamples),
                      ReferenceHannWindow(kMFCC.frameSamples))
        .Magnitudes();
}

// The entry of the table of cosines, read as rows of bands.
double TableEntry(std::size_t index) {
    const auto band = static_cast<double>(index / 13);
    const auto coefficient = static_cast<double>(index % 13);
    const double cosine = std::cos(std::numbers::pi / 40.0 * coefficient * (band + 0.5));
    return cosine / std::sqrt(20.0) * (coefficient == 0.0 ? std::sqrt(0.5) : 1.0);
}

// What equal logarithms of 1 in all bands give, before the length becomes 1.
std::vector<double> RowSums() {
    std::vector<double> sums(13);
    for (std::size_t m = 0; m < 13; ++m) {
        for (std::size_t p = 0; p <= 12; ++p) {
            sums[m] += TableEntry(40 * m + p);
        }
    }
    return sums;
}

std::vector<double> Normalized(std::vector<double> vector) {
    const double length =
        std::sqrt(std::inner_product(vector.begin(), vector.end(), vector.begin(), 0.0));
    for (double& value : vector) {
        value /= length;
    }
    return vector;
}

class MFCCRateTest : public testing::TestWithParam<RateAndBlock> {
protected:
    Audio Sound(UInt32 channels) const {
        return MusicLike(GetParam().rateHz, channels,
                         kSeconds * static_cast<std::size_t>(GetParam().rateHz) + 77, 3);
    }
};

TEST_P(MFCCRateTest, MelSpectrumIsThePlainMagnitudeSpectrum) {
    const Audio audio = Sound(2);
    for (const std::size_t channel : {0u, 1u}) {
        const auto rows = RowsOf(kMelSpectrum, audio, GetParam(), channel);
        ASSERT_GE(rows.size(), 20u);
        for (std::size_t frame = 0; frame < rows.size(); ++frame) {
            SCOPED_TRACE("frame " + std::to_string(frame));
            ASSERT_NO_FATAL_FAILURE(ExpectWithin(MagnitudesOf(audio[channel], frame), rows[frame]));
        }
    }
}

TEST_P(MFCCRateTest, CoefficientsAgreeWithADoublePrecisionRecomputation) {
    const ReferenceMFCC reference(GetParam().rateHz, kMFCC.frameSamples);
    BoundCount tight;
    for (const UInt32 channels : {1u, 2u}) {
        const Audio audio = Sound(channels);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const auto rows = RowsOf(kMFCC, audio, GetParam(), channel);
            for (std::size_t frame = 0; frame < rows.size(); ++frame) {
                SCOPED_TRACE("frame " + std::to_string(frame));
                const std::vector<Bounded> expected = ReferenceMFCC::Coefficients(
                    reference.LogEnergies(MagnitudesOf(audio[channel], frame)));
                ASSERT_NO_FATAL_FAILURE(ExpectWithin(expected, rows[frame]));
                for (const Bounded& value : expected) {
                    tight.Add(value, 1e-3);
                }
            }
        }
    }
    EXPECT_GE(tight.Share(), 0.9); // that the comparison means something
}

TEST_P(MFCCRateTest, EveryVectorHasLengthOne) {
    for (const auto& row : RowsOf(kMFCC, Sound(1), GetParam())) {
        EXPECT_NEAR(1.0, Length(row), 1e-6); // some roundings to 24 bits
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, MFCCRateTest, testing::ValuesIn(kRatesAndBlocks));

// At 1600 Hz the last three triangles begin at half the rate or above it, at 150 Hz all do, and at
// 2000 Hz none. Their outputs stand at the floor, whose logarithm is -10.
TEST(MFCCFiguresTest, FiltersAboveHalfTheRateStandAtTheFloor) {
    for (const double rateHz : {1600.0, 150.0, 2000.0}) {
        SCOPED_TRACE(rateHz);
        const Audio audio = Noise(0.5f, 1, kMFCC.SamplesFor(3), 4);
        const ReferenceMFCC reference(rateHz, kMFCC.frameSamples);
        const auto rows = RowsOf(kMFCC, audio, {rateHz, 4096});
        for (std::size_t frame = 0; frame < rows.size(); ++frame) {
            const std::vector<Bounded> logs = reference.LogEnergies(MagnitudesOf(audio[0], frame));
            EXPECT_EQ(rateHz < 2000.0, std::abs(logs[12].value + 10.0) < 1e-12);
            EXPECT_EQ(rateHz < 1000.0, std::abs(logs[0].value + 10.0) < 1e-12);
            ExpectWithin(ReferenceMFCC::Coefficients(logs), rows[frame]);
        }
    }
}

// Thirteen logarithms of -10, times the sums of the rows, at length 1: neither zero nor NaN.
TEST(MFCCFiguresTest, SilenceGivesOneFixedUnitVector) {
    const std::vector<double> unit = Normalized(RowSums());
    for (const double rateHz : {8000.0, 44100.0, 96000.0}) {
        const auto rows = RowsOf(kMFCC, Silence(1, kMFCC.SamplesFor(3)), {rateHz, 1000});
        ASSERT_EQ(3u, rows.size());
        for (const std::vector<float>& row : rows) {
            for (std::size_t m = 0; m < 13; ++m) {
                EXPECT_NEAR(-unit[m], row[m], 3e-6) << m; // 13 terms that cancel in part
            }
            EXPECT_NEAR(1.0, Length(row), 1e-6);
        }
    }
}

// The coefficients are no cosine transform of the logarithms: the table is read in rows of 40. A
// row of 13 cosines, as it was written, gives another vector, from sound and from silence.
TEST(MFCCFiguresTest, TheTableIsReadAcrossItsLayout) {
    const Audio audio = MusicLike(44100.0, 1, kMFCC.SamplesFor(4));
    const ReferenceMFCC reference(44100.0, kMFCC.frameSamples);
    const auto rows = RowsOf(kMFCC, audio);
    for (std::size_t frame = 0; frame < rows.size(); ++frame) {
        const auto logs = reference.LogEnergies(MagnitudesOf(audio[0], frame));
        std::vector<double> across(13);
        std::vector<double> along(13);
        for (std::size_t m = 0; m < 13; ++m) {
            for (std::size_t p = 0; p <= 12; ++p) {
                across[m] += TableEntry(40 * m + p) * logs[p].value;
                along[m] += TableEntry(13 * p + m) * logs[p].value;
            }
        }
        across = Normalized(across);
        along = Normalized(along);
        double distance = 0.0;
        for (std::size_t m = 0; m < 13; ++m) {
            EXPECT_NEAR(across[m], rows[frame][m], 1e-3) << "frame " << frame << ", " << m;
            distance = std::max(distance, std::abs(along[m] - static_cast<double>(rows[frame][m])));
        }
        EXPECT_GT(distance, 0.1) << "frame " << frame;
    }
}

// A factor shifts all logarithms, which turns the vector, and leaves its length at 1.
TEST(MFCCFiguresTest, AFactorTurnsTheVectorAndLeavesItsLength) {
    const Audio audio = MusicLike(44100.0, 1, kMFCC.SamplesFor(4), 5);
    const auto plain = RowsOf(kMFCC, audio);
    const ReferenceMFCC reference(44100.0, kMFCC.frameSamples);
    for (const float factor : {0.125f, 16.0f}) {
        Audio scaled = audio;
        for (float& sample : scaled[0]) {
            sample *= factor; // without rounding
        }
        const auto rows = RowsOf(kMFCC, scaled);
        for (std::size_t frame = 0; frame < rows.size(); ++frame) {
            auto logs = reference.LogEnergies(MagnitudesOf(audio[0], frame));
            for (Bounded& log : logs) {
                log.value += std::log10(static_cast<double>(factor));
            }
            ExpectWithin(ReferenceMFCC::Coefficients(logs), rows[frame]);
            EXPECT_NEAR(1.0, Length(rows[frame]), 1e-6);
            EXPECT_GT(Distance(plain[frame], rows[frame]), 0.01);
        }
    }
}

// A constant c has, under a Hann window whose values sum up to S, 2 c S at 0 Hz. Half the rate adds
// next to nothing there. S is (N + 1) / 2, the cosines of all N + 1 steps summing up to 0.
TEST(MFCCFiguresTest, AConstantIsInBinZeroAtTwiceTheTransform) {
    const auto rows = RowsOf(kMelSpectrum, Constant(0.25f, 1, 4096));
    ASSERT_EQ(1u, rows.size());
    EXPECT_NEAR(2.0 * 0.25 * 4097.0 / 2.0, rows[0][0], 0.01); // 1e-5 of it
}

// Bin 0 holds 0 Hz and half the rate as two sides of a right angle.
TEST(MFCCFiguresTest, BinZeroJoinsBothEndsOfTheSpectrum) {
    Audio audio = Constant(0.25f, 1, 4096);
    for (std::size_t i = 0; i < 4096; ++i) {
        audio[0][i] += i % 2 == 0 ? 0.125f : -0.125f;
    }
    const auto rows = RowsOf(kMelSpectrum, audio);
    ASSERT_EQ(1u, rows.size());
    EXPECT_NEAR(4097.0 * std::hypot(0.25, 0.125), rows[0][0], 0.01);
}

// Of both keys, the coefficients of a frame come first, whatever the order of the request.
TEST(MFCCFiguresTest, OnlyTheKeysAskedForAreDelivered) {
    const Audio audio = MusicLike(44100.0, 2, kMFCC.SamplesFor(3));
    const std::vector<Delivery> both = RunKeys({kMelSpectrum.key, kMFCC.key}, audio);
    ASSERT_EQ(6u, both.size());
    std::vector<Delivery> coefficients;
    std::vector<Delivery> spectra;
    for (std::size_t n = 0; n < both.size(); ++n) {
        (n % 2 == 0 ? coefficients : spectra).push_back(both[n]);
    }
    EXPECT_EQ(coefficients, RunKeys({kMFCC.key}, audio));
    EXPECT_EQ(spectra, RunKeys({kMelSpectrum.key}, audio));
    EXPECT_EQ(kMFCC.key, coefficients[0].key);
    EXPECT_EQ(kMelSpectrum.key, spectra[0].key);
}

} // namespace
} // namespace qel::test
