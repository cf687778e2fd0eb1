// Results about the whole of a file: tempo, beats, meter and down beats.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/OutputPaths.h"
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

using Strings = std::vector<std::string>;

constexpr int kRateHz = 44100;
const std::string kRhythm = "global tempo,beat data,global number of beats per bar,down beat data";
const std::string kNoTempo =
    "no tempo found: audio that is silent, shorter than about 2.1 seconds, or not finite";

class AnalyzeWholeTest : public testing::Test {
protected:
    void Write(const Planes& planes) const { WriteFloatWav(mPath, kRateHz, planes); }

    ChildResult Analyze(const std::string& keys, Strings more = {}) const {
        more.insert(more.begin(), {"analyze", mPath, "--keys", keys});
        return RunTool(more);
    }

    // The keys of the file in JSON, from a run that gave no warning.
    Json KeysOf(const std::string& keys, const Strings& more = {}) const {
        const ChildResult result = Analyze(keys, more);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        return Json::parse(result.out)["files"][0]["keys"];
    }

    void ExpectWarning(const ChildResult& result, const std::string& warning) const {
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "qel: " + mPath + ": warning: " + warning + "\n");
    }

    std::string Output(const std::string& name) const {
        return ReadFile(OutputPath(mDirectory.File("out"), mPath, name));
    }

    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("music.wav");
};

TEST_F(AnalyzeWholeTest, JsonHasOneResultPerKey) {
    Write({Drums(12, 120, 3)});
    const Json keys = KeysOf(kRhythm);
    for (const Json& key : keys) {
        EXPECT_EQ(key["delivered"], "at end");
        EXPECT_EQ(key["count"], 1);
        ASSERT_EQ(key["values"].size(), 1u);
        ASSERT_EQ(key["values"][0].size(), 1u) << "one channel";
        EXPECT_EQ(key["values"][0][0].size(), key["names"].size());
    }
    const Json& tempo = keys["global tempo"];
    EXPECT_EQ(tempo["layout"], "numbers");
    EXPECT_EQ(tempo["names"],
              (Json{"global tempo 1", "global tempo 2", "global tempo 1 confidence"}));
    EXPECT_EQ(tempo["values"][0][0][0], 120);
    EXPECT_EQ(tempo["values"][0][0][1], 60);
    EXPECT_EQ(keys["global number of beats per bar"]["values"], (Json{{{3}}}));
    EXPECT_EQ(keys["global number of beats per bar"]["layout"], "numbers");
}

TEST_F(AnalyzeWholeTest, JsonHasTimesAndStrengthsOfEventsInAnArrayEach) {
    Write({Drums(12, 120, 3)});
    const Json key = KeysOf("beat data")["beat data"];
    EXPECT_EQ(key["layout"], "arrays");
    EXPECT_EQ(key["names"], (Json{"beat time", "beat confidence"}));
    const Json& channel = key["values"][0][0];
    ASSERT_EQ(channel.size(), 2u);
    EXPECT_GE(channel[0].size(), 23u); // a stroke each half second from 0.2 s to 11.7 s
    EXPECT_EQ(channel[0].size(), channel[1].size());
    const auto times = channel[0].get<std::vector<double>>();
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
    // The last one stands at the start of the last frame of 1024 with steps of 128.
    const double last = (12 * kRateHz - 1024) / 128;
    EXPECT_EQ(channel[0].back(), last / (kRateHz / 128.0));
}

// The fields of a CSV file, row by row.
std::vector<Strings> RowsOf(const std::string& csv) {
    std::vector<Strings> rows;
    std::istringstream lines(csv);
    for (std::string line; std::getline(lines, line);) {
        rows.emplace_back();
        std::istringstream fields(line);
        for (std::string field; std::getline(fields, field, ',');) {
            rows.back().push_back(field);
        }
    }
    return rows;
}

TEST_F(AnalyzeWholeTest, CsvHasARowPerEventAndOneForTempoAndMeter) {
    Write({Drums(12, 120, 3)});
    const Json json = KeysOf(kRhythm);
    const ChildResult result =
        Analyze(kRhythm, {"--format", "csv", "--output", mDirectory.File("out")});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto tempo = RowsOf(Output("global-tempo.csv"));
    ASSERT_EQ(tempo.size(), 2u);
    EXPECT_EQ(tempo[0], (Strings{"time", "global tempo 1", "global tempo 2",
                                 "global tempo 1 confidence", "file"}));
    EXPECT_EQ(Strings(tempo[1].begin(), tempo[1].begin() + 3), (Strings{"0", "120", "60"}));
    EXPECT_EQ(Output("global-number-of-beats-per-bar.csv"),
              "time,global number of beats per bar,file\n0,3," + mPath + "\n");
    const auto beats = RowsOf(Output("beat-data.csv"));
    const Json& channel = json["beat data"]["values"][0][0];
    ASSERT_EQ(beats.size(), 1 + channel[0].size());
    EXPECT_EQ(beats[0], (Strings{"time", "beat confidence", "file"}));
    for (std::size_t i = 1; i < beats.size(); ++i) {
        ASSERT_EQ(beats[i].size(), 3u);
        EXPECT_EQ(beats[i][2], mPath);
        EXPECT_EQ(std::strtod(beats[i][0].c_str(), nullptr), channel[0][i - 1]);
        EXPECT_EQ(std::strtod(beats[i][1].c_str(), nullptr), channel[1][i - 1]);
    }
}

