#include "output/files/OutputDirectory.h"

#include "output/files/OutputError.h"
#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace qel::output {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

TEST(OutputDirectoryTest, WhatWasMadeForNothingIsTakenAway) {
    const TempDirectory directory;
    std::filesystem::create_directory(directory.File("there"));
    {
        const OutputDirectory made(directory.File("there/a/b/c"));
        EXPECT_TRUE(std::filesystem::is_directory(directory.File("there/a/b/c")));
    }
    EXPECT_EQ(directory.Entries(), Strings{"there"});
    { const OutputDirectory old(directory.File("there")); }
    EXPECT_EQ(directory.Entries(), Strings{"there"});
}

TEST(OutputDirectoryTest, WhatSomethingCameIntoStays) {
    const TempDirectory directory;
    {
        const OutputDirectory made(directory.File("a/b"));
        WriteFile(directory.File("a/b/file"), "");
    }
    EXPECT_EQ(directory.Entries(), (Strings{"a", "a/b", "a/b/file"}));
}

TEST(OutputDirectoryTest, NobodyTakesAwayWhatAnotherOneUses) {
    const TempDirectory directory;
    std::optional<OutputDirectory> maker(directory.File("a/b"));
    const OutputDirectory user(directory.File("a/b"));
    maker.reset();
    EXPECT_TRUE(std::filesystem::is_directory(directory.File("a/b")));
}

TEST(OutputDirectoryTest, ThoseWhoMakeAndTakeAwayAtOnceDoNotMeet) {
    const TempDirectory directory;
    const std::string path = directory.File("a/b");
    constexpr int kTimes = 300;
    int found = 0;
    std::thread other([&path] {
        for (int i = 0; i < kTimes; ++i) {
            const OutputDirectory mine(path);
        }
    });
    for (int i = 0; i < kTimes; ++i) {
        const OutputDirectory mine(path);
        found += std::filesystem::is_directory(path) ? 1 : 0;
    }
    other.join();
    EXPECT_EQ(found, kTimes);
}

std::string FaultOf(const std::string& path) {
    try {
        const OutputDirectory directory(path);
    } catch (const OutputError& error) {
        return error.what();
    }
    return "no fault";
}

TEST(OutputDirectoryTest, ReportsWhyADirectoryCannotBeMade) {
    const TempDirectory directory;
    WriteFile(directory.File("file"), "");
    std::filesystem::create_symlink("nowhere", directory.File("link"));
    for (const auto& [name, cause] :
         {std::pair("file", "Not a directory"), std::pair("file/below", "Not a directory"),
          std::pair("link", "No such file or directory")}) {
        const std::string path = directory.File(name);
        EXPECT_EQ(FaultOf(path), path + ": cannot make this directory: " + cause);
    }
    const std::string longName = directory.File(std::string(300, 'x'));
    EXPECT_EQ(FaultOf(longName), longName + ": cannot make this directory: File name too long");
}

TEST(OutputDirectoryTest, RefusesWhatCannotBeADirectory) {
    const TempDirectory directory;
    WriteFile(directory.File("file"), "");
    std::filesystem::create_symlink("nowhere", directory.File("link"));
    EXPECT_THROW(OutputDirectory(directory.File("file")), OutputError);
    EXPECT_THROW(OutputDirectory(directory.File("file/below")), OutputError);
    EXPECT_THROW(OutputDirectory(directory.File("link")), OutputError);
    EXPECT_EQ(directory.Entries(), (Strings{"file", "link"}));
}

} // namespace
} // namespace qel::output
