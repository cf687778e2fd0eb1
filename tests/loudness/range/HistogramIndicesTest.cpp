#include "loudness/range/HistogramIndices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace qel::core {
namespace {

constexpr UInt32 kTop = 1023;
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Truncated first and clamped then, as the definition has it.
UInt32 CellOf(float distance, UInt32 top) {
    return static_cast<UInt32>(std::clamp<long>(std::lround(std::trunc(distance)), 0, top));
}

std::vector<float> Values() {
    std::mt19937 random(5);
    std::uniform_real_distribution<float> uniform(-1.2f, 1.2f);
    std::vector<float> values(4099); // no multiple of any vector
    for (float& value : values) {
        value = uniform(random);
    }
    for (int i = 0; i < 1024; ++i) { // at the edges, where the rounding shows
        values[static_cast<std::size_t>(i)] = static_cast<float>(i) * (2.0f / 1022.0f) - 1.0f;
    }
    return values;
}

TEST(HistogramIndicesTest, EachFormRoundsInItsOwnWay) {
    const std::vector<float> values = Values();
    const float width = 2.0f / 1022.0f;
    std::vector<UInt32> products(values.size());
    std::vector<UInt32> quotients(values.size());
    IndicesByProduct(values.data(), values.size(), -1.0f, 1.0f / width, kTop, products.data());
    IndicesByQuotient(values.data(), values.size(), -1.0f, width, kTop, quotients.data());
    int different = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const float fromOrigin = values[i] + 1.0f;
        EXPECT_EQ(products[i], CellOf(fromOrigin * (1.0f / width), kTop)) << values[i];
        EXPECT_EQ(quotients[i], CellOf(fromOrigin / width, kTop)) << values[i];
        different += products[i] != quotients[i];
    }
    EXPECT_GT(different, 0) << "the values do not tell the two apart";
}

TEST(HistogramIndicesTest, ValuesBelowTheOriginByLessThanACellShareCellZero) {
    const float values[] = {-0.99f, -1.5f, 0.0f, 0.99f, 1.0f};
    UInt32 indices[5];
    IndicesByProduct(values, 5, 0.0f, 1.0f, 10, indices);
    EXPECT_EQ(std::vector<UInt32>(indices, indices + 5), (std::vector<UInt32>{0, 0, 0, 0, 1}));
}

TEST(HistogramIndicesTest, OddValuesGoToAnEnd) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float huge = std::numeric_limits<float>::max();
    const float values[] = {-kInfinity, kInfinity, nan, -nan, huge, -huge, 3e9f, -3e9f, 5e9f};
    const std::vector<UInt32> expected = {0, kTop, 0, 0, kTop, 0, kTop, 0, kTop};
    std::vector<UInt32> indices(expected.size());
    IndicesByProduct(values, expected.size(), -1.0f, 511.0f, kTop, indices.data());
    EXPECT_EQ(indices, expected);
    IndicesByQuotient(values, expected.size(), -1.0f, 1.0f / 511.0f, kTop, indices.data());
    EXPECT_EQ(indices, expected);
    // One at a time, in whatever code handles the rest of a vector.
    for (std::size_t i = 0; i < expected.size(); ++i) {
        IndicesByQuotient(values + i, 1, -1.0f, 1.0f / 511.0f, kTop, indices.data());
        EXPECT_EQ(indices[0], expected[i]) << values[i];
    }
}

} // namespace
} // namespace qel::core
