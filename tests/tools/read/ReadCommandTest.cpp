#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

constexpr int kRateHz = 44100;

// Twenty seconds of clicks, two per second from 0.25 s on: 120 BPM. All but the first of every
// `perBar` are softer by `factor`.
std::vector<float> Clicks(std::size_t perBar = 1, float factor = 1) {
    std::vector<float> samples(20 * kRateHz, 0.0f);
    std::size_t count = 0;
    for (std::size_t at = kRateHz / 4; at + 200 < samples.size(); at += kRateHz / 2) {
        const float level = count++ % perBar == 0 ? 0.8f : 0.8f * factor;
        for (std::size_t i = 0; i < 200; ++i) {
            samples[at + i] = (i % 2 == 0 ? level : -level) * std::exp(-static_cast<float>(i) / 40);
        }
    }
    return samples;
}

// The scale of C major up and down with the triad of C under it, half a second per note.
std::vector<float> ScaleOfCMajor() {
    const auto add = [](std::vector<float>& out, std::size_t begin, std::size_t end, int note) {
        const double hz = 440 * std::exp2((note - 69) / 12.0);
        for (std::size_t i = begin; i < end; ++i) {
            const double phase = 2 * std::numbers::pi * hz * static_cast<double>(i) / kRateHz;
            out[i] += static_cast<float>(0.1 * std::sin(phase) + 0.03 * std::sin(2 * phase));
        }
    };
    const int notes[] = {60, 62, 64, 65, 67, 69, 71, 72, 72, 71, 69, 67, 65, 64, 62, 60};
    std::vector<float> samples(std::size(notes) * kRateHz / 2, 0.0f);
    for (std::size_t n = 0; n < std::size(notes); ++n) {
        add(samples, n * kRateHz / 2, (n + 1) * kRateHz / 2, notes[n]);
    }
    for (const int note : {48, 52, 55}) {
        add(samples, 0, samples.size(), note);
    }
    return samples;
}

