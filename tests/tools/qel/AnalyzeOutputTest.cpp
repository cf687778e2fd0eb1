#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"
#include "tests/tools/qel/SineInput.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

class AnalyzeOutputTest : public SineInput {};

TEST_F(AnalyzeOutputTest, JsonInAFileIsThatOfStandardOutput) {
    const std::string output = mDirectory.File("out.json");
    const ChildResult toFile = RunTool({"analyze", mInput, "--output", output}, mSetup);
    EXPECT_EQ(toFile.status, 0) << toFile.err;
    EXPECT_EQ(toFile.out, "");
    EXPECT_EQ(ReadFile(output), RunTool({"analyze", mInput}, mSetup).out);
    ExpectOnly({"out.json"});
}

TEST_F(AnalyzeOutputTest, TwoRunsGiveTheSameBytes) {
    EXPECT_EQ(RunTool({"analyze", mInput, "--all"}).out, RunTool({"analyze", mInput, "--all"}).out);
}

TEST_F(AnalyzeOutputTest, AnOutputThatCannotBeIsOneLineAndStatusOne) {
    const std::string directory = mDirectory.Path();
    const std::vector<std::pair<std::string, std::string>> faults{
        {directory, directory + ": cannot write: Is a directory"},
        {directory + "/", directory + "/: cannot write: Is a directory"},
        {directory + "/none/", directory + "/none/: cannot write: Is a directory"},
        {mInput + "/out.json", mInput + ": cannot make this directory: Not a directory"}};
    for (const auto& [output, fault] : faults) {
        const ChildResult result = RunTool({"analyze", mInput, "--output", output}, mSetup);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "qel: " + fault + "\n");
    }
    ExpectOnly({});
}

TEST_F(AnalyzeOutputTest, AFullStandardOutputIsOneLineAndStatusOne) {
    ChildSetup full = mSetup;
    full.outPath = "/dev/full";
    for (const Strings& arguments :
         {Strings{"analyze", mInput}, Strings{"keys"}, Strings{"describe", "spectrum"},
          Strings{"--help"}, Strings{"analyze", "--help"}, Strings{"--version"},
          Strings{"analyze", mInput, "--format", "csv", "--keys", "spectrum"}}) {
        const ChildResult result = RunTool(arguments, full);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "qel: standard output: cannot write: No space left on device\n");
    }
    ExpectOnly({});
}

TEST_F(AnalyzeOutputTest, AFullDiskLeavesNothingBehind) {
    ChildSetup small = mSetup;
    small.largestFile = 100000; // the results take more than that
    const ChildResult csv =
        RunTool({"analyze", mInput, "--format", "csv", "--output", mDirectory.File("out")}, small);
    EXPECT_EQ(csv.status, 1);
    EXPECT_EQ(csv.err.find("qel: " + mDirectory.File("out/")), 0u) << csv.err;
    EXPECT_NE(csv.err.find("cannot write: File too large\n"), std::string::npos) << csv.err;
    const ChildResult json =
        RunTool({"analyze", mInput, "--output", mDirectory.File("out.json")}, small);
    EXPECT_EQ(json.status, 1);
    EXPECT_NE(json.err.find("cannot write: File too large\n"), std::string::npos) << json.err;
    ExpectOnly({});
}

TEST_F(AnalyzeOutputTest, AReaderThatGoesAwayIsNoReasonToComplain) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0); // or the child would be a reader itself
    ChildSetup piped = mSetup;
    piped.outDescriptor = ends[1];
    ChildProcess child({ToolPath(), "analyze", mInput, "--all"}, piped);
    close(ends[1]);
    std::array<char, 10> first{};
    EXPECT_EQ(read(ends[0], first.data(), first.size()), 10);
    close(ends[0]);
    const ChildResult result = child.Wait();
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    ExpectOnly({});
}

TEST_F(AnalyzeOutputTest, AnInterruptRemovesWhatIsIncomplete) {
    // Long enough to be still at work when the signal comes.
    WriteRepeatedWav(mInput, 48000, Noise(48000, 0.5f), 1200);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ChildProcess child(
            {ToolPath(), "analyze", mInput, "--format", "csv", "--output", mDirectory.File("out")},
            mSetup);
        for (int i = 0; i < 1000 && mDirectory.Entries("out").empty(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_FALSE(mDirectory.Entries("out").empty());
        child.Send(signal);
        EXPECT_EQ(child.Wait().signal, signal);
        ExpectOnly({});
    }
}

} // namespace
} // namespace qel::tool
