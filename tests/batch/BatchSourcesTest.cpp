// What the sources of a run stand for.

#include "batch/Sources.h"
#include "output/files/OutputError.h"
#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>

namespace qel {

using namespace test;

namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

class BatchSourcesTest : public testing::Test {
protected:
    void Make(const std::string& name, const std::string& content = "x") {
        fs::create_directories(fs::path(mPlace.File(name)).parent_path());
        WriteFile(mPlace.File(name), content);
    }

    batch::Sources All(const Names& matches = {}) {
        return {matches, [this](const std::string& path, const std::string& identity,
                                const std::string& fault) {
                    mFound.push_back(path);
                    mIdentities[identity] = path;
                    mFaults += fault;
                }};
    }

    // What was found, relative to the place.
    Names Found() {
        Names names;
        for (const std::string& path : mFound) {
            names.push_back(path.substr(mPlace.Path().size() + 1));
        }
        std::ranges::sort(names);
        mFound.clear();
        return names;
    }

    TempDirectory mPlace;
    Names mFound;
    std::map<std::string, std::string> mIdentities;
    std::string mFaults;
};

TEST_F(BatchSourcesTest, ADirectoryIsItsAudioFilesAtAnyDepth) {
    for (const char* name :
         {"m/a.wav", "m/b/c/d.FLAC", "m/b/cover.jpg", "m/noextension", "m/.hidden.mp3"}) {
        Make(name);
    }
    All().AddSource(mPlace.File("m"));
    EXPECT_EQ(Found(), (Names{"m/.hidden.mp3", "m/a.wav", "m/b/c/d.FLAC"}));
}

TEST_F(BatchSourcesTest, PatternsOfNamesReplaceTheUsualExtensions) {
    for (const char* name : {"m/a.wav", "m/b.raw", "m/c/d.raw", "m/e.data"}) {
        Make(name);
    }
    All({"*.raw", "e*"}).AddSource(mPlace.File("m"));
    EXPECT_EQ(Found(), (Names{"m/b.raw", "m/c/d.raw", "m/e.data"}));
}

TEST_F(BatchSourcesTest, AFileThatIsNamedIsTakenWhateverItsName) {
    Make("strange");
    All().AddSource(mPlace.File("strange"));
    EXPECT_EQ(Found(), Names{"strange"});
}

TEST_F(BatchSourcesTest, APatternOfPathsStandsForFilesAndDirectories) {
    for (const char* name : {"m1/a.wav", "m2/b.wav", "n/c.wav", "m3"}) {
        Make(name);
    }
    All().AddSource(mPlace.File("m?"));
    EXPECT_EQ(Found(), (Names{"m1/a.wav", "m2/b.wav", "m3"}));
    EXPECT_FALSE(batch::Sources::IsAnything(mPlace.File("q*")));
    EXPECT_FALSE(batch::Sources::IsAnything(mPlace.File("missing")));
}

TEST_F(BatchSourcesTest, ANameWithBracketsIsAFileWhereThereIsOne) {
    Make("[x]*?.wav");
    All().AddSource(mPlace.File("[x]*?.wav"));
    EXPECT_EQ(Found(), Names{"[x]*?.wav"});
}

TEST_F(BatchSourcesTest, LinksInACircleEnd) {
    Make("m/a.wav");
    fs::create_directory_symlink("..", mPlace.File("m/up"));
    fs::create_directory_symlink(".", mPlace.File("m/self.wav"));
    fs::create_symlink("loop.wav", mPlace.File("m/loop.wav"));
    fs::create_symlink("nowhere.wav", mPlace.File("m/dangling.wav"));
    fs::create_symlink("a.wav", mPlace.File("m/link.wav"));
    All().AddSource(mPlace.File("m"));
    EXPECT_EQ(Found(), (Names{"m/a.wav", "m/dangling.wav", "m/link.wav", "m/loop.wav"}));
}

TEST_F(BatchSourcesTest, ADirectoryBehindALinkIsListedWhereItIsNamed) {
    Make("m/a.wav");
    fs::create_directory_symlink("m", mPlace.File("link"));
    batch::Sources sources = All();
    sources.AddSource(mPlace.File("link"));
    sources.AddSource(mPlace.File("m"));
    EXPECT_EQ(Found(), (Names{"link/a.wav", "m/a.wav"}));
    EXPECT_EQ(mIdentities.size(), 1u) << "one file under two names";
}

TEST_F(BatchSourcesTest, OneFileHasOneIdentityHoweverItIsNamed) {
    Make("m/b/a.wav");
    const fs::path old = fs::current_path();
    fs::current_path(mPlace.Path());
    batch::Sources sources = All();
    for (const char* source : {"m", "./m/b", "m/b/a.wav", "m//b/../b/./a.wav"}) {
        sources.AddSource(source);
    }
    sources.AddSource(mPlace.File("m/b"));
    fs::current_path(old);
    ASSERT_EQ(mIdentities.size(), 1u);
    EXPECT_EQ(std::ranges::count(mFound, "m/b/a.wav"), 4);
}

TEST_F(BatchSourcesTest, NamesMayHaveAnyByte) {
    const std::string odd = "m/\n\t\"'\\ \x01\xff\xc3.wav";
    Make(odd);
    All().AddSource(mPlace.File("m"));
    EXPECT_EQ(Found(), Names{odd});
}

TEST_F(BatchSourcesTest, ListsHaveANameALineOrOneBeforeEveryZero) {
    Make("m/a.wav");
    const std::string odd = mPlace.File("new\nline");
    Make("new\nline");
    WriteFile(mPlace.File("lines"), mPlace.File("m") + "\n\n" + mPlace.File("missing") + "\n");
    WriteFile(mPlace.File("zeros"), mPlace.File("m") + '\0' + odd);
    All().AddList(mPlace.File("lines"), false);
    EXPECT_EQ(Found(), (Names{"m/a.wav", "missing"}));
    All().AddList(mPlace.File("zeros"), true);
    EXPECT_EQ(Found(), (Names{"m/a.wav", "new\nline"}));
    EXPECT_THROW(All().AddList(mPlace.File("none"), false), output::OutputError);
}

TEST_F(BatchSourcesTest, AListOfLinesWithAZeroIsRefused) {
    Make("a.wav");
    WriteFile(mPlace.File("zeros"), mPlace.File("a.wav") + '\0' + mPlace.File("b.wav") + '\0');
    try {
        All().AddList(mPlace.File("zeros"), false);
        ADD_FAILURE() << "names would be lost";
    } catch (const output::OutputError& error) {
        EXPECT_EQ(std::string(error.what()),
                  mPlace.File("zeros") + ": cannot read this list: a line has a byte of 0; --null "
                                         "reads such lists");
    }
}

TEST_F(BatchSourcesTest, ADirectoryThatCannotBeListedIsFoundWithItsError) {
    Make("m/a.wav");
    // A path that is longer than the system takes, made from inside.
    const fs::path old = fs::current_path();
    fs::current_path(mPlace.File("m"));
    for (int i = 0; i < 20; ++i) {
        const std::string name(250, 'd');
        fs::create_directory(name);
        fs::current_path(name);
    }
    fs::current_path(old);
    All().AddSource(mPlace.File("m"));
    EXPECT_EQ(mFound.size(), 2u);
    EXPECT_EQ(mFaults, "cannot list this directory: File name too long");
}

} // namespace
} // namespace qel
