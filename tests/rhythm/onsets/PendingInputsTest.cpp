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

} // namespace
} // namespace qel::core
