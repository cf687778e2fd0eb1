#include "FilterReference.h"
#include "support/audio/SRCFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

namespace qel::core {
namespace {

using Parameters = KaiserBesselFilterParameters;

constexpr float kUntouched = 99.0f;

struct Ratio {
    UInt32 inputRate;
    UInt32 outputRate;
};
constexpr Ratio kRatios[] = {{1, 1}, {3, 1}, {7, 1},     {40, 1},    {3, 2}, {2, 3},
                             {1, 2}, {1, 5}, {147, 160}, {160, 147}, {45, 2}};

// Pushes `x` through channel 0 in calls of the given sizes. The input of every call has a block of
// its own, so that the address checker sees reads beyond. The outputs of all calls are appended.
std::vector<float> Convert(SRCFilter& filter, const std::vector<float>& x,
                           const std::vector<std::size_t>& calls) {
    std::vector<float> y;
    std::size_t at = 0;
    for (const std::size_t frames : calls) {
        const std::vector<float> block(x.begin() + static_cast<std::ptrdiff_t>(at),
                                       x.begin() + static_cast<std::ptrdiff_t>(at + frames));
        at += frames;
        std::vector<float> out(frames * filter.UpFactor() / filter.DownFactor() + 2, kUntouched);
        const float* const input[] = {block.data()};
        float* const output[] = {out.data()};
        EXPECT_EQ(filter.ComputeDeinterleaved(input, output, static_cast<UInt32>(frames)),
                  SRCFilter::kSRCOK);
        y.insert(y.end(), out.begin(), std::find(out.begin(), out.end(), kUntouched));
    }
    EXPECT_EQ(at, x.size());
    return y;
}

std::vector<std::size_t> RandomCalls(std::size_t frames, std::size_t least, unsigned int seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::size_t> size(least, 3 * least + 20);
    std::vector<std::size_t> calls;
    while (frames > 0) {
        const std::size_t next = size(random);
        calls.push_back(frames < next + least ? frames : next);
        frames -= calls.back();
    }
    return calls;
}

TEST(SRCFilterProcessingTest, AllRatiosGiveThePlainDoublePrecisionConvolution) {
    for (const Ratio& ratio : kRatios) {
        for (const UInt32 type : {0u, 1u}) {
            for (const UInt32 taps : {2u, 5u, 24u, 61u}) {
                const Parameters parameters(0.3, 60.0, taps, type);
                SRCFilter filter(1, ratio.inputRate, ratio.outputRate, parameters);
                const auto x = FilterTestNoise(700, taps);
                const auto y = Convert(filter, x, {x.size()});
                const FilterReference reference(filter.UpFactor(), filter.DownFactor(), parameters);
                const auto expected = reference.Run(x);
                // A first output that begins after the history's end is another matter, below.
                ASSERT_EQ(y.size(), expected.size()) << ratio.inputRate << ":" << ratio.outputRate;
                for (std::size_t n = 0; n < y.size(); ++n) {
                    // Up to 61 products of up to 1, summed in single precision; the gain of the
                    // prototype is L times that of a branch.
                    ASSERT_NEAR(static_cast<double>(y[n]), expected[n],
                                61.0 * 6e-8 * std::max(1u, filter.UpFactor() / 2))
                        << ratio.inputRate << ":" << ratio.outputRate << ", type " << type << ", "
                        << taps << " taps, output " << n;
                }
            }
        }
    }
}

TEST(SRCFilterProcessingTest, CuttingAStreamIntoCallsChangesNothing) {
    for (const Ratio& ratio : kRatios) {
        for (const UInt32 taps : {2u, 5u, 24u, 61u}) {
            const UInt32 step = ratio.inputRate / ratio.outputRate + 1;
            if (ratio.outputRate > 1 && step >= taps - 1) {
                continue; // see FirstOutputAtTheEndOfTheHistoryLacksItsLastInput
            }
            const Parameters parameters(0.3, 60.0, taps, 0u);
            SRCFilter whole(1, ratio.inputRate, ratio.outputRate, parameters);
            SRCFilter cut(1, ratio.inputRate, ratio.outputRate, parameters);
            const auto x = FilterTestNoise(3000, taps);
            EXPECT_EQ(Convert(cut, x, RandomCalls(x.size(), taps - 1, taps)),
                      Convert(whole, x, {x.size()}))
                << ratio.inputRate << ":" << ratio.outputRate << ", " << taps << " taps";
        }
    }
}

TEST(SRCFilterProcessingTest, DecimationBySeveralBranchLengthsGoesOnFromCallToCall) {
    const Parameters parameters(0.3, 60.0, 5u, 0u);
    SRCFilter whole(1, 40, 1, parameters);
    SRCFilter cut(1, 40, 1, parameters);
    const auto x = FilterTestNoise(1000, 3);
    const std::vector<std::size_t> calls(250, 4); // most of them without an output
    const auto y = Convert(cut, x, calls);
    EXPECT_EQ(y, Convert(whole, x, {x.size()}));
    EXPECT_EQ(y.size(), 25u);
}

TEST(SRCFilterProcessingTest, FirstOutputAtTheEndOfTheHistoryLacksItsLastInput) {
    // Five taps, steps of 4 and a half. The first call ends with the output of frame 4.5, and the
    // next one, of frame 9, begins at the end of the second call's history. It is computed there at
    // once, with 0 for frame 9. The third call begins within its history again.
    const Parameters parameters(0.3, 60.0, 5u, 0u);
    SRCFilter filter(1, 9, 2, parameters);
    const FilterReference reference(2, 9, parameters);
    const auto x = FilterTestNoise(20, 5);
    const auto y = Convert(filter, x, {5, 5, 10});
    auto expected = reference.Run(x);
    expected[2] -= static_cast<double>(x[9]) * reference.Branch(0, 4);
    ASSERT_EQ(y.size(), expected.size());
    for (std::size_t n = 0; n < y.size(); ++n) {
        EXPECT_NEAR(static_cast<double>(y[n]), expected[n], 1e-6) << n; // five products
    }
}

} // namespace
} // namespace qel::core
