// The classes behind the keys, which the shared library hides: sums of pitch classes before they
// are normalized, other frame sizes, sizes of payloads, and a key of another object.

#include "pitch/AAChromaSpectralProcessor.h"

#include "pitch/AAChromaPropertiesGenerator.h"
#include "tests/pitch/ChromaRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace qel::test {
namespace {

constexpr double kRate = 44100.0;

class ProcessorRun {
public:
    ProcessorRun(UInt32 frameSize, UInt32 hop, UInt32 channels, UInt32 maxFrames, double rateHz,
                 UInt32 chromaBins = 12)
        : mChannels(channels), mChromaBins(chromaBins),
          mProcessor(frameSize, hop, channels, maxFrames, false, false, rateHz, chromaBins) {
        mProcessor.SetSpectralFunction(Frame, this);
    }

    bool Push(const Audio& audio, std::size_t first, UInt32 frames) {
        BufferList list(audio, first, frames);
        return mProcessor.ProcessForwards(frames, list.Get()) != 0;
    }

    // Frame-major, by channel.
    const std::vector<std::vector<float>>& Rows() const { return mRows; }

private:
    static void Frame(core::SpectralAndAudioBufferList* list, void* refCon) {
        auto* self = static_cast<ProcessorRun*>(refCon);
        EXPECT_NE(nullptr, list);
        const AudioBufferList& chroma = self->mProcessor.GetChromaList()->GetBufferList();
        ASSERT_EQ(self->mChannels, chroma.mNumberBuffers);
        for (UInt32 c = 0; c < self->mChannels; ++c) {
            const auto* values = static_cast<const float*>(chroma.mBuffers[c].mData);
            self->mRows.emplace_back(values, values + self->mChromaBins);
        }
    }

