#include "rhythm/beats/BandRise.h"

#include "tests/platform/vector/InstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

using Vector = std::vector<float>;

constexpr std::size_t kBands = 40;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Vector LogEnergies(unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-6, 2); // 160 dB, twice the range of levels
    Vector values(kBands);
    std::generate(values.begin(), values.end(), [&] { return uniform(random); });
    return values;
}

TEST(BandRiseTest, IsTheMeanRiseOfLevelsWithinEightyDecibels) {
    std::vector<double> levels(kBands);
    Vector kept(kBands);
    for (unsigned frame = 0; frame < 20; ++frame) {
        const Vector logEnergies = LogEnergies(frame);
        const double floor =
            20.0 * double{*std::max_element(logEnergies.begin(), logEnergies.end())} - 80.0;
        double rise = 0.0;
        for (std::size_t b = 0; b < kBands; ++b) {
            const double level = std::max(20.0 * double{logEnergies[b]}, floor);
            rise += std::max(level - levels[b], 0.0) / kBands;
            levels[b] = level;
        }
        // Levels up to 120 dB in single precision.
        EXPECT_NEAR(rise, BandRise(logEnergies.data(), kept.data(), kBands), 1e-4) << frame;
        for (std::size_t b = 0; b < kBands; ++b) {
            EXPECT_NEAR(levels[b], kept[b], 1e-4) << frame << " band " << b;
        }
    }
}

TEST(BandRiseTest, WhatIsNoNumberLiesAtTheFloor) {
    Vector logEnergies(kBands, 1.0f);
    logEnergies[17] = kNaN;
    Vector levels(kBands, -100.0f);
    // 39 bands rise to 20 dB, one to 80 dB below.
    EXPECT_FLOAT_EQ((39.0f * 120.0f + 40.0f) / 40.0f,
                    BandRise(logEnergies.data(), levels.data(), kBands));
    EXPECT_EQ(-60.0f, levels[17]);
}

TEST(BandRiseTest, AFallCountsAsNothing) {
    const Vector logEnergies(kBands, 1.0f);
    Vector levels(kBands, 21.0f);
    EXPECT_EQ(0.0f, BandRise(logEnergies.data(), levels.data(), kBands));
    EXPECT_EQ(Vector(kBands, 20.0f), levels);
}

TEST(BandRiseTest, TheLowestMeanIsThatOfTheFirstValues) {
    // Whole numbers have exact sums in any order.
    Vector values(kBands + 1, 1000.0f);
    for (std::size_t n = 0; n < kBands; ++n) {
        values[n] = static_cast<float>(n);
    }
    EXPECT_EQ(19.5f, LowestMean(values.data(), kBands));
    EXPECT_EQ(3.5f, LowestMean(values.data(), 8));
}

TEST(BandRiseTest, EveryInstructionSetGivesTheSame) {
    const Vector first = LogEnergies(1);
    const Vector second = LogEnergies(2);
    Vector expected;
    qel::testing::ForEachInstructionSet([&] {
        Vector levels(kBands);
        Vector results = {BandRise(first.data(), levels.data(), kBands),
                          BandRise(second.data(), levels.data(), kBands),
                          LowestMean(first.data(), kBands)};
        results.insert(results.end(), levels.begin(), levels.end());
        if (expected.empty()) {
            expected = results;
        }
        EXPECT_EQ(expected, results);
    });
    EXPECT_EQ(kBands + 3, expected.size());
}

} // namespace
} // namespace qel::core
