// "audio range", which takes pushes of whole multiples of 512 samples only.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

constexpr int kRateHz = 44100;
constexpr std::size_t kWhole = 512 * 90;
constexpr std::size_t kSamples = kWhole + 300; // and a rest

class AnalyzeRangeTest : public testing::Test {
protected:
    AnalyzeRangeTest() {
        WriteFloatWav(mPath, kRateHz, {Noise(kSamples, 0.5f), Sine(kSamples, 100, 0.25)});
    }

    ChildResult Analyze(const std::string& keys, std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {"analyze", mPath, "--mix", "keep", "--keys", keys});
        return RunTool(more);
    }

    Json KeysOf(const std::string& keys, const std::vector<std::string>& more = {}) const {
        const ChildResult result = Analyze(keys, more);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        return Json::parse(result.out)["files"][0]["keys"];
    }

    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("noise.wav");
};

// What the library says of the whole multiples of 512 samples, pushed in blocks as the tool does.
std::vector<AudioRange> RangesOf(const Planes& planes) {
    constexpr std::size_t kBlock = 4096;
    Analyzer analyzer({"audio range"}, {.channels = 2, .maxFrames = kBlock});
    std::vector<AudioRange> ranges;
    analyzer.onResult([&](const Result& result) { ranges = result.store().ranges; });
    for (std::size_t at = 0; at < kWhole; at += kBlock) {
        const std::size_t count = std::min(kBlock, kWhole - at);
        const std::vector<const float*> channels = {planes[0].data() + at, planes[1].data() + at};
        analyzer.push(channels, count);
    }
    analyzer.finish();
    return ranges;
}

std::optional<float> NumberIn(const Json& field) {
    return field.is_null() ? std::nullopt : std::optional(field.get<float>());
}

TEST_F(AnalyzeRangeTest, JsonHasTheNumbersOfEveryChannelAndNullWhereThereIsNone) {
    const std::vector<AudioRange> ranges =
        RangesOf({Noise(kSamples, 0.5f), Sine(kSamples, 100, 0.25)});
    ASSERT_EQ(ranges.size(), 2u);
    const Json key = KeysOf("audio range")["audio range"];
    EXPECT_EQ(key["layout"], "numbers");
    EXPECT_EQ(key["delivered"], "at end");
    EXPECT_EQ(key["names"], (Json{"headroom", "noise floor", "cutoff"}));
    ASSERT_EQ(key["values"].size(), 1u);
    for (std::size_t c = 0; c < 2; ++c) {
        const Json& numbers = key["values"][0][c];
        ASSERT_EQ(numbers.size(), 3u);
        EXPECT_EQ(NumberIn(numbers[0]), ranges[c].headroom);
        EXPECT_EQ(NumberIn(numbers[1]), ranges[c].noiseFloorDb);
        EXPECT_EQ(NumberIn(numbers[2]), ranges[c].cutoffHz);
    }
    EXPECT_TRUE(ranges[0].noiseFloorDb.has_value()) << "of noise";
    EXPECT_FALSE(ranges[0].cutoffHz.has_value()) << "noise that goes up to half the rate";
    EXPECT_NEAR(key["values"][0][1][0].get<double>(), 0.75, 0.01);
}

TEST_F(AnalyzeRangeTest, CsvHasARowWithNanWhereThereIsNone) {
    WriteFloatWav(mPath, kRateHz, {Noise(kSamples, 0.5f)});
    const Json key = KeysOf("audio range")["audio range"];
    const ChildResult result =
        RunTool({"analyze", mPath, "--keys", "audio range", "--format", "csv"});
    EXPECT_EQ(result.status, 0) << result.err;
    const Json& numbers = key["values"][0][0];
    ASSERT_FALSE(numbers[1].is_null());
    EXPECT_EQ(result.out, "time,headroom,noise floor,cutoff,file\n0," + numbers[0].dump() + "," +
                              numbers[1].dump() + ",nan," + mPath + "\n");
}

TEST_F(AnalyzeRangeTest, OtherKeysLoseNothingOfTheRest) {
    const Json alone = KeysOf("spectrum flux properties");
    const Json beside = KeysOf("spectrum flux properties,audio range");
    const Json& frames = beside["spectrum flux properties"]["values"];
    EXPECT_EQ(frames.size(), (kSamples - 1024) / 512 + 1);
    EXPECT_EQ(frames, alone["spectrum flux properties"]["values"]);
}

TEST_F(AnalyzeRangeTest, BlocksOfOtherSizesAreRefusedInOneLine) {
    const ChildResult result = Analyze("audio range", {"--block", "1000"});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("--block must be a multiple of 512 for \"audio range\""),
              std::string::npos)
        << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(Analyze("spectrum", {"--block", "1000"}).status, 0);
}

TEST_F(AnalyzeRangeTest, AFileShorterThanThePushesHasTheSilenceAtItsEndAlone) {
    WriteFloatWav(mPath, kRateHz, {Noise(511, 0.5f), Noise(511, 0.5f)});
    const Json key = KeysOf("audio range", {"--block", "512"})["audio range"];
    ASSERT_EQ(key["values"].size(), 1u);
    // The end brings a block of silence, whose samples stand in the middle of the scale: their
    // class is number 511 of 1024, and the one below begins at -1 / 511.
    EXPECT_NEAR(key["values"][0][0][0].get<double>(), 1 - 1.0 / 511, 1e-6);
    EXPECT_TRUE(key["values"][0][0][1].is_null());
    EXPECT_TRUE(key["values"][0][0][2].is_null());
}

} // namespace
} // namespace qel::tool
