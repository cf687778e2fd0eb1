// Runs that share a directory for their outputs, at the same time.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

constexpr int kRateHz = 48000;
const std::string kTable = "temporal-properties.csv";

class AnalyzeParallelTest : public testing::Test {
protected:
    // A file of audio whose first block has its period in it.
    std::string Write(const std::string& name, double periodSamples) const {
        const std::string path = mDirectory.File(name);
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        WriteFloatWav(path, kRateHz, {Sine(9600, periodSamples, 0.5)});
        return path;
    }

    Strings Command(const std::string& input, const Strings& more = {}) const {
        Strings command{ToolPath(), "analyze", "--format",
                        "csv",      "--keys",  "temporal properties,spectrum flux properties",
                        "--output", mOut,      input};
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }

    // The directories and files of an input whose outputs are complete.
    Strings Complete(const std::string& input) const {
        const std::string name = OutputName(input);
        return {name, name + "/spectrum-flux-properties.csv", name + "/" + kTable};
    }

    TempDirectory mDirectory;
    std::string mOut = mDirectory.File("out");
    ChildSetup mSetup{.workingDirectory = mDirectory.Path(), .seconds = 60};
};

TEST_F(AnalyzeParallelTest, EqualNamesOfOtherDirectoriesHaveTheResultsOfASingleRun) {
    const Strings inputs{Write("A/01.wav", 100), Write("B/01.wav", 30), Write("01.wav", 10)};
    const ChildResult result =
        RunChild({"sh", "-c",
                  "printf '%s\\n' A/01.wav B/01.wav 01.wav | xargs -P3 -n1 \"$0\" analyze "
                  "--format csv --keys 'temporal properties' --output out",
                  ToolPath()},
                 mSetup);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(mDirectory.Entries("out").size(), 6u);
    const std::string together = mDirectory.File("together");
    Strings all{"analyze",  "--format", "csv",    "--keys",   "temporal properties",
                "--output", together,   "01.wav", "B/01.wav", "A/01.wav"};
    EXPECT_EQ(RunTool(all, mSetup).status, 0);
    EXPECT_EQ(mDirectory.Entries("together"), mDirectory.Entries("out"));
    for (const std::string& input : inputs) {
        const std::string table = ReadFile(OutputPath(mOut, input, kTable));
        EXPECT_FALSE(table.empty());
        EXPECT_EQ(ReadFile(OutputPath(together, input, kTable)), table);
    }
}

TEST_F(AnalyzeParallelTest, RowsTellTheirAudioAsItWasGiven) {
    Write("A/a, \"b\".wav", 100);
    const ChildResult result = RunTool({"analyze", "A/a, \"b\".wav", "--format", "csv", "--keys",
                                        "temporal properties", "--block", "9600"},
                                       mSetup);
    EXPECT_EQ(result.out.substr(0, result.out.find('\n')),
              "time,zero crossing rate,root mean square energy,amplitude envelope,file");
    const std::string end = ",\"A/a, \"\"b\"\".wav\"\n";
    EXPECT_EQ(result.out.find(end), result.out.size() - end.size()) << result.out;
}

TEST_F(AnalyzeParallelTest, OneOfThoseWhoAnalyzeTheSameFileDeliversAll) {
    const std::string input = Write("01.wav", 100);
    constexpr int kTimes = 4;
    for (int i = 0; i < kTimes; ++i) {
        std::deque<ChildProcess> children;
        for (int c = 0; c < 3; ++c) {
            children.emplace_back(Command(input), mSetup);
        }
        int good = 0;
        for (ChildProcess& child : children) {
            const ChildResult result = child.Wait();
            good += result.status == 0 ? 1 : 0;
            if (result.status != 0) {
                EXPECT_EQ(result.status, 1);
                EXPECT_NE(result.err.find(" exists already; --overwrite replaces it\n"),
                          std::string::npos)
                    << result.err;
            }
        }
        EXPECT_EQ(good, 1);
        EXPECT_EQ(mDirectory.Entries("out"), Complete(input));
        std::filesystem::remove_all(mOut);
    }
}

TEST_F(AnalyzeParallelTest, FilesThatFailBesideOthersTakeNothingOfThemAway) {
    // What fails makes the directory, and would take it away again.
    const std::string good = Write("good.wav", 100);
    const std::string bad = Write("bad.wav", 100);
    const std::string whole = ReadFile(bad);
    WriteFile(bad, whole.substr(0, whole.size() - 4));
    constexpr int kTimes = 4;
    for (int i = 0; i < kTimes; ++i) {
        ChildProcess first(Command(bad), mSetup);
        ChildProcess second(Command(good), mSetup);
        ChildProcess third(Command(bad), mSetup);
        EXPECT_EQ(first.Wait().status, 1);
        const ChildResult result = second.Wait();
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(third.Wait().status, 1);
        Strings entries = mDirectory.Entries("out");
        std::erase(entries, OutputName(bad)); // made by the one, in use by the other
        EXPECT_EQ(entries, Complete(good));
        std::filesystem::remove_all(mOut);
    }
}

TEST_F(AnalyzeParallelTest, AKilledRunLeavesNoFile) {
    const int nameless = open(mDirectory.Path().c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (nameless < 0) {
        GTEST_SKIP() << "the file system knows no files without a name";
    }
    close(nameless);
    const std::string input = mDirectory.File("long.wav");
    WriteRepeatedWav(input, kRateHz, Noise(kRateHz, 0.5f), 1200);
    ChildProcess child(Command(input), mSetup);
    for (int i = 0; i < 3000 && mDirectory.Entries("out").empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    child.Send(SIGKILL);
    EXPECT_EQ(child.Wait().signal, SIGKILL);
    EXPECT_EQ(mDirectory.Entries("out"), Strings{OutputName(input)});
}

} // namespace
} // namespace qel::tool
