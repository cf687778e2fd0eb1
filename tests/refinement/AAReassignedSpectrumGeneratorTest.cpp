// What of the generator cannot be reached through the exported functions: memory that grows, and
// frames that are worked out again.

#include "refinement/AAReassignedSpectrumGenerator.h"

#include "tests/spectral/TestProcessor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <limits>
#include <memory>
#include <new>
#include <vector>

namespace qel::core {
namespace {

using Complex = std::complex<float>;
using test::ListOf;
using test::Noise;
using test::Signal;

// Frames of four bins.
constexpr UInt32 kFrame = 8;
constexpr UInt32 kBins = kFrame / 2;
constexpr UInt32 kHop = 2;

struct Result {
    std::vector<QelAudioAnalysisBlock> blocks;
    std::vector<std::vector<Complex>> matrices; // per channel, frame by frame
};

// The samples of which a stream has `frames` frames.
UInt32 LengthOf(UInt32 frames) {
    return kFrame + (frames - 1) * kHop;
}

class OpenGenerator : public AAReassignedSpectrumGenerator {
public:
    explicit OpenGenerator(UInt32 channels, UInt32 streamLength)
        : AAReassignedSpectrumGenerator(channels, 44100.0, kFrame, kHop, 4096, streamLength,
                                        &OpenGenerator::Receive, this) {}

    using AAReassignedSpectrumGenerator::mAudioStore;
    using AAReassignedSpectrumGenerator::mScatter;
    using AAReassignedSpectrumGenerator::mTrustedBytes;

    std::vector<Result> results;

    void Push(std::vector<Signal> channels) {
        ListOf list(channels);
        EXPECT_EQ(PushAudio(list.Get(), static_cast<UInt32>(channels[0].size())), 0);
    }

