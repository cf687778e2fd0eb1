#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"
#include "tools/qel/KeyList.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

constexpr int kRateHz = 48000;

// Analyzes files to standard output and reads the document, which must be JSON.
Json Analyze(std::vector<std::string> arguments, int status = 0) {
    arguments.insert(arguments.begin(), "analyze");
    const ChildResult result = RunTool(arguments);
    EXPECT_EQ(result.status, status) << result.err;
    return Json::parse(result.out);
}

// Frames of 1024 with a hop of 512 that lie wholly inside of so many samples.
std::size_t FramesIn(std::size_t samples) {
    return (samples - 1024) / 512 + 1;
}

TEST(AnalyzeJsonTest, TellsFileAndDecoder) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(96000, 48, 0.5), Sine(96000, 48, 0.5)});
    const Json document = Analyze({path});
    EXPECT_TRUE(document["qel"].is_string());
    ASSERT_EQ(document["files"].size(), 1u);
    const Json& file = document["files"][0];
    EXPECT_EQ(file["file"], path);
    EXPECT_EQ(file["sample_rate"], kRateHz);
    EXPECT_EQ(file["channels"], 1);
    EXPECT_EQ(file["file_channels"], 2);
    EXPECT_EQ(file["mix"], "mono");
    EXPECT_EQ(file["block"], 4096);
    EXPECT_EQ(file["frames"], 96000);
    EXPECT_EQ(file["duration"], 2.0);
    EXPECT_EQ(file["parameters"], Json::object());
    EXPECT_EQ(file["decoder"]["name"], "pcm_f32le");
    EXPECT_EQ(file["decoder"]["container"], "wav");
    EXPECT_EQ(file["decoder"]["leading_frames_trimmed"], 0);
    EXPECT_EQ(file["decoder"]["trailing_frames_trimmed"], 0);
    EXPECT_EQ(file["decoder"]["damaged_packets"], 0);
}

TEST(AnalyzeJsonTest, TellsWhatWasTrimmed) {
    const TempDirectory directory;
    WriteWav(directory.File("click.wav"), kRateHz, {Click(60000, 20000)});
    Encode(directory.File("click.wav"), directory.File("click.opus"), {"-c:a", "libopus"});
    const Json file = Analyze({directory.File("click.opus")})["files"][0];
    EXPECT_EQ(file["frames"], 60000);
    EXPECT_EQ(file["decoder"]["codec"], "opus");
    // Opus looks 312 samples ahead at 48 kHz, and its packets hold 960: 63 of them hold the rest.
    EXPECT_EQ(file["decoder"]["leading_frames_trimmed"], 312);
    EXPECT_EQ(file["decoder"]["trailing_frames_trimmed"], 63 * 960 - 312 - 60000);
}

TEST(AnalyzeJsonTest, TemporalPropertiesOfASineAreThoseOfTheFormula) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(96000, 48, 0.5)});
    const Json key = Analyze({path, "--keys", "temporal properties", "--block",
                              "4800"})["files"][0]["keys"]["temporal properties"];
    EXPECT_EQ(key["delivered"], "per push");
    EXPECT_TRUE(key["frame_size"].is_null());
    EXPECT_TRUE(key["hop"].is_null());
    EXPECT_EQ(key["names"],
              (Json{"zero crossing rate", "root mean square energy", "amplitude envelope"}));
    EXPECT_EQ(key["count"], 20);
    ASSERT_EQ(key["values"].size(), 20u);
    for (const Json& frame : key["values"]) {
        ASSERT_EQ(frame.size(), 1u) << "one channel";
        // 100 periods with 2 crossings each, the last of which falls between two blocks.
        EXPECT_FLOAT_EQ(frame[0][0].get<float>(), 199.0f / 4800.0f);
        // Single precision sums of 4800 squares: a few parts in a million.
        EXPECT_NEAR(frame[0][1].get<double>(), 0.5 / std::sqrt(2.0), 2e-6);
    }
}

TEST(AnalyzeJsonTest, FramesAreCountedAndTheSinesFrequencyIsInItsBin) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(96000, 48, 0.5)});
    const Json key =
        Analyze({path, "--keys",
                 "generic spectrum properties"})["files"][0]["keys"]["generic spectrum properties"];
    EXPECT_EQ(key["sample_rate"], kRateHz);
    EXPECT_EQ(key["frame_size"], 1024);
    EXPECT_EQ(key["hop"], 512);
    EXPECT_EQ(key["count"], FramesIn(96000));
    ASSERT_EQ(key["values"].size(), FramesIn(96000));
    std::size_t index = 0;
    while (key["names"][index] != "spectrum maximum frequency") {
        ++index;
    }
    for (const Json& frame : key["values"]) {
        // 1000 Hz lies nearest to bin 21 of 46.875 Hz.
        EXPECT_EQ(frame[0][index], 21 * 46.875);
    }
}

TEST(AnalyzeJsonTest, TwoResultsPerFrameAreToldAndCounted) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(96000, 48, 0.5)});
    const Json keys = Analyze(
        {path, "--keys",
         "tempo,spectrum flux properties,temporal properties,global tempo"})["files"][0]["keys"];
    EXPECT_EQ(keys["tempo"]["results_per_frame"], 2);
    EXPECT_EQ(keys["tempo"]["count"], 2 * FramesIn(96000));
    ASSERT_EQ(keys["tempo"]["values"].size(), 2 * FramesIn(96000));
    EXPECT_EQ(keys["tempo"]["layout"], "numbers");
    for (const Json& result : keys["tempo"]["values"]) {
        ASSERT_EQ(result.size(), 1u) << "one channel";
        ASSERT_EQ(result[0].size(), 1u);
        EXPECT_TRUE(result[0][0].is_number());
    }
    EXPECT_EQ(keys["spectrum flux properties"]["results_per_frame"], 1);
    EXPECT_TRUE(keys["temporal properties"]["results_per_frame"].is_null());
    EXPECT_TRUE(keys["global tempo"]["results_per_frame"].is_null());
}

