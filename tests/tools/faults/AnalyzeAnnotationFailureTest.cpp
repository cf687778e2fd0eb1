// What goes wrong with label tracks and beat annotations.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <array>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

class AnalyzeAnnotationFailureTest : public testing::Test {
protected:
    AnalyzeAnnotationFailureTest() {
        std::filesystem::create_directory(mSetup.temporaryDirectory);
        WriteFloatWav(mInput, 44100, {Drums(12, 120, 3)});
    }

    ChildResult Analyze(Strings arguments, const ChildSetup& setup) const {
        arguments.insert(arguments.begin(), {"analyze", mInput});
        return RunTool(arguments, setup);
    }

    // A mistake of usage costs one line, and nothing is analyzed.
    void ExpectUsage(const Strings& arguments, const std::string& message) const {
        const ChildResult result = Analyze(arguments, mSetup);
        EXPECT_EQ(result.status, 2) << message;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "qel: " + message + "\n");
        ExpectNothingNew();
    }

    void ExpectNothingNew() const {
        EXPECT_EQ(mDirectory.Entries(), (Strings{"music.wav", "tmp"}));
    }

    TempDirectory mDirectory;
    std::string mInput = mDirectory.File("music.wav");
    std::string mOut = mDirectory.File("out");
    ChildSetup mSetup{.temporaryDirectory = mDirectory.File("tmp")};
};

TEST_F(AnalyzeAnnotationFailureTest, BeatsNeedBeatsAndTakeNothingThatTheyCannotShow) {
    ExpectUsage({"--format", "beats", "--keys", "down beat data"},
                "--format beats needs the key \"beat data\"");
    ExpectUsage({"--format", "beats", "--keys", "beat data,global tempo"},
                "--format beats is for the keys \"global number of beats per bar\", \"beat data\", "
                "\"down beat data\", not for \"global tempo\"");
}

TEST_F(AnalyzeAnnotationFailureTest, LabelsAreForKeysWithEventsOrANamePerFrame) {
    const ChildResult result =
        Analyze({"--format", "labels", "--output", mOut, "--keys", "beat data,spectrum"}, mSetup);
    EXPECT_EQ(result.status, 2);
    // Between these, all keys that label tracks can show.
    const std::string begin = "qel: --format labels is for the keys \"";
    const std::string end = "\"beat data\", \"down beat data\", not for \"spectrum\"\n";
    EXPECT_EQ(result.err.substr(0, begin.size()), begin);
    EXPECT_EQ(result.err.find(end), result.err.size() - end.size()) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
    ExpectNothingNew();
}

TEST_F(AnalyzeAnnotationFailureTest, StandardOutputIsForWhatWouldBeOneFile) {
    const std::string labels = "labels on standard output are for one key of one file, mixed to "
                               "mono; name a directory with --output";
    ExpectUsage({"--format", "labels"}, labels);
    ExpectUsage({"--format", "labels", "--keys", "beat data", mInput}, labels);
    ExpectUsage({"--format", "labels", "--keys", "beat data", "--mix", "keep"}, labels);
    const std::string beats =
        "beats on standard output are for one file, mixed to mono; name a directory with --output";
    ExpectUsage({"--format", "beats", mInput}, beats);
    ExpectUsage({"--format", "beats", "--mix", "keep"}, beats);
}

TEST_F(AnalyzeAnnotationFailureTest, TheLeastStrengthIsANumberOfZeroOrAbove) {
    for (const std::string text :
         {"-0.1", "-1", "nan", "inf", "-inf", "loud", "0,5", "0.5x", " 1", "1e99"}) {
        ExpectUsage({"--min-strength=" + text},
                    "--min-strength: \"" + text + "\" is not a finite number of 0 or above");
    }
    ExpectUsage({"--min-strength", "-1"},
                "--min-strength: \"-1\" is not a finite number of 0 or above");
}

TEST_F(AnalyzeAnnotationFailureTest, AnOutputThatCannotBeIsOneLineAndStatusOne) {
    for (const char* format : {"labels", "beats"}) {
        const ChildResult result =
            Analyze({"--format", format, "--output", mInput + "/out"}, mSetup);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "qel: " + mInput + "/out/" + OutputName(mInput) +
                                  ": cannot make this directory: Not a directory\n");
        ExpectNothingNew();
    }
}

TEST_F(AnalyzeAnnotationFailureTest, AFullDiskLeavesNothingBehind) {
    ChildSetup small = mSetup;
    small.largestFile = 100; // some 24 beats take more than that
    for (const Strings& format :
         {Strings{"beats"}, Strings{"labels", "--keys", "beat data,down beat data"}}) {
        Strings arguments{"--output", mOut, "--format"};
        arguments.insert(arguments.end(), format.begin(), format.end());
        const ChildResult result = Analyze(arguments, small);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err.find("qel: " + mOut + "/"), 0u) << result.err;
        EXPECT_NE(result.err.find("cannot write: File too large\n"), std::string::npos);
        ExpectNothingNew();
    }
}

TEST_F(AnalyzeAnnotationFailureTest, AFullStandardOutputIsOneLineAndStatusOne) {
    ChildSetup full = mSetup;
    full.outPath = "/dev/full";
    for (const Strings& arguments :
         {Strings{"--format", "beats"}, Strings{"--format", "labels", "--keys", "beat data"}}) {
        const ChildResult result = Analyze(arguments, full);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "qel: standard output: cannot write: No space left on device\n");
    }
}

TEST_F(AnalyzeAnnotationFailureTest, AReaderThatHasGoneIsNoReasonToComplain) {
    for (const Strings& arguments :
         {Strings{"--format", "beats"}, Strings{"--format", "labels", "--keys", "beat data"}}) {
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        close(ends[0]);
        ChildSetup piped = mSetup;
        piped.outDescriptor = ends[1];
        const ChildResult result = Analyze(arguments, piped);
        close(ends[1]);
        EXPECT_EQ(result.signal, 0);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(AnalyzeAnnotationFailureTest, AnOldOutputStaysUntilTheNewOneIsComplete) {
    const std::string old = OutputPath(mOut, mInput, "beats.txt");
    std::filesystem::create_directories(std::filesystem::path(old).parent_path());
    WriteFile(old, "old");
    ChildSetup small = mSetup;
    small.largestFile = 100;
    const Strings arguments{"--format", "beats", "--overwrite", "--output", mOut};
    EXPECT_EQ(Analyze(arguments, small).status, 1);
    EXPECT_EQ(ReadFile(old), "old");
    EXPECT_EQ(Analyze(arguments, mSetup).status, 0);
    EXPECT_NE(ReadFile(old), "old");
    EXPECT_EQ(mDirectory.Entries("out/" + OutputName(mInput)), Strings{"beats.txt"});
}

} // namespace
} // namespace qel::tool
