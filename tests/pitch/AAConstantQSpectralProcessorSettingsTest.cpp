// The constant-Q processor by itself, with other settings than the keys have.

#include "pitch/AAConstantQSpectralProcessor.h"
#include "tests/pitch/ConstantQTesting.h"

#include <cmath>
#include <numbers>

namespace qel::test {
namespace {

struct Framing {
    UInt32 frame = 8192;
    UInt32 hop = 1024;
};

struct Result {
    std::vector<std::vector<float>> magnitudes; // by channel
    std::vector<float> least;
    std::vector<float> greatest;
};

class ProcessorRun {
public:
    ProcessorRun(const ConstantQSettings& settings, double rateHz, const Framing& framing,
                 UInt32 channels)
        : mChannels(channels), mProcessor(framing.frame, framing.hop, channels, 65536, false, false,
                                          settings.minFrequencyHz, settings.maxFrequencyHz,
                                          settings.binsPerOctave, rateHz, settings.threshold) {
        mProcessor.SetSpectralFunction(Take, this);
    }

    UInt32 BinCount() { return mProcessor.GetNumConstantQBins(); }

    // One result per frame.
    std::vector<Result> Push(const Audio& audio) {
        mResults.clear();
        const auto frames = static_cast<UInt32>(audio.at(0).size());
        BufferList list(audio, 0, frames);
        mAnyFrame = mProcessor.ProcessForwards(frames, list.Get());
        return mResults;
    }
    bool AnyFrame() const { return mAnyFrame; }

private:
    static void Take(core::SpectralAndAudioBufferList* list, void* refCon) {
        auto* self = static_cast<ProcessorRun*>(refCon);
        EXPECT_EQ(self->mChannels, list->mNumChannels);
        const std::size_t bins = self->BinCount();
        Audio magnitudes(self->mChannels, std::vector<float>(bins, -1.0f));
        BufferList out(magnitudes, 0, static_cast<UInt32>(bins));
        Result result{{}, std::vector<float>(self->mChannels), std::vector<float>(self->mChannels)};
        self->mProcessor.GetMagnitude(out.Get(), result.least.data(), result.greatest.data());
        result.magnitudes = magnitudes;
        self->mResults.push_back(result);
    }

