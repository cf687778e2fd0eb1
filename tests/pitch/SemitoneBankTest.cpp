#include "pitch/SemitoneBank.h"

#include "pitch/SemitoneScale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr double kRates[] = {8000, 11025, 22050, 44100, 48000, 96000, 192000};

// The bins 1 to frame / 2 - 1 of a transform.
Vector BinsHz(double rateHz, std::size_t frame = 8192) {
    Vector bins(frame / 2 - 1);
    for (std::size_t i = 0; i < bins.size(); ++i) {
        bins[i] =
            static_cast<float>(i + 1) * static_cast<float>(rateHz) / static_cast<float>(frame);
    }
    return bins;
}

SemitoneBank BankOf(const Vector& binsHz) {
    SemitoneBank bank;
    bank.Design(binsHz.data(), static_cast<UInt32>(binsHz.size()));
    return bank;
}

Vector Apply(const SemitoneBank& bank, const Vector& magnitudes) {
    Vector out(bank.NumSemitones(), -77);
    bank.Apply(magnitudes.data(), out.data());
    return out;
}

// Each bin against each semitone, both edges strict: the definition, without any search.
Vector DenseWeights(const SemitoneBank& bank, const Vector& binsHz) {
    Vector dense(binsHz.size() * bank.NumSemitones());
    for (UInt32 j = 0; j < bank.NumSemitones(); ++j) {
        const float center = ChromaToFreq(bank.Semitone(j));
        const float toLower = center - ChromaToFreq(bank.Semitone(j) - 1);
        const float toUpper = center - ChromaToFreq(bank.Semitone(j) + 1);
        const double lower = double{center} - 0.5 * double{toLower};
        const double upper = double{center} - 0.5 * double{toUpper};
        for (std::size_t i = 0; i < binsHz.size(); ++i) {
            const double hz = binsHz[i];
            dense[j * binsHz.size() + i] = hz > lower && hz < upper ? 1.0f : 0.0f;
        }
    }
    return dense;
}

TEST(SemitoneBankTest, CoversTheSemitonesOfTheFirstToTheLastBin) {
    // 5.38 Hz is 67.2 semitones below 261.6256 Hz, 22044.6 Hz is 76.76 above.
    const SemitoneBank bank = BankOf(BinsHz(44100));
    EXPECT_EQ(bank.NumBins(), 4095u);
    EXPECT_EQ(bank.NumSemitones(), 145u);
    EXPECT_EQ(bank.Semitone(0), -67);
    EXPECT_EQ(bank.Semitone(144), 77);
}

TEST(SemitoneBankTest, WeightsAreThoseOfEachBinAgainstEachSemitone) {
    for (const double rate : kRates) {
        SCOPED_TRACE(rate);
        const Vector bins = BinsHz(rate);
        const SemitoneBank bank = BankOf(bins);
        Vector dense(bins.size() * bank.NumSemitones(), -77);
        bank.FillDense(dense.data());
        EXPECT_TRUE(dense == DenseWeights(bank, bins));
    }
}

TEST(SemitoneBankTest, EveryBinFallsIntoOneCell) {
    for (const double rate : kRates) {
        SCOPED_TRACE(rate);
        const Vector bins = BinsHz(rate);
        // Counting the bins: all are found, and none twice.
        const Vector counts = Apply(BankOf(bins), Vector(bins.size(), 1));
        double sum = 0;
        for (const float count : counts) {
            sum += count;
        }
        EXPECT_EQ(sum, static_cast<double>(bins.size()));
        EXPECT_GT(counts.front(), 0);
        EXPECT_GT(counts.back(), 0);
    }
}

TEST(SemitoneBankTest, SemitonesNarrowerThanABinAreEmpty) {
    const Vector counts = Apply(BankOf(BinsHz(44100)), Vector(4095, 1));
    // Bin 1 is at 5.38 Hz, bin 2 an octave above: eleven semitones between them have none.
    for (std::size_t j = 1; j < 12; ++j) {
        EXPECT_EQ(counts[j], 0) << j;
    }
    EXPECT_EQ(counts[12], 1);
    // At A = 440 Hz and above, a semitone of 26 Hz has four or five bins.
    EXPECT_NEAR(counts[67 + 9], 26.15 / 5.383, 1);
}

