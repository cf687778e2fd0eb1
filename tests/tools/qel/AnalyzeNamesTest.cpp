// Keys whose results are names, in every format, from chords whose keys are known.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

constexpr int kRateHz = 44100;
constexpr std::size_t kSecond = 44100;
constexpr std::size_t kFrame = 8192;
constexpr std::size_t kHop = 512;
constexpr double kHalfMicrosecond = 0.5e-6; // times of labels are rounded to six decimals

// The major triad on a note so many semitones above the C of 523 Hz.
std::vector<float> MajorChord(std::size_t frames, int semitones) {
    std::vector<float> chord(frames);
    for (const int step : {0, 4, 7}) {
        const double frequencyHz = 523.2511 * std::exp2((semitones + step) / 12.0);
        const std::vector<float> note = Sine(frames, kRateHz / frequencyHz, 0.2);
        for (std::size_t n = 0; n < frames; ++n) {
            chord[n] += note[n];
        }
    }
    return chord;
}

// C major for a second, then F sharp major.
std::vector<float> TwoChords() {
    std::vector<float> samples = MajorChord(kSecond, 0);
    const std::vector<float> second = MajorChord(kSecond, 6);
    samples.insert(samples.end(), second.begin(), second.end());
    return samples;
}

class AnalyzeNamesTest : public testing::Test {
protected:
    // Standard output of a run on these channels that went well.
    std::string Analyze(const Planes& planes, const std::string& keys, Strings more = {}) const {
        const std::string path = mDirectory.File("chords.wav");
        WriteFloatWav(path, kRateHz, planes);
        more.insert(more.begin(), {"analyze", path, "--keys", keys});
        const ChildResult result = RunTool(more);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    Json KeyOf(const Planes& planes, const std::string& key, const Strings& more = {}) const {
        return Json::parse(Analyze(planes, key, more))["files"][0]["keys"][key];
    }

    std::string Output(const std::string& name) const {
        return OutputPath(mDirectory.File("out"), mDirectory.File("chords.wav"), name);
    }

    TempDirectory mDirectory;
};

Strings LinesOf(const std::string& text) {
    Strings lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST_F(AnalyzeNamesTest, JsonHasAStringPerChannelAndFrame) {
    const Json key =
        KeyOf({TwoChords(), MajorChord(2 * kSecond, 7)}, "dominant key", {"--mix", "keep"});
    EXPECT_EQ(key["layout"], "names");
    EXPECT_EQ(key["names"], (Json{"dominant key"}));
    EXPECT_EQ(key["results_per_frame"], 1);
    constexpr std::size_t kFrames = (2 * kSecond - kFrame) / kHop + 1;
    EXPECT_EQ(key["count"], kFrames);
    const Json& values = key["values"];
    ASSERT_EQ(values.size(), kFrames);
    EXPECT_EQ(values.front(), (Json{{"C Major"}, {"G Major"}}));
    EXPECT_EQ(values.back(), (Json{{"F# major"}, {"G Major"}}));
}

TEST_F(AnalyzeNamesTest, CsvHasTheNameAsAField) {
    const Strings lines =
        LinesOf(Analyze({MajorChord(kSecond, 7)}, "dominant key", {"--format", "csv"}));
    ASSERT_EQ(lines.size(), 1 + (kSecond - kFrame) / kHop + 1);
    const std::string end = fmt::format(",{}", mDirectory.File("chords.wav"));
    EXPECT_EQ(lines[0], "time,dominant key,file");
    EXPECT_EQ(lines[1], "0,G Major" + end);
    for (std::size_t i = 1; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].substr(lines[i].find(',')), ",G Major" + end);
    }
}

TEST_F(AnalyzeNamesTest, TheKeyOfAllTheFileComesAlone) {
    // Silence is "C Major" in every frame, and so the key of them all.
    const std::vector<float> silence(kSecond);
    const Json key = KeyOf({silence}, "global key");
    EXPECT_EQ(key["delivered"], "at end");
    EXPECT_EQ(key["layout"], "names");
    EXPECT_EQ(key["values"], (Json{{{"C Major"}}}));
    EXPECT_EQ(Analyze({silence}, "global key", {"--format", "csv"}),
              "time,global key,file\n0,C Major," + mDirectory.File("chords.wav") + "\n");
}

TEST_F(AnalyzeNamesTest, LabelsAreTheRegionsOfEqualNames) {
    const Json values = KeyOf({TwoChords()}, "dominant key")["values"];
    const Strings lines = LinesOf(Analyze({TwoChords()}, "dominant key", {"--format", "labels"}));
    ASSERT_GE(lines.size(), 2u);
    std::size_t frame = 0;
    for (const std::string& line : lines) {
        ASSERT_LT(frame, values.size());
        const auto name = values[frame][0][0].get<std::string>();
        const std::size_t first = frame;
        while (frame < values.size() && values[frame][0][0] == name) {
            ++frame;
        }
        // The last region ends with its last frame, the others where the next one begins.
        const std::size_t end = frame == values.size() ? (frame - 1) * kHop + kFrame : frame * kHop;
        const std::size_t tab = line.find('\t');
        const std::size_t secondTab = line.find('\t', tab + 1);
        EXPECT_NEAR(std::strtod(line.c_str(), nullptr), static_cast<double>(first * kHop) / kRateHz,
                    kHalfMicrosecond);
        EXPECT_NEAR(std::strtod(line.c_str() + tab + 1, nullptr),
                    static_cast<double>(end) / kRateHz, kHalfMicrosecond);
        EXPECT_EQ(line.substr(secondTab + 1), name);
    }
    EXPECT_EQ(frame, values.size()) << "no name is left over";
    EXPECT_EQ(lines.front().substr(lines.front().rfind('\t')), "\tC Major");
    EXPECT_EQ(lines.back().substr(lines.back().rfind('\t')), "\tF# major");
}

TEST_F(AnalyzeNamesTest, AudioShorterThanAFrameHasAnEmptyTrack) {
    EXPECT_EQ(Analyze({MajorChord(kFrame - 1, 0)}, "dominant key", {"--format", "labels"}), "");
}

TEST_F(AnalyzeNamesTest, ChannelsThatAreKeptHaveTracksOfTheirOwn) {
    Analyze({MajorChord(kFrame, 0), MajorChord(kFrame, 7)}, "dominant key",
            {"--format", "labels", "--mix", "keep", "--output", mDirectory.File("out")});
    // One frame each: 8192 samples are 0.185760 s.
    EXPECT_EQ(ReadFile(Output("dominant-key-ch0.txt")), "0.000000\t0.185760\tC Major\n");
    EXPECT_EQ(ReadFile(Output("dominant-key-ch1.txt")), "0.000000\t0.185760\tG Major\n");
}

TEST_F(AnalyzeNamesTest, TheKeyOfAllTheFileHasNoPlaceInLabels) {
    const std::string path = mDirectory.File("chords.wav");
    WriteFloatWav(path, kRateHz, {MajorChord(kSecond, 0)});
    EXPECT_EQ(RunTool({"analyze", path, "--keys", "global key", "--format", "labels"}).status, 2);
}

} // namespace
} // namespace qel::tool
