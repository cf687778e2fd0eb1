#include "output/files/TemporaryFile.h"

#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <unistd.h>
#include <vector>

namespace qel::output {
namespace {

using namespace test;

using Strings = std::vector<std::string>;
using Kind = TemporaryFile::Kind;

// What holds for files with a temporary name, and for those without one where there are such files.
class TemporaryFileTest : public testing::TestWithParam<Kind> {
protected:
    // A complete file with this text.
    void Write(TemporaryFile& file, const std::string& text) const {
        int descriptor = -1;
        ASSERT_EQ(file.Open(mDirectory.Path(), 0666, descriptor, GetParam()), 0);
        ASSERT_EQ(write(descriptor, text.data(), text.size()), std::ssize(text));
        ASSERT_EQ(file.KeepOpen(descriptor), 0);
        close(descriptor);
    }

    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("out");
};

TEST_P(TemporaryFileTest, GetsItsNameWhenItIsComplete) {
    TemporaryFile file;
    Write(file, "whole");
    for (const std::string& entry : mDirectory.Entries()) {
        EXPECT_EQ(entry.substr(0, 5), ".qel-");
    }
    EXPECT_EQ(file.Publish(mPath), 0);
    EXPECT_EQ(ReadFile(mPath), "whole");
    EXPECT_EQ(mDirectory.Entries(), Strings{"out"});
}

TEST_P(TemporaryFileTest, VanishesIfItGetsNone) {
    {
        TemporaryFile file;
        Write(file, "half");
    }
    EXPECT_EQ(mDirectory.Entries(), Strings{});
}

TEST_P(TemporaryFileTest, PublishReplacesNothingAndReplaceDoes) {
    WriteFile(mPath, "old");
    {
        TemporaryFile file;
        Write(file, "new");
        EXPECT_EQ(file.Publish(mPath), EEXIST);
        EXPECT_EQ(ReadFile(mPath), "old");
        EXPECT_EQ(file.Replace(mPath), 0);
        EXPECT_EQ(ReadFile(mPath), "new");
    }
    EXPECT_EQ(mDirectory.Entries(), Strings{"out"});
    TemporaryFile another;
    Write(another, "first");
    EXPECT_EQ(another.Replace(mDirectory.File("other")), 0) << "where nothing is to be replaced";
    EXPECT_EQ(ReadFile(mDirectory.File("other")), "first");
}

TEST_P(TemporaryFileTest, AnyNameThatAFileMayHaveWillDo) {
    const std::string longest = mDirectory.File(std::string(255, 'x'));
    TemporaryFile first;
    Write(first, "first");
    EXPECT_EQ(first.Publish(longest), 0);
    TemporaryFile second;
    Write(second, "second");
    EXPECT_EQ(second.Replace(longest), 0);
    EXPECT_EQ(ReadFile(longest), "second");
}

TEST_P(TemporaryFileTest, ADirectoryThatIsNotThereIsTold) {
    TemporaryFile file;
    int descriptor = -1;
    EXPECT_EQ(file.Open(mDirectory.File("none"), 0666, descriptor, GetParam()), ENOENT);
}

INSTANTIATE_TEST_SUITE_P(Kinds, TemporaryFileTest,
                         testing::Values(Kind::NamelessIfPossible, Kind::Named),
                         [](const auto& kind) {
                             return kind.param == Kind::Named ? "Named" : "NamelessIfPossible";
                         });

} // namespace
} // namespace qel::output