Strings Lines(const std::string& text) {
    Strings lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

class ReadCommandTest : public testing::Test {
protected:
    ReadCommandTest() { mSetup.workingDirectory = mDirectory.Path(); }

    ChildResult Run(Strings arguments) const { return RunTool(std::move(arguments), mSetup); }

    void Write(const std::string& name, const Planes& planes, int rateHz = kRateHz) const {
        WriteFloatWav(mDirectory.File(name), rateHz, planes);
    }

    TempDirectory mDirectory;
    ChildSetup mSetup;
};

TEST_F(ReadCommandTest, ClicksAt120PerMinuteHaveASteadyTempoOf120) {
    Write("clicks.wav", {Clicks()});
    const ChildResult result =
        Run({"read", "clicks.wav", "--format", "json", "--only", "tempo", "--beats", "--onsets"});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json file = Json::parse(result.out)["files"][0];
    EXPECT_EQ(file["path"], "clicks.wav");
    EXPECT_TRUE(file["error"].is_null());
    EXPECT_EQ(file["length_seconds"], 20.0);
    EXPECT_EQ(file["sample_rate_hz"], kRateHz);
    EXPECT_EQ(file["channels"], 1);
    const double bpm = file["tempo_bpm"].get<double>();
    EXPECT_NEAR(bpm, 120, 0.5);
    EXPECT_FALSE(file.contains("key"));
    EXPECT_FALSE(file.contains("beats_per_bar"));
    ASSERT_GE(file["beats"].size(), 30u);
    ASSERT_GE(file["onsets"].size(), 30u);
    for (const Json beat : file["beats"]) {
        // Clicks are at 0.25 s, 0.75 s and so on. Beats stand on them within a hop of 512 samples.
        const double halves = (beat["seconds"].get<double>() - 0.25) / 0.5;
        EXPECT_NEAR(halves, std::round(halves), 512.0 / kRateHz / 0.5);
    }
}

TEST_F(ReadCommandTest, ABareFileIsReadAndTheTextHasALinePerReading) {
    Write("clicks.wav", {Clicks()});
    const ChildResult bare = Run({"clicks.wav"});
    EXPECT_EQ(bare.status, 0) << bare.err;
    EXPECT_EQ(bare.out, Run({"read", "clicks.wav"}).out);
    const Strings lines = Lines(bare.out);
    ASSERT_EQ(lines.size(), 7u) << bare.out;
    EXPECT_EQ(lines[0], "clicks.wav");
    EXPECT_EQ(lines[1], "  length     0:20");
    const char* const names[] = {"tempo", "bars", "key", "loudness", "bandwidth"};
    for (std::size_t i = 0; i < std::size(names); ++i) {
        EXPECT_EQ(lines[i + 2].find(names[i]), 2u) << lines[i + 2];
    }
}

TEST_F(ReadCommandTest, ARowBeginsWithItsPathAlsoWhereThatIsEmpty) {
    const ChildResult result = Run({"read", "--format", "csv", "--only", "key", ""});
    EXPECT_EQ(result.status, 1);
    const Strings lines = Lines(result.out);
    ASSERT_EQ(lines.size(), 2u) << result.out;
    EXPECT_EQ(lines[1].front(), ',') << lines[1];
    EXPECT_EQ(std::count(lines[0].begin(), lines[0].end(), ','),
              std::count(lines[1].begin(), lines[1].end(), ','));
}

TEST_F(ReadCommandTest, AScaleOfCMajorIsInCMajor) {
    Write("scale.wav", {ScaleOfCMajor()});
    const ChildResult result =
        Run({"read", "scale.wav", "--format", "json", "--only", "key", "--key-segments"});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json file = Json::parse(result.out)["files"][0];
    EXPECT_EQ(file["key"], "C major");
    EXPECT_GT(file["key_strength"].get<double>(), 0);
    ASSERT_FALSE(file["key_segments"].empty());
    EXPECT_EQ(file["key_segments"].front()["begin_seconds"], 0.0);
    EXPECT_EQ(file["key_segments"].back()["end_seconds"], 8.0);
}

TEST_F(ReadCommandTest, LoudnessIsThatOfAllChannels) {
    // A sine of 1 kHz at -20 dBFS in both channels is at -20 LUFS + 3.01 - 3.01 + 0: EBU Tech 3341
    // gives -23 LUFS for -23 dBFS in both. In one channel of two it is 3.01 LU less.
    const std::vector<float> sine = Sine(10 * 48000, 48, 0.1);
    Write("both.wav", {sine, sine}, 48000);
    Write("left.wav", {sine, std::vector<float>(sine.size(), 0.0f)}, 48000);
    const ChildResult result =
        Run({"read", "both.wav", "left.wav", "--format", "json", "--only", "loudness"});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json files = Json::parse(result.out)["files"];
    EXPECT_NEAR(files[0]["loudness_lufs"].get<double>(), -20, 0.1);
    EXPECT_NEAR(files[1]["loudness_lufs"].get<double>(), -23.01, 0.1);
    EXPECT_NEAR(files[0]["true_peak_dbtp"].get<double>(), -20, 0.1);
}

TEST_F(ReadCommandTest, SilenceHasNoTempoNoKeyAndNoLoudness) {
    Write("silence.wav", {std::vector<float>(5 * kRateHz, 0.0f)});
    const ChildResult result = Run({"read", "silence.wav", "--format", "json"});
    ASSERT_EQ(result.status, 0) << result.err;
    const Json file = Json::parse(result.out)["files"][0];
    for (const char* name : {"tempo_bpm", "beats_per_bar", "key", "key_runner_up", "loudness_lufs",
                             "true_peak_dbtp"}) {
        EXPECT_TRUE(file[name].is_null()) << name << " " << file[name];
    }
    const std::string text = Run({"silence.wav"}).out;
    EXPECT_NE(text.find("  tempo      none found\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  key        none found\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  loudness   not measurable\n"), std::string::npos) << text;
}

TEST_F(ReadCommandTest, ListsOfSilenceSayThatNothingWasFound) {
    Write("silence.wav", {std::vector<float>(5 * kRateHz, 0.0f)});
    const ChildResult result =
        Run({"silence.wav", "--beats", "--down-beats", "--onsets", "--key-segments", "--pitch"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(result.out.ends_with("  beats: seconds, position in the bar\n    none found\n"
                                     "  down beats: seconds\n    none found\n"
                                     "  onsets: seconds, strength\n    none found\n"
                                     "  keys: begin and end in seconds\n    none found\n"
                                     "  pitch: seconds, Hz, MIDI note, cents\n    none found\n"))
        << result.out;
}

TEST_F(ReadCommandTest, ChannelsThatCancelAreSaidAndTheFirstIsRead) {
    const std::vector<float> scale = ScaleOfCMajor();
    std::vector<float> opposite = scale;
    std::transform(scale.begin(), scale.end(), opposite.begin(), [](float x) { return -x; });
    Write("opposite.wav", {scale, opposite});
    Write("same.wav", {scale, scale});
    const ChildResult result =
        Run({"read", "opposite.wav", "same.wav", "--format", "json", "--only", "key"});
    ASSERT_EQ(result.status, 0);
    const Json files = Json::parse(result.out)["files"];
    EXPECT_TRUE(files[0]["channels_cancel"].get<bool>());
    EXPECT_EQ(files[0]["key"], "C major");
    EXPECT_FALSE(files[1]["channels_cancel"].get<bool>());
    EXPECT_EQ(result.err, "qel: opposite.wav: warning: the two channels are of opposite phase and "
                          "cancel in their mean; only the first was read, except for the "
                          "loudness\n");
}

TEST_F(ReadCommandTest, AScaleHasAKeyAndASineHasNone) {
    Write("sine.wav", {Sine(4 * kRateHz, 100, 0.2)});
    Write("scale.wav", {ScaleOfCMajor()});
    const std::string sure = Run({"read", "scale.wav", "--only", "key"}).out;
    EXPECT_NE(sure.find("  key        C major ("), std::string::npos) << sure;
    EXPECT_NE(sure.find(" %); or "), std::string::npos) << sure;
    const std::string none = Run({"read", "sine.wav", "--only", "key"}).out;
    EXPECT_NE(none.find("  key        none found\n"), std::string::npos) << none;
}

TEST_F(ReadCommandTest, AFileThatFailsHasARowWithItsErrorAndTheOthersAreRead) {
    Write("a,b.wav", {Sine(kRateHz, 100, 0.5)});
    std::filesystem::create_directory(mDirectory.File("folder"));
    const ChildResult result =
        Run({"read", "missing.wav", "folder", "a,b.wav", "--format", "csv", "--only", "bandwidth"});
    EXPECT_EQ(result.status, 1);
    const Strings lines = Lines(result.out);
    ASSERT_EQ(lines.size(), 4u) << result.out;
    EXPECT_EQ(lines[0], "path,error,length_seconds,sample_rate_hz,channels,bandwidth_hz");
    const Strings errors = Lines(result.err);
    ASSERT_EQ(errors.size(), 2u) << result.err;
    for (std::size_t i = 0; i < errors.size(); ++i) {
        const std::string name = i == 0 ? "missing.wav" : "folder";
        const std::string start = "qel: " + name + ": ";
        ASSERT_EQ(errors[i].find(start), 0u) << errors[i];
        const std::string reason = errors[i].substr(start.size());
        const bool isQuoted = reason.find(',') != std::string::npos;
        EXPECT_EQ(lines[i + 1], name + "," + (isQuoted ? '"' + reason + '"' : reason) + ",,,,");
    }
    EXPECT_EQ(lines[3].find("\"a,b.wav\",,1.0,44100,1,"), 0u) << lines[3];
}

TEST_F(ReadCommandTest, TsvKeepsATabOfANameInItsField) {
    Write("a\tb.wav", {Sine(kRateHz, 100, 0.5)});
    const ChildResult result = Run({"read", "a\tb.wav", "--format", "tsv", "--only", "bandwidth"});
    ASSERT_EQ(result.status, 0) << result.err;
    const Strings lines = Lines(result.out);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(std::count(lines[0].begin(), lines[0].end(), '\t'), 5);
    EXPECT_EQ(std::count(lines[1].begin(), lines[1].end(), '\t'), 5);
    EXPECT_EQ(lines[1].find("a\\tb.wav\t\t1.0\t"), 0u) << lines[1];
}

TEST_F(ReadCommandTest, TsvDistinguishesABackslashOfANameFromATab) {
    Write("a\\tb.wav", {Sine(kRateHz, 100, 0.5)});
    const ChildResult result = Run({"read", "a\\tb.wav", "--format", "tsv", "--only", "bandwidth"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(Lines(result.out).at(1).find("a\\\\tb.wav\t\t1.0\t"), 0u) << result.out;
}

TEST_F(ReadCommandTest, LabelsHaveOneLinePerOnset) {
    Write("clicks.wav", {Clicks()});
    const ChildResult result = Run({"read", "clicks.wav", "--format", "labels", "--onsets"});
    ASSERT_EQ(result.status, 0) << result.err;
    const Strings lines = Lines(result.out);
    ASSERT_EQ(lines.size(), 40u);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        double begin = 0;
        double end = 0;
        double strength = 0;
        ASSERT_EQ(std::sscanf(lines[i].c_str(), "%lf\t%lf\t%lf", &begin, &end, &strength), 3);
        EXPECT_NEAR(begin, 0.25 + 0.5 * static_cast<double>(i), 0.005);
        EXPECT_EQ(begin, end);
    }
}

TEST_F(ReadCommandTest, DownBeatsAreThoseOfTheBeatsWithPosition1) {
    Write("clicks.wav", {Clicks(3, 0.25f)});
    const ChildResult result = Run(
        {"read", "clicks.wav", "--format", "json", "--only", "tempo", "--beats", "--down-beats"});
    ASSERT_EQ(result.status, 0) << result.err;
    const auto file = Json::parse(result.out)["files"][0];
    std::vector<double> wanted;
    for (const auto& beat : file["beats"]) {
        if (beat["position"] == 1) {
            wanted.push_back(beat["seconds"].get<double>());
        }
    }
    std::vector<double> found;
    for (const auto& beat : file["down_beats"]) {
        found.push_back(beat["seconds"].get<double>());
    }
    EXPECT_EQ(found, wanted);
    ASSERT_FALSE(found.empty());
    EXPECT_NEAR(std::remainder(found.front() - 0.25, 1.5), 0, 0.02);
}

TEST_F(ReadCommandTest, LabelsAreOneListOfOneFile) {
    constexpr auto kFault = "qel: --format labels is for one list of one file; add one of --beats, "
                            "--down-beats, --onsets, --key-segments\n";
    for (const Strings& more :
         {Strings{}, {"--beats", "--onsets"}, {"--pitch"}, {"--beats", "b.wav"}}) {
        Strings arguments{"read", "a.wav", "--format", "labels"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const ChildResult result = Run(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err, kFault);
    }
}

TEST_F(ReadCommandTest, AListNamedAsAReadingGetsItsOption) {
    const ChildResult result = Run({"read", "a.wav", "--only", "onsets"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "qel: --only: \"onsets\" is a list; ask for it by --onsets\n");
}

TEST_F(ReadCommandTest, AFileOfTooManyChannelsSaysHowManyAreRead) {
    Write("a.wav", Planes(65, std::vector<float>(1000)));
    const ChildResult result = Run({"read", "a.wav"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "qel: a.wav: has 65 channels; at most 64 can be read\n");
}

TEST_F(ReadCommandTest, ListsAreRefusedInTablesAndUnknownReadingsAreNamed) {
    const ChildResult list = Run({"read", "a.wav", "--format", "csv", "--beats"});
    EXPECT_EQ(list.status, 2);
    EXPECT_EQ(list.err,
              "qel: --beats has no place in CSV, which has one row per file; use --format "
              "json, or no --format\n");
    const ChildResult word = Run({"read", "a.wav", "--only", "tempo,colour"});
    EXPECT_EQ(word.status, 2);
    EXPECT_EQ(word.err, "qel: --only: unknown reading \"colour\"; the readings are tempo, bars, "
                        "key, loudness, bandwidth\n");
}

TEST_F(ReadCommandTest, AnOutputIsReplacedOnlyWhenAskedAndNeverTheInput) {
    Write("a.wav", {Sine(kRateHz, 100, 0.5)});
    const Strings read = {"read", "a.wav", "--only", "bandwidth", "--format", "json", "--output"};
    const auto to = [&](const std::string& path, const Strings& more = {}) {
        Strings arguments = read;
        arguments.push_back(path);
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Run(arguments);
    };
    EXPECT_EQ(to("new/out.json").status, 0);
    const std::string first = ReadFile(mDirectory.File("new/out.json"));
    EXPECT_EQ(Json::parse(first)["files"].size(), 1u);
    EXPECT_EQ(to("new/out.json").status, 1);
    EXPECT_EQ(to("new/out.json", {"--overwrite"}).status, 0);
    const std::string audio = ReadFile(mDirectory.File("a.wav"));
    EXPECT_EQ(to("a.wav", {"--overwrite"}).status, 2);
    EXPECT_EQ(ReadFile(mDirectory.File("a.wav")), audio);
}

TEST_F(ReadCommandTest, PitchOfASineIsItsFrequency) {
    Write("sine.wav", {Sine(2 * kRateHz, 100, 0.5)}); // 441 Hz, 3.9 cents above A
    const ChildResult result =
        Run({"read", "sine.wav", "--format", "json", "--only", "bandwidth", "--pitch"});
    ASSERT_EQ(result.status, 0) << result.err;
    std::size_t right = 0;
    const Json pitch = Json::parse(result.out)["files"][0]["pitch"];
    for (const Json frame : pitch) {
        right += !frame["frequency_hz"].is_null() && frame["midi_note"] == 69 ? 1u : 0u;
    }
    EXPECT_GT(right, pitch.size() / 2) << pitch.size();
}

} // namespace
} // namespace qel::tool