TEST_F(AnalyzeWholeTest, ChannelsThatAreKeptHaveTempiAndBeatsOfTheirOwn) {
    Write({Drums(12, 120, 3), Drums(12, 150, 3)});
    const Json keys = KeysOf("global tempo,beat data", {"--mix", "keep"});
    EXPECT_EQ(keys["global tempo"]["values"][0][0][0], 120);
    EXPECT_EQ(keys["global tempo"]["values"][0][1][0], 150);
    const Json& beats = keys["beat data"]["values"][0];
    ASSERT_EQ(beats.size(), 2u);
    const auto rows = RowsOf(Analyze("beat data", {"--mix", "keep", "--format", "csv"}).out);
    EXPECT_EQ(rows.at(0), (Strings{"time", "channel", "beat confidence", "file"}));
    const std::size_t first = beats[0][0].size();
    ASSERT_EQ(rows.size(), 1 + first + beats[1][0].size());
    for (std::size_t i = 1; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].at(1), i <= first ? "0" : "1");
    }
    EXPECT_EQ(std::strtod(rows[first + 1].at(0).c_str(), nullptr), beats[1][0][0]);
}

TEST_F(AnalyzeWholeTest, AFileTooShortForATempoKeepsItsOtherResultsAndIsToldInOneLine) {
    Write({Drums(2, 120, 3)});
    const ChildResult result = Analyze("temporal properties," + kRhythm);
    ExpectWarning(result, kNoTempo +
                              "; no values for \"global tempo\", \"global number of beats per "
                              "bar\", \"beat data\", \"down beat data\"");
    const Json keys = Json::parse(result.out)["files"][0]["keys"];
    EXPECT_EQ(keys["temporal properties"]["count"], 22); // 88200 samples in blocks of 4096
    EXPECT_EQ(keys["global tempo"]["count"], 0);
    EXPECT_EQ(keys["beat data"]["values"], Json::array());
}

TEST_F(AnalyzeWholeTest, SilenceHasNoTempoAndTheFilesAfterItAreAnalyzed) {
    Write({std::vector<float>(4 * kRateHz)});
    const std::string music = mDirectory.File("drums.wav");
    WriteFloatWav(music, kRateHz, {Drums(4, 120, 3)});
    const ChildResult result = RunTool({"analyze", mPath, music, "--keys", "global tempo"});
    ExpectWarning(result, kNoTempo + "; no values for \"global tempo\"");
    const Json files = Json::parse(result.out)["files"];
    EXPECT_EQ(files[0]["keys"]["global tempo"]["values"], Json::array());
    EXPECT_EQ(files[1]["keys"]["global tempo"]["values"][0][0][0], 120);
}

TEST_F(AnalyzeWholeTest, SilenceInCsvGivesTheHeadersAlone) {
    Write({std::vector<float>(4 * kRateHz)});
    const ChildResult tempo = Analyze("global tempo", {"--format", "csv"});
    EXPECT_EQ(tempo.out, "time,global tempo 1,global tempo 2,global tempo 1 confidence,file\n");
    EXPECT_EQ(tempo.status, 0);
    EXPECT_EQ(Analyze("beat data", {"--format", "csv"}).out, "time,beat confidence,file\n");
}

TEST_F(AnalyzeWholeTest, AudioWithoutAMeterHasTheNumberZeroAndAWarning) {
    Write({std::vector<float>(4 * kRateHz)});
    const ChildResult result = Analyze("global number of beats per bar", {"--format", "csv"});
    ExpectWarning(result,
                  "no number of beats per bar found: nothing in the audio repeats like bars");
    EXPECT_EQ(result.out, "time,global number of beats per bar,file\n0,0," + mPath + "\n");
}

TEST_F(AnalyzeWholeTest, AllKeysOfAShortFileAreAnalyzed) {
    Write({Drums(0.5, 120, 3)});
    const ChildResult result = RunTool({"analyze", mPath, "--all"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(Json::parse(result.out)["files"][0]["keys"]["spectrum"]["count"],
              (22050 - 1024) / 512 + 1);
}

TEST_F(AnalyzeWholeTest, GenreHintOfZeroLooksForSlowTempi) {
    Write({Drums(12, 120, 1)});
    EXPECT_EQ(KeysOf("global tempo")["global tempo"]["values"][0][0][0], 120);
    const ChildResult result = Analyze("global tempo", {"--param", "Genre Hint=0"});
    const Json file = Json::parse(result.out)["files"][0];
    EXPECT_EQ(file["parameters"], (Json{{"Genre Hint", 0}}));
    EXPECT_EQ(file["keys"]["global tempo"]["values"][0][0][0], 60);
}

TEST_F(AnalyzeWholeTest, AParameterOfNoKeyIsRefusedWithThoseThereAre) {
    Write({Drums(1, 120, 1)});
    const ChildResult result = Analyze("global tempo", {"--param", "Min BPM=60"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err,
              "qel: unknown parameter \"Min BPM\": the keys asked for have Genre Hint\n");
}

} // namespace
} // namespace qel::tool
