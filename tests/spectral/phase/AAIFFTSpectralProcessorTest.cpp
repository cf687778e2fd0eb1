#include "spectral/phase/AAIFFTSpectralProcessor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace qel::core {
namespace {

constexpr UInt32 kFrame = 1024;
constexpr UInt32 kBins = kFrame / 2;
constexpr float kRateHz = 44100.0f;

struct Frame {
    std::vector<float> frequencies;
    std::vector<float> phases;
    std::vector<float> phasesAgain;
};

// What the lists hold when the spectral function of a processor runs, frame by frame, channel 0.
std::vector<Frame> Frames(std::vector<float> samples, float rateHz = kRateHz) {
    AAIFFTSpectralProcessor processor(kFrame, kFrame / 2, 1, kFrame, false, rateHz);
    struct Context {
        AAIFFTSpectralProcessor* processor;
        std::vector<Frame> frames;
    } context{&processor, {}};
    processor.SetSpectralFunction(
        [](SpectralAndAudioBufferList*, void* refCon) {
            auto& self = *static_cast<Context*>(refCon);
            const auto copy = [](const AudioBufferList* list) {
                const auto* values = static_cast<const float*>(list->mBuffers[0].mData);
                return std::vector<float>(values, values + kBins);
            };
            self.frames.push_back({copy(self.processor->GetIFFTFrequencyBufferList()),
                                   copy(self.processor->GetPhaseBufferList()),
                                   copy(self.processor->GetPhaseBufferList())});
        },
        &context);
    for (std::size_t at = 0; at + kFrame / 2 <= samples.size(); at += kFrame / 2) {
        AudioBufferList list{1, {{1, 0, &samples[at]}}};
        processor.ProcessForwards(kFrame / 2, &list);
    }
    return context.frames;
}

std::vector<float> Sine(std::size_t length, double hz, double phase) {
    std::vector<float> samples(length);
    for (std::size_t n = 0; n < length; ++n) {
        const double turns = hz * static_cast<double>(n) / static_cast<double>(kRateHz);
        samples[n] = static_cast<float>(std::sin(2.0 * std::numbers::pi * turns + phase));
    }
    return samples;
}

TEST(AAIFFTSpectralProcessorTest, BinsAroundASineHaveItsFrequency) {
    for (const double hz : {450.0, 1021.7, 5000.3, 20000.0}) {
        const std::vector<Frame> frames = Frames(Sine(3 * kFrame, hz, 0.3));
        ASSERT_EQ(frames.size(), 5u);
        const auto nearest = static_cast<std::size_t>(std::lround(hz * kFrame / kRateHz));
        for (const Frame& frame : frames) {
            for (std::size_t k = nearest - 1; k <= nearest + 1; ++k) {
                // The two windows differ by an offset of a sample, which bends what lies a bin off.
                EXPECT_NEAR(frame.frequencies[k], hz, 0.5) << "bin " << k;
            }
        }
    }
}

TEST(AAIFFTSpectralProcessorTest, SilenceHasNoFrequenciesAndPhasesOfZero) {
    const std::vector<Frame> frames = Frames(std::vector<float>(kFrame, 0.0f));
    ASSERT_EQ(frames.size(), 1u);
    for (std::size_t k = 0; k < kBins; ++k) {
        EXPECT_TRUE(std::isnan(frames[0].frequencies[k])) << k;
        EXPECT_EQ(frames[0].phases[k], 0.0f) << k;
    }
}

// Swapped halves put the frame's middle, sample 512, at the transform's start; the phase of a
// sine's bin is then that of a cosine there, and its sign is opposite to the spectrum's.
TEST(AAIFFTSpectralProcessorTest, PhaseIsThatOfTheFramesMiddle) {
    const double hz = 100 * static_cast<double>(kRateHz) / kFrame;
    for (const double phase : {-2.0, 0.3, 1.0, 2.5}) {
        const std::vector<Frame> frames = Frames(Sine(kFrame, hz, phase));
        ASSERT_EQ(frames.size(), 1u);
        // 50 whole periods up to the middle. The window's middle lies half a sample before it.
        const double cosine = phase - std::numbers::pi / 2;
        const double distance =
            std::remainder(frames[0].phases[100] + cosine, 2.0 * std::numbers::pi);
        EXPECT_NEAR(distance, 0.0, 1e-3);
    }
}

TEST(AAIFFTSpectralProcessorTest, PhasesStayWhateverTheNumberOfLooks) {
    for (const Frame& frame : Frames(Sine(3 * kFrame, 700.0, 1.0))) {
        EXPECT_EQ(frame.phases, frame.phasesAgain);
    }
}

TEST(AAIFFTSpectralProcessorTest, ARateOfZeroGivesFrequenciesOfZero) {
    const std::vector<Frame> frames = Frames(Sine(kFrame, 1000.0, 0.0), 0.0f);
    ASSERT_EQ(frames.size(), 1u);
    for (std::size_t k = 0; k < kBins; ++k) {
        const float frequency = frames[0].frequencies[k];
        EXPECT_TRUE(frequency == 0.0f || std::isnan(frequency)) << k;
    }
}

} // namespace
} // namespace qel::core
