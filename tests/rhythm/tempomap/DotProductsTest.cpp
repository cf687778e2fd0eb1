#include "rhythm/tempomap/DotProducts.h"

#include "tests/platform/vector/VectorTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace qel::core {
namespace {

using qel::testing::Noise;
using Vector = std::vector<float>;

Vector Products(const Vector& shared, const Vector& rows, std::size_t stride, std::size_t count) {
    Vector out(count + 1, -77.0f);
    DotProducts(shared.data(), shared.size(), rows.data(), stride, count, out.data());
    EXPECT_EQ(-77.0f, out.back());
    out.pop_back();
    return out;
}

TEST(DotProductsTest, EqualThePlainSumsForAnyNumberOfRowsAndTerms) {
    for (const std::size_t length : {0u, 1u, 15u, 16u, 17u, 40u, 512u, 1000u}) {
        const Vector shared = Noise(length, 1);
        for (const std::size_t count : {1u, 3u, 4u, 7u, 36u}) {
            const Vector rows = Noise((count - 1) * length + length, 2);
            const Vector sums = Products(shared, rows, length, count);
            for (std::size_t r = 0; r < count; ++r) {
                double expected = 0.0;
                for (std::size_t n = 0; n < length; ++n) {
                    expected += double{shared[n]} * double{rows[r * length + n]};
                }
                // Sixteen partial sums in single precision of terms below 1.
                EXPECT_NEAR(expected, sums[r], 1e-7 * static_cast<double>(length))
                    << length << " terms, row " << r << " of " << count;
            }
        }
    }
}

TEST(DotProductsTest, ASumDoesNotDependOnTheRowsBesideIt) {
    const Vector shared = Noise(333, 3);
    const Vector samples = Noise(333 + 10 * 41, 4);
    const Vector sums = Products(shared, samples, 41, 11);
    for (std::size_t r = 0; r < sums.size(); ++r) {
        const Vector from(samples.begin() + static_cast<std::ptrdiff_t>(r * 41), samples.end());
        EXPECT_EQ(Products(shared, from, 41, 1)[0], sums[r]) << r;
    }
}

// Whole numbers have exact sums in any order.
TEST(DotProductsTest, RowsMayOverlap) {
    const Vector samples = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ((Vector{14, 20, 26, 32, 38}), Products({1, 2, 3}, samples, 1, 5));
    EXPECT_EQ((Vector{14, 26, 38}), Products({1, 2, 3}, samples, 2, 3));
    EXPECT_EQ((Vector{14, 14}), Products({1, 2, 3}, samples, 0, 2));
}

TEST(DotProductsTest, AnInfiniteFactorSpoilsItsOwnRowAlone) {
    const Vector shared(20, 0.0f);
    for (const std::size_t place : {0u, 19u}) {
        Vector rows(5 * 20, 1.0f);
        rows[2 * 20 + place] = std::numeric_limits<float>::infinity();
        const Vector sums = Products(shared, rows, 20, 5);
        for (std::size_t r = 0; r < 5; ++r) {
            EXPECT_EQ(r == 2, std::isnan(sums[r])) << r;
        }
    }
}

} // namespace
} // namespace qel::core