    UInt32 mChannels;
    core::AAConstantQSpectralProcessor mProcessor;
    std::vector<Result> mResults;
    bool mAnyFrame = false;
};

void ExpectAgreement(const ConstantQSettings& settings, double rateHz, const Framing& framing) {
    const Audio audio = Noise(0.5f, 2, framing.frame + 2 * framing.hop, 21);
    ProcessorRun run(settings, rateHz, framing, 2);
    const ReferenceConstantQ reference(rateHz, settings);
    EXPECT_EQ(reference.BinCount(), run.BinCount());
    const std::vector<Result> results = run.Push(audio);
    ASSERT_EQ(3u, results.size());
    for (std::size_t n = 0; n < 3; ++n) {
        for (std::size_t c = 0; c < 2; ++c) {
            const std::span<const float> frame(audio[c].data() + n * framing.hop, framing.frame);
            const std::vector<float>& magnitudes = results[n].magnitudes[c];
            ExpectMagnitudes(reference.Magnitudes(frame), magnitudes, reference.BinCount());
            const auto [least, greatest] =
                std::minmax_element(magnitudes.begin(), magnitudes.end());
            EXPECT_EQ(*least, results[n].least[c]);
            EXPECT_EQ(*greatest, results[n].greatest[c]);
        }
    }
}

TEST(AAConstantQSpectralProcessorSettingsTest, TheSettingsOfTheKeys) {
    ExpectAgreement({}, 16000.0, {});
}

TEST(AAConstantQSpectralProcessorSettingsTest, SemitonesOverFourWholeOctaves) {
    const ConstantQSettings settings{220.0f, 3520.0f, 12, 0.01f};
    ExpectAgreement(settings, 44100.0, {4096, 512});
    // Four octaves are no fraction of a bin more: nothing to round up.
    EXPECT_EQ(48u, ProcessorRun(settings, 44100.0, {4096, 512}, 1).BinCount());
}

TEST(AAConstantQSpectralProcessorSettingsTest, AFrameLongerThanTheKernelsTransform) {
    const ConstantQSettings settings{2000.0f, 8000.0f, 12, 0.0054f};
    ASSERT_EQ(512u, ReferenceConstantQ(44100.0, settings).TransformSize());
    ExpectAgreement(settings, 44100.0, {1024, 256});
    ExpectAgreement(settings, 44100.0, {512, 256});
}

TEST(AAConstantQSpectralProcessorSettingsTest, WithoutAThresholdKernelsAreWhole) {
    const ConstantQSettings settings{500.0f, 4000.0f, 24, 0.0f};
    ExpectAgreement(settings, 22050.0, {4096, 1024});
    // In the time domain: nothing is left out, so an impulse reads the window itself, sample by
    // sample, and after a kernel's end there is nothing but rounding.
    ProcessorRun run(settings, 22050.0, {4096, 4096}, 1);
    const ReferenceConstantQ reference(22050.0, settings);
    for (const std::size_t at : {0u, 50u, 100u, 301u, 700u, 1500u, 4000u}) {
        const std::vector<Result> results = run.Push(Impulses(4096, {{at, 1.0f}}));
        ASSERT_EQ(1u, results.size());
        for (std::size_t bin = 0; bin < reference.BinCount(); ++bin) {
            const std::size_t length = reference.KernelLength(bin);
            const double turn =
                2.0 * std::numbers::pi * static_cast<double>(at) / static_cast<double>(length - 1);
            const double window =
                at < length ? (0.54 - 0.46 * std::cos(turn)) / static_cast<double>(length) : 0.0;
            // Of 12 rounded steps of a transform over the kernel, whose samples are 1 / N at most.
            EXPECT_NEAR(window, results[0].magnitudes[0][bin], 1e-6 / std::sqrt(length))
                << "sample " << at << ", bin " << bin;
        }
    }
}

// No value of a kernel's spectrum is above the sum of its window.
TEST(AAConstantQSpectralProcessorSettingsTest, AboveAllKernelsTheThresholdLeavesNothing) {
    ProcessorRun run({500.0f, 4000.0f, 24, 0.55f}, 22050.0, {4096, 1024}, 1);
    const std::vector<Result> results = run.Push(Noise(0.9f, 1, 4096, 22));
    ASSERT_EQ(1u, results.size());
    EXPECT_EQ(std::vector<float>(72), results[0].magnitudes[0]);
    EXPECT_EQ(0.0f, results[0].least[0]);
    EXPECT_EQ(0.0f, results[0].greatest[0]);
}

TEST(AAConstantQSpectralProcessorSettingsTest, ASilentFrameHasMinimumAndMaximumZero) {
    ProcessorRun run({}, 8000.0, {}, 2);
    const std::vector<Result> results = run.Push(Silence(2, 8192));
    ASSERT_EQ(1u, results.size());
    for (std::size_t c = 0; c < 2; ++c) {
        EXPECT_EQ(std::vector<float>(kConstantQBins), results[0].magnitudes[c]);
        EXPECT_EQ(0.0f, results[0].least[c]);
        EXPECT_EQ(0.0f, results[0].greatest[c]);
    }
}

TEST(AAConstantQSpectralProcessorSettingsTest, APushReportsWhetherItHadAFrame) {
    ProcessorRun run({}, 8000.0, {}, 1);
    EXPECT_TRUE(run.Push(Noise(0.5f, 1, 8191, 1)).empty());
    EXPECT_FALSE(run.AnyFrame());
    EXPECT_EQ(1u, run.Push(Noise(0.5f, 1, 1, 2)).size());
    EXPECT_TRUE(run.AnyFrame());
    EXPECT_TRUE(run.Push(Noise(0.5f, 1, 1023, 3)).empty());
    EXPECT_FALSE(run.AnyFrame());
    EXPECT_EQ(3u, run.Push(Noise(0.5f, 1, 2049, 4)).size());
    EXPECT_TRUE(run.AnyFrame());
}

} // namespace
} // namespace qel::test