    std::vector<Complex> Matrix() {
        EXPECT_EQ(ProcessFinal(1), 0);
        return results.back().matrices.at(0);
    }

private:
    static void Receive(void* first, CFStringRef key, UInt32 count, QelAudioAnalysisBlock* blocks,
                        void* refCon) {
        EXPECT_EQ(first, nullptr);
        auto& self = *static_cast<OpenGenerator*>(refCon);
        EXPECT_TRUE(CFEqual(key, kQelAnalysisKey_ReasignedSpectrum));
        Result result{{blocks, blocks + count}, {}};
        const UInt32 frames = count / self.mNumChannels;
        for (UInt32 c = 0; c < self.mNumChannels && frames > 0; ++c) {
            auto* const matrix = static_cast<Complex*>(blocks[c * frames].mData);
            auto* const end = matrix + std::size_t{frames} * kBins;
            result.matrices.emplace_back(matrix, end);
            std::fill(matrix, end, Complex(1e9f, -1e9f)); // a client may do that
        }
        self.results.push_back(std::move(result));
    }
};

TEST(AAReassignedSpectrumGeneratorTest, WithoutFramesTheCountIsZero) {
    OpenGenerator generator(2, 1000);
    generator.ReadyAnalysis();
    generator.Push(std::vector<Signal>(2, Noise(kFrame - 1, 1)));
    EXPECT_EQ(generator.ProcessFinal(1), 0);
    ASSERT_EQ(generator.results.size(), 1u);
    EXPECT_TRUE(generator.results[0].blocks.empty());
}

TEST(AAReassignedSpectrumGeneratorTest, OneBlockPerChannelIsFilled) {
    OpenGenerator generator(3, LengthOf(5));
    generator.ReadyAnalysis();
    generator.Push({Noise(LengthOf(5), 1), Noise(LengthOf(5), 2), Noise(LengthOf(5), 3)});
    EXPECT_EQ(generator.ProcessFinal(0), 0);
    const std::vector<QelAudioAnalysisBlock>& blocks = generator.results.at(0).blocks;
    ASSERT_EQ(blocks.size(), 15u);
    for (std::size_t b = 0; b < blocks.size(); ++b) {
        EXPECT_EQ(blocks[b].mDataByteSize, b % 5 == 0 ? kBins * 8 : 0u) << b;
        EXPECT_EQ(blocks[b].mData != nullptr, b % 5 == 0) << b;
    }
}

TEST(AAReassignedSpectrumGeneratorTest, AnotherProcessLooksAtAllFramesAgain) {
    const Signal noise = Noise(LengthOf(9), 1);
    OpenGenerator whole(1, LengthOf(9));
    whole.ReadyAnalysis();
    whole.Push({noise});
    OpenGenerator halves(1, LengthOf(9));
    halves.ReadyAnalysis();
    halves.Push({Signal(noise.begin(), noise.begin() + kFrame)});
    EXPECT_EQ(halves.Matrix().size(), kBins);
    halves.Push({Signal(noise.begin() + kFrame, noise.end())});
    EXPECT_EQ(halves.Matrix(), whole.Matrix());
    EXPECT_EQ(halves.results.back().matrices, whole.results.back().matrices);
}

TEST(AAReassignedSpectrumGeneratorTest, AStopAtTheEndComesAfterTheDelivery) {
    OpenGenerator generator(1, LengthOf(2));
    generator.ReadyAnalysis();
    generator.Push({Noise(LengthOf(2), 1)});
    std::vector<float> percents;
    const auto stop = [](void*, float percent, void* refCon) {
        static_cast<std::vector<float>*>(refCon)->push_back(percent);
        return 1;
    };
    EXPECT_EQ(generator.Process(1, stop, &percents), -1);
    EXPECT_EQ(percents, std::vector<float>{100.0f});
    EXPECT_EQ(generator.results.size(), 1u);
}

TEST(AAReassignedSpectrumGeneratorTest, FramesThatWereNotScatteredAreWorkedOutAgain) {
    const std::vector<Signal> noise = {Noise(LengthOf(23), 1), Noise(LengthOf(23), 2)};
    OpenGenerator scattering(2, LengthOf(23));
    scattering.ReadyAnalysis();
    scattering.Push(noise);
    OpenGenerator storing(2, LengthOf(23));
    storing.ReadyAnalysis();
    storing.mScatter.free();
    storing.Push(noise);
    EXPECT_EQ(scattering.ProcessFinal(1), 0);
    EXPECT_EQ(storing.ProcessFinal(1), 0);
    EXPECT_EQ(storing.results[0].matrices, scattering.results[0].matrices);
}

TEST(AAReassignedSpectrumGeneratorTest, AProcessWithoutFramesChangesNothing) {
    const Signal noise = Noise(LengthOf(9), 1);
    OpenGenerator whole(1, LengthOf(9));
    whole.ReadyAnalysis();
    whole.Push({noise});
    OpenGenerator asked(1, LengthOf(9));
    asked.ReadyAnalysis();
    EXPECT_EQ(asked.ProcessFinal(0), 0);
    asked.Push({noise});
    EXPECT_NE(asked.mScatter.get(), nullptr);
    EXPECT_EQ(asked.Matrix(), whole.Matrix());
}

// The second takes no more than two frames on trust.
TEST(AAReassignedSpectrumGeneratorTest, ADistrustedLengthIsKeptAllTheSame) {
    const std::vector<Signal> noise = {Noise(LengthOf(23), 1), Noise(LengthOf(23), 2)};
    OpenGenerator trusting(2, LengthOf(23));
    trusting.ReadyAnalysis();
    trusting.Push(noise);
    OpenGenerator careful(2, LengthOf(23));
    careful.mTrustedBytes = 2 * UInt64{2 * kBins * sizeof(Complex)};
    careful.ReadyAnalysis();
    EXPECT_EQ(careful.mAudioStore->Room(), 2u);
    EXPECT_EQ(careful.mScatter->Room(), 2u);
    careful.Push(noise);
    EXPECT_EQ(careful.mAudioStore->Frames(), 23u);
    EXPECT_EQ(careful.mAudioStore->BlockCount(), 2u);
    EXPECT_EQ(careful.mScatter->Frames(), 23u);
    EXPECT_EQ(trusting.ProcessFinal(1), 0);
    EXPECT_EQ(careful.ProcessFinal(1), 0);
    EXPECT_EQ(careful.results[0].matrices, trusting.results[0].matrices);
    EXPECT_EQ(careful.results[0].blocks.size(), 46u);
}

TEST(AAReassignedSpectrumGeneratorTest, BeyondTheDeclaredLengthNothingGrows) {
    OpenGenerator generator(1, LengthOf(4));
    generator.mTrustedBytes = 0;
    generator.ReadyAnalysis();
    generator.Push({Noise(LengthOf(30), 1)});
    EXPECT_EQ(generator.mAudioStore->Frames(), 4u);
    EXPECT_EQ(generator.mScatter->Room(), 4u);
    EXPECT_EQ(generator.Matrix().size(), 30u * kBins);
}

// A declaration of less than the overlap of two frames is one of no frames, and so is one of 2^31
// samples or more.
TEST(AAReassignedSpectrumGeneratorTest, WithoutDeclaredFramesTheMatrixIsEmpty) {
    for (const UInt32 declared : {1u, 2147483648u + kFrame, 4294967295u}) {
        OpenGenerator generator(1, declared);
        generator.ReadyAnalysis();
        generator.Push({Noise(LengthOf(6), 1)});
        EXPECT_EQ(generator.mAudioStore.get(), nullptr);
        EXPECT_EQ(generator.mScatter.get(), nullptr);
        EXPECT_EQ(generator.Matrix(), std::vector<Complex>(6 * kBins));
    }
}

// More than a store can hold, once that much is trusted.
TEST(AAReassignedSpectrumGeneratorTest, AResetWithoutMemoryLeavesAnEmptyStream) {
    OpenGenerator generator(1, std::numeric_limits<SInt32>::max());
    generator.ReadyAnalysis();
    generator.Push({Noise(LengthOf(3), 1)});
    const UInt64 trusted = generator.mTrustedBytes;
    generator.mTrustedBytes = std::numeric_limits<UInt64>::max();
    EXPECT_THROW(generator.ReadyAnalysis(), std::bad_alloc);
    generator.Push({Noise(LengthOf(3), 1)});
    EXPECT_EQ(generator.ProcessFinal(1), 0);
    EXPECT_TRUE(generator.results.back().blocks.empty());

    generator.mTrustedBytes = trusted;
    generator.ReadyAnalysis();
    generator.Push({Noise(LengthOf(3), 1)});
    EXPECT_EQ(generator.Matrix().size(), 3 * kBins);
}

TEST(AAReassignedSpectrumGeneratorTest, SizesAreThoseOfOneFrame) {
    OpenGenerator generator(1, 0);
    EXPECT_EQ(generator.GetSizeOfAnalysisDataForKey(kQelAnalysisKey_ReasignedSpectrum), kBins * 8);
    EXPECT_EQ(generator.GetSizeOfAnalysisDataForKey(CFSTR("spectrum")), 0u);
    EXPECT_EQ(generator.GetSizeOfAnalysisDataForKey(nullptr), 0u);
}

} // namespace
} // namespace qel::core
