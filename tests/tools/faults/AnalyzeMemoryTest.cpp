#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

constexpr int kRateHz = 44100;

// Peak memory of the tool while it analyzes so many minutes of noise.
long PeakKilobytes(const TempDirectory& directory, std::size_t minutes,
                   const std::vector<std::string>& output) {
    const std::string path = directory.File("noise.wav");
    WriteRepeatedWav(path, kRateHz, Noise(kRateHz, 0.5f), minutes * 60);
    std::vector<std::string> arguments{"analyze", path,
                                       "--keys",  "generic spectrum properties,temporal properties",
                                       "--block", "512"};
    arguments.insert(arguments.end(), output.begin(), output.end());
    const ChildResult result = RunTool(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.peakKilobytes;
}

// 20 minutes of features are 103000 frames of 19 floats: 7.8 MB as numbers, over 15 MB as text. Two
// runs of the same length differ by some hundred kilobytes.
constexpr long kLeastResultBytes = 15'000'000;
constexpr long kAllowedGrowthKilobytes = 2000;

TEST(AnalyzeMemoryTest, CsvOfALongFileTakesNoMoreMemoryThanOfAShortOne) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "the checker's own memory grows with the work done";
    }
    const TempDirectory directory;
    const std::vector<std::string> output{"--format", "csv", "--overwrite", "--output",
                                          directory.File("out")};
    const long one = PeakKilobytes(directory, 1, output);
    const long twenty = PeakKilobytes(directory, 20, output);
    const auto bytes = std::filesystem::file_size(OutputPath(
        directory.File("out"), directory.File("noise.wav"), "generic-spectrum-properties.csv"));
    EXPECT_GT(static_cast<long>(bytes), kLeastResultBytes);
    EXPECT_LT(twenty - one, kAllowedGrowthKilobytes) << one << " kB and " << twenty << " kB";
}

TEST(AnalyzeMemoryTest, JsonOfALongFileTakesNoMoreMemoryThanOfAShortOne) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "the checker's own memory grows with the work done";
    }
    const TempDirectory directory;
    const std::vector<std::string> output{"--overwrite", "--output", directory.File("out.json")};
    const long one = PeakKilobytes(directory, 1, output);
    const long twenty = PeakKilobytes(directory, 20, output);
    EXPECT_GT(static_cast<long>(std::filesystem::file_size(directory.File("out.json"))),
              kLeastResultBytes);
    EXPECT_LT(twenty - one, kAllowedGrowthKilobytes) << one << " kB and " << twenty << " kB";
}

// Page faults of the tool while it reads one file of a second so many times.
long FaultsOfReading(const std::string& path, std::size_t times) {
    std::vector<std::string> arguments{"read", "--format", "csv"};
    arguments.insert(arguments.end(), times, path);
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_CHILDREN, &before);
    EXPECT_EQ(RunTool(arguments).status, 0);
    getrusage(RUSAGE_CHILDREN, &after);
    return after.ru_minflt - before.ru_minflt;
}

// Memory that goes back to the system and comes again takes 440 faults a file.
TEST(AnalyzeMemoryTest, AFileUsesTheMemoryOfTheOneBeforeIt) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "the checker keeps freed memory from use";
    }
    const TempDirectory directory;
    const std::string path = directory.File("second.wav");
    WriteFloatWav(path, kRateHz, {Drums(1, 120, 4)});
    const long faults = FaultsOfReading(path, 60) - FaultsOfReading(path, 10);
    EXPECT_LT(faults, 50 * 100);
}

TEST(AnalyzeMemoryTest, AFileThatNeedsMoreThanThereIsFailsAloneInOneLine) {
    if (QEL_SANITIZED) {
        GTEST_SKIP() << "the checker needs address space without end";
    }
    const TempDirectory directory;
    const std::string large = directory.File("large.wav");
    const std::string small = directory.File("small.wav");
    WriteRepeatedWav(large, kRateHz, Noise(kRateHz, 0.5f), 300);
    WriteRepeatedWav(small, kRateHz, Noise(kRateHz, 0.5f), 1);
    // The key keeps 95 MB a minute.
    const ChildResult result = RunTool({"analyze", large, small, "--keys", "reasigned spectrum",
                                        "--output", directory.File("out.json")},
                                       {.addressSpace = 400uL << 20, .seconds = 120});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "qel: " + large + ": out of memory\n");
    const auto files = Json::parse(ReadFile(directory.File("out.json")))["files"];
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0]["error"], "out of memory");
    EXPECT_EQ(files[1]["frames"], kRateHz);
}

} // namespace
} // namespace qel::tool
