// Names and words that no command line is prepared for.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <array>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

class AnalyzeArgumentsTest : public testing::Test {
protected:
    AnalyzeArgumentsTest() { WriteFloatWav(mDirectory.File("good.wav"), 48000, {mTone}); }

    // The tool works in the directory, so that names come without one.
    ChildResult Analyze(Strings arguments) const {
        arguments.insert(arguments.begin(), {"analyze", "--keys", "temporal properties"});
        return RunTool(arguments, mSetup);
    }

    // A file of that name is analyzed like any other.
    void ExpectGood(const std::string& name, const std::string& nameInJson) const {
        std::filesystem::copy_file(mDirectory.File("good.wav"), mDirectory.File(name));
        const ChildResult result = Analyze({"--", name});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        const auto files = Json::parse(result.out)["files"];
        ASSERT_EQ(files.size(), 1u);
        EXPECT_EQ(files[0]["file"], nameInJson);
        EXPECT_EQ(files[0]["frames"], 480);
    }

    // A file that is not to be read costs one line, and the one after it is analyzed.
    void ExpectBad(const std::string& name, const std::string& line) const {
        const ChildResult result = Analyze({"--", name, "good.wav"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "qel: " + line + "\n");
        const auto files = Json::parse(result.out)["files"];
        ASSERT_EQ(files.size(), 2u);
        EXPECT_EQ(files[1]["frames"], 480);
    }

    void ExpectUsage(const Strings& arguments, const std::string& message) const {
        const ChildResult result = RunTool(arguments, mSetup);
        EXPECT_EQ(result.status, 2) << message;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "qel: " + message + "\n");
    }

    TempDirectory mDirectory;
    std::vector<float> mTone = Sine(480, 48, 0.5);
    ChildSetup mSetup{.workingDirectory = mDirectory.Path(), .seconds = 60};
};

TEST_F(AnalyzeArgumentsTest, NamesOfAnyBytesAreNames) {
    ExpectGood("new\nline.wav", "new\nline.wav");
    ExpectGood("not\xFFutf8.wav", "not\xEF\xBF\xBDutf8.wav");
    ExpectGood("-", "-");
    ExpectGood("--all", "--all");
    ExpectGood("-1", "-1");
    ExpectGood("keys", "keys");
    ExpectGood("a=b", "a=b");
    ExpectGood("%05d.wav", "%05d.wav");
    ExpectGood("file:x", "file:x");
    ExpectGood("http:x", "http:x");
    ExpectGood(" ", " ");
}

TEST_F(AnalyzeArgumentsTest, BracketsAroundANameAreNoList) {
    ExpectGood("[live]", "[live]");
    ExpectGood("[one,two]", "[one,two]");
    ExpectUsage({"describe", "[spectrum]"},
                "unknown key \"[spectrum]\"; did you mean \"spectrum\"?");
    ExpectUsage({"analyze", "good.wav", "--param", "[Genre Hint=1]"},
                "parameter \"[Genre Hint=1]\" has no number as its value");
}

TEST_F(AnalyzeArgumentsTest, MessagesKeepToOneLineWhateverTheName) {
    ExpectBad("new\nline.wav", "new\\nline.wav: No such file or directory");
    ExpectBad("tab\t\x1B[31mred.wav", "tab\\t\\x1b[31mred.wav: No such file or directory");
    ExpectBad("not\xFFutf8.wav", "not\xFFutf8.wav: No such file or directory");
    ExpectUsage({"analyze", "good.wav", "--keys", "no\nkey"},
                "unknown key \"no\\nkey\"; \"qel keys\" lists the keys");
    ExpectUsage({"describe", "no\rkey"}, "unknown key \"no\\rkey\"; \"qel keys\" lists the keys");
}

TEST_F(AnalyzeArgumentsTest, AnEmptyNameIsNoFile) {
    ExpectBad("", ": No such file or directory");
}

TEST_F(AnalyzeArgumentsTest, AnEmptyOutputIsAMistakeOfUsage) {
    for (const char* format : {"json", "csv", "labels", "beats"}) {
        ExpectUsage({"analyze", "good.wav", "--format", format, "--output", ""},
                    "--output is empty");
    }
}

TEST_F(AnalyzeArgumentsTest, AFileThatMayNotBeReadFails) {
    WriteFile(mDirectory.File("secret.wav"), ReadFile(mDirectory.File("good.wav")));
    std::filesystem::permissions(mDirectory.File("secret.wav"), std::filesystem::perms::none);
    ChildSetup held = mSetup;
    held.heedsPermissions = true;
    const ChildResult result = RunTool({"analyze", "secret.wav", "good.wav"}, held);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "qel: secret.wav: Permission denied\n");
    EXPECT_EQ(Json::parse(result.out)["files"][1]["frames"], 480);
}

TEST_F(AnalyzeArgumentsTest, DirectoriesPipesAndSocketsAreNoFiles) {
    std::filesystem::create_directory(mDirectory.File("folder"));
    ASSERT_EQ(mkfifo(mDirectory.File("pipe").c_str(), 0600), 0);
    ExpectBad("folder", "folder: is a directory, not an audio file");
    ExpectBad("good.wav/deeper", "good.wav/deeper: Not a directory");
    // Nobody writes to it: to open it would be to wait for ever.
    ExpectBad("pipe", "pipe: is not a regular file");
    ExpectBad("/dev/zero", "/dev/zero: is not a regular file");
}

TEST_F(AnalyzeArgumentsTest, StandardInputIsAFileIfThatIsWhatStandsBehindIt) {
    mSetup.inPath = mDirectory.File("good.wav");
    const ChildResult whole = Analyze({"/dev/stdin"});
    EXPECT_EQ(whole.status, 0) << whole.err;
    EXPECT_EQ(Json::parse(whole.out)["files"][0]["frames"], 480);
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    mSetup.inPath = "/proc/self/fd/" + std::to_string(ends[0]);
    const ChildResult piped = Analyze({"/dev/stdin"});
    EXPECT_EQ(piped.status, 1);
    EXPECT_EQ(piped.err, "qel: /dev/stdin: is not a regular file\n");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(AnalyzeArgumentsTest, AFileNamedTwiceIsAnalyzedTwice) {
    const ChildResult result = Analyze({"good.wav", "./good.wav"});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto files = Json::parse(result.out)["files"];
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0]["file"], "good.wav");
    EXPECT_EQ(files[1]["file"], "./good.wav");
    EXPECT_EQ(files[0].without("file"), files[1].without("file"));
}

TEST_F(AnalyzeArgumentsTest, AnAliasGivesTheResultsOfItsKeyUnderTheKeysName) {
    const ChildResult alias = Analyze({"good.wav", "--keys", "gammatone,gammatone spectrum"});
    EXPECT_EQ(alias.status, 0) << alias.err;
    EXPECT_EQ(alias.out, Analyze({"good.wav", "--keys", "gamma tome spectrum"}).out);
    EXPECT_TRUE(Json::parse(alias.out)["files"][0]["keys"].contains("gamma tome spectrum"));
}

TEST_F(AnalyzeArgumentsTest, AKeyNamedTwiceIsAnalyzedOnce) {
    const ChildResult twice = Analyze({"good.wav", "--keys",
                                       "temporal properties, spectrum "
                                       "flux properties,temporal properties"});
    EXPECT_EQ(twice.status, 0) << twice.err;
    EXPECT_EQ(Json::parse(twice.out)["files"][0]["keys"].size(), 2u);
}

} // namespace
} // namespace qel::tool
