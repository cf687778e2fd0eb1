// Outputs that exist already.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"
#include "tests/tools/qel/SineInput.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;
using Permissions = std::filesystem::perms;

class AnalyzeExistingTest : public SineInput {
protected:
    ChildResult Analyze(const Strings& files, const Strings& more) const {
        Strings arguments{"analyze", "--output", mOut};
        arguments.insert(arguments.end(), files.begin(), files.end());
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTool(arguments, mSetup);
    }

    ChildResult Document(const std::string& path, const Strings& more = {}) const {
        Strings arguments{"analyze", mInput, "--output", path};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTool(arguments, mSetup);
    }

    static std::string Refusal(const std::string& path) {
        return path + " exists already; --overwrite replaces it\n";
    }

    static void ExpectDocument(const std::string& path) {
        EXPECT_EQ(Json::parseOrNull(ReadFile(path))["files"].size(), 1u);
    }

    std::string mOut = mDirectory.File("out");
};

TEST_F(AnalyzeExistingTest, ASecondRunReplacesNothingUnlessItIsToldTo) {
    const std::vector<std::pair<Strings, std::string>> formats{
        {{"--format", "csv", "--keys", "temporal properties"}, "temporal-properties.csv"},
        {{"--format", "labels", "--keys", "onset data"}, "onset-data.txt"},
        {{"--format", "beats", "--keys", "beat data"}, "beats.txt"}};
    for (const auto& [format, name] : formats) {
        EXPECT_EQ(Analyze({mInput}, format).status, 0);
        const std::string path = OutputPath(mOut, mInput, name);
        WriteFile(path, "old");
        const ChildResult refused = Analyze({mInput}, format);
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.err, "qel: " + mInput + ": " + Refusal(path));
        EXPECT_EQ(ReadFile(path), "old");
        Strings overwrite = format;
        overwrite.emplace_back("--overwrite");
        EXPECT_EQ(Analyze({mInput}, overwrite).status, 0);
        EXPECT_NE(ReadFile(path), "old");
    }
}

TEST_F(AnalyzeExistingTest, OneOldOutputOfAnInputKeepsAllItsNewOnesOut) {
    const std::string old = OutputPath(mOut, mInput, "temporal-properties.csv");
    std::filesystem::create_directories(std::filesystem::path(old).parent_path());
    WriteFile(old, "old");
    const ChildResult result =
        Analyze({mInput}, {"--format", "csv", "--keys", "spectrum,temporal properties"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(mDirectory.Entries("out/" + OutputName(mInput)), Strings{"temporal-properties.csv"});
}

TEST_F(AnalyzeExistingTest, OtherKeysOfTheSameInputComeBesideTheOldOnes) {
    for (const char* key : {"temporal properties", "spectrum flux properties"}) {
        EXPECT_EQ(Analyze({mInput}, {"--format", "csv", "--keys", key}).status, 0);
    }
    EXPECT_EQ(mDirectory.Entries("out/" + OutputName(mInput)),
              (Strings{"spectrum-flux-properties.csv", "temporal-properties.csv"}));
}

TEST_F(AnalyzeExistingTest, AFileThatIsNamedTwiceIsRefusedTheSecondTime) {
    const std::string again = mDirectory.Path() + "/./input.wav";
    const Strings csv{"--format", "csv", "--keys", "temporal properties"};
    const ChildResult result = Analyze({mInput, again}, csv);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "qel: " + again + ": " +
                              Refusal(OutputPath(mOut, mInput, "temporal-properties.csv")));
    EXPECT_EQ(mDirectory.Entries("out").size(), 2u);
}

TEST_F(AnalyzeExistingTest, FilesAfterARefusedOneAreAnalyzed) {
    const Strings csv{"--format", "csv", "--keys", "temporal properties"};
    EXPECT_EQ(Analyze({mInput}, csv).status, 0);
    const std::string other = mDirectory.File("tmp/other.wav");
    WriteFloatWav(other, 48000, {Sine(4800, 48, 0.5)});
    EXPECT_EQ(Analyze({mInput, other}, csv).status, 1);
    EXPECT_FALSE(ReadFile(OutputPath(mOut, other, "temporal-properties.csv")).empty());
}

TEST_F(AnalyzeExistingTest, ADocumentIsRefusedBeforeAnythingIsAnalyzed) {
    WriteFile(mOut, "old");
    const ChildResult refused =
        RunTool({"analyze", mDirectory.File("missing.wav"), mInput, "--output", mOut}, mSetup);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "qel: " + Refusal(mOut)) << "no word about the missing file";
    EXPECT_EQ(ReadFile(mOut), "old");
    EXPECT_EQ(Document(mOut, {"--overwrite"}).status, 0);
    ExpectDocument(mOut);
}

