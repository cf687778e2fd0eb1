#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

class AnalyzeFailureTest : public testing::Test {
protected:
    AnalyzeFailureTest() { WriteFloatWav(mGood, 48000, {Sine(4800, 48, 0.5)}); }

    ChildResult Analyze(Strings arguments) const {
        arguments.insert(arguments.begin(), "analyze");
        return RunTool(arguments);
    }

    // A bad file costs one line and the status, and the file after it is still analyzed.
    void ExpectFileFails(const std::string& path, const std::string& message) const {
        const ChildResult result = Analyze({path, mGood});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "qel: " + path + ": " + message + "\n");
        const auto files = Json::parse(result.out)["files"];
        ASSERT_EQ(files.size(), 2u);
        EXPECT_EQ(files[0]["error"], message);
        EXPECT_EQ(files[1]["frames"], 4800);
    }

    // A mistake of usage costs one line, and nothing is analyzed.
    void ExpectUsage(const Strings& arguments, const std::string& message) const {
        const ChildResult result = RunTool(arguments);
        EXPECT_EQ(result.status, 2) << message;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "qel: " + message + "\n");
    }

    TempDirectory mDirectory;
    std::string mGood = mDirectory.File("good.wav");
};

TEST_F(AnalyzeFailureTest, AMissingFileFails) {
    ExpectFileFails(mDirectory.File("missing.wav"), "No such file or directory");
}

TEST_F(AnalyzeFailureTest, ADirectoryFails) {
    ExpectFileFails(mDirectory.Path(), "is a directory, not an audio file");
}

TEST_F(AnalyzeFailureTest, AFileThatIsNoAudioFails) {
    const std::string path = mDirectory.File("text.mp3");
    WriteFile(path, "Just a few words that nobody would take for music.\n");
    ExpectFileFails(path, "is not an audio file, or is damaged or truncated");
}

TEST_F(AnalyzeFailureTest, APictureHoldsNoAudio) {
    const std::string path = mDirectory.File("picture.bmp");
    // A BMP of one pixel: file header of 14 bytes, picture header of 40, one padded row.
    std::string bytes("BM\x3A\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\x01\0\0\0\x01\0\0\0\x01\0\x18\0",
                      30);
    bytes += std::string(4, '\0') + std::string("\x04\0\0\0", 4) + std::string(20, '\0');
    WriteFile(path, bytes);
    ExpectFileFails(path, "holds no audio stream");
}

TEST_F(AnalyzeFailureTest, AnEmptyFileFails) {
    const std::string path = mDirectory.File("empty.wav");
    WriteFile(path, "");
    ExpectFileFails(path, "the file is empty");
}

TEST_F(AnalyzeFailureTest, ATruncatedFileFails) {
    const std::string path = mDirectory.File("half.wav");
    const std::string whole = ReadFile(mGood);
    WriteFile(path, whole.substr(0, 44 + 4 * 2000));
    ExpectFileFails(path, "is truncated: it was cut after 2000 frames");
}

// Makes a coded file whose bytes in the middle are overwritten.
std::string MakeDamaged(const TempDirectory& directory, const std::string& extension) {
    WriteWav(directory.File("noise.wav"), 44100, {Noise(88200, 0.5f)});
    const std::string path = directory.File("noise." + extension);
    Encode(directory.File("noise.wav"), path, {});
    std::string bytes = ReadFile(path);
    const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2);
    std::fill(middle, middle + 300, '\x55');
    WriteFile(path, bytes);
    return path;
}

TEST_F(AnalyzeFailureTest, DamageThatALosslessFormatTellsFails) {
    const std::string path = MakeDamaged(mDirectory, "flac");
    const ChildResult result = Analyze({path, mGood});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.find("qel: " + path + ": is damaged: it states 88200 frames, and "), 0u)
        << result.err;
}

