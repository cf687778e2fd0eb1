// "reasigned spectrum": frames of bins, all of them at the end.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

constexpr int kRateHz = 44100;
constexpr std::size_t kSamples = 12000;
constexpr std::size_t kFrames = (kSamples - 512) / 64 + 1;
const std::string kKey = "reasigned spectrum";

class AnalyzeReassignedTest : public testing::Test {
protected:
    AnalyzeReassignedTest() { WriteFloatWav(mPath, kRateHz, {Noise(kSamples, 0.5f)}); }

    std::string Analyze(const std::string& path, const std::string& format) const {
        const ChildResult result = RunTool({"analyze", path, "--keys", kKey, "--format", format});
        EXPECT_EQ(result.status, 0) << result.err;
        return result.out;
    }

    Json File(const std::string& path) const {
        return Json::parse(Analyze(path, "json"))["files"][0];
    }

    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("noise.wav");
};

TEST_F(AnalyzeReassignedTest, JsonHasAnArrayOfRealAndOneOfImaginaryPartsPerFrame) {
    const Json key = File(mPath)["keys"][kKey];
    EXPECT_EQ(key["delivered"], "frames at end");
    EXPECT_EQ(key["frame_size"], 512);
    EXPECT_EQ(key["hop"], 64);
    EXPECT_EQ(key["results_per_frame"], 1);
    EXPECT_EQ(key["layout"], "arrays");
    ASSERT_EQ(key["values"].size(), kFrames);
    const std::vector<float> noise = Noise(kSamples, 0.5f);
    Analyzer analyzer({kKey}, {.maxFrames = kSamples, .lengthFrames = kSamples});
    std::size_t frame = 0;
    analyzer.onResult([&](const Result& result) {
        const Json& parts = key["values"][frame++][0];
        ASSERT_EQ(parts.size(), 2u);
        const auto pairs = result.complexes();
        ASSERT_EQ(parts[0].size(), pairs.size());
        for (std::size_t k = 0; k < pairs.size(); ++k) {
            ASSERT_EQ(parts[0][k].get<float>(), pairs[k].real());
            ASSERT_EQ(parts[1][k].get<float>(), pairs[k].imag());
        }
    });
    analyzer.push(noise);
    analyzer.finish();
    EXPECT_EQ(frame, kFrames);
}

TEST_F(AnalyzeReassignedTest, CsvHasARowPerFrameWithItsTime) {
    std::istringstream csv(Analyze(mPath, "csv"));
    std::string line;
    std::getline(csv, line);
    EXPECT_EQ(line.substr(0, 33), "time,real_0,imag_0,real_1,imag_1,");
    std::size_t rows = 0;
    while (std::getline(csv, line)) {
        EXPECT_FLOAT_EQ(std::stof(line), static_cast<float>(rows * 64) / kRateHz);
        ++rows;
    }
    EXPECT_EQ(rows, kFrames);
}

// Raw AAC does not tell its length, and frames beyond the declared one would be lost.
TEST_F(AnalyzeReassignedTest, AFileThatDoesNotTellItsLengthKeepsAllFrames) {
    WriteWav(mPath, kRateHz, {Noise(kSamples, 0.5f)});
    const std::string raw = mDirectory.File("noise.aac");
    Encode(mPath, raw, {"-c:a", "aac"});
    const Json file = File(raw);
    const auto samples = file["frames"].get<std::size_t>();
    ASSERT_GE(samples, kSamples);
    const Json& values = file["keys"][kKey]["values"];
    ASSERT_EQ(values.size(), (samples - 512) / 64 + 1);
    double energy = 0;
    for (const Json& part : values[kFrames / 2][0][0]) {
        energy += part.get<double>() * part.get<double>();
    }
    EXPECT_GT(energy, 0);
}

} // namespace
} // namespace qel::tool
