// Lists of partials, from a steady sine.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

constexpr int kRateHz = 48000;
constexpr std::size_t kSamples = 9600;
constexpr std::size_t kFrames = (kSamples - 1024) / 512 + 1;

class AnalyzePartialsTest : public testing::Test {
protected:
    AnalyzePartialsTest() {
        // 1000 Hz, and half as loud.
        WriteFloatWav(mPath, kRateHz, {Sine(kSamples, 48, 0.5), Sine(kSamples, 48, 0.25)});
    }

    std::string Analyze(const std::string& format, const std::string& mix) const {
        const ChildResult result =
            RunTool({"analyze", mPath, "--keys", "partials", "--format", format, "--mix", mix});
        EXPECT_EQ(result.status, 0) << result.err;
        return result.out;
    }

    Json KeyInJson(const std::string& mix) const {
        return Json::parse(Analyze("json", mix))["files"][0]["keys"]["partials"];
    }

    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("sine.wav");
};

TEST_F(AnalyzePartialsTest, JsonHasAnArrayPerNumberOfAPartial) {
    const Json key = KeyInJson("mono");
    EXPECT_EQ(key["layout"], "arrays");
    EXPECT_EQ(key["names"].size(), 5u);
    ASSERT_EQ(key["values"].size(), kFrames);
    for (std::size_t i = 0; i < kFrames; ++i) {
        const Json& partials = key["values"][i][0];
        ASSERT_EQ(partials.size(), 5u);
        for (const Json& numbers : partials) {
            EXPECT_EQ(numbers.size(), partials[0].size());
        }
        ASSERT_FALSE(partials[0].empty());
        const auto magnitudes = partials[2].get<std::vector<double>>();
        const auto loudest = std::max_element(magnitudes.begin(), magnitudes.end());
        const auto index = static_cast<std::size_t>(loudest - magnitudes.begin());
        // The vertex of a parabola over a windowed sine lies at most 0.016 bins off.
        EXPECT_NEAR(partials[1][index].get<double>(), 1000, 0.016 * kRateHz / 1024);
        EXPECT_EQ(partials[0][index], 21); // 1000 Hz are 21.33 bins
        EXPECT_EQ(partials[4][index], i);
    }
}

TEST_F(AnalyzePartialsTest, CsvHasTheNumbersOfTheJsonRowByRow) {
    const Json values = KeyInJson("keep")["values"];
    std::istringstream csv(Analyze("csv", "keep"));
    std::string line;
    std::getline(csv, line);
    EXPECT_EQ(line, "time,channel,partial index,partial frequency Hz,partial magnitude,"
                    "partial phase,partial time,file");
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (std::size_t c = 0; c < 2; ++c) {
            const Json& partials = values[i][c];
            for (std::size_t p = 0; p < partials[0].size(); ++p) {
                ASSERT_TRUE(std::getline(csv, line));
                std::vector<double> numbers;
                std::istringstream fields(line);
                for (std::string field; std::getline(fields, field, ',');) {
                    numbers.push_back(std::strtod(field.c_str(), nullptr));
                }
                ASSERT_EQ(numbers.size(), 8u); // the last one is the path
                EXPECT_DOUBLE_EQ(numbers[0], static_cast<double>(i) * 512 / kRateHz);
                EXPECT_EQ(numbers[1], static_cast<double>(c));
                for (std::size_t n = 0; n < 5; ++n) {
                    EXPECT_EQ(numbers[n + 2], partials[n][p].get<double>());
                }
            }
        }
    }
    EXPECT_FALSE(std::getline(csv, line)) << "no row is left over";
}

} // namespace
} // namespace qel::tool
