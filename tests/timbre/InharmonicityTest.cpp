// Inharmonicity of partials made by hand.

#include "timbre/Inharmonicity.h"

#include "tests/platform/vector/InstructionSets.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

float InharmonicityOf(const std::vector<float>& magnitudes, const std::vector<float>& frequencies,
                      float fundamental) {
    float value = -1.0f;
    ComputeInharmonicity(magnitudes.data(), frequencies.data(),
                         static_cast<unsigned int>(magnitudes.size()), &fundamental, &value);
    return value;
}

TEST(InharmonicityTest, HarmonicsHaveNone) {
    EXPECT_EQ(InharmonicityOf({3, 2, 1}, {110, 220, 550}, 110), 0.0f);
}

TEST(InharmonicityTest, HalfWayBetweenTwoHarmonicsIsTwiceTheMagnitude) {
    EXPECT_EQ(InharmonicityOf({1}, {150}, 100), 2.0f);
    EXPECT_EQ(InharmonicityOf({1}, {50}, 100), 2.0f);
    EXPECT_EQ(InharmonicityOf({1, 3}, {100, 250}, 100), 1.5f);
}

TEST(InharmonicityTest, DistancesCountInBothDirectionsAndByMagnitude) {
    // (1 * 4 * 0.25 + 3 * 4 * 0.125) / 4
    EXPECT_EQ(InharmonicityOf({1, 3}, {225, 287.5f}, 100), 0.625f);
}

TEST(InharmonicityTest, BelowTheFundamentalZeroIsAMultiple) {
    EXPECT_EQ(InharmonicityOf({1}, {25}, 100), 1.0f);
}

TEST(InharmonicityTest, NothingAndSilenceHaveNone) {
    EXPECT_EQ(InharmonicityOf({}, {}, 100), 0.0f);
    EXPECT_EQ(InharmonicityOf({0, 0}, {130, 150}, 100), 0.0f);
}

TEST(InharmonicityTest, TheDistanceIsThatFromTheRoundedMultiple) {
    for (const float x : {0.49999997f, 0.5f, 1.4999999f, 7.75f, -2.25f, 4194304.5f, 8388609.0f}) {
        EXPECT_EQ(InharmonicityOf({1}, {x}, 1), 4.0f * std::abs(x - std::round(x))) << x;
    }
    EXPECT_TRUE(std::isnan(InharmonicityOf({1}, {std::numeric_limits<float>::infinity()}, 1)));
    EXPECT_TRUE(std::isnan(InharmonicityOf({1}, {std::nanf("")}, 1)));
}

// Partial by partial, in the order that the sums are defined in.
TEST(InharmonicityTest, EveryInstructionSetGivesThePlainSums) {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> uniform(0, 1);
    for (std::size_t count = 1; count < 40; ++count) {
        std::vector<float> magnitudes;
        std::vector<float> frequencies;
        float weight = 0.0f;
        float error = 0.0f;
        for (std::size_t i = 0; i < count; ++i) {
            magnitudes.push_back(uniform(random));
            frequencies.push_back(5000.0f * uniform(random));
            const float ratio = frequencies[i] / 110.0f;
            weight += magnitudes[i];
            error += magnitudes[i] * 4.0f * std::abs(ratio - std::round(ratio));
        }
        qel::testing::ForEachInstructionSet([&] {
            EXPECT_EQ(InharmonicityOf(magnitudes, frequencies, 110), error / weight) << count;
        });
    }
}

// The string's partials lie at f0 n sqrt(1 + B n^2), the bar's at the squares of its modes.
TEST(InharmonicityTest, ABarHasMoreThanAStiffString) {
    const std::vector<float> magnitudes{5, 4, 3, 2, 1};
    const float string = InharmonicityOf(magnitudes, {100, 200.3f, 301, 402.4f, 504.7f}, 100);
    const float bar = InharmonicityOf(magnitudes, {100, 275.6f, 540.4f, 893.3f, 1334.4f}, 100);
    EXPECT_GT(string, 0.0f);
    EXPECT_GT(bar, 10 * string);
}

} // namespace
} // namespace qel::core
