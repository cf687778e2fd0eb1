#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <QelMedia.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace qel::media {
namespace {

using namespace test;

std::string Coded(const Planes& planes, int rateHz, std::size_t piece) {
    OpusEncoder encoder(rateHz, planes.size());
    for (std::size_t at = 0; at < planes[0].size(); at += piece) {
        std::vector<const float*> channels;
        for (const auto& plane : planes) {
            channels.push_back(plane.data() + at);
        }
        encoder.write(channels, std::min(piece, planes[0].size() - at));
    }
    return encoder.finish();
}

TEST(OpusEncoderTest, ItsFilesHaveTheLengthAndTheLevelOfWhatWasWritten) {
    const auto tone = Sine(2 * 44100 + 123, 44100.0 / 440, 0.5);
    const TempDirectory directory;
    WriteFile(directory.File("a.opus"), Coded({tone, tone}, 44100, 4096));
    Reader file(directory.File("a.opus"), {.blockFrames = 1u << 20u});
    EXPECT_EQ(file.sampleRateHz(), 48000);
    const Block block = file.read();
    EXPECT_EQ(block.channels.size(), 2u);
    EXPECT_NEAR(static_cast<double>(block.frames), (2 * 44100 + 123) * 48000.0 / 44100, 2);
    double energy = 0;
    for (std::size_t i = 0; i < block.frames; ++i) {
        energy += double{block.channels[1][i]} * block.channels[1][i];
    }
    EXPECT_NEAR(std::sqrt(energy / static_cast<double>(block.frames)), 0.5 / std::sqrt(2), 0.01);
}

TEST(OpusEncoderTest, TheBytesDoNotDependOnThePieces) {
    const Planes noise{Noise(30000, 0.3f)};
    EXPECT_EQ(Coded(noise, 48000, 30000), Coded(noise, 48000, 777));
}

TEST(OpusEncoderTest, NothingIsAFileToo) {
    OpusEncoder encoder(44100, 1);
    EXPECT_TRUE(encoder.finish().starts_with("OggS"));
}

TEST(OpusEncoderTest, AnEncoderThatIsNotFinishedLeaksNothing) {
    OpusEncoder encoder(44100, 1);
    const std::vector<float> samples(5000, 0.1f);
    const float* channel = samples.data();
    encoder.write(std::span(&channel, 1), samples.size());
}

TEST(OpusEncoderTest, OtherNumbersOfChannelsAreRefused) {
    EXPECT_THROW(OpusEncoder(48000, 0), std::invalid_argument);
    EXPECT_THROW(OpusEncoder(48000, 3), std::invalid_argument);
    EXPECT_THROW(OpusEncoder(0, 1), std::invalid_argument);
}

} // namespace
} // namespace qel::media
