#include "output/files/OutputName.h"

#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace qel::output {
namespace {

using namespace test;

TEST(OutputNameTest, ItIsTheNameAndTheDigestOfThePathThatAShellComputes) {
    const TempDirectory directory;
    const std::string path = std::filesystem::canonical(directory.Path()) / "a song.flac";
    const ChildResult shell =
        RunChild({"sh", "-c", "printf %s \"$0\" | sha256sum | cut -c 1-12", path});
    ASSERT_EQ(shell.status, 0) << shell.err;
    ASSERT_EQ(shell.out.size(), 13u);
    EXPECT_EQ(OutputName(path), "a song.flac-" + shell.out.substr(0, 12));
}

TEST(OutputNameTest, EqualNamesInOtherDirectoriesAreToldApart) {
    EXPECT_NE(OutputName("/music/A/01.wav"), OutputName("/music/B/01.wav"));
    EXPECT_NE(OutputName("/music/A/01.wav"), OutputName("/music/A/01.WAV"));
}

TEST(OutputNameTest, EveryWayToTheDirectoryOfAFileGivesOneName) {
    const TempDirectory directory;
    std::filesystem::create_directories(directory.File("a/b"));
    std::filesystem::create_directory_symlink("a/b", directory.File("link"));
    const std::string name = OutputName(directory.File("a/b/01.wav"));
    EXPECT_EQ(OutputName(directory.File("a/./b/../b/01.wav")), name);
    EXPECT_EQ(OutputName(directory.File("link/01.wav")), name);
    EXPECT_EQ(OutputName(directory.File("link/../b/01.wav")), name);
    EXPECT_EQ(OutputName(std::filesystem::relative(directory.File("a/b/01.wav"))), name);
}

TEST(OutputNameTest, ALinkToAFileHasANameOfItsOwn) {
    const TempDirectory directory;
    WriteFile(directory.File("take 5.wav"), "");
    std::filesystem::create_symlink("take 5.wav", directory.File("latest.wav"));
    EXPECT_EQ(OutputName(directory.File("latest.wav")).substr(0, 11), "latest.wav-");
    EXPECT_NE(OutputName(directory.File("latest.wav")), OutputName(directory.File("take 5.wav")));
}

TEST(OutputNameTest, ALongNameIsCutBetweenCharacters) {
    constexpr std::size_t kLongest = 255;
    EXPECT_EQ(OutputName("/x" + std::string(242 - 1, 'x')).size(), kLongest) << "nothing is cut";
    const std::string name = OutputName("/x" + std::string(255 - 1, 'x'));
    EXPECT_EQ(name.size(), kLongest);
    EXPECT_EQ(name.substr(0, 243), std::string(242, 'x') + "-");
    // The cut at byte 242 would fall into a character of two bytes.
    const std::string accents = OutputName("/x" + std::string(241 - 1, 'x') + "\xC3\xA9t\xC3\xA9");
    EXPECT_EQ(accents.substr(0, 242), std::string(241, 'x') + "-");
    EXPECT_NE(OutputName("/x" + std::string(250 - 1, 'x') + "1"),
              OutputName("/x" + std::string(250 - 1, 'x') + "2"));
}

} // namespace
} // namespace qel::output
