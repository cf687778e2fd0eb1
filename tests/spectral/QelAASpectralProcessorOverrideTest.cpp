// A subclass may take over the transforms and the work on the spectrum.

#include "tests/spectral/TestProcessor.h"

#include <gtest/gtest.h>

#include <string>

namespace qel::core {
namespace {

using test::ListOf;
using test::Signal;

constexpr UInt32 kSize = 16;
constexpr UInt32 kHop = 8;
constexpr UInt32 kFrames = 32; // three whole frames: from 0, 8 and 16

// Records the calls, and does nothing else. Its inverse "transform" makes frames of ones.
class Recorder : public QelAASpectralProcessor {
public:
    Recorder() : QelAASpectralProcessor(kSize, kHop, 1, kFrames, false, false) {
        const Signal ones(kSize, 1.0f);
        SetWindow(ones.data());
        SetSpectralFunction(
            [](SpectralAndAudioBufferList*, void* calls) {
                static_cast<std::vector<std::string>*>(calls)->emplace_back("function");
            },
            &mCalls);
    }

    void DoFwdFFT() override {
        mCalls.emplace_back("forward");
        mFrames.emplace_back(mChannels[0].mFFTBuffer.get(), mChannels[0].mFFTBuffer + kSize);
    }
    void DoInvFFT() override {
        mCalls.emplace_back("inverse");
        std::fill_n(mChannels[0].mFFTBuffer.get(), kSize, 1.0f);
    }
    void ProcessSpectrum(UInt32 size, SpectralAndAudioBufferList* list) override {
        mCalls.push_back("spectrum of " + std::to_string(size));
        EXPECT_EQ(list, mSpectralBufferList.get());
    }

    std::vector<std::string> mCalls;
    std::vector<Signal> mFrames; // what DoFwdFFT was given
};

using Calls = std::vector<std::string>;

std::vector<Signal> FramesOf(const Signal& signal) {
    std::vector<Signal> frames;
    for (auto start = signal.begin(); signal.end() - start >= kSize; start += kHop) {
        frames.emplace_back(start, start + kSize);
    }
    return frames;
}

TEST(SpectralOverrideTest, ForwardsCallsTheTransformAndThenTheSpectrumForEachFrame) {
    Recorder processor;
    std::vector<Signal> input{test::Noise(kFrames, 40)};
    ListOf in(input);
    EXPECT_EQ(processor.ProcessForwards(kFrames, in.Get()), 1);
    EXPECT_EQ(processor.mCalls, (Calls{"forward", "spectrum of 16", "forward", "spectrum of 16",
                                       "forward", "spectrum of 16"}));
    EXPECT_EQ(processor.mFrames, FramesOf(input[0]));
}

TEST(SpectralOverrideTest, ProcessCallsTheInverseLastForEachFrame) {
    Recorder processor;
    std::vector<Signal> input{test::Noise(kFrames, 41)};
    std::vector<Signal> output{Signal(kFrames, -9.0f)};
    ListOf in(input);
    ListOf out(output);
    processor.Process(kFrames, in.Get(), out.Get());
    EXPECT_EQ(processor.mCalls, (Calls{"forward", "spectrum of 16", "inverse", //
                                       "forward", "spectrum of 16", "inverse", //
                                       "forward", "spectrum of 16", "inverse"}));
    EXPECT_EQ(processor.mFrames, FramesOf(input[0]));
    // Silence for one transform length, then frames of ones, of which two overlap after a hop.
    for (std::size_t t = 0; t < kFrames; ++t) {
        EXPECT_EQ(output[0][t], t < kSize ? 0.0f : t < kSize + kHop ? 1.0f : 2.0f) << t;
    }
}

TEST(SpectralOverrideTest, BackwardsCallsTheSpectrumAndThenTheInverse) {
    Recorder processor;
    std::vector<Signal> output{Signal(kHop, -9.0f)};
    ListOf out(output);
    EXPECT_EQ(processor.ProcessBackwards(kHop, out.Get()), 1);
    EXPECT_EQ(processor.mCalls, (Calls{"spectrum of 16", "inverse"}));
    EXPECT_EQ(processor.ProcessBackwards(kHop, out.Get()), 1);
    EXPECT_EQ(output[0], Signal(kHop, 0.0f));
    EXPECT_EQ(processor.ProcessBackwards(kHop, out.Get()), 1);
    EXPECT_EQ(output[0], Signal(kHop, 1.0f));
    EXPECT_EQ(processor.mCalls.size(), 6u);
}

} // namespace
} // namespace qel::core
