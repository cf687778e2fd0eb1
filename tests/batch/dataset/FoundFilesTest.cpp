#include "batch/dataset/FoundFiles.h"

#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace qel::batch {
namespace {

using Files = std::vector<std::pair<std::string, std::string>>; // path and fault

class FoundFilesTest : public testing::Test {
protected:
    Files listed() {
        Files files;
        mFound.ForEach([&](const ListedFile& file) { files.emplace_back(file.path, file.fault); });
        return files;
    }

    test::TempDirectory mDirectory;
    FoundFiles mFound{mDirectory.Path()};
};

TEST_F(FoundFilesTest, NothingFoundIsAnEmptyList) {
    EXPECT_EQ(listed(), Files{});
}

// Bytes above 127 come after all others, whatever the language.
TEST_F(FoundFilesTest, PathsAreInTheOrderOfTheirBytes) {
    const std::vector<std::string> paths = {"b", "\xC3\xA4", "a/z", "a b", "B", "\xFF", "aa"};
    for (const std::string& path : paths) {
        mFound.Add(path, path, "");
    }
    const Files expected = {{"B", ""}, {"a b", ""},      {"a/z", ""}, {"aa", ""},
                            {"b", ""}, {"\xC3\xA4", ""}, {"\xFF", ""}};
    EXPECT_EQ(listed(), expected);
}

TEST_F(FoundFilesTest, OneIdentityIsOneFileWithItsFirstPath) {
    mFound.Add("link", "1", "");
    mFound.Add("file", "1", "");
    mFound.Add("other", "1", "");
    mFound.Add("alone", "2", "");
    const Files expected = {{"alone", ""}, {"file", ""}};
    EXPECT_EQ(listed(), expected);
}

// The fault goes with the path that stays.
TEST_F(FoundFilesTest, FaultsStayWithTheirPaths) {
    mFound.Add("b", "1", "unreadable");
    mFound.Add("c", "1", "");
    mFound.Add("e", "2", "");
    mFound.Add("d", "2", "no file");
    const Files expected = {{"b", "unreadable"}, {"d", "no file"}};
    EXPECT_EQ(listed(), expected);
}

TEST_F(FoundFilesTest, IdentitiesMayHaveAnyBytes) {
    mFound.Add("a", std::string("x\0y", 3), "");
    mFound.Add("b", std::string("x\0z", 3), "");
    EXPECT_EQ(listed().size(), 2u);
}

TEST_F(FoundFilesTest, TheListCanBeReadTwice) {
    mFound.Add("a", "a", "");
    EXPECT_EQ(listed(), listed());
    EXPECT_EQ(listed().size(), 1u);
}

} // namespace
} // namespace qel::batch