TEST(AnalyzeJsonTest, ChannelsAreMixedOrKept) {
    const TempDirectory directory;
    const std::string path = directory.File("two.wav");
    WriteFloatWav(path, kRateHz, {Sine(9600, 48, 0.5), Sine(9600, 48, 0.25)});
    const std::vector<std::string> arguments{path, "--keys", "temporal properties", "--block",
                                             "4800"};
    const auto levels = [&](const std::string& mix) {
        std::vector<std::string> all = arguments;
        all.insert(all.end(), {"--mix", mix});
        const Json file = Analyze(all)["files"][0];
        std::vector<double> values;
        for (const Json& channel : file["keys"]["temporal properties"]["values"][0]) {
            values.push_back(channel[1].get<double>() * std::sqrt(2.0));
        }
        EXPECT_EQ(file["channels"], values.size());
        return values;
    };
    const std::vector<double> mono = levels("mono");
    ASSERT_EQ(mono.size(), 1u);
    EXPECT_NEAR(mono[0], 0.375, 1e-5); // single precision, as above
    const std::vector<double> kept = levels("keep");
    ASSERT_EQ(kept.size(), 2u);
    EXPECT_NEAR(kept[0], 0.5, 1e-5);
    EXPECT_NEAR(kept[1], 0.25, 1e-5);
}

TEST(AnalyzeJsonTest, TheSpectrumIsAnArrayPerName) {
    const TempDirectory directory;
    const std::string path = directory.File("constant.wav");
    WriteFloatWav(path, kRateHz, {std::vector<float>(1024, 0.5f)});
    const Json key = Analyze({path, "--all"})["files"][0]["keys"]["spectrum"];
    EXPECT_EQ(key["layout"], "arrays");
    EXPECT_EQ(key["names"], (Json{"spectrum real data", "spectrum imaginary data"}));
    ASSERT_EQ(key["values"].size(), 1u);
    const Json& channel = key["values"][0][0];
    ASSERT_EQ(channel.size(), 2u);
    ASSERT_EQ(channel[0].size(), 512u);
    ASSERT_EQ(channel[1].size(), 512u);
    // Twice the sum of a Hann window of N samples without zero ends, (N + 1) / 2, times 0.5.
    EXPECT_NEAR(channel[0][0].get<double>(), 1025.0 / 2, 0.01); // a float of 500 has steps of 3e-5
}

TEST(AnalyzeJsonTest, NumbersThatAreNotFiniteAreNull) {
    const TempDirectory directory;
    const std::string path = directory.File("nan.wav");
    WriteFloatWav(path, kRateHz, {{1.0f, std::numeric_limits<float>::quiet_NaN(), 1.0f}});
    const Json key =
        Analyze({path, "--keys", "temporal properties"})["files"][0]["keys"]["temporal properties"];
    EXPECT_TRUE(key["values"][0][0][1].is_null());
}

TEST(AnalyzeJsonTest, AudioShorterThanAFrameGivesAnEmptyList) {
    const TempDirectory directory;
    const std::string path = directory.File("short.wav");
    WriteFloatWav(path, kRateHz, {Sine(1023, 48, 0.5)});
    const Json keys = Analyze({path})["files"][0]["keys"];
    EXPECT_EQ(keys["temporal properties"]["count"], 1);
    EXPECT_EQ(keys["generic spectrum properties"]["count"], 0);
    EXPECT_EQ(keys["generic spectrum properties"]["values"], Json::array());
}

TEST(AnalyzeJsonTest, ChoosesKeysAsTheHelpSays) {
    const TempDirectory directory;
    const std::string path = directory.File("sine.wav");
    WriteFloatWav(path, kRateHz, {Sine(2048, 48, 0.5)});
    EXPECT_EQ(Analyze({path, "--all"})["files"][0]["keys"].size(), std::size(kKeys));
    const Json keys = Analyze({path})["files"][0]["keys"];
    EXPECT_EQ(keys.size(), DefaultKeys().size());
    EXPECT_TRUE(keys.contains("temporal properties"));
    EXPECT_TRUE(keys.contains("dominant key"));
    EXPECT_FALSE(keys.contains("spectrum"));
    EXPECT_FALSE(keys.contains("constant q spectrum"));
    EXPECT_FALSE(keys.contains("global tempo"));
}

TEST(AnalyzeJsonTest, SeveralFilesComeInTheirOrderWithTheBadOneTold) {
    const TempDirectory directory;
    WriteFloatWav(directory.File("a.wav"), 44100, {Sine(2048, 48, 0.5)});
    WriteFloatWav(directory.File("c.wav"), 48000, {Sine(4096, 48, 0.5)});
    const Json files =
        Analyze({directory.File("a.wav"), directory.File("missing.wav"), directory.File("c.wav")},
                1)["files"];
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0]["frames"], 2048);
    EXPECT_EQ(files[1], (Json{{"file", directory.File("missing.wav")},
                              {"error", "No such file or directory"}}));
    EXPECT_EQ(files[2]["frames"], 4096);
}

TEST(AnalyzeJsonTest, ANameThatIsNotUtf8StillGivesJson) {
    const TempDirectory directory;
    const std::string path = directory.File("caf\xE9 \"1\"\n.wav");
    WriteFloatWav(path, kRateHz, {Sine(2048, 48, 0.5)});
    const Json file = Analyze({path})["files"][0];
    EXPECT_EQ(file["file"], directory.File("caf\xEF\xBF\xBD \"1\"\n.wav"));
}

} // namespace
} // namespace qel::tool
