// A great many files in one call.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

// A checker makes each file several times as slow.
constexpr std::size_t kMany = QEL_SANITIZED ? 300 : 10000;
constexpr std::size_t kFrames = 16;

class AnalyzeManyFilesTest : public testing::Test {
protected:
    AnalyzeManyFilesTest() { WriteFloatWav(mGood, 48000, {Sine(kFrames, 8, 0.5)}); }

    // As many names of the good file, in directories of a hundred each.
    Strings Links(std::size_t count, const char* pattern) const {
        Strings names;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string folder = fmt::format("{:03}", i / 100);
            std::filesystem::create_directory(mDirectory.File(folder));
            names.push_back(folder + "/" + fmt::format(fmt::runtime(pattern), i));
            std::filesystem::create_hard_link(mGood, mDirectory.File(names.back()));
        }
        return names;
    }

    ChildResult Analyze(const Strings& files, const Strings& more) const {
        Strings arguments{"analyze", "--keys", "temporal properties"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        arguments.insert(arguments.end(), files.begin(), files.end());
        return RunTool(arguments, mSetup);
    }

    TempDirectory mDirectory;
    std::string mGood = mDirectory.File("good.wav");
    // Few open files are allowed, so that one that is left open with each input is soon too much.
    ChildSetup mSetup{.workingDirectory = mDirectory.Path(), .openFiles = 64, .seconds = 250};
};

TEST_F(AnalyzeManyFilesTest, ThreeBadOnesCostThreeLinesAndTheOthersAreAnalyzed) {
    Strings files = Links(kMany - 3, "{}.wav");
    WriteFile(mDirectory.File("text.wav"), "No audio at all.");
    WriteFile(mDirectory.File("empty.wav"), "");
    files.insert(files.begin(), "missing.wav");
    files.insert(files.begin() + static_cast<std::ptrdiff_t>(kMany / 2), "text.wav");
    files.push_back("empty.wav");
    ASSERT_EQ(files.size(), kMany);
    const ChildResult result = Analyze(files, {"--output", "out.json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "qel: missing.wav: No such file or directory\n"
                          "qel: text.wav: is not an audio file, or is damaged or truncated\n"
                          "qel: empty.wav: the file is empty\n");
    const auto entries = Json::parse(ReadFile(mDirectory.File("out.json")))["files"];
    ASSERT_EQ(entries.size(), kMany);
    std::size_t good = 0;
    for (std::size_t i = 0; i < kMany; ++i) {
        EXPECT_EQ(entries[i]["file"], files[i]);
        good += entries[i].value("frames", std::size_t{0}) == kFrames ? 1 : 0;
    }
    EXPECT_EQ(good, kMany - 3);
    const ChildResult one = Analyze({files[1]}, {"--output", "one.json"});
    if (!QEL_SANITIZED) { // the checker's own memory grows with the work done
        // The names of all files take some hundred bytes each.
        EXPECT_LT(result.peakKilobytes - one.peakKilobytes, 8000);
    }
}

TEST_F(AnalyzeManyFilesTest, EqualNamesGetOutputsOfTheirOwn) {
    constexpr std::size_t kEqual = 300;
    Strings files;
    std::set<std::string> expected;
    for (std::size_t i = 0; i < kEqual; ++i) {
        const std::string folder = fmt::format("{:03}", i);
        std::filesystem::create_directory(mDirectory.File(folder));
        files.push_back(folder + "/same.wav");
        std::filesystem::create_hard_link(mGood, mDirectory.File(files.back()));
        expected.insert(OutputName(mDirectory.File(files.back())));
    }
    EXPECT_EQ(expected.size(), kEqual);
    const ChildResult result = Analyze(files, {"--format", "csv", "--output", "out"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    std::set<std::string> made;
    for (const auto& entry : std::filesystem::directory_iterator(mDirectory.File("out"))) {
        EXPECT_EQ(mDirectory.Entries("out/" + entry.path().filename().string()),
                  Strings{"temporal-properties.csv"});
        made.insert(entry.path().filename().string());
    }
    EXPECT_EQ(made, expected);
}

} // namespace
} // namespace qel::tool
