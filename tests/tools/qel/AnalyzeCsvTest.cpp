#include "tests/harness/ChildProcess.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

constexpr int kRateHz = 48000;

std::vector<Strings> Rows(const std::string& csv) {
    std::vector<Strings> rows;
    std::istringstream lines(csv);
    for (std::string line; std::getline(lines, line);) {
        Strings cells;
        std::istringstream fields(line);
        for (std::string cell; std::getline(fields, cell, ',');) {
            cells.push_back(cell);
        }
        rows.push_back(cells);
    }
    return rows;
}

double Number(const std::string& text) {
    return std::strtod(text.c_str(), nullptr);
}

// The digits are the fewest that give back the float; as a double they mean another number.
float Single(const std::string& text) {
    return std::strtof(text.c_str(), nullptr);
}

TEST(AnalyzeCsvTest, TimesAreThoseOfTheFramesStarts) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(96000, 48, 0.5)});
    const ChildResult result = RunTool({"analyze", path, "--format", "csv", "--keys",
                                        "spectrum flux properties", "--output", "-"});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto rows = Rows(result.out);
    // The header, and one row per frame of 1024 at steps of 512.
    ASSERT_EQ(rows.size(), 1 + (96000u - 1024) / 512 + 1);
    EXPECT_EQ(rows[0], (Strings{"time", "spectrum difference", "spectrum flux", "file"}));
    for (std::size_t i = 1; i < rows.size(); ++i) {
        ASSERT_EQ(rows[i].size(), 4u);
        EXPECT_EQ(rows[i].back(), path);
        EXPECT_DOUBLE_EQ(Number(rows[i][0]), static_cast<double>(i - 1) * 512 / kRateHz);
    }
}

TEST(AnalyzeCsvTest, TimesOfPushesAreThoseOfTheBlocksStarts) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(10000, 48, 0.5)});
    const ChildResult result = RunTool(
        {"analyze", path, "--format", "csv", "--keys", "temporal properties", "--block", "4800"});
    const auto rows = Rows(result.out);
    ASSERT_EQ(rows.size(), 4u); // blocks of 4800, 4800 and 400
    EXPECT_EQ(Number(rows[1][0]), 0.0);
    EXPECT_EQ(Number(rows[2][0]), 0.1);
    EXPECT_EQ(Number(rows[3][0]), 0.2);
}

TEST(AnalyzeCsvTest, SeveralResultsOfAFrameStandAtEqualStepsInItsHop) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(48000, 48, 0.5)});
    const auto rows = Rows(RunTool({"analyze", path, "--format", "csv", "--keys", "tempo"}).out);
    // The header, and two rows per frame of 1024 at steps of 512.
    ASSERT_EQ(rows.size(), 1 + 2 * ((48000u - 1024) / 512 + 1));
    EXPECT_EQ(rows[0], (Strings{"time", "tempo", "file"}));
    for (std::size_t i = 1; i < rows.size(); ++i) {
        ASSERT_EQ(rows[i].size(), 3u);
        EXPECT_DOUBLE_EQ(Number(rows[i][0]), static_cast<double>(i - 1) * 256 / kRateHz);
    }
}

TEST(AnalyzeCsvTest, OneFileGivesOneCsvPerKey) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(2048, 48, 0.5)});
    const ChildResult result =
        RunTool({"analyze", path, "--format", "csv", "--output", directory.File("out"), "--keys",
                 "temporal properties,spectrum"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(directory.Entries("out/" + OutputName(path)),
              (Strings{"spectrum.csv", "temporal-properties.csv"}));
}

TEST(AnalyzeCsvTest, SeveralFilesGetADirectoryEach) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(2048, 48, 0.5)});
    const std::string other = directory.File("deeper/sine.wav");
    std::filesystem::create_directory(directory.File("deeper"));
    std::filesystem::copy_file(path, other);
    const ChildResult result =
        RunTool({"analyze", path, directory.File("missing.wav"), other, "--format", "csv",
                 "--output", directory.File("out"), "--keys", "spectrum"});
    EXPECT_EQ(result.status, 1);
    Strings expected;
    for (const std::string& input : {path, other}) {
        expected.push_back(OutputName(input));
        expected.push_back(OutputName(input) + "/spectrum.csv");
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(directory.Entries("out"), expected);
}

TEST(AnalyzeCsvTest, PairsAndChannelsAreNumbered) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(2048, 48, 0.5), Sine(2048, 48, 0.25)});
    const ChildResult result =
        RunTool({"analyze", path, "--format", "csv", "--keys", "spectrum", "--mix", "keep"});
    const auto rows = Rows(result.out);
    ASSERT_EQ(rows.size(), 4u);
    ASSERT_EQ(rows[0].size(), 1 + 2 * 1024u + 1);
    EXPECT_EQ(Strings(rows[0].begin(), rows[0].begin() + 4),
              (Strings{"time", "real_0_ch0", "imag_0_ch0", "real_1_ch0"}));
    EXPECT_EQ(rows[0][1025], "real_0_ch1");
    EXPECT_EQ(rows[0][2048], "imag_511_ch1");
    EXPECT_EQ(rows[0].back(), "file");
    // The second channel is half the first, and halving is exact: so is every one of its figures.
    for (std::size_t i = 1; i <= 1024; ++i) {
        EXPECT_EQ(Single(rows[1][i + 1024]), Single(rows[1][i]) / 2) << rows[0][i];
    }
}

TEST(AnalyzeCsvTest, AudioShorterThanAFrameGivesTheHeaderAlone) {
    const TempDirectory directory;
    const std::string path = directory.File("short.wav");
    WriteFloatWav(path, kRateHz, {Sine(100, 48, 0.5)});
    const ChildResult result =
        RunTool({"analyze", path, "--format", "csv", "--keys", "spectrum flux properties"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "time,spectrum difference,spectrum flux,file\n");
}

} // namespace
} // namespace qel::tool
