// The records that a client gets from a generator whose analyzer works: the loudest place and the
// highest sample have times of their own.

#include "loudness/soundcheck/AABreloSoundCheckGenerator.h"
#include "tests/loudness/soundcheck/LoudnessAgreementTesting.h"
#include "tests/loudness/soundcheck/LoudnessFiguresTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace qel::test {
namespace {

constexpr unsigned kRate = 44100;

// As slot 12's, but for a format that its analyzer takes.
class WorkingSoundCheck : public core::AABreloSoundCheckGenerator {
public:
    using AABreloSoundCheckGenerator::AABreloSoundCheckGenerator;

private:
    void AllocateBuffers() override {
        mAnalyzer = new core::BufferedSoundCheckAnalyzer("blocks");
        EXPECT_EQ(0, mAnalyzer->Start(FloatFormat(kRate, 1), nullptr, nullptr, 0));
    }
};

void KeepLast(void*, CFStringRef, UInt32 count, QelAudioAnalysisBlock* blocks, void* last) {
    ASSERT_EQ(1u, count);
    ASSERT_EQ(sizeof(core::SoundCheckBlock), blocks[0].mDataByteSize);
    std::memcpy(last, blocks[0].mData, sizeof(core::SoundCheckBlock));
}

// Of three steps, each 743.04 ms long, the second has a sine of the energy 5e12 and the third a
// click, which has a higher peak and less energy.
TEST(LoudnessBlocksAgreementTest, TheLoudestPlaceAndTheHighestSampleHaveTimesOfTheirOwn) {
    Stream stream(3 * kStepFrames);
    const Excerpt sine = SineExcerpt(70, AmplitudeForEnergy(5.0005e12, 70, kRate));
    std::ranges::copy(sine, stream.begin() + kStepFrames);
    stream[2 * kStepFrames + 512] = -1.0f;
    ReferenceLoudness reference(kRate, 1);
    reference.AddRun(stream.data(), 3 * kStepFrames);
    const ReferenceFigures expected = reference.Figures(0);
    ASSERT_GT(expected.maxMargin, 0.5);

    core::SoundCheckBlock last{};
    WorkingSoundCheck generator(1, kRate, 3 * kStepFrames, 0, KeepLast, &last);
    generator.ReadyAnalysis();
    AudioBufferList list{1, {{1, static_cast<UInt32>(stream.size() * 4), stream.data()}}};
    ASSERT_EQ(0, generator.PushAudio(&list, 3 * kStepFrames));
    for (const bool finished : {false, true}) {
        if (finished) {
            EXPECT_EQ(0, generator.ProcessFinal(1));
        }
        EXPECT_EQ(0u, last.version);
        EXPECT_PRED2(IsTruncated, last.averageLoudness, finished ? expected.averageLoudness : 0.0);
        EXPECT_EQ(finished ? 5000u : 0u, last.maxLoudness);
        EXPECT_EQ(743.0, last.maxLoudnessTime);
        EXPECT_EQ(32768u, last.peakLevel);
        EXPECT_EQ(1486.0, last.peakTime);
    }
}

} // namespace
} // namespace qel::test
