#include "output/files/ResultFiles.h"

#include "output/files/Interrupt.h"
#include "output/files/OutputError.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace qel::output {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

TEST(ResultFilesTest, NoFileTakesThePlaceOfAnInput) {
    const TempDirectory directory;
    const std::string name = OutputName("a.wav");
    std::filesystem::create_directory(directory.File(name));
    WriteFile(directory.File(name + "/input"), "audio");
    std::filesystem::create_symlink("input", directory.File(name + "/link"));
    ResultFiles files(directory.Path(),
                      {directory.File(name + "/input"), directory.File("missing")},
                      Existing::Replace);
    files.Begin("a.wav");
    EXPECT_THROW(files.Add("input"), OutputError);
    EXPECT_THROW(files.Add("link"), OutputError);
    files.Add("other");
    files.Commit();
    EXPECT_EQ(directory.Entries(name), (Strings{"input", "link", "other"}));
    EXPECT_EQ(ReadFile(directory.File(name + "/input")), "audio");
}

TEST(ResultFilesTest, FilesAreNamedAfterTheKeyAndTheChannelIfThereAreSeveral) {
    EXPECT_EQ(ResultFiles::KeyName("generic spectrum properties"), "generic-spectrum-properties");
    EXPECT_EQ(ResultFiles::ChannelSuffix(0, 1), "");
    EXPECT_EQ(ResultFiles::ChannelSuffix(0, 2), "-ch0");
    EXPECT_EQ(ResultFiles::ChannelSuffix(11, 12), "-ch11");
}

TEST(ResultFilesTest, FilesGetTheirNamesWhenAllAreComplete) {
    const TempDirectory directory;
    const std::string out = directory.File("deep/out");
    ResultFiles files(out);
    files.Begin("a.wav");
    files.Add("one.txt");
    files.Add("two.txt");
    files.Sink(0).Append("1");
    files.Sink(1).Append("2");
    EXPECT_FALSE(std::filesystem::exists(OutputPath(out, "a.wav", "one.txt")));
    EXPECT_FALSE(std::filesystem::exists(OutputPath(out, "a.wav", "two.txt")));
    files.Commit();
    EXPECT_EQ(directory.Entries("deep/out/" + OutputName("a.wav")),
              (Strings{"one.txt", "two.txt"}));
    EXPECT_EQ(ReadFile(OutputPath(out, "a.wav", "one.txt")), "1");
    EXPECT_EQ(ReadFile(OutputPath(out, "a.wav", "two.txt")), "2");
}

TEST(ResultFilesTest, AFileThatAppearsMeanwhileKeepsAllNewOnesOut) {
    const TempDirectory directory;
    ResultFiles files(directory.Path());
    files.Begin("a.wav");
    for (const char* name : {"one.txt", "two.txt", "three.txt"}) {
        files.Add(name);
    }
    WriteFile(OutputPath(directory.Path(), "a.wav", "two.txt"), "of somebody else");
    EXPECT_THROW(files.Commit(), OutputExists);
    files.Drop();
    EXPECT_EQ(directory.Entries(OutputName("a.wav")), Strings{"two.txt"});
    EXPECT_EQ(ReadFile(OutputPath(directory.Path(), "a.wav", "two.txt")), "of somebody else");
}

TEST(ResultFilesTest, WhatIsDroppedLeavesTheCompleteFilesAndNothingElse) {
    const TempDirectory directory;
    ResultFiles files(directory.File("out"));
    files.Begin("a.wav");
    files.Add("one.txt");
    files.Commit();
    files.Begin("b.wav");
    files.Add("two.txt");
    files.Drop();
    const std::string name = OutputName("a.wav");
    EXPECT_EQ(directory.Entries("out"), (Strings{name, name + "/one.txt"}));
}

// Signals are sent as soon as the first of many files has its name.
TEST(ResultFilesTest, TwoSignalsAmongTheNamesLeaveAllFilesOrNone) {
    constexpr int kFiles = 400;
    const TempDirectory directory;
    const std::string out = directory.File("out");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        Interrupt::Install();
        ResultFiles files(out);
        files.Begin("a.wav");
        for (int i = 0; i < kFiles; ++i) {
            files.Add(std::to_string(i));
        }
        files.Commit();
        alarm(600);    // if nobody is left to send them
        while (true) { // they may come later than all names
            pause();
        }
    }
    const std::string first = OutputPath(out, "a.wav", "0");
    int status = 0;
    while (!std::filesystem::exists(first)) {
        ASSERT_EQ(waitpid(child, &status, WNOHANG), 0) << "ended before the signals";
    }
    kill(child, SIGTERM);
    kill(child, SIGINT);
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(directory.Entries("out/" + OutputName("a.wav")).size(), std::size_t{kFiles});
}

TEST(ResultFilesTest, DirectoriesMadeForNothingAreTakenAwayAtTheEnd) {
    const TempDirectory directory;
    {
        ResultFiles files(directory.File("deep/out"));
        files.Begin("a.wav");
        files.Add("one.txt");
        EXPECT_FALSE(directory.Entries().empty());
    }
    EXPECT_EQ(directory.Entries(), Strings{});
}

TEST(ResultFilesTest, RefusesADirectoryThatCannotBe) {
    const TempDirectory directory;
    WriteFile(directory.File("file"), "");
    ResultFiles files(directory.File("file/out"));
    EXPECT_THROW(files.Begin("a.wav"), OutputError);
}

} // namespace
} // namespace qel::output
