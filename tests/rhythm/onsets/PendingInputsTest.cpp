#include "rhythm/onsets/PendingInputs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace qel::core {
namespace {

// Sample n is n.
void AppendNumbers(PendingInputs& inputs, UInt64 n) {
    std::vector<float> numbers(n);
    std::iota(numbers.begin(), numbers.end(), static_cast<float>(inputs.End()));
    inputs.MakeRoom(n);
    inputs.Append(numbers.data(), n);
}

void ExpectNumbers(const PendingInputs& inputs, UInt64 first, UInt64 n) {
    std::vector<float> read;
    for (UInt64 at = first; at < first + n;) {
        const UInt64 end = at / PendingInputs::kRunSamples * PendingInputs::kRunSamples +
                           PendingInputs::kRunSamples;
        const float* const run = inputs.Run(at);
        read.insert(read.end(), run, run + (std::min(end, first + n) - at));
        at = end;
    }
    std::vector<float> expected(n);
    std::iota(expected.begin(), expected.end(), static_cast<float>(first));
    EXPECT_EQ(expected, read) << first;
}

TEST(PendingInputsTest, SamplesAreThereUntilTheyAreDropped) {
    PendingInputs inputs(10000, 0);
    for (const UInt64 n : {1u, 8191u, 3u, 20000u, 5u, 70000u}) {
        AppendNumbers(inputs, n);
        ExpectNumbers(inputs, inputs.First(), inputs.End() - inputs.First());
        inputs.Drop(inputs.First() + (inputs.End() - inputs.First()) / 3);
        ExpectNumbers(inputs, inputs.First(), inputs.End() - inputs.First());
    }
    ExpectNumbers(inputs, inputs.End() - 1, 1);
    inputs.Drop(inputs.End());
    AppendNumbers(inputs, 100);
    ExpectNumbers(inputs, inputs.First(), 100);
}

// Far more than ever wait, and more than floats count one by one would need.
TEST(PendingInputsTest, PlacesAreUsedAgain) {
    PendingInputs inputs(50000, 0);
    for (int i = 0; i < 300; ++i) {
        AppendNumbers(inputs, 40000);
        ExpectNumbers(inputs, inputs.First(), 40000);
        inputs.Drop(inputs.End());
    }
    EXPECT_EQ(300u * 40000u, inputs.First());
}

// Samples before and after them stay, and so do those that take their places.
TEST(PendingInputsTest, WhatIsFreedMakesRoomForMore) {
    PendingInputs inputs(100000, 0);
    AppendNumbers(inputs, 100000);
    const float* const freed = inputs.Run(40960);
    inputs.Free(20000, 50000);
    inputs.Free(10000, 50000);
    for (int i = 0; i < 6; ++i) {
        AppendNumbers(inputs, 5000);
        ExpectNumbers(inputs, 0, 10000);
        ExpectNumbers(inputs, 50000, inputs.End() - 50000);
    }
    bool isUsedAgain = false;
    for (UInt64 at = 98304; at < inputs.End(); at += 1024) {
        isUsedAgain = isUsedAgain || inputs.Run(at) == freed;
    }
    EXPECT_TRUE(isUsedAgain);
    inputs.Drop(50000);
    ExpectNumbers(inputs, 50000, inputs.End() - 50000);
    AppendNumbers(inputs, 40000);
    ExpectNumbers(inputs, 50000, inputs.End() - 50000);
}

} // namespace
} // namespace qel::core
