#include "output/files/FileIdentities.h"

#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace qel::output {
namespace {

namespace fs = std::filesystem;

class FileIdentitiesTest : public testing::Test {
protected:
    FileIdentitiesTest() {
        test::WriteFile(mFile, "same");
        test::WriteFile(mOther, "same");
    }

    test::TempDirectory mDirectory;
    std::string mFile = mDirectory.File("file");
    std::string mOther = mDirectory.File("other");
};

TEST_F(FileIdentitiesTest, AFileHasAllItsNames) {
    fs::create_hard_link(mFile, mDirectory.File("hard"));
    fs::create_symlink("hard", mDirectory.File("soft"));
    const FileIdentities files({mFile});
    EXPECT_TRUE(files.HasPath(mFile));
    EXPECT_TRUE(files.HasPath(mDirectory.Path() + "/./file"));
    EXPECT_TRUE(files.HasPath(mDirectory.File("hard")));
    EXPECT_TRUE(files.HasPath(mDirectory.File("soft")));
    EXPECT_TRUE(FileIdentities({mDirectory.File("soft")}).HasPath(mFile));
}

TEST_F(FileIdentitiesTest, AFileWithTheSameContentIsAnother) {
    const FileIdentities files({mFile});
    EXPECT_FALSE(files.HasPath(mOther));
    EXPECT_FALSE(files.HasPath(mDirectory.File("nothing")));
    EXPECT_FALSE(FileIdentities().HasPath(mFile));
}

TEST_F(FileIdentitiesTest, WhatIsNoRegularFileIsNotAmongThem) {
    const FileIdentities files({mDirectory.Path(), "/dev/null", mDirectory.File("nothing"), mFile});
    EXPECT_FALSE(files.HasPath(mDirectory.Path()));
    EXPECT_FALSE(files.HasPath("/dev/null"));
    EXPECT_TRUE(files.HasPath(mFile));
}

TEST_F(FileIdentitiesTest, AnOpenFileIsKnownByItsDescriptor) {
    const FileIdentities files({mFile});
    const int its = open(mFile.c_str(), O_RDONLY | O_CLOEXEC);
    const int others = open(mOther.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(its, 0);
    ASSERT_GE(others, 0);
    fs::remove(mFile);
    EXPECT_TRUE(files.HasDescriptor(its)); // its name is gone, the file is not
    EXPECT_FALSE(files.HasDescriptor(others));
    close(its);
    close(others);
    EXPECT_FALSE(files.HasDescriptor(-1));
}

} // namespace
} // namespace qel::output
