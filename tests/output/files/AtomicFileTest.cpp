#include "output/files/AtomicFile.h"

#include "output/files/OutputError.h"
#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace qel::output {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

TEST(AtomicFileTest, AppearsWhenItIsComplete) {
    const TempDirectory directory;
    const std::string path = directory.File("out.txt");
    AtomicFile file(path);
    file.Sink().Append("whole");
    file.Sink().Flush();
    EXPECT_FALSE(std::filesystem::exists(path));
    file.Commit();
    EXPECT_EQ(ReadFile(path), "whole");
    EXPECT_EQ(directory.Entries(), Strings{"out.txt"});
}

TEST(AtomicFileTest, WhatIsNotCommittedVanishesAndTheOldFileStays) {
    const TempDirectory directory;
    const std::string path = directory.File("out.txt");
    WriteFile(path, "old");
    {
        AtomicFile file(path);
        file.Sink().Append("half");
        file.Sink().Flush();
    }
    EXPECT_EQ(ReadFile(path), "old");
    EXPECT_EQ(directory.Entries(), Strings{"out.txt"});
}

TEST(AtomicFileTest, TakesThePlaceOfTheOldFile) {
    const TempDirectory directory;
    const std::string path = directory.File("out.txt");
    WriteFile(path, "old and long");
    AtomicFile file(path);
    file.Sink().Append("new");
    file.Commit();
    EXPECT_EQ(ReadFile(path), "new");
}

TEST(AtomicFileTest, RefusesToTakeThePlaceOfAFileThatIsToStay) {
    const TempDirectory directory;
    const std::string path = directory.File("out.txt");
    AtomicFile file(path, Existing::Refuse);
    WriteFile(path, "old");
    EXPECT_THROW(file.Commit(), OutputExists);
    file.Withdraw(); // nothing of its own
    EXPECT_EQ(ReadFile(path), "old");
    EXPECT_THROW(AtomicFile(path, Existing::Refuse), OutputExists);
}

TEST(AtomicFileTest, IsGoneWhenItIsWithdrawnWhereItReplacedNothing) {
    const TempDirectory directory;
    AtomicFile file(directory.File("out.txt"), Existing::Refuse);
    file.Commit();
    EXPECT_EQ(directory.Entries(), Strings{"out.txt"});
    file.Withdraw();
    EXPECT_EQ(directory.Entries(), Strings{});
}

TEST(AtomicFileTest, GetsThePermissionsOfTheFileThatItReplaces) {
    const TempDirectory directory;
    const std::string path = directory.File("out.txt");
    for (const mode_t mode : {0600u, 0640u, 0444u, 0755u}) {
        WriteFile(path, "old");
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        AtomicFile file(path);
        file.Commit();
        struct stat made {};
        ASSERT_EQ(stat(path.c_str(), &made), 0);
        EXPECT_EQ(made.st_mode & 07777, mode);
        std::filesystem::remove(path);
    }
}

TEST(AtomicFileTest, ALinkToNothingGetsItsTarget) {
    const TempDirectory directory;
    std::filesystem::create_directory(directory.File("below"));
    std::filesystem::create_symlink("second", directory.File("first"));
    std::filesystem::create_symlink("below/real", directory.File("second"));
    AtomicFile file(directory.File("first"), Existing::Refuse);
    file.Sink().Append("new");
    file.Commit();
    EXPECT_EQ(directory.Entries(), (Strings{"below", "below/real", "first", "second"}));
    EXPECT_EQ(ReadFile(directory.File("below/real")), "new");
}

TEST(AtomicFileTest, GetsThePermissionsOfAnyNewFile) {
    const TempDirectory directory;
    WriteFile(directory.File("plain.txt"), "");
    AtomicFile file(directory.File("out.txt"));
    file.Commit();
    struct stat plain {};
    struct stat made {};
    ASSERT_EQ(stat(directory.File("plain.txt").c_str(), &plain), 0);
    ASSERT_EQ(stat(directory.File("out.txt").c_str(), &made), 0);
    EXPECT_EQ(made.st_mode, plain.st_mode);
}

TEST(AtomicFileTest, ALinkStaysALink) {
    const TempDirectory directory;
    WriteFile(directory.File("real.txt"), "old");
    std::filesystem::create_symlink("real.txt", directory.File("link.txt"));
    AtomicFile file(directory.File("link.txt"));
    file.Sink().Append("new");
    file.Commit();
    EXPECT_TRUE(std::filesystem::is_symlink(directory.File("link.txt")));
    EXPECT_EQ(ReadFile(directory.File("real.txt")), "new");
}

TEST(AtomicFileTest, ADeviceIsWrittenAndNotReplaced) {
    AtomicFile file("/dev/null");
    file.Sink().Append("anything");
    file.Commit();
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST(AtomicFileTest, AFullDeviceIsAFaultThatNamesTheOutput) {
    AtomicFile file("/dev/full");
    file.Sink().Append("anything");
    try {
        file.Commit();
        FAIL() << "nothing was raised";
    } catch (const OutputError& error) {
        EXPECT_STREQ(error.what(), "/dev/full: cannot write: No space left on device");
    }
}

TEST(AtomicFileTest, RefusesADirectoryAndAPlaceThatIsNotThere) {
    const TempDirectory directory;
    EXPECT_THROW(AtomicFile file(directory.Path()), OutputError);
    EXPECT_THROW(AtomicFile file(directory.File("missing/out.txt")), OutputError);
    EXPECT_EQ(directory.Entries(), Strings{});
}

} // namespace
} // namespace qel::output
