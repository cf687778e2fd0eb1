#include "rhythm/beats/LagProducts.h"

#include "tests/platform/vector/InstructionSets.h"
#include "tests/platform/vector/VectorTesting.h"

#include <gtest/gtest.h>

#include <vector>

namespace qel::core {
namespace {

using testing::Noise;
using Vector = std::vector<float>;

// Product by product, in the order that the sums are given in.
Vector PlainSums(const Vector& signal, std::size_t lag, Vector sums) {
    for (std::size_t n = 0; n + lag < signal.size(); ++n) {
        sums[n % lag] += signal[n + lag] * signal[n];
    }
    return sums;
}

Vector Sums(const Vector& signal, std::size_t lag, Vector sums) {
    sums.push_back(-77.0f);
    AddLagProducts(signal.data(), signal.size(), lag, sums.data());
    EXPECT_EQ(-77.0f, sums.back());
    sums.pop_back();
    return sums;
}

TEST(LagProductsTest, AreThoseOfThePlainLoopToTheLastBit) {
    qel::testing::ForEachInstructionSet([] {
        for (const std::size_t length : {1u, 2u, 31u, 40u, 64u, 100u, 333u, 1000u}) {
            const Vector signal = Noise(length, 1);
            for (std::size_t lag = 1; lag <= 110; ++lag) {
                const Vector before = Noise(lag, 2); // of another channel
                ASSERT_EQ(PlainSums(signal, lag, before), Sums(signal, lag, before))
                    << length << " samples, lag " << lag;
            }
        }
    });
}

TEST(LagProductsTest, AreNoneWhereTheLagReachesTheEnd) {
    const Vector signal = Noise(100, 3);
    for (const std::size_t lag : {100u, 101u, 1000u}) {
        EXPECT_EQ(Vector(lag, 1.0f), Sums(signal, lag, Vector(lag, 1.0f)));
    }
}

} // namespace
} // namespace qel::core
