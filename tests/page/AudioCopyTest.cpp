#include "page/AudioCopy.h"

#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qel::page {
namespace {

using namespace test;

AudioCopy CopyOf(const std::string& path) {
    media::Reader file(path);
    while (file.read().frames > 0) {
    }
    return AudioCopy(path, file.report());
}

TEST(AudioCopyTest, WhatBrowsersPlayIsTakenAsItIs) {
    const TempDirectory directory;
    WriteWav(directory.File("a.wav"), 44100, {Noise(44100, 0.5f)});
    Encode(directory.File("a.wav"), directory.File("a.flac"), {});
    for (const auto& [name, type] : {std::pair{"a.wav", "audio/wav"}, {"a.flac", "audio/flac"}}) {
        const AudioCopy copy = CopyOf(directory.File(name));
        EXPECT_EQ(copy.Type(), type);
        EXPECT_FALSE(copy.IsCoded());
        EXPECT_EQ(copy.Bytes(), ReadFile(directory.File(name)));
    }
}

// A click keeps its place to a millisecond, and the length is the same to a millisecond, at a rate
// that is converted and at Opus's own.
TEST(AudioCopyTest, OtherFormatsAreCodedAnewInTheirPlace) {
    for (const int rateHz : {44100, 48000}) {
        const TempDirectory directory;
        const auto second = static_cast<std::size_t>(rateHz);
        WriteWav(directory.File("a.wav"), rateHz,
                 {test::Click(3 * second, second), test::Click(3 * second, second)});
        Encode(directory.File("a.wav"), directory.File("a.aiff"), {});
        const AudioCopy copy = CopyOf(directory.File("a.aiff"));
        EXPECT_TRUE(copy.IsCoded());
        WriteFile(directory.File("copy"), std::string(copy.Bytes()));
        media::Reader file(directory.File("copy"), {.blockFrames = 1u << 20u});
        const media::Block block = file.read();
        const auto* greatest =
            std::max_element(block.channels[0], block.channels[0] + block.frames,
                             [](float a, float b) { return std::abs(a) < std::abs(b); });
        const double copyRateHz = file.sampleRateHz();
        EXPECT_NEAR(static_cast<double>(greatest - block.channels[0]) / copyRateHz, 1, 0.001);
        EXPECT_NEAR(static_cast<double>(block.frames) / copyRateHz, 3, 0.001);
        EXPECT_EQ(block.channels.size(), 2u);
    }
}

} // namespace
} // namespace qel::page
