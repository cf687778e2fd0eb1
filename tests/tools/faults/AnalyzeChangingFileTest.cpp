// Audio that changes on the disk while it is analyzed. The tool is held up by a pipe that is full,
// in the middle of a file, until the change is made.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <poll.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

constexpr std::size_t kFrames = 60 * 48000;
constexpr std::size_t kBlock = 128;

class AnalyzeChangingFileTest : public testing::Test {
protected:
    AnalyzeChangingFileTest() { WriteRepeatedWav(mInput, 48000, Noise(48000, 0.5f), 60); }

    // Analyzes a file that changes when the tool has written some of its results, which are
    // several times of what a pipe holds. Gives the tool's end and all that it wrote.
    static ChildResult Analyze(const std::string& path, const std::function<void()>& change) {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        ChildProcess child({ToolPath(), "analyze", path, "--keys", "temporal properties", "--block",
                            std::to_string(kBlock), "--format", "csv"},
                           {.outDescriptor = ends[1], .seconds = 120});
        close(ends[1]);
        std::string text;
        std::array<char, 65536> chunk{};
        ssize_t count = read(ends[0], chunk.data(), 1);
        change();
        while (count > 0) {
            text.append(chunk.data(), static_cast<std::size_t>(count));
            count = read(ends[0], chunk.data(), chunk.size());
        }
        close(ends[0]);
        ChildResult result = child.Wait();
        result.out = text;
        return result;
    }

    static std::size_t Rows(const std::string& text) {
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    }

    TempDirectory mDirectory;
    std::string mInput = mDirectory.File("input.wav");
};

TEST_F(AnalyzeChangingFileTest, AFileThatIsRemovedMeanwhileIsReadToItsEnd) {
    const ChildResult result = Analyze(mInput, [&] { std::filesystem::remove(mInput); });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(Rows(result.out), 1 + kFrames / kBlock);
}

TEST_F(AnalyzeChangingFileTest, AFileThatIsCutMeanwhileFails) {
    // The pipe and the buffers before it hold no more than the first half.
    constexpr std::size_t kLeft = kFrames * 9 / 10;
    const ChildResult result =
        Analyze(mInput, [&] { std::filesystem::resize_file(mInput, 44 + 2 * kLeft); });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "qel: " + mInput + ": is truncated: it states " +
                              std::to_string(kFrames) + " frames, and " + std::to_string(kLeft) +
                              " could be decoded\n");
    EXPECT_LE(Rows(result.out), 1 + kLeft / kBlock);
}

TEST_F(AnalyzeChangingFileTest, AFileThatIsEmptiedMeanwhileFails) {
    for (const std::string extension : {"wav", "flac", "m4a"}) {
        const std::string coded = mDirectory.File("coded." + extension);
        Encode(mInput, coded, {});
        const ChildResult result = Analyze(coded, [&] { std::filesystem::resize_file(coded, 0); });
        EXPECT_EQ(result.status, 1) << extension;
        EXPECT_EQ(result.err.find("qel: " + coded + ": is "), 0u) << result.err;
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
    }
}

TEST_F(AnalyzeChangingFileTest, WhatIsAppendedMeanwhileIsNoAudioOfTheFile) {
    const std::string more(100000, '\x11');
    const ChildResult result = Analyze(mInput, [&] { WriteFile(mInput, ReadFile(mInput) + more); });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(Rows(result.out), 1 + kFrames / kBlock);
}

} // namespace
} // namespace qel::tool
