// Label tracks and beat annotations from files, held against the JSON of the same files.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;
using Rows = std::vector<Strings>;

constexpr int kRateHz = 44100;
constexpr double kHalfMicrosecond = 0.5e-6; // times are rounded to six decimals
const std::string kBeatKeys = "beat data,down beat data,global number of beats per bar";
const std::string kNoTempo =
    "no tempo found: audio that is silent, shorter than about 2.1 seconds, or not finite";

// The fields between tabs, line by line.
Rows RowsOf(const std::string& text) {
    Rows rows;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        rows.emplace_back();
        for (std::size_t begin = 0; begin <= line.size();) {
            const std::size_t end = std::min(line.find('\t', begin), line.size());
            rows.back().push_back(line.substr(begin, end - begin));
            begin = end + 1;
        }
    }
    return rows;
}

double Number(const std::string& text) {
    return std::strtod(text.c_str(), nullptr);
}

class AnalyzeAnnotationTest : public testing::Test {
protected:
    void Write(const Planes& planes) const { WriteFloatWav(mPath, kRateHz, planes); }

    ChildResult Analyze(Strings arguments) const {
        arguments.insert(arguments.begin(), {"analyze", mPath});
        return RunTool(arguments);
    }

    // Standard output of a run that went well.
    std::string TextOf(const Strings& arguments) const {
        const ChildResult result = Analyze(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    // Times and strengths of a key in JSON, by channel.
    Json EventsOf(const std::string& key, Strings more = {}) const {
        more.insert(more.end(), {"--keys", kBeatKeys});
        return Json::parse(TextOf(more))["files"][0]["keys"][key]["values"][0];
    }

    // The outputs of the file.
    Strings Outputs() const { return mDirectory.Entries("out/" + OutputName(mPath)); }

    std::string Output(const std::string& name) const {
        return ReadFile(OutputPath(mDirectory.File("out"), mPath, name));
    }

    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("music.wav");
};

// A line is a beat of the JSON, and in position 1 just where the JSON has a down beat.
void ExpectBeats(const Rows& rows, const Json& beats, const Json& downBeats) {
    ASSERT_EQ(rows.size(), beats[0].size());
    const auto& bars = downBeats[0];
    ASSERT_FALSE(bars.empty());
    int position = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        ASSERT_EQ(rows[i].size(), 2u);
        EXPECT_NEAR(Number(rows[i][0]), beats[0][i].get<double>(), kHalfMicrosecond);
        const bool isDownBeat = std::find(bars.begin(), bars.end(), beats[0][i]) != bars.end();
        EXPECT_EQ(rows[i][1] == "1", isDownBeat) << i;
        // After a down beat the count goes on one by one.
        position = isDownBeat ? 1 : position + (position != 0 ? 1 : 0);
        if (position != 0) {
            EXPECT_EQ(rows[i][1], std::to_string(position)) << i;
        }
    }
}

TEST_F(AnalyzeAnnotationTest, BeatsAreThoseOfTheJsonWithTheirPositions) {
    Write({Drums(12, 120, 3)});
    const Rows rows = RowsOf(TextOf({"--format", "beats"}));
    ExpectBeats(rows, EventsOf("beat data")[0], EventsOf("down beat data")[0]);
    EXPECT_EQ(TextOf({"--format", "beats", "--keys", kBeatKeys}),
              TextOf({"--format", "beats", "--all"}));
    // Counted back from the first down beat, with three beats in a bar.
    const auto isOne = [](const Strings& row) { return row[1] == "1"; };
    const auto first = std::find_if(rows.begin(), rows.end(), isOne);
    ASSERT_LT(first - rows.begin(), 3);
    for (auto row = rows.begin(); row != first; ++row) {
        EXPECT_EQ(row->at(1), std::to_string(4 - (first - row)));
    }
}

TEST_F(AnalyzeAnnotationTest, BeatsAloneHaveNoPositions) {
    Write({Drums(12, 120, 3)});
    const Rows rows = RowsOf(TextOf({"--format", "beats", "--keys", "beat data"}));
    ASSERT_EQ(rows.size(), EventsOf("beat data")[0][0].size());
    for (const Strings& row : rows) {
        EXPECT_EQ(row.size(), 1u);
    }
}

TEST_F(AnalyzeAnnotationTest, LabelsAreTheEventsOfTheJson) {
    Write({Drums(12, 120, 3)});
    const std::string out = mDirectory.File("out");
    TextOf({"--format", "labels", "--keys", "beat data,down beat data", "--output", out});
    EXPECT_EQ(Outputs(), (Strings{"beat-data.txt", "down-beat-data.txt"}));
    const Json beats = EventsOf("beat data")[0];
    const Json downBeats = EventsOf("down beat data")[0];
    Rows labels = RowsOf(Output("beat-data.txt"));
    for (Strings& row : labels) {
        ASSERT_EQ(row.size(), 3u);
        EXPECT_EQ(row[0], row[1]);
        row.erase(row.begin());
    }
    ExpectBeats(labels, beats, downBeats);
    const Rows bars = RowsOf(Output("down-beat-data.txt"));
    ASSERT_EQ(bars.size(), downBeats[0].size());
    for (std::size_t i = 0; i < bars.size(); ++i) {
        ASSERT_EQ(bars[i].size(), 3u);
        EXPECT_NEAR(Number(bars[i][0]), downBeats[0][i].get<double>(), kHalfMicrosecond);
        EXPECT_EQ(bars[i][2], std::to_string(i + 1));
    }
}

TEST_F(AnalyzeAnnotationTest, LabelsOfOneKeyMayGoToStandardOutput) {
    Write({Drums(12, 120, 3)});
    const Rows rows = RowsOf(TextOf({"--format", "labels", "--keys", "beat data"}));
    ASSERT_EQ(rows.size(), EventsOf("beat data")[0][0].size());
    EXPECT_EQ(rows.back().at(2), std::to_string(rows.size()));
}

TEST_F(AnalyzeAnnotationTest, LabelsWithoutKeysAreOfAllKeysWithEventsOrANamePerFrame) {
    Write({Drums(4, 120, 3)});
    Strings expected;
    for (const KeyInfo& info : kKeys) {
        if (info.payload == PayloadKind::Events ||
            (info.payload == PayloadKind::Name && info.delivery == Delivery::PerFrame)) {
            std::string name(info.key);
            std::replace(name.begin(), name.end(), ' ', '-');
            expected.push_back(name + ".txt");
        }
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_GE(expected.size(), 3u);
    for (const Strings& choice : {Strings{}, Strings{"--all"}}) {
        Strings arguments{"--format", "labels", "--overwrite", "--output", mDirectory.File("out")};
        arguments.insert(arguments.end(), choice.begin(), choice.end());
        EXPECT_EQ(Analyze(arguments).status, 0);
        EXPECT_EQ(Outputs(), expected);
    }
}

TEST_F(AnalyzeAnnotationTest, SilenceHasNoLinesAndOneWarning) {
    Write({std::vector<float>(4 * kRateHz)});
    const ChildResult beats = Analyze({"--format", "beats"});
    EXPECT_EQ(beats.status, 0);
    EXPECT_EQ(beats.out, "");
    EXPECT_EQ(beats.err, "qel: " + mPath + ": warning: " + kNoTempo +
                             "; no values for \"global number of beats per bar\", \"beat data\", "
                             "\"down beat data\"\n");
    const ChildResult labels = Analyze({"--format", "labels", "--keys", "beat data,down beat data",
                                        "--output", mDirectory.File("out")});
    EXPECT_EQ(labels.status, 0);
    EXPECT_EQ(Output("beat-data.txt") + Output("down-beat-data.txt"), "");
}

TEST_F(AnalyzeAnnotationTest, SeveralFilesHaveOutputsOfTheirOwn) {
    Write({Drums(4, 120, 3)});
    const std::string missing = mDirectory.File("missing.wav");
    const std::string out = mDirectory.File("out");
    const std::string other = mDirectory.File("other/music.wav");
    std::filesystem::create_directory(mDirectory.File("other"));
    std::filesystem::copy_file(mPath, other);
    const ChildResult beats = Analyze({missing, other, "--format", "beats", "--output", out});
    EXPECT_EQ(beats.status, 1);
    EXPECT_EQ(beats.err, "qel: " + missing + ": No such file or directory\n");
    EXPECT_EQ(mDirectory.Entries("out").size(), 4u);
    EXPECT_NE(Output("beats.txt"), "");
    EXPECT_EQ(Output("beats.txt"), ReadFile(OutputPath(out, other, "beats.txt")));
    // The same directories take the outputs of other formats.
    EXPECT_EQ(
        Analyze({missing, other, "--format", "labels", "--keys", "beat data", "--output", out})
            .status,
        1);
    EXPECT_EQ(Outputs(), (Strings{"beat-data.txt", "beats.txt"}));
    EXPECT_EQ(mDirectory.Entries("out").size(), 6u);
}

TEST_F(AnalyzeAnnotationTest, ChannelsThatAreKeptHaveFilesOfTheirOwn) {
    Write({Drums(12, 120, 3), Drums(12, 150, 3)});
    const Json beats = EventsOf("beat data", {"--mix", "keep"});
    const Json downBeats = EventsOf("down beat data", {"--mix", "keep"});
    const Strings keep{"--mix", "keep", "--output", mDirectory.File("out"), "--format"};
    Strings arguments = keep;
    arguments.emplace_back("beats");
    TextOf(arguments);
    arguments = keep;
    arguments.insert(arguments.end(), {"labels", "--keys", "beat data"});
    TextOf(arguments);
    EXPECT_EQ(Outputs(), (Strings{"beat-data-ch0.txt", "beat-data-ch1.txt", "beats-ch0.txt",
                                  "beats-ch1.txt"}));
    for (std::size_t c = 0; c < 2; ++c) {
        const std::string suffix = "-ch" + std::to_string(c) + ".txt";
        ExpectBeats(RowsOf(Output("beats" + suffix)), beats[c], downBeats[c]);
        EXPECT_EQ(RowsOf(Output("beat-data" + suffix)).size(), beats[c][0].size());
    }
    EXPECT_NE(beats[0][0], beats[1][0]);
}

TEST_F(AnalyzeAnnotationTest, AFileOfOneChannelThatIsKeptHasItsPlainName) {
    Write({Drums(4, 120, 3)});
    TextOf({"--format", "beats", "--mix", "keep", "--output", mDirectory.File("out")});
    EXPECT_EQ(Outputs(), Strings{"beats.txt"});
}

TEST_F(AnalyzeAnnotationTest, WeakEventsAreLeftOutOfEveryFormat) {
    Write({Drums(12, 120, 3)});
    const Json all = EventsOf("beat data")[0];
    std::vector<float> sorted = all[1].get<std::vector<float>>();
    std::sort(sorted.begin(), sorted.end());
    // The middle one's own digits: it is not weaker than itself, and must stay.
    const float least = sorted[sorted.size() / 2];
    std::ostringstream digits;
    digits.precision(9); // enough for any float
    digits << least;
    std::vector<double> times;
    Rows strong;
    const Rows everyLine = RowsOf(TextOf({"--format", "beats"}));
    ASSERT_EQ(everyLine.size(), all[0].size());
    for (std::size_t i = 0; i < everyLine.size(); ++i) {
        if (all[1][i].get<float>() >= least) {
            times.push_back(all[0][i].get<double>());
            strong.push_back(everyLine[i]);
        }
    }
    ASSERT_LT(strong.size(), everyLine.size());
    const Strings weak{"--min-strength", digits.str()};
    EXPECT_EQ(EventsOf("beat data", weak)[0][0], Json(times));
    EXPECT_EQ(RowsOf(TextOf({"--format", "beats", weak[0], weak[1]})), strong);
    const std::string csv = TextOf({"--format", "csv", "--keys", "beat data", weak[0], weak[1]});
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 1 + std::ssize(strong));
    const std::string labels =
        TextOf({"--format", "labels", "--keys", "beat data", weak[0], weak[1]});
    EXPECT_EQ(std::count(labels.begin(), labels.end(), '\n'), std::ssize(strong));
    const Json file =
        Json::parse(TextOf({"--min-strength", "0.7", "--keys", "beat data"}))["files"][0];
    EXPECT_EQ(file["min_strength"], 0.7);
}

} // namespace
} // namespace qel::tool
