// The energies of combs against sums from scratch in double precision.

#include "rhythm/tempomap/CombEnergies.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace qel::core {
namespace {

using Rows = std::vector<std::vector<float>>;

// `count` outputs of `lagCount` combs from -1 to 1.
Rows Noise(std::size_t count, UInt32 lagCount) {
    std::mt19937 generator(5);
    std::uniform_real_distribution<float> value(-1, 1);
    Rows rows(count, std::vector<float>(lagCount));
    for (auto& row : rows) {
        for (float& x : row) {
            x = value(generator);
        }
    }
    return rows;
}

double SumOfLast(const Rows& rows, std::size_t end, std::size_t comb) {
    double sum = 0;
    for (std::size_t t = end - std::min(end, comb); t < end; ++t) {
        sum += static_cast<double>(rows[t][comb]) * rows[t][comb];
    }
    return sum;
}

class CombEnergiesTest : public testing::TestWithParam<UInt32> {};

TEST_P(CombEnergiesTest, SumsAreThoseOfTheLastOutputsAtEverySample) {
    const UInt32 lagCount = GetParam();
    // Three times through the cyclic store, and a part of it.
    const Rows rows = Noise(3 * lagCount + 7, lagCount);
    CombEnergies combs;
    combs.Allocate(lagCount);
    std::vector<float> energies(lagCount);
    // No sum here takes more than 64 additions of numbers that are not negative: 64 * 2^-24.
    constexpr double kTolerance = 4e-6;
    for (std::size_t t = 0; t < rows.size(); ++t) {
        combs.Sum(energies.data());
        for (UInt32 i = 0; i < lagCount; ++i) {
            const double expected = SumOfLast(rows, t, i);
            ASSERT_NEAR(energies[i], expected, kTolerance * expected)
                << "sample " << t << " comb " << i;
        }
        combs.Append(rows[t].data());
    }
}

TEST_P(CombEnergiesTest, NothingIsLeftOfALoudPastOnceItIsOutOfReach) {
    const UInt32 lagCount = GetParam();
    CombEnergies combs;
    combs.Allocate(lagCount);
    const std::vector<float> loud(lagCount, 1e6f);
    const std::vector<float> silent(lagCount);
    for (UInt32 t = 0; t < 5 * lagCount + 3; ++t) {
        combs.Append(loud.data());
    }
    for (UInt32 t = 0; t + 1 < lagCount; ++t) {
        combs.Append(silent.data());
    }
    std::vector<float> energies(lagCount, 1);
    combs.Sum(energies.data());
    EXPECT_EQ(energies, silent);
}

TEST(CombEnergiesLifeTest, AllocatingBeginsAnew) {
    constexpr UInt32 kLags = 32;
    CombEnergies combs;
    combs.Allocate(kLags);
    const std::vector<float> ones(kLags, 1);
    for (int t = 0; t < 50; ++t) {
        combs.Append(ones.data());
    }
    combs.Allocate(kLags);
    std::vector<float> energies(kLags, 1);
    combs.Sum(energies.data());
    EXPECT_EQ(energies, std::vector<float>(kLags));
}

INSTANTIATE_TEST_SUITE_P(LagCounts, CombEnergiesTest, testing::Values(16u, 32u, 128u, 512u));

} // namespace
} // namespace qel::core
