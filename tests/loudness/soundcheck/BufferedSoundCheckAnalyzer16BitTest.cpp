// Audio of other formats than float, through the platform's converter.

#include "loudness/soundcheck/BufferedSoundCheckAnalyzer.h"
#include "tests/loudness/soundcheck/SoundCheckTesting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace qel::core {
namespace {

using test::FiguresOf;
using test::Interleaved16Bit;
using test::InterleavedFloat;
using test::kStep;

constexpr double kRateHz = 44100.0;

// Every sample of RoughNoise is a 16-bit one.
std::vector<SInt16> Integers(const std::vector<float>& samples) {
    std::vector<SInt16> integers;
    for (const float sample : samples) {
        integers.push_back(static_cast<SInt16>(sample * 32768.0f));
    }
    return integers;
}

void PushInPieces(BufferedSoundCheckAnalyzer& analyzer, const void* samples, std::size_t frames,
                  std::size_t bytesPerFrame, UInt32 channels, std::size_t piece) {
    for (std::size_t at = 0; at < frames; at += piece) {
        const std::size_t count = std::min(piece, frames - at);
        const AudioBufferList list =
            test::ListOf(static_cast<const unsigned char*>(samples) + at * bytesPerFrame,
                         count * bytesPerFrame, channels);
        ASSERT_EQ(0, analyzer.ProcessBuffer(static_cast<UInt32>(count), list, nullptr));
    }
    EXPECT_EQ(0, analyzer.Finish());
}

TEST(BufferedSoundCheckAnalyzer16BitTest,
     SamplesOf16BitsGiveTheFiguresOfTheSameFloatsInPiecesOfEverySize) {
    for (const UInt32 channels : {1u, 2u}) {
        const std::size_t frames = 3 * kStep + 555;
        const std::vector<float> floats = test::RoughNoise(frames * channels, channels);
        const std::vector<SInt16> integers = Integers(floats);
        BufferedSoundCheckAnalyzer expected("floats"), analyzer("integers");
        ASSERT_EQ(0, expected.Start(InterleavedFloat(kRateHz, channels), nullptr, nullptr, 0));
        PushInPieces(expected, floats.data(), frames, 4 * channels, channels, 1024);
        ASSERT_GT(expected.GetData()->averageLoudness[channels - 1], 0u);
        for (const std::size_t piece : {std::size_t{1}, std::size_t{1000}, std::size_t{kStep},
                                        std::size_t{kStep + 1}, frames}) {
            ASSERT_EQ(0, analyzer.Start(Interleaved16Bit(kRateHz, channels), nullptr, nullptr, 0));
            PushInPieces(analyzer, integers.data(), frames, 2 * channels, channels, piece);
            EXPECT_EQ(FiguresOf(*expected.GetData()), FiguresOf(*analyzer.GetData()))
                << channels << ' ' << piece;
        }
    }
}

TEST(BufferedSoundCheckAnalyzer16BitTest, ATrackBelowOneStepHasNoFigures) {
    const std::vector<SInt16> loud(kStep - 1, 32767);
    BufferedSoundCheckAnalyzer analyzer("integers");
    ASSERT_EQ(0, analyzer.Start(Interleaved16Bit(kRateHz, 1), nullptr, nullptr, 0));
    PushInPieces(analyzer, loud.data(), loud.size(), 2, 1, 5000);
    EXPECT_EQ((std::array<test::Figures, 2>{}), FiguresOf(*analyzer.GetData()));
}

TEST(BufferedSoundCheckAnalyzer16BitTest, TheLowest16BitSampleHasThePeak32768) {
    std::vector<SInt16> samples(kStep, 0);
    samples[100] = -32768;
    BufferedSoundCheckAnalyzer analyzer("integers");
    ASSERT_EQ(0, analyzer.Start(Interleaved16Bit(kRateHz, 1), nullptr, nullptr, 0));
    PushInPieces(analyzer, samples.data(), samples.size(), 2, 1, kStep);
    EXPECT_EQ(32768, analyzer.GetData()->peakLevel[0]);
}

TEST(BufferedSoundCheckAnalyzer16BitTest, MoreThanTwoChannelsAreRefused) {
    BufferedSoundCheckAnalyzer analyzer("integers");
    EXPECT_NE(0, analyzer.Start(Interleaved16Bit(kRateHz, 3), nullptr, nullptr, 0));
    EXPECT_EQ(nullptr, analyzer.GetData());
}

TEST(BufferedSoundCheckAnalyzer16BitTest,
     AFormatThatTheConverterDoesNotKnowIsRefusedWithItsStatus) {
    CAStreamBasicDescription format;
    format.mSampleRate = kRateHz;
    format.mFormatID = kAudioFormatMPEG4AAC;
    format.mFramesPerPacket = 1024;
    format.mChannelsPerFrame = 2;
    BufferedSoundCheckAnalyzer analyzer("packets");
    EXPECT_EQ(kAudioConverterErr_FormatNotSupported, analyzer.Start(format, nullptr, nullptr, 0));
    EXPECT_EQ(kAudioConverterErr_FormatNotSupported, analyzer.StartStatus());
    EXPECT_EQ(nullptr, analyzer.GetData());
}

CAStreamBasicDescription Planar16Bit(UInt32 channels) {
    CAStreamBasicDescription format = Interleaved16Bit(kRateHz, channels);
    format.mFormatFlags |= UInt32{kAudioFormatFlagIsNonInterleaved};
    format.mBytesPerFrame = 2;
    format.mBytesPerPacket = 2;
    return format;
}

TEST(BufferedSoundCheckAnalyzer16BitTest, OneChannelInABufferOfItsOwnIsTakenAsInterleavedOneIs) {
    const std::vector<SInt16> samples = Integers(test::RoughNoise(2 * kStep, 1));
    BufferedSoundCheckAnalyzer planar("planar"), interleaved("interleaved");
    ASSERT_EQ(0, planar.Start(Planar16Bit(1), nullptr, nullptr, 0));
    ASSERT_EQ(0, interleaved.Start(Interleaved16Bit(kRateHz, 1), nullptr, nullptr, 0));
    PushInPieces(planar, samples.data(), samples.size(), 2, 1, 1000);
    PushInPieces(interleaved, samples.data(), samples.size(), 2, 1, 1000);
    ASSERT_GT(interleaved.GetData()->averageLoudness[0], 0u);
    EXPECT_EQ(FiguresOf(*interleaved.GetData()), FiguresOf(*planar.GetData()));
}

// The analyzer hands on the first buffer of a list, and the converter misses the second.
TEST(BufferedSoundCheckAnalyzer16BitTest, TwoChannelsInBuffersOfTheirOwnAreRefusedByTheConverter) {
    const std::vector<SInt16> samples(kStep, 10000);
    BufferedSoundCheckAnalyzer analyzer("planar");
    ASSERT_EQ(0, analyzer.Start(Planar16Bit(2), nullptr, nullptr, 0));
    const AudioBufferList list = test::ListOf(samples.data(), 2 * samples.size(), 1);
    EXPECT_EQ(kAudio_ParamError, analyzer.ProcessBuffer(kStep, list, nullptr));
    EXPECT_EQ((std::array<test::Figures, 2>{}), FiguresOf(*analyzer.GetData()));
}

TEST(BufferedSoundCheckAnalyzer16BitTest, FramesThatTheBufferDoesNotHoldAreNotThere) {
    const std::vector<SInt16> loud(kStep - 1, 32767);
    BufferedSoundCheckAnalyzer analyzer("integers");
    ASSERT_EQ(0, analyzer.Start(Interleaved16Bit(kRateHz, 1), nullptr, nullptr, 0));
    const AudioBufferList list = test::ListOf(loud.data(), 2 * loud.size(), 1);
    EXPECT_EQ(0, analyzer.ProcessBuffer(kStep, list, nullptr));
    EXPECT_EQ(0, analyzer.GetData()->peak[0]); // one frame short of a step
}

} // namespace
} // namespace qel::core
