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
    struct Found {
        std::string path;
        std::string identity;
        std::string fault;
    };

    // The list once these are found too.
    Files listedWith(const std::vector<Found>& found) {
        for (const Found& each : found) {
            mFound.Add(each.path, each.identity, each.fault);
        }
        return listed();
    }

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
    const Files expected = {{"alone", ""}, {"file", ""}};
    EXPECT_EQ(
        expected,
        listedWith({{"link", "1", ""}, {"file", "1", ""}, {"other", "1", ""}, {"alone", "2", ""}}));
}

// The fault goes with the path that stays.
TEST_F(FoundFilesTest, FaultsStayWithTheirPaths) {
    const Files expected = {{"b", "unreadable"}, {"d", "no file"}};
    EXPECT_EQ(
        expected,
        listedWith(
            {{"b", "1", "unreadable"}, {"c", "1", ""}, {"e", "2", ""}, {"d", "2", "no file"}}));
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