TEST_F(AnalyzeFailureTest, DamagedPacketsWithoutAStatedLengthAreLeftOutWithAWarning) {
    const std::string path = MakeDamaged(mDirectory, "aac");
    const ChildResult result = Analyze({path});
    EXPECT_EQ(result.status, 0);
    const auto file = Json::parse(result.out)["files"][0];
    const int damaged = file["decoder"]["damaged_packets"].get<int>();
    EXPECT_GT(damaged, 0);
    EXPECT_EQ(result.err, "qel: " + path + ": warning: " + std::to_string(damaged) +
                              (damaged == 1 ? " damaged packet was" : " damaged packets were") +
                              " left out\n");
}

TEST_F(AnalyzeFailureTest, UnknownKeysAreMistakesOfUsage) {
    ExpectUsage({"analyze", mGood, "--keys", "temporal propertys"},
                "unknown key \"temporal propertys\"; did you mean \"temporal properties\"?");
    ExpectUsage({"analyze", mGood, "--keys", "spectrum,"},
                "empty key; \"qel keys\" lists the keys");
}

TEST_F(AnalyzeFailureTest, BadParametersAreMistakesOfUsage) {
    ExpectUsage({"analyze", mGood, "--param", "Min BPM"},
                "parameter \"Min BPM\" is not of the form NAME=VALUE");
    ExpectUsage({"analyze", mGood, "--param", "Min BPM=fast"},
                "parameter \"Min BPM=fast\" has no number as its value");
    ExpectUsage({"analyze", mGood, "--keys", "spectrum", "--param", "no such thing=1"},
                "unknown parameter \"no such thing\": the keys asked for have no parameters");
}

TEST_F(AnalyzeFailureTest, BlocksAreCheckedAtBothEnds) {
    for (const char* block : {"0", "1048577", "-1", "many"}) {
        EXPECT_EQ(Analyze({mGood, "--block", block}).status, 2) << block;
    }
    ExpectUsage({"analyze", mGood, "--block", "0"},
                "--block: Value 0 not in range 1 to 1048576; see qel --help");
    EXPECT_EQ(Analyze({mGood, "--block", "1048576"}).status, 0);
    EXPECT_EQ(Analyze({mGood, "--block", "1", "--keys", "spectrum flux properties"}).status, 0);
}

TEST_F(AnalyzeFailureTest, OtherMistakesOfUsageTakeOneLineToo) {
    const std::vector<Strings> mistakes{{},
                                        {"analyze"},
                                        {"nonsense"},
                                        {"describe"},
                                        {"analyze", mGood, "--nonsense"},
                                        {"analyze", mGood, "--format", "xml"},
                                        {"analyze", mGood, "--mix", "stereo"},
                                        {"analyze", mGood, "--all", "--keys", "spectrum"}};
    for (const Strings& arguments : mistakes) {
        const ChildResult result = RunTool(arguments);
        EXPECT_EQ(result.status, 2) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.substr(0, 5), "qel: ");
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
}

TEST_F(AnalyzeFailureTest, CsvOnStandardOutputIsForOneKeyOfOneFile) {
    const std::string message =
        "CSV on standard output is for one key of one file; name a directory with --output";
    ExpectUsage({"analyze", mGood, "--format", "csv"}, message);
    ExpectUsage({"analyze", mGood, mGood, "--format", "csv", "--keys", "spectrum"}, message);
}

TEST_F(AnalyzeFailureTest, TheAudioItselfIsNoOutput) {
    const std::string before = ReadFile(mGood);
    ExpectUsage({"analyze", mGood, "--output", mDirectory.File("./good.wav")},
                "--output " + mGood + " is one of the files to analyze");
    EXPECT_EQ(ReadFile(mGood), before);
}

TEST_F(AnalyzeFailureTest, AMistakeOfUsageLeavesTheOldOutputAlone) {
    const std::string output = mDirectory.File("out.json");
    WriteFile(output, "old");
    EXPECT_EQ(Analyze({mGood, "--output", output, "--keys", "nonsense"}).status, 2);
    EXPECT_EQ(ReadFile(output), "old");
}

} // namespace
} // namespace qel::tool
