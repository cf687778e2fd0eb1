#include "rhythm/onsets/PendingSums.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace qel::core {
namespace {

// Sample n is n.
void AppendNumbers(PendingSums& sums, UInt64 n) {
    std::vector<float> numbers(n);
    std::iota(numbers.begin(), numbers.end(), static_cast<float>(sums.End()));
    sums.MakeRoom(n);
    sums.Append(numbers.data(), n);
}

void ExpectNumbers(const PendingSums& sums, UInt64 first, UInt64 n) {
    std::vector<float> copied(n, -1.0f);
    sums.Copy(first, n, copied.data());
    std::vector<float> expected(n);
    std::iota(expected.begin(), expected.end(), static_cast<float>(first));
    EXPECT_EQ(expected, copied) << first;
    copied.assign(n, -1.0f);
    const float* const inOnePiece = sums.InOnePiece(first, n, copied.data());
    EXPECT_EQ(expected, std::vector<float>(inOnePiece, inOnePiece + n)) << first;
}

TEST(PendingSumsTest, SamplesAreThereUntilTheyAreDropped) {
    PendingSums sums(10000, 0);
    for (const UInt64 n : {1u, 8191u, 3u, 20000u, 5u, 70000u}) {
        AppendNumbers(sums, n);
        ExpectNumbers(sums, sums.First(), sums.End() - sums.First());
        sums.Drop(sums.First() + (sums.End() - sums.First()) / 3);
        ExpectNumbers(sums, sums.First(), sums.End() - sums.First());
    }
    ExpectNumbers(sums, sums.End() - 1, 1);
    sums.Drop(sums.End());
    AppendNumbers(sums, 100);
    ExpectNumbers(sums, sums.First(), 100);
}

// Far more than ever wait, and more than floats count one by one would need.
TEST(PendingSumsTest, PlacesAreUsedAgain) {
    PendingSums sums(50000, 0);
    for (int i = 0; i < 300; ++i) {
        AppendNumbers(sums, 40000);
        ExpectNumbers(sums, sums.First(), 40000);
        sums.Drop(sums.End());
    }
    EXPECT_EQ(300u * 40000u, sums.First());
}

} // namespace
} // namespace qel::core
