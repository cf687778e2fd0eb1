// Places for outputs that are full, closed, gone, or taken by the audio itself.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"
#include "tests/tools/qel/SineInput.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <sys/mount.h>
#include <thread>
#include <utility>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

constexpr const char* kKey = "temporal properties";
constexpr const char* kTable = "temporal-properties.csv";

class AnalyzePlacesTest : public SineInput {
protected:
    AnalyzePlacesTest() { mSetup.seconds = 120; }

    // The results of one key, over 100 kB of them.
    ChildResult Analyze(const Strings& more) const {
        Strings arguments{"analyze", mInput, "--keys", kKey, "--block", "128"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTool(arguments, mSetup);
    }

    static void ExpectFailure(const ChildResult& result, const std::string& line) {
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "qel: " + line + "\n");
        EXPECT_EQ(result.out, "");
    }

    // The table of the input in a directory for outputs.
    std::string Table(const std::string& directory) const {
        return OutputPath(directory, mInput, kTable);
    }

    std::string mOut = mDirectory.File("out");
};

// A file system of its own, of 64 kB.
class TinyDisk {
public:
    explicit TinyDisk(std::string path) : mPath(std::move(path)) {
        std::filesystem::create_directory(mPath);
        mMounted = mount("none", mPath.c_str(), "tmpfs", 0, "size=64k") == 0;
        mError = errno;
    }
    ~TinyDisk() {
        if (mMounted) {
            umount(mPath.c_str());
        }
    }
    TinyDisk(const TinyDisk&) = delete;
    TinyDisk& operator=(const TinyDisk&) = delete;
    bool IsMounted() const { return mMounted; }
    std::string Reason() const { return std::strerror(mError); }

private:
    std::string mPath;
    bool mMounted = false;
    int mError = 0;
};

TEST_F(AnalyzePlacesTest, AFullDiskIsToldAndLeftAsItWas) {
    const TinyDisk disk(mOut);
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "no file system can be mounted: " << disk.Reason();
    }
    WriteFile(mOut + "/old.json", "old");
    const std::string reason = ": cannot write: No space left on device";
    ExpectFailure(Analyze({"--output", mOut + "/old.json", "--overwrite"}),
                  mOut + "/old.json" + reason);
    ExpectFailure(Analyze({"--format", "csv", "--output", mOut}), Table(mOut) + reason);
    ExpectFailure(Analyze({"--format", "csv", "--output", mOut + "/a/b"}),
                  Table(mOut + "/a/b") + reason);
    EXPECT_EQ(mDirectory.Entries("out"), Strings{"old.json"});
    EXPECT_EQ(ReadFile(mOut + "/old.json"), "old");
}

TEST_F(AnalyzePlacesTest, AFullDiskForTemporaryFilesIsTold) {
    const TinyDisk disk(mOut);
    if (!disk.IsMounted()) {
        GTEST_SKIP() << "no file system can be mounted: " << disk.Reason();
    }
    mSetup.temporaryDirectory = mOut;
    ExpectFailure(Analyze({"--output", mDirectory.File("x.json")}),
                  "temporary file in " + mOut + ": cannot write: No space left on device");
    ExpectOnly({"out"});
}

TEST_F(AnalyzePlacesTest, WithoutADirectoryForTemporaryFilesThereIsNoDocument) {
    mSetup.temporaryDirectory = mDirectory.File("none");
    const ChildResult result = Analyze({"--output", mDirectory.File("x.json")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.find("qel: no directory for temporary files: "), 0u) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
    ExpectOnly({});
}

TEST_F(AnalyzePlacesTest, ADirectoryThatMayNotBeWrittenIsTold) {
    std::filesystem::create_directory(mOut);
    std::filesystem::permissions(mOut, std::filesystem::perms::owner_read |
                                           std::filesystem::perms::owner_exec);
    mSetup.heedsPermissions = true;
    ExpectFailure(Analyze({"--output", mOut + "/x.json"}),
                  mOut + "/x.json: cannot write: Permission denied");
    ExpectFailure(Analyze({"--format", "csv", "--output", mOut}),
                  mOut + "/" + OutputName(mInput) +
                      ": cannot make this directory: Permission denied");
    ExpectOnly({"out"});
}

TEST_F(AnalyzePlacesTest, ADirectoryInTheOutputsPlaceIsToldAndStays) {
    std::filesystem::create_directories(Table(mOut));
    ExpectFailure(Analyze({"--output", mOut}), mOut + ": cannot write: Is a directory");
    ExpectFailure(Analyze({"--format", "csv", "--output", mOut}),
                  Table(mOut) + ": cannot write: Is a directory");
    const std::string name = "out/" + OutputName(mInput);
    ExpectOnly({"out", name, name + "/" + kTable});
}

TEST_F(AnalyzePlacesTest, ADirectoryThatVanishesMeanwhileIsTold) {
    // Long enough to be still at work when the directory goes.
    WriteRepeatedWav(mInput, 48000, Noise(48000, 0.5f), 400);
    ChildProcess child({ToolPath(), "analyze", mInput, "--format", "csv", "--output", mOut,
                        "--keys", "temporal properties,generic spectrum properties"},
                       mSetup);
    for (int i = 0; i < 3000 && mDirectory.Entries("out").empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_FALSE(mDirectory.Entries("out").empty());
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // its files are open by then
    std::filesystem::remove_all(mOut);
    const ChildResult result = child.Wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "qel: " + Table(mOut) + ": cannot write: No such file or directory\n");
    ExpectOnly({});
}

TEST_F(AnalyzePlacesTest, TheAudioIsNoOutputUnderAnyOfItsNames) {
    const std::string before = ReadFile(mInput);
    std::filesystem::create_directory(mOut);
    std::filesystem::create_symlink(mInput, mDirectory.File("link"));
    std::filesystem::create_hard_link(mInput, mDirectory.File("second"));
    for (const std::string name : {"input.wav", "link", "second", "out/../input.wav"}) {
        const ChildResult result = Analyze({"--output", mDirectory.File(name)});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err, "qel: --output " + mInput + " is one of the files to analyze\n");
    }
    // The output of a key would take the place of what its name points at.
    std::filesystem::create_directory(mOut + "/" + OutputName(mInput));
    std::filesystem::create_symlink(mInput, Table(mOut));
    ExpectFailure(Analyze({"--format", "csv", "--output", mOut}),
                  Table(mOut) + ": is one of the files to analyze");
    EXPECT_EQ(ReadFile(mInput), before);
    const std::string name = "out/" + OutputName(mInput);
    ExpectOnly({"link", "out", name, name + "/" + kTable, "second"});
}

// As with ">> input.wav", which would grow as long as it is read.
TEST_F(AnalyzePlacesTest, TheAudioIsNoStandardOutputEither) {
    const std::string before = ReadFile(mInput);
    mSetup.outPath = mInput;
    for (const char* format : {"json", "csv"}) {
        const ChildResult result = Analyze({"--format", format});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err,
                  "qel: standard output is one of the files to analyze: " + mInput + "\n");
    }
    EXPECT_EQ(ReadFile(mInput), before);
}

TEST_F(AnalyzePlacesTest, TooFewOpenFilesAreToldAndNothingStays) {
    if (QEL_SANITIZED) {
        GTEST_SKIP()
            << "The checker of virtual calls opens a pipe, and reports a fault without one";
    }
    mSetup.openFiles = 8;
    const ChildResult result =
        RunTool({"analyze", mInput, "--format", "csv", "--output", mOut}, mSetup);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find(": cannot write: Too many open files\n"), std::string::npos)
        << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
    ExpectOnly({});
}

} // namespace
} // namespace qel::tool
