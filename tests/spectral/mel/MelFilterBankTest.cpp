#include "spectral/mel/MelFilterBank.h"

#include "tests/platform/vector/InstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

MelFilterBank BankOf(const std::vector<Vector>& filters) {
    MelFilterBank bank;
    bank.Clear(static_cast<UInt32>(filters.at(0).size()));
    for (const Vector& filter : filters) {
        bank.Append(filter.data());
    }
    return bank;
}

Vector Apply(const MelFilterBank& bank, const Vector& magnitudes) {
    Vector out(bank.NumFilters(), -77);
    bank.Apply(magnitudes.data(), out.data());
    return out;
}

const std::vector<Vector> kFilters{
    {0, 1, 2, 1, 0, 0}, {0, 0, 0, 3, 0, 4}, {0, 0, 0, 0, 0, 0}, {5, 0, 0, 0, 0, 0}};

TEST(MelFilterBankTest, OutputsAreSumsOverAllBins) {
    EXPECT_EQ(Apply(BankOf(kFilters), {1, 10, 100, 1000, 1e4f, 1e5f}),
              (Vector{1210, 403000, 0, 5}));
}

TEST(MelFilterBankTest, DenseMatrixHasFiltersSideBySide) {
    const MelFilterBank bank = BankOf(kFilters);
    ASSERT_EQ(bank.NumFilters(), 4u);
    ASSERT_EQ(bank.NumBins(), 6u);
    Vector dense(24, -77);
    bank.FillDense(dense.data());
    for (std::size_t j = 0; j < 6; ++j) {
        for (std::size_t b = 0; b < 4; ++b) {
            EXPECT_EQ(dense[4 * j + b], kFilters[b][j]) << j << ", " << b;
        }
    }
}

TEST(MelFilterBankTest, ClearTakesTheFiltersAway) {
    MelFilterBank bank = BankOf(kFilters);
    bank.Clear(2);
    EXPECT_EQ(bank.NumFilters(), 0u);
    const Vector filter{1, 2};
    bank.Append(filter.data());
    EXPECT_EQ(Apply(bank, {3, 4}), Vector{11});
}

TEST(MelFilterBankTest, MatchesTheDenseProduct) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> uniform(0, 1);
    constexpr std::size_t kBins = 300;
    for (std::size_t length = 1; length <= 40; ++length) {
        std::vector<Vector> filters;
        for (std::size_t first = 0; first + length <= kBins; first += 37) {
            Vector filter(kBins, 0.0f);
            for (std::size_t j = first; j < first + length; ++j) {
                filter[j] = 0.1f + uniform(random);
            }
            filters.push_back(filter);
        }
        Vector magnitudes(kBins);
        for (float& magnitude : magnitudes) {
            magnitude = uniform(random);
        }
        const MelFilterBank bank = BankOf(filters);
        const std::size_t rows = filters.size();
        Vector dense(kBins * rows); // a column for each bin
        bank.FillDense(dense.data());
        std::vector<double> expected(rows, 0.0);
        for (std::size_t j = 0; j < dense.size(); ++j) {
            expected[j % rows] += double{dense[j]} * double{magnitudes[j / rows]};
        }
        const Vector actual = Apply(bank, magnitudes);
        for (std::size_t b = 0; b < filters.size(); ++b) {
            // Sums of up to 40 terms of one sign: 40 roundings of 2^-24 are 2.4e-6.
            EXPECT_NEAR(double{actual[b]}, expected[b], 1e-5 * expected[b]) << length;
        }
    }
}

// Seven filters, so that groups of them leave a rest, of lengths around those of vectors; the last
// one ends with the spectrum.
TEST(MelFilterBankTest, EveryInstructionSetGivesTheSameSums) {
    std::mt19937 random(2);
    std::uniform_real_distribution<float> uniform(0, 1);
    constexpr std::size_t kBins = 60;
    std::vector<Vector> filters;
    for (const auto& [first, end] : std::vector<std::pair<std::size_t, std::size_t>>{
             {0, 1}, {1, 8}, {4, 12}, {9, 18}, {20, 36}, {30, 55}, {45, 60}}) {
        Vector filter(kBins, 0.0f);
        for (std::size_t j = first; j < end; ++j) {
            filter[j] = 0.1f + uniform(random);
        }
        filters.push_back(filter);
    }
    const MelFilterBank bank = BankOf(filters);
    Vector magnitudes(kBins);
    for (float& magnitude : magnitudes) {
        magnitude = uniform(random);
    }
    Vector expected;
    qel::testing::ForEachInstructionSet([&] {
        const Vector sums = Apply(bank, magnitudes);
        if (expected.empty()) {
            expected = sums;
        }
        EXPECT_EQ(sums, expected);
    });
    EXPECT_EQ(expected.size(), filters.size());
}

TEST(MelFilterBankTest, ValuesThatAreNotFiniteActAsInTheDenseProduct) {
    const MelFilterBank bank = BankOf(kFilters);
    for (const float broken : {kNaN, kInfinity}) {
        for (std::size_t at = 0; at < 6; ++at) {
            Vector magnitudes{1, 1, 1, 1, 1, 1};
            magnitudes[at] = broken;
            const Vector out = Apply(bank, magnitudes);
            for (std::size_t b = 0; b < kFilters.size(); ++b) {
                float expected = 0;
                for (std::size_t j = 0; j < 6; ++j) {
                    expected += kFilters[b][j] * magnitudes[j];
                }
                if (std::isnan(expected)) {
                    EXPECT_TRUE(std::isnan(out[b])) << at << ", " << b;
                } else {
                    EXPECT_EQ(out[b], expected) << at << ", " << b;
                }
            }
        }
    }
}

TEST(MelFilterBankTest, SumBeyondTheRangeOfFloatsHarmsNoFilter) {
    // The sum over all bins overflows, the filters' sums do not.
    EXPECT_EQ(Apply(BankOf(kFilters), {1, 1, 1, 1, 3e38f, 3e37f}), (Vector{4, 1.2e38f, 0, 5}));
}

// Runs at both ends of the spectrum and in the middle of it, and bins that no filter looks at.
TEST(MelFilterBankTest, FaultsAtAnyBinOfALongSpectrumActAsInTheDenseProduct) {
    constexpr std::size_t kBins = 53;
    std::vector<Vector> filters;
    for (const auto& [first, end] : std::vector<std::pair<std::size_t, std::size_t>>{
             {0, 3}, {5, 14}, {9, 25}, {30, 31}, {40, 49}, {47, 53}}) {
        Vector filter(kBins, 0.0f);
        std::fill(filter.begin() + static_cast<std::ptrdiff_t>(first),
                  filter.begin() + static_cast<std::ptrdiff_t>(end), 2.0f);
        filters.push_back(filter);
    }
    const MelFilterBank bank = BankOf(filters);
    for (const float fault : {1.0f, kNaN, kInfinity, -kInfinity}) {
        for (std::size_t at = 0; at < kBins; ++at) {
            Vector magnitudes(kBins, 1.0f);
            magnitudes[at] = fault;
            const Vector out = Apply(bank, magnitudes);
            for (std::size_t b = 0; b < filters.size(); ++b) {
                float expected = 0.0f;
                for (std::size_t j = 0; j < kBins; ++j) {
                    expected += filters[b][j] * magnitudes[j];
                }
                if (std::isnan(expected)) {
                    EXPECT_TRUE(std::isnan(out[b])) << at << ", " << b;
                } else {
                    EXPECT_EQ(out[b], expected) << at << ", " << b;
                }
            }
        }
    }
}

} // namespace
} // namespace qel::core
