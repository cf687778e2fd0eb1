#include "support/audio/SRCFilter.h"

#include "FilterReference.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <type_traits>

namespace qel::core {
namespace {

using Parameters = KaiserBesselFilterParameters;

static_assert(!std::is_copy_constructible_v<SRCFilter>);
static_assert(SRCFilter::kSRCErr == static_cast<OSStatus>(0xFFFFFFFFu));

struct Ratio {
    UInt32 inputRate;
    UInt32 outputRate;
    UInt32 up;
    UInt32 down;
};
constexpr Ratio kRatios[] = {
    {44100, 44100, 1, 1},     {44100, 100, 1, 441}, {22050, 100, 2, 441}, {44100, 48000, 160, 147},
    {48000, 44100, 147, 160}, {8000, 16000, 2, 1},  {3, 2, 2, 3},         {96000, 48000, 1, 2}};

// Floats are good to 2^-24; a coefficient is rounded when it is made, by the gain and its product.
constexpr double kCoefficientTolerance = 3.0 / 16777216.0;

TEST(SRCFilterTest, BranchesAreThePrototypeTimesItsGainReversedInTime) {
    for (const Ratio& ratio : kRatios) {
        for (const UInt32 type : {0u, 1u}) {
            for (const UInt32 taps : {1u, 2u, 7u, 24u, 33u}) {
                const Parameters parameters(0.4, 60.0, taps, type);
                const SRCFilter filter(1, ratio.inputRate, ratio.outputRate, parameters);
                ASSERT_EQ(filter.UpFactor(), ratio.up);
                ASSERT_EQ(filter.DownFactor(), ratio.down);
                const FilterReference expected(ratio.up, ratio.down, parameters);
                ASSERT_EQ(filter.PrototypeLength(), expected.length);
                ASSERT_EQ(filter.PrototypeLength() % 2, 1u);
                for (UInt32 p = 0; p < ratio.up; ++p) {
                    for (UInt32 n = 0; n < taps; ++n) {
                        const double value = expected.Branch(p, n);
                        ASSERT_NEAR(static_cast<double>(filter.Branch(0, p)[n]), value,
                                    kCoefficientTolerance * std::max(1.0, std::abs(value)))
                            << ratio.inputRate << " to " << ratio.outputRate << ", type " << type
                            << ", " << taps << " taps, branch " << p << ", tap " << n;
                    }
                }
            }
        }
    }
}

TEST(SRCFilterTest, BranchesBeginAtMultiplesOfFourFloats) {
    const SRCFilter filter(1, 2, 3, Parameters(0.5, 60.0, 9u, 0u));
    EXPECT_EQ(filter.Branch(0, 1) - filter.Branch(0, 0), 12);
    EXPECT_EQ(filter.Branch(0, 2) - filter.Branch(0, 0), 24);
    EXPECT_EQ(filter.Branch(0, 3), nullptr);
    EXPECT_EQ(filter.Branch(1, 0), nullptr);
}

TEST(SRCFilterTest, EvenPrototypeLosesItsLastTap) {
    const SRCFilter filter(1, 1, 2, Parameters(0.5, 60.0, 8u, 0u));
    EXPECT_EQ(filter.PrototypeLength(), 15u);
    UInt32 delay = 9;
    EXPECT_EQ(filter.GetFilterDelay(nullptr, &delay), SRCFilter::kSRCOK);
    EXPECT_EQ(delay, 0u);
    EXPECT_EQ(filter.Branch(0, 1)[0], 0.0f) << "tap 15 of taps 0 to 14";
    EXPECT_NE(filter.Branch(0, 0)[0], 0.0f);
}

TEST(SRCFilterTest, DelayIsRoundedToOutputFramesAndTheRestIsSigned) {
    const SRCFilter filter(1, 44100, 100, Parameters(0.002, 73.0, 12.0 / 44100.0, 0u));
    EXPECT_EQ(filter.PrototypeLength(), 33295u);
    UInt32 whole = 0;
    UInt32 rest = 0;
    EXPECT_EQ(filter.GetFilterDelay(&whole, &rest), SRCFilter::kSRCOK);
    EXPECT_EQ(whole, 38u); // 16647 / 441 = 37.75
    EXPECT_EQ(static_cast<SInt32>(rest), 16647 - 38 * 441);
    EXPECT_EQ(filter.GetFilterDelay(nullptr, nullptr), SRCFilter::kSRCOK);
}

TEST(SRCFilterTest, ChannelsOfOneDesignShareOneSetOfCoefficients) {
    const Parameters design(0.5, 60.0, 16u, 0u);
    SRCFilter filter(3, 3, 2, design);
    EXPECT_EQ(filter.ChannelCount(), 3u);
    EXPECT_EQ(filter.DesignCount(), 1u);
    EXPECT_EQ(filter.Branch(2, 0), filter.Branch(0, 0));
    EXPECT_EQ(filter.AddChannel(Parameters(0.4, 60.0, 16u, 0u)), SRCFilter::kSRCOK);
    EXPECT_EQ(filter.DesignCount(), 2u);
    EXPECT_NE(filter.Branch(3, 0), filter.Branch(0, 0));
    EXPECT_EQ(filter.AddChannel(design), SRCFilter::kSRCOK);
    EXPECT_EQ(filter.DesignCount(), 2u);
    EXPECT_EQ(filter.Branch(4, 0), filter.Branch(0, 0));
}

TEST(SRCFilterTest, OtherBranchLengthIsRefused) {
    SRCFilter filter(1, 3, 2, Parameters(0.5, 60.0, 16u, 0u));
    EXPECT_EQ(filter.AddChannel(Parameters(0.5, 60.0, 17u, 0u)), 0x6E746170);
    EXPECT_EQ(filter.AddDelayedChannel(15), SRCFilter::kSRCLengthMismatch);
    EXPECT_EQ(filter.ChannelCount(), 1u);
    EXPECT_EQ(filter.DesignCount(), 1u);
    EXPECT_EQ(filter.AddDelayedChannel(16), SRCFilter::kSRCOK);
    EXPECT_EQ(filter.AddDelayedChannel(16), SRCFilter::kSRCOK);
    EXPECT_EQ(filter.DesignCount(), 2u) << "delays share an entry, too";
    EXPECT_EQ(filter.Branch(1, 0), nullptr);
}

TEST(SRCFilterTest, RemovedChannelLeavesItsCoefficientsAndItsNumber) {
    const Parameters design(0.5, 60.0, 16u, 0u);
    SRCFilter filter(2, 3, 2, design);
    const float* const coefficients = filter.Branch(0, 0);
    EXPECT_EQ(filter.RemoveChannel(2), 0x6368616E);
    EXPECT_EQ(filter.RemoveChannel(0), SRCFilter::kSRCOK);
    EXPECT_EQ(filter.RemoveChannel(0), SRCFilter::kSRCOK) << "once more does no harm";
    EXPECT_EQ(filter.RemoveChannel(1), SRCFilter::kSRCOK);
    EXPECT_EQ(filter.ChannelCount(), 2u);
    EXPECT_EQ(filter.Branch(0, 0), nullptr);
    EXPECT_EQ(filter.AddChannel(Parameters(0.5, 60.0, 17u, 0u)), SRCFilter::kSRCLengthMismatch);
    EXPECT_EQ(filter.AddChannel(design), SRCFilter::kSRCOK);
    EXPECT_EQ(filter.Branch(2, 0), coefficients);
    EXPECT_EQ(filter.DesignCount(), 1u);
}

TEST(SRCFilterTest, DesignsWithoutLengthOrBeyond32BitsAddNoChannel) {
    SRCFilter filter(1, 44100, 48000, Parameters(0.5, 60.0, 0u, 0u));
    EXPECT_EQ(filter.ChannelCount(), 0u);
    EXPECT_EQ(filter.AddDelayedChannel(0), SRCFilter::kSRCLengthMismatch);
    EXPECT_THROW(filter.AddChannel(Parameters(0.5, 60.0, 1u << 25, 0u)), std::bad_alloc);
    EXPECT_THROW(filter.AddChannel(Parameters(0.5, 60.0, 0.0, 0u)), std::bad_alloc);
    EXPECT_EQ(filter.ChannelCount(), 0u);
    EXPECT_EQ(filter.AddChannel(Parameters(0.5, 60.0, 4u, 0u)), SRCFilter::kSRCOK);
}

TEST(SRCFilterTest, RatesOfZeroHaveNoFilter) {
    for (const auto& [inputRate, outputRate] : {std::pair{0u, 0u}, {44100u, 0u}, {0u, 100u}}) {
        const Parameters design(0.5, 60.0, 8u, 0u);
        SRCFilter filter(1, inputRate, outputRate, design);
        EXPECT_EQ(filter.ChannelCount(), 0u);
        EXPECT_EQ(filter.AddChannel(design), SRCFilter::kSRCErr);
        EXPECT_EQ(filter.AddDelayedChannel(8), SRCFilter::kSRCErr);
        const float* const input[] = {nullptr};
        float* const output[] = {nullptr};
        EXPECT_EQ(filter.ComputeDeinterleaved(input, output, 100), SRCFilter::kSRCErr);
        UInt32 frames = 7;
        EXPECT_EQ(filter.GetNumberOfInputFrames(&frames, 10), SRCFilter::kSRCErr);
        EXPECT_EQ(filter.GetNumberOfOutFrames(&frames, 10), SRCFilter::kSRCErr);
        EXPECT_EQ(filter.AdjustSrcStartPolyphaseIndex(10), SRCFilter::kSRCOK);
        EXPECT_EQ(filter.GetFilterDelay(&frames, nullptr), SRCFilter::kSRCOK);
        EXPECT_EQ(frames, 0u);
    }
}

TEST(SRCFilterTest, FrameCountsFollowTheRatio) {
    const Parameters design(0.5, 60.0, 8u, 0u);
    UInt32 frames = 0;
    const SRCFilter whole(1, 44100, 100, design);
    EXPECT_EQ(whole.GetNumberOfOutFrames(&frames, 441000), SRCFilter::kSRCOK);
    EXPECT_EQ(frames, 1000u);
    EXPECT_EQ(whole.GetNumberOfOutFrames(&frames, 441001), SRCFilter::kSRCOK);
    EXPECT_EQ(frames, 1000u);
    EXPECT_EQ(whole.GetNumberOfInputFrames(&frames, 1000), SRCFilter::kSRCOK);
    EXPECT_EQ(frames, 441000u);
    const SRCFilter half(1, 22050, 100, design); // 2 / 441
    EXPECT_EQ(half.GetNumberOfOutFrames(&frames, 220500), SRCFilter::kSRCOK);
    EXPECT_EQ(frames, 1000u); // 1002 steps of 220, less 1002 / 441
    EXPECT_EQ(half.GetNumberOfInputFrames(&frames, 1001), SRCFilter::kSRCOK);
    EXPECT_EQ(frames, 220720u); // 1001 * 220.5 = 220720.5
    // More than 2^32 / 13 steps of 13 / 160: no wrap on the way.
    const SRCFilter fraction(1, 48000, 44100, design);
    EXPECT_EQ(fraction.GetNumberOfInputFrames(&frames, 441000000), SRCFilter::kSRCOK);
    EXPECT_EQ(frames, 480000000u);
}

TEST(SRCFilterTest, FrameCountsNeedAPointer) {
    const SRCFilter filter(1, 44100, 100, Parameters(0.5, 60.0, 8u, 0u));
    EXPECT_EQ(filter.GetNumberOfOutFrames(nullptr, 10), SRCFilter::kSRCErr);
    EXPECT_EQ(filter.GetNumberOfInputFrames(nullptr, 10), SRCFilter::kSRCErr);
}

TEST(SRCFilterTest, OutFramesOfARisingRateAreNotTold) {
    const SRCFilter filter(1, 44100, 48000, Parameters(0.5, 60.0, 8u, 0u));
    UInt32 frames = 7;
    EXPECT_EQ(filter.GetNumberOfOutFrames(&frames, 44100), SRCFilter::kSRCErr);
    EXPECT_EQ(frames, 0u);
    EXPECT_EQ(filter.GetNumberOfInputFrames(&frames, 48000), SRCFilter::kSRCOK);
    EXPECT_EQ(frames, 44100u);
}

} // namespace
} // namespace qel::core
