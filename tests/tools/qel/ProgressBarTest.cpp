#include "tools/qel/ProgressBar.h"

#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace qel::tool {
namespace {

using namespace test;

// Both ends of a terminal that nobody looks at.
class Terminal {
public:
    Terminal() : mOuter(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        if (mOuter < 0 || grantpt(mOuter) != 0 || unlockpt(mOuter) != 0) {
            throw std::runtime_error("no terminal");
        }
        mInner = open(ptsname(mOuter), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    ~Terminal() {
        close(mInner);
        close(mOuter);
    }
    int Inner() const { return mInner; }

    // What was written to it and is waiting.
    std::string Read() const {
        std::string text;
        std::array<char, 4096> chunk{};
        pollfd ready{mOuter, POLLIN, 0};
        while (poll(&ready, 1, 0) > 0 && (ready.revents & POLLIN) != 0) {
            const ssize_t count = read(mOuter, chunk.data(), chunk.size());
            if (count <= 0) {
                break;
            }
            text.append(chunk.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

private:
    int mOuter;
    int mInner = -1;
};

TEST(ProgressBarTest, TellsTheFileAndHowFarItIs) {
    const Terminal terminal;
    ProgressBar bar(terminal.Inner(), true);
    bar.Begin("music/song.wav", 1000, 100);
    bar.Advance(500);
    EXPECT_EQ(terminal.Read(), "\r\x1b[Ksong.wav [###############               ]  50%");
    bar.Clear();
    EXPECT_EQ(terminal.Read(), "\r\x1b[K");
}

TEST(ProgressBarTest, ShowsSecondsWhereTheLengthIsNotKnown) {
    const Terminal terminal;
    ProgressBar bar(terminal.Inner(), true);
    bar.Begin("song.wav", 0, 100);
    bar.Advance(500);
    EXPECT_EQ(terminal.Read(), "\r\x1b[Ksong.wav 5 s");
}

TEST(ProgressBarTest, ALengthThatWasTooShortGivesNoMoreThanAll) {
    const Terminal terminal;
    ProgressBar bar(terminal.Inner(), true);
    bar.Begin("song.wav", 1000, 100);
    bar.Advance(5000);
    EXPECT_NE(terminal.Read().find("100%"), std::string::npos);
}

TEST(ProgressBarTest, TellsOfTheWorkAtTheEnd) {
    const Terminal terminal;
    ProgressBar bar(terminal.Inner(), true);
    bar.Begin("song.wav", 1000, 100);
    bar.Finishing(37.4f);
    EXPECT_EQ(terminal.Read(), "\r\x1b[Ksong.wav whole-stream results: 37%");
}

TEST(ProgressBarTest, IsNotDrawnAgainAtOnce) {
    const Terminal terminal;
    ProgressBar bar(terminal.Inner(), true);
    bar.Begin("song.wav", 1000000, 100);
    for (int i = 1; i <= 1000; ++i) {
        bar.Advance(i);
    }
    // A thousand steps take far less than the ten seconds of a hundred drawings.
    EXPECT_LT(terminal.Read().size(), 100 * std::string("\r\x1b[Ksong.wav").size());
}

TEST(ProgressBarTest, HiddenItWritesNothing) {
    const Terminal terminal;
    ProgressBar bar(terminal.Inner(), false);
    bar.Begin("song.wav", 1000, 100);
    bar.Advance(500);
    bar.Finishing(50);
    bar.Clear();
    EXPECT_EQ(terminal.Read(), "");
}

TEST(ProgressBarTest, TheToolShowsItOnATerminalOnlyAndNotWhenQuiet) {
    const TempDirectory directory;
    const std::string path = directory.File("noise.wav");
    WriteWav(path, 44100, {Noise(44100, 0.5f)});
    const std::vector<std::string> arguments{"analyze", path, "--overwrite", "--output",
                                             directory.File("o")};
    const Terminal terminal;

    EXPECT_EQ(RunTool(arguments, {.errDescriptor = terminal.Inner()}).status, 0);
    EXPECT_NE(terminal.Read().find("noise.wav ["), std::string::npos);

    std::vector<std::string> quiet = arguments;
    quiet.push_back("--quiet");
    EXPECT_EQ(RunTool(quiet, {.errDescriptor = terminal.Inner()}).status, 0);
    EXPECT_EQ(terminal.Read(), "");

    EXPECT_EQ(RunTool(arguments).err, "");
}

} // namespace
} // namespace qel::tool
