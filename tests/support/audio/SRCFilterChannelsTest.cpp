#include "FilterReference.h"
#include "support/audio/SRCFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace qel::core {
namespace {

using Parameters = KaiserBesselFilterParameters;

constexpr float kUntouched = 99.0f;

// Runs all channels on one input each; channels without an entry in `inputs` get null pointers.
std::vector<std::vector<float>>
Process(SRCFilter& filter, const std::vector<std::vector<float>>& inputs, UInt32 frames) {
    std::vector<std::vector<float>> outputs(
        filter.ChannelCount(),
        std::vector<float>(frames * std::size_t{filter.UpFactor()} / filter.DownFactor() + 2,
                           kUntouched));
    std::vector<const float*> in(filter.ChannelCount(), nullptr);
    std::vector<float*> out(filter.ChannelCount(), nullptr);
    for (std::size_t c = 0; c < inputs.size(); ++c) {
        in[c] = inputs[c].empty() ? nullptr : inputs[c].data();
        out[c] = inputs[c].empty() ? nullptr : outputs[c].data();
    }
    EXPECT_EQ(filter.ComputeDeinterleaved(in.data(), out.data(), frames), SRCFilter::kSRCOK);
    return outputs;
}

TEST(SRCFilterChannelsTest, ChannelsAreIndependentInAllWays) {
    for (const auto& [inputRate, outputRate] : {std::pair{1u, 1u}, {3u, 2u}, {4u, 1u}}) {
        const Parameters one(0.3, 60.0, 9u, 0u);
        const Parameters other(0.2, 40.0, 9u, 1u);
        SRCFilter both(1, inputRate, outputRate, one);
        ASSERT_EQ(both.AddChannel(other), SRCFilter::kSRCOK);
        SRCFilter first(1, inputRate, outputRate, one);
        SRCFilter second(1, inputRate, outputRate, other);
        const auto x = FilterTestNoise(100, 1);
        const auto z = FilterTestNoise(100, 2);
        for (int call = 0; call < 3; ++call) {
            const auto y = Process(both, {x, z}, 100);
            EXPECT_EQ(y[0], Process(first, {x}, 100)[0]);
            EXPECT_EQ(y[1], Process(second, {z}, 100)[0]);
        }
    }
}

TEST(SRCFilterChannelsTest, TooShortInputChangesNothing) {
    for (const auto& [inputRate, outputRate] : {std::pair{1u, 1u}, {3u, 2u}, {4u, 1u}}) {
        const Parameters design(0.3, 60.0, 9u, 0u);
        SRCFilter filter(1, inputRate, outputRate, design);
        SRCFilter undisturbed(1, inputRate, outputRate, design);
        const auto x = FilterTestNoise(50, 1);
        EXPECT_EQ(Process(filter, {x}, 50), Process(undisturbed, {x}, 50));
        std::vector<float> out(10, kUntouched);
        const float* const input[] = {x.data()};
        float* const output[] = {out.data()};
        EXPECT_EQ(filter.ComputeDeinterleaved(input, output, 7), SRCFilter::kSRCErr);
        EXPECT_EQ(std::count(out.begin(), out.end(), kUntouched), 10);
        EXPECT_EQ(Process(filter, {x}, 50), Process(undisturbed, {x}, 50));
        EXPECT_EQ(Process(filter, {x}, 8), Process(undisturbed, {x}, 8))
            << "as few as there may be";
    }
}

TEST(SRCFilterChannelsTest, WithoutChannelsNothingRuns) {
    SRCFilter filter(3, 2);
    EXPECT_EQ(filter.ComputeDeinterleaved(nullptr, nullptr, 100), SRCFilter::kSRCErr);
    EXPECT_EQ(filter.ComputeDeinterleaved(nullptr, nullptr, 0xFFFFFFFFu), SRCFilter::kSRCErr);
    filter.Reset();
}

TEST(SRCFilterChannelsTest, EqualRatesGiveAsManyFrames) {
    SRCFilter filter(1, 48000, 48000, Parameters(0.5, 60.0, 15u, 0u));
    const auto x = FilterTestNoise(100, 1);
    const auto y = Process(filter, {x}, 100)[0];
    EXPECT_EQ(std::count(y.begin(), y.end(), kUntouched), 2) << "of 102 places";
}

TEST(SRCFilterChannelsTest, DelayedChannelPassesItsInputOnAsLateAsAFilteredOne) {
    for (const UInt32 taps : {1u, 2u, 15u, 16u}) {
        SRCFilter filter(48000, 48000);
        ASSERT_EQ(filter.AddDelayedChannel(taps), SRCFilter::kSRCOK);
        ASSERT_EQ(filter.AddChannel(Parameters(0.0, 60.0, taps, 0u)), SRCFilter::kSRCOK);
        const std::size_t delay = (taps - 1) / 2;
        auto x = FilterTestNoise(120, 1);
        std::vector<float> y;
        for (int call = 0; call < 3; ++call) {
            const std::vector<float> block(x.begin() + call * 40, x.begin() + call * 40 + 40);
            const auto out = Process(filter, {block, block}, 40);
            EXPECT_EQ(out[0], out[1]) << "a cutoff of 0 is a delay";
            y.insert(y.end(), out[0].begin(), out[0].begin() + 40);
        }
        x.insert(x.begin(), delay, 0.0f);
        x.resize(120);
        EXPECT_EQ(y, x);
    }
}

TEST(SRCFilterChannelsTest, DelayedAndRemovedChannelsAreLeftAloneWhereTheRateChanges) {
    for (const auto& [inputRate, outputRate] : {std::pair{3u, 2u}, {4u, 1u}}) {
        const Parameters design(0.3, 60.0, 9u, 0u);
        SRCFilter filter(3, inputRate, outputRate, design);
        ASSERT_EQ(filter.AddDelayedChannel(9), SRCFilter::kSRCOK);
        ASSERT_EQ(filter.RemoveChannel(0), SRCFilter::kSRCOK);
        ASSERT_EQ(filter.RemoveChannel(2), SRCFilter::kSRCOK);
        SRCFilter alone(1, inputRate, outputRate, design);
        const auto x = FilterTestNoise(60, 1);
        for (int call = 0; call < 2; ++call) {
            EXPECT_EQ(Process(filter, {{}, x, {}, {}}, 60)[1], Process(alone, {x}, 60)[0]);
        }
        filter.Reset();
        alone.Reset();
        EXPECT_EQ(Process(filter, {{}, x, {}, {}}, 60)[1], Process(alone, {x}, 60)[0]);
    }
}

TEST(SRCFilterChannelsTest, ObjectOfRemovedChannelsRunsWithoutEffect) {
    for (const auto& [inputRate, outputRate] : {std::pair{1u, 1u}, {3u, 2u}, {4u, 1u}}) {
        SRCFilter filter(1, inputRate, outputRate, Parameters(0.3, 60.0, 9u, 0u));
        ASSERT_EQ(filter.RemoveChannel(0), SRCFilter::kSRCOK);
        const auto y = Process(filter, {{}}, 60);
        EXPECT_EQ(std::count(y[0].begin(), y[0].end(), kUntouched),
                  static_cast<std::ptrdiff_t>(y[0].size()));
        filter.Reset();
    }
}

TEST(SRCFilterChannelsTest, ResetReturnsToTheBeginning) {
    for (const auto& [inputRate, outputRate] : {std::pair{1u, 1u}, {3u, 2u}, {7u, 1u}}) {
        const Parameters design(0.3, 60.0, 9u, 0u);
        SRCFilter filter(1, inputRate, outputRate, design);
        const auto x = FilterTestNoise(101, 1);
        const auto y = Process(filter, {x}, 101);
        for (int calls = 1; calls < 8; ++calls) {
            for (int call = 0; call < calls; ++call) {
                EXPECT_NE(Process(filter, {x}, 101), y);
            }
            filter.Reset();
            EXPECT_EQ(Process(filter, {x}, 101), y);
        }
    }
}

// The phase of a filter whose steps are `whole` inputs and one L-th, as its counts tell it: the
// L-ths amount to one more input after L less the phase steps.
UInt32 PhaseOf(const SRCFilter& filter, UInt32 whole) {
    UInt32 steps = 0;
    UInt32 frames = 0;
    while (filter.GetNumberOfInputFrames(&frames, steps) == SRCFilter::kSRCOK &&
           frames == steps * whole) {
        ++steps;
    }
    return filter.UpFactor() - steps;
}

TEST(SRCFilterChannelsTest, AdjustedPhaseCentresTheDelay) {
    const Parameters design(0.3, 60.0, 9u, 0u);
    for (const UInt32 frames : {0u, 1u, 2u, 7u, 0xFFFFFFFFu}) {
        // 2 / 3: 17 taps have their centre at 8, nearest to the output at 9. The phase is 9 mod 2,
        // less 1 per frame.
        SRCFilter two(1, 3, 2, design);
        EXPECT_EQ(PhaseOf(two, 1), 0u);
        EXPECT_EQ(two.AdjustSrcStartPolyphaseIndex(frames), SRCFilter::kSRCOK);
        EXPECT_EQ(PhaseOf(two, 1), (9 + UInt64{frames}) % 2) << frames;
        // 3 / 7: 27 taps have their centre at 13, nearest to the output at 14.
        SRCFilter three(1, 7, 3, design);
        EXPECT_EQ(three.AdjustSrcStartPolyphaseIndex(frames), SRCFilter::kSRCOK);
        EXPECT_EQ(PhaseOf(three, 2), (14 + 2 * UInt64{frames}) % 3) << frames;
    }
    SRCFilter same(1, 2, 2, design);
    EXPECT_EQ(same.AdjustSrcStartPolyphaseIndex(1), SRCFilter::kSRCOK);
}

} // namespace
} // namespace qel::core