    UInt32 mChannels;
    UInt32 mChromaBins;
    core::AAChromaSpectralProcessor mProcessor;
    std::vector<std::vector<float>> mRows;
};

// Magnitudes are those of twice the transform, and nothing divides them.
TEST(AAChromaSpectralProcessorTest, SumsAreThoseOfTheReferenceAtEveryFrameSize) {
    constexpr UInt32 kPush = 3000;
    for (const auto& [frameSize, hop, rateHz] : std::vector<std::tuple<UInt32, UInt32, double>>{
             {256, 64, 44100.0}, {1024, 1024, 48000.0}, {4096, 1000, 22050.0}}) {
        SCOPED_TRACE(frameSize);
        const Audio audio = MusicLike(rateHz, 2, 12000, 41);
        const ReferenceChroma reference(rateHz, frameSize);
        ProcessorRun run(frameSize, hop, 2, kPush, rateHz);
        for (std::size_t at = 0; at < 12000; at += kPush) {
            run.Push(audio, at, kPush);
        }
        const std::size_t frames = (12000 - frameSize) / hop + 1;
        ASSERT_EQ(2 * frames, run.Rows().size());
        for (std::size_t row = 0; row < run.Rows().size(); ++row) {
            const std::span<const float> content(audio[row % 2].data() + row / 2 * hop, frameSize);
            const PitchClasses expected = reference.Sums(content);
            const double loudest = *std::max_element(expected.begin(), expected.end());
            for (std::size_t p = 0; p < kPitchClasses; ++p) {
                // A class that few bins have may be faint, and all bins share the rounding of the
                // loudest.
                ASSERT_NEAR(expected[p], static_cast<double>(run.Rows()[row][p]),
                            kProfileError * expected[p] + 2e-6 * loudest)
                    << "row " << row << " class " << p;
            }
        }
    }
}

TEST(AAChromaSpectralProcessorTest, ReportsWhetherAFrameWasProduced) {
    const Audio audio = MusicLike(kRate, 1, 4096);
    ProcessorRun run(1024, 512, 1, 4096, kRate);
    EXPECT_FALSE(run.Push(audio, 0, 1023));
    EXPECT_TRUE(run.Push(audio, 1023, 1));
    EXPECT_FALSE(run.Push(audio, 1024, 511));
    EXPECT_TRUE(run.Push(audio, 1535, 2000));
    EXPECT_EQ((3535u - 1024u) / 512u + 1u, run.Rows().size());
    EXPECT_FALSE(run.Push(audio, 0, 0));
}

// A silent frame is a frame, and its sums are 0, not what the frame before had.
TEST(AAChromaSpectralProcessorTest, SilenceGivesZerosAndReachesTheCallback) {
    ProcessorRun run(1024, 1024, 1, 4096, kRate);
    run.Push(Joined(MusicLike(kRate, 1, 1024), Silence(1, 2048)), 0, 3072);
    ASSERT_EQ(3u, run.Rows().size());
    EXPECT_GT(run.Rows()[0][0], 0.0f);
    EXPECT_EQ(std::vector<float>(12, 0.0f), run.Rows()[1]);
    EXPECT_EQ(std::vector<float>(12, 0.0f), run.Rows()[2]);
}

TEST(AAChromaSpectralProcessorTest, MorePlacesThanPitchClassesStayEmpty) {
    const Audio audio = MusicLike(kRate, 1, 4096);
    ProcessorRun twelve(4096, 512, 1, 4096, kRate, 12);
    ProcessorRun sixteen(4096, 512, 1, 4096, kRate, 16);
    twelve.Push(audio, 0, 4096);
    sixteen.Push(audio, 0, 4096);
    std::vector<float> expected = twelve.Rows().at(0);
    expected.resize(16, 0.0f);
    EXPECT_EQ(expected, sixteen.Rows().at(0));
}

void Ignore(void*, CFStringRef, UInt32, QelAudioAnalysisBlock*, void*) {}

TEST(ChromaGeneratorTest, ReportsTheSizesOfItsPayloads) {
    core::AAChromaPropertiesGenerator generator(1, kRate, 8192, 512, 4096, 0, Ignore, nullptr);
    const auto sizeOf = [&](const char* key) {
        return generator.GetSizeOfAnalysisDataForKey(MakeString(key).Get());
    };
    EXPECT_EQ(48u, sizeOf("pitch class profile"));
    EXPECT_EQ(96u, sizeOf("pitch class porofile key correlation"));
    EXPECT_EQ(24u, sizeOf("pitch class profile tonal centroid"));
    EXPECT_EQ(8u, sizeOf("dominant key"));
    EXPECT_EQ(8u, sizeOf("global key"));
    EXPECT_EQ(0u, sizeOf("harmonic pitch class profile"));
    EXPECT_EQ(0u, sizeOf("pitch class profile key correlation"));
}

TEST(ChromaGeneratorTest, AKeyOfAnotherObjectIsAnEmptyDictionary) {
    core::AAChromaPropertiesGenerator generator(1, kRate, 8192, 512, 4096, 0, Ignore, nullptr);
    std::array<float, 12> values{};
    const QelAudioAnalysisBlock block{values.data(), 48};
    for (const char* key : {"tempo", "no such key"}) {
        const CFOwner<CFPropertyListRef> dictionary(generator.CreateCFRepresentation(
            kCFAllocatorDefault, MakeString(key).Get(), 1, &block));
        ASSERT_NE(nullptr, dictionary.Get());
        ASSERT_EQ(CFDictionaryGetTypeID(), CFGetTypeID(dictionary.Get()));
        EXPECT_EQ(0, CFDictionaryGetCount(static_cast<CFDictionaryRef>(dictionary.Get())));
    }
}

TEST(ChromaGeneratorTest, ANullListIsRefused) {
    core::AAChromaPropertiesGenerator generator(1, kRate, 8192, 512, 4096, 0, Ignore, nullptr);
    EXPECT_EQ(0, generator.ReadyAnalysis());
    EXPECT_EQ(-3873, generator.PushAudio(nullptr, 0));
}

} // namespace
} // namespace qel::test