TEST(SemitoneBankTest, ABinOnAnEdgeBelongsToNoCell) {
    const float c = ChromaToFreq(0);
    const float cSharp = ChromaToFreq(1);
    const float edge = 0.5f * (c + cSharp);
    // The edge must be a single-precision number for a bin to lie on it.
    ASSERT_EQ(double{edge}, double{c} - 0.5 * double{c - cSharp});
    const SemitoneBank bank = BankOf({c, edge, cSharp});
    EXPECT_EQ(Apply(bank, {1, 10, 100}), (Vector{1, 100}));
    const SemitoneBank beside =
        BankOf({c, std::nextafter(edge, 0.0f), edge, std::nextafter(edge, kInfinity)});
    EXPECT_EQ(Apply(beside, {1000, 1, 10, 100}), (Vector{1001, 100}));
}

TEST(SemitoneBankTest, SumsEqualTheProductWithTheDenseMatrix) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> level(0, 1);
    for (const double rate : kRates) {
        SCOPED_TRACE(rate);
        const Vector bins = BinsHz(rate);
        const SemitoneBank bank = BankOf(bins);
        Vector magnitudes(bins.size());
        std::ranges::generate(magnitudes, [&] { return level(random); });
        const Vector dense = DenseWeights(bank, bins);
        Vector expected(bank.NumSemitones());
        for (std::size_t j = 0; j < expected.size(); ++j) {
            expected[j] = std::inner_product(magnitudes.begin(), magnitudes.end(),
                                             dense.data() + j * bins.size(), 0.0f);
        }
        const Vector sums = Apply(bank, magnitudes);
        for (std::size_t j = 0; j < sums.size(); ++j) {
            // Some hundred terms in another order: each addition rounds by 2^-24 at most.
            EXPECT_NEAR(sums[j], expected[j], 256 * std::exp2(-24.0) * (1 + expected[j])) << j;
        }
    }
}

TEST(SemitoneBankTest, AnInfiniteMagnitudeSpoilsAllCellsButItsOwn) {
    const SemitoneBank bank = BankOf({ChromaToFreq(0), ChromaToFreq(1), ChromaToFreq(2)});
    const Vector sums = Apply(bank, {1, kInfinity, 3});
    EXPECT_TRUE(std::isnan(sums[0]));
    EXPECT_EQ(sums[1], kInfinity);
    EXPECT_TRUE(std::isnan(sums[2]));
    for (const float sum : Apply(bank, {kNaN, 2, 3})) {
        EXPECT_TRUE(std::isnan(sum));
    }
}

// The weight of 0 that it has in every cell leaves none a number.
TEST(SemitoneBankTest, AnInfiniteMagnitudeOnAnEdgeSpoilsAllCells) {
    const float c = ChromaToFreq(0);
    const float cSharp = ChromaToFreq(1);
    const float edge = 0.5f * (c + cSharp);
    ASSERT_EQ(double{edge}, double{c} - 0.5 * double{c - cSharp});
    const SemitoneBank bank = BankOf({c, edge, cSharp});
    for (const float bad : {kInfinity, kNaN}) {
        const Vector sums = Apply(bank, {1, bad, 3});
        ASSERT_EQ(sums.size(), 2u);
        EXPECT_TRUE(std::isnan(sums[0]));
        EXPECT_TRUE(std::isnan(sums[1]));
    }
    // After the bins of all cells as well.
    const SemitoneBank last = BankOf({c, edge});
    for (const float sum : Apply(last, {1, kInfinity})) {
        EXPECT_TRUE(std::isnan(sum));
    }
}

TEST(SemitoneBankTest, ASumBeyondSinglePrecisionSpoilsNothingElse) {
    constexpr float kHuge = 3e38f;
    const float c = ChromaToFreq(0);
    const SemitoneBank bank = BankOf({c, c * 1.001f, ChromaToFreq(1)});
    EXPECT_EQ(Apply(bank, {kHuge, kHuge, 5}), (Vector{kInfinity, 5}));
}

TEST(SemitoneBankTest, WithoutSemitonesThereAreNoCells) {
    EXPECT_EQ(BankOf({}).NumSemitones(), 0u);
    for (const double rate : {0.0, -44100.0, double{kNaN}, double{kInfinity}}) {
        const SemitoneBank bank = BankOf(BinsHz(rate));
        EXPECT_EQ(bank.NumSemitones(), 0u) << rate;
        EXPECT_TRUE(Apply(bank, Vector(4095, 1)).empty());
    }
}

} // namespace
} // namespace qel::core
