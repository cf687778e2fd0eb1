#include "tools/ResultFiles.h"

#include "tests/tools/TempDirectory.h"
#include "tools/ToolError.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using Strings = std::vector<std::string>;

TEST(ResultFilesTest, InputsKeepTheirNamesAndNeverShareOne) {
    EXPECT_EQ(ResultFiles::UniqueNames({"a/x.wav", "b/x.wav", "x.wav-2", "X.WAV", "x.mp3"}),
              (Strings{"x.wav", "x.wav-2", "x.wav-2-2", "X.WAV-3", "x.mp3"}));
}

TEST(ResultFilesTest, ManyEqualNamesTakeNoSearchThroughThoseBefore) {
    // To try all numbers for each of them would take five billion steps.
    const Strings names = ResultFiles::UniqueNames(Strings(100'000, "a/x.wav"));
    EXPECT_EQ(names.front(), "x.wav");
    EXPECT_EQ(names.back(), "x.wav-100000");
}

TEST(ResultFilesTest, NoFileTakesThePlaceOfAnInput) {
    const TempDirectory directory;
    WriteFile(directory.File("input"), "audio");
    std::filesystem::create_symlink("input", directory.File("link"));
    ResultFiles files(directory.Path(), {directory.File("input"), directory.File("missing")});
    EXPECT_THROW(files.Add("input"), OutputError);
    EXPECT_THROW(files.Add("link"), OutputError);
    files.Add("other");
    files.Commit();
    EXPECT_EQ(directory.Entries(), (Strings{"input", "link", "other"}));
    EXPECT_EQ(ReadFile(directory.File("input")), "audio");
}

TEST(ResultFilesTest, APathWithoutANameStillGetsOne) {
    EXPECT_EQ(ResultFiles::UniqueNames({"..", ".", "a/"}), (Strings{"file", "file-2", "file-3"}));
}

TEST(ResultFilesTest, OneInputAloneGetsNoDirectory) {
    EXPECT_EQ(ResultFiles::Directories({"a/x.wav"}), (Strings{""}));
    EXPECT_EQ(ResultFiles::Directories({"a/x.wav", "y.wav"}), (Strings{"x.wav", "y.wav"}));
}

TEST(ResultFilesTest, FilesAreNamedAfterTheKeyAndTheChannelIfThereAreSeveral) {
    EXPECT_EQ(ResultFiles::KeyName("generic spectrum properties"), "generic-spectrum-properties");
    EXPECT_EQ(ResultFiles::ChannelSuffix(0, 1), "");
    EXPECT_EQ(ResultFiles::ChannelSuffix(0, 2), "-ch0");
    EXPECT_EQ(ResultFiles::ChannelSuffix(11, 12), "-ch11");
}

TEST(ResultFilesTest, FilesGetTheirNamesWhenAllAreComplete) {
    const TempDirectory directory;
    ResultFiles files(directory.File("deep/out"));
    files.Add("one.txt");
    files.Add("below/two.txt");
    files.Sink(0).Append("1");
    files.Sink(1).Append("2");
    for (const std::string& entry : directory.Entries("deep/out")) {
        EXPECT_NE(entry, "one.txt");
        EXPECT_NE(entry, "below/two.txt");
    }
    files.Commit();
    EXPECT_EQ(directory.Entries("deep/out"), (Strings{"below", "below/two.txt", "one.txt"}));
    EXPECT_EQ(ReadFile(directory.File("deep/out/one.txt")), "1");
    EXPECT_EQ(ReadFile(directory.File("deep/out/below/two.txt")), "2");
}

TEST(ResultFilesTest, WhatIsDroppedLeavesTheCompleteFilesAndNothingElse) {
    const TempDirectory directory;
    ResultFiles files(directory.File("out"));
    files.Add("a/one.txt");
    files.Commit();
    files.Add("b/two.txt");
    files.Drop();
    EXPECT_EQ(directory.Entries("out"), (Strings{"a", "a/one.txt"}));
}

TEST(ResultFilesTest, DirectoriesMadeForNothingAreTakenAwayAtTheEnd) {
    const TempDirectory directory;
    {
        ResultFiles files(directory.File("deep/out"));
        files.Add("one.txt");
        EXPECT_FALSE(directory.Entries().empty());
    }
    EXPECT_EQ(directory.Entries(), Strings{});
}

TEST(ResultFilesTest, RefusesADirectoryThatCannotBe) {
    const TempDirectory directory;
    WriteFile(directory.File("file"), "");
    ResultFiles files(directory.File("file/out"));
    EXPECT_THROW(files.Add("one.txt"), OutputError);
}

} // namespace
} // namespace qel::tool