TEST_F(AnalyzeExistingTest, ADocumentThatAppearsMeanwhileStays) {
    WriteRepeatedWav(mInput, 48000, Noise(48000, 0.5f), 120);
    const std::string path = mOut + "/x.json";
    ChildProcess child({ToolPath(), "analyze", mInput, "--output", path}, mSetup);
    for (int i = 0; i < 3000 && !std::filesystem::exists(mOut); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    WriteFile(path, "of somebody else");
    const ChildResult result = child.Wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "qel: " + Refusal(path));
    EXPECT_EQ(ReadFile(path), "of somebody else");
}

TEST_F(AnalyzeExistingTest, ANewDocumentKeepsThePermissionsOfTheOldOne) {
    WriteFile(mOut, "old");
    const auto mode = Permissions::owner_read | Permissions::owner_write;
    std::filesystem::permissions(mOut, mode);
    const bool isRoot = geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(chown(mOut.c_str(), 12345, 54321), 0);
    }
    EXPECT_EQ(Document(mOut, {"--overwrite"}).status, 0);
    ExpectDocument(mOut);
    EXPECT_EQ(std::filesystem::status(mOut).permissions(), mode);
    if (isRoot) {
        struct stat info {};
        ASSERT_EQ(stat(mOut.c_str(), &info), 0);
        EXPECT_EQ(info.st_uid, 12345u);
        EXPECT_EQ(info.st_gid, 54321u);
    }
}

TEST_F(AnalyzeExistingTest, ALinkStaysALinkWhetherItsTargetIsThereOrNot) {
    const std::string target = mDirectory.File("tmp/target.json");
    std::filesystem::create_symlink("tmp/target.json", mOut);
    EXPECT_EQ(Document(mOut).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(mOut));
    ExpectDocument(target);
    WriteFile(target, "old");
    EXPECT_EQ(Document(mOut).status, 1);
    EXPECT_EQ(Document(mOut, {"--overwrite"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(mOut));
    ExpectDocument(target);
    std::filesystem::remove(target);
    std::filesystem::remove(mOut);
    std::filesystem::create_symlink("out", mOut);
    EXPECT_EQ(Document(mOut).status, 1) << "a link to itself";
}

TEST_F(AnalyzeExistingTest, TheDirectoryOfADocumentIsMade) {
    EXPECT_EQ(Document(mOut + "/deeper/x.json").status, 0);
    ExpectDocument(mOut + "/deeper/x.json");
    // And taken away again where there is no document.
    ChildSetup small = mSetup;
    small.largestFile = 1000;
    const std::string other = mDirectory.File("other");
    EXPECT_EQ(RunTool({"analyze", mInput, "--output", other + "/deeper/x.json"}, small).status, 1);
    EXPECT_FALSE(std::filesystem::exists(other));
}

TEST_F(AnalyzeExistingTest, TheLongestNamesAreNamesOfInputsAndOutputs) {
    for (const std::size_t size : {248u, 255u}) {
        const std::string name(size, 'x');
        const std::string input = mDirectory.File("tmp/" + name);
        std::filesystem::copy_file(mInput, input);
        EXPECT_EQ(Document(mOut + "/" + name).status, 0);
        ExpectDocument(mOut + "/" + name);
        EXPECT_EQ(Analyze({input}, {"--format", "beats", "--keys", "beat data"}).status, 0);
        EXPECT_TRUE(std::filesystem::exists(OutputPath(mOut, input, "beats.txt")));
    }
}

TEST_F(AnalyzeExistingTest, StandardOutputByItsOtherNamesIsNoOldFile) {
    ChildSetup setup = mSetup;
    setup.outPath = mOut;
    WriteFile(mOut, "");
    const ChildResult result = RunTool({"analyze", mInput, "--output", "/proc/self/fd/1"}, setup);
    EXPECT_EQ(result.status, 0) << result.err;
    ExpectDocument(mOut);
}

} // namespace
} // namespace qel::tool
