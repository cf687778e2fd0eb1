// Standard streams that are full, closed, or read by nobody.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <array>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

class AnalyzeStreamsTest : public testing::Test {
protected:
    AnalyzeStreamsTest() { WriteFloatWav(mInput, 48000, {Sine(4800, 48, 0.5)}); }

    TempDirectory mDirectory;
    std::string mInput = mDirectory.File("input.wav");
    std::string mMissing = mDirectory.File("missing.wav");
    ChildSetup mSetup{.seconds = 60};
};

TEST_F(AnalyzeStreamsTest, AFullStandardErrorLosesTheMessagesAndNothingElse) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    mSetup.errDescriptor = full;
    const ChildResult result = RunTool({"analyze", mMissing, mInput}, mSetup);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(Json::parse(result.out)["files"][1]["frames"], 4800);
    EXPECT_EQ(RunTool({"nonsense"}, mSetup).status, 2);
    EXPECT_EQ(RunTool({"analyze", mInput, "--output", mDirectory.Path()}, mSetup).status, 1);
    close(full);
}

TEST_F(AnalyzeStreamsTest, AStandardErrorThatNobodyReadsLosesTheMessagesAndNothingElse) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    close(ends[0]);
    mSetup.errDescriptor = ends[1];
    const ChildResult result = RunTool({"analyze", mMissing, mInput}, mSetup);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(Json::parse(result.out)["files"][1]["frames"], 4800);
    close(ends[1]);
}

// A file that is opened gets the lowest free number, and messages would end up in it.
TEST_F(AnalyzeStreamsTest, NoFileTakesThePlaceOfAStandardStreamThatIsClosed) {
    mSetup.closed = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
    const std::string output = mDirectory.File("out.json");
    const ChildResult result = RunTool({"analyze", mMissing, mInput, "--output", output}, mSetup);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(Json::parse(ReadFile(output))["files"][1]["frames"], 4800);
    const ChildResult csv = RunTool({"analyze", mMissing, mInput, "--keys", "temporal properties",
                                     "--format", "csv", "--output", mDirectory.File("out")},
                                    mSetup);
    EXPECT_EQ(csv.status, 1);
    EXPECT_EQ(ReadFile(OutputPath(mDirectory.File("out"), mInput, "temporal-properties.csv"))
                  .substr(0, 5),
              "time,");
    EXPECT_EQ(RunTool({"nonsense"}, mSetup).status, 2);
}

TEST_F(AnalyzeStreamsTest, AClosedStandardOutputIsOneLineAndStatusOne) {
    mSetup.closed = {STDOUT_FILENO};
    for (const Strings& arguments :
         {Strings{"analyze", mInput}, Strings{"keys"}, Strings{"describe", "spectrum"}}) {
        const ChildResult result = RunTool(arguments, mSetup);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "qel: standard output: cannot write: Bad file descriptor\n");
    }
}

// As "| head -1" does, which goes away while there is more to come.
TEST_F(AnalyzeStreamsTest, AReaderThatGoesAwayEndsEveryCommandQuietly) {
    for (const Strings& arguments :
         {Strings{"keys"}, Strings{"keys", "--json"}, Strings{"describe", "spectrum"},
          Strings{"--help"}, Strings{"--version"}, Strings{"analyze", mInput},
          Strings{"analyze", mMissing, "--quiet"},
          Strings{"analyze", mInput, "--format", "csv", "--keys", "spectrum"}}) {
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        close(ends[0]);
        mSetup.outDescriptor = ends[1];
        const ChildResult result = RunTool(arguments, mSetup);
        close(ends[1]);
        EXPECT_EQ(result.signal, 0) << arguments.front();
        EXPECT_EQ(result.status, 1) << arguments.front();
        const bool bad = arguments.size() > 1 && arguments[1] == mMissing;
        EXPECT_EQ(result.err, bad ? "qel: " + mMissing + ": No such file or directory\n" : "");
    }
}

} // namespace
} // namespace qel::tool
