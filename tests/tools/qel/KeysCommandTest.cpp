#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"

#include <QelAudioAnalysis/Analyzer.hpp>
#include <QelAudioAnalysis/Keys.hpp>
#include <QelMedia.hpp>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

std::string WordOf(Delivery delivery) {
    switch (delivery) {
    case Delivery::PerPush:
        return "per push";
    case Delivery::PerFrame:
        return "per frame";
    case Delivery::AtEnd:
        return "at end";
    case Delivery::FramesAtEnd:
        return "frames at end";
    }
    return "no word";
}

// Text without its line breaks and indents, so that a wrapped sentence can be found in it.
std::string Unwrapped(const std::string& text) {
    std::string flat;
    for (const char c : text) {
        const bool blank = c == '\n' || c == ' ';
        if (!blank || flat.empty() || flat.back() != ' ') {
            flat += blank ? ' ' : c;
        }
    }
    return flat;
}

TEST(KeysCommandTest, ListsEveryKeyOnALineOfItsOwn) {
    const ChildResult result = RunTool({"keys"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'),
              static_cast<std::ptrdiff_t>(std::size(kKeys)));
    for (const KeyInfo& info : kKeys) {
        EXPECT_NE(("\n" + result.out).find(fmt::format("\n{} ", info.key)), std::string::npos)
            << info.key;
    }
}

TEST(KeysCommandTest, JsonHasEverythingOfTheTable) {
    const ChildResult result = RunTool({"keys", "--json"});
    EXPECT_EQ(result.status, 0);
    const Json list = Json::parse(result.out);
    ASSERT_EQ(list.size(), std::size(kKeys));
    for (std::size_t i = 0; i < list.size(); ++i) {
        const KeyInfo& info = kKeys[i];
        EXPECT_EQ(list[i]["key"], info.key);
        EXPECT_EQ(list[i]["definition"], info.definition);
        EXPECT_EQ(list[i]["delivered"], WordOf(info.delivery));
        if (info.frameSamples == 0) {
            EXPECT_TRUE(list[i]["frame_size"].is_null());
        } else {
            EXPECT_EQ(list[i]["frame_size"], info.frameSamples);
            EXPECT_EQ(list[i]["hop"], info.hopSamples);
        }
        EXPECT_EQ(list[i]["results_per_frame"],
                  info.delivery == Delivery::PerPush || info.delivery == Delivery::AtEnd
                      ? Json()
                      : Json(info.resultsPerFrame));
        ASSERT_EQ(list[i]["values"].size(), info.values.size());
        for (std::size_t v = 0; v < info.values.size(); ++v) {
            const Json& value = list[i]["values"][v];
            EXPECT_EQ(value["name"], info.values[v].name);
            EXPECT_EQ(value["unit"], info.values[v].unit);
            EXPECT_EQ(value["definition"], info.values[v].definition);
            const double maximum = info.values[v].range.maximum;
            EXPECT_EQ(value["maximum"], std::isfinite(maximum) ? Json(maximum) : Json());
        }
    }
}

TEST(KeysCommandTest, DescribeHasEverythingOfOneKey) {
    for (const KeyInfo& info : kKeys) {
        const ChildResult result = RunTool({"describe", std::string(info.key)});
        EXPECT_EQ(result.status, 0);
        const std::string text = Unwrapped(result.out);
        EXPECT_NE(text.find(info.definition), std::string::npos) << info.key;
        for (const ValueInfo& value : info.values) {
            EXPECT_NE(text.find(fmt::format("{} unit {} range ", value.name, value.unit)),
                      std::string::npos)
                << value.name;
            EXPECT_NE(text.find(value.definition), std::string::npos) << value.name;
            EXPECT_NE(text.find(value.source), std::string::npos) << value.name;
        }
    }
}

TEST(KeysCommandTest, ALabelBeginsAParagraphOfADescription) {
    const std::string beats = RunTool({"describe", "beat data"}).out;
    EXPECT_NE(beats.find("\n\n  Long streams: Beyond 200000 frames"), std::string::npos) << beats;
    const std::string waveform = RunTool({"describe", "temporal properties"}).out;
    EXPECT_NE(waveform.find("\n\n    Example: "), std::string::npos) << waveform;
    // Names of sounds are no labels.
    const std::string spectrum = RunTool({"describe", "generic spectrum properties"}).out;
    EXPECT_NE(spectrum.find(" S: "), std::string::npos) << spectrum;
    EXPECT_EQ(spectrum.find("\n\n    S: "), std::string::npos) << spectrum;
}

TEST(KeysCommandTest, PayloadsOfEveryKindAreToldInAWord) {
    const std::string list = RunTool({"keys"}).out;
    std::size_t longest = 0;
    for (const KeyInfo& info : kKeys) {
        longest = std::max(longest, info.key.size());
    }
    using Row = std::pair<const char*, const char*>;
    for (const auto& [key, rest] :
         {Row{"temporal properties", "per push       no frames             3 values\n"},
          Row{"tempo", "per frame      frame 1024, hop 512   1 value\n"},
          Row{"dominant key", "per frame      frame 8192, hop 512   1 name\n"},
          Row{"spectrum", "per frame      frame 1024, hop 512   512 pairs\n"},
          Row{"constant q spectrum", "per frame      frame 8192, hop 1024  vector of 212\n"},
          Row{"partials", "per frame      frame 1024, hop 512   partials\n"},
          Row{"global tempo", "at end         frame 1024, hop 128   3 values\n"},
          Row{"global number of beats per bar", "at end         frame 1024, hop 128   1 count\n"},
          Row{"beat data", "at end         frame 1024, hop 128   events\n"},
          Row{"audio range", "at end         frame 1024, hop 512   3 values\n"},
          Row{"reasigned spectrum", "frames at end  frame 512, hop 64     256 pairs\n"}}) {
        const std::string line = fmt::format("{:<{}}  {}", key, longest, rest);
        EXPECT_NE(list.find(line), std::string::npos) << line << list;
    }
    const Json keys = Json::parse(RunTool({"keys", "--json"}).out);
    const auto layoutOf = [&](const std::string& key) {
        const auto found = std::find_if(keys.begin(), keys.end(),
                                        [&](const Json& row) { return row["key"] == key; });
        return found == keys.end() ? Json() : (*found)["layout"];
    };
    EXPECT_EQ(layoutOf("spectrum"), "arrays");
    EXPECT_EQ(layoutOf("beat data"), "arrays");
    EXPECT_EQ(layoutOf("constant q spectrum"), "arrays");
    EXPECT_EQ(layoutOf("dominant key"), "names");
    EXPECT_EQ(layoutOf("tempo"), "numbers");
    EXPECT_EQ(layoutOf("global tempo"), "numbers");
    EXPECT_EQ(layoutOf("global number of beats per bar"), "numbers");
}

TEST(KeysCommandTest, SeveralResultsPerFrameAreTold) {
    EXPECT_NE(RunTool({"describe", "tempo"}).out.find("per frame, 2 results each\n"),
              std::string::npos);
    EXPECT_EQ(RunTool({"describe", "spectrum"}).out.find("results each"), std::string::npos);
}

TEST(KeysCommandTest, NoLineOfADescriptionIsWiderThanATerminal) {
    const std::string text = RunTool({"describe", "spectrum histogram properties"}).out;
    std::size_t widest = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find('\n', begin);
        widest = std::max(widest, end - begin);
        begin = end + 1;
    }
    EXPECT_LE(widest, 80u);
    EXPECT_GT(widest, 60u) << "lines are filled";
}

TEST(KeysCommandTest, AnUnknownKeyIsAMistakeOfUsage) {
    const ChildResult result = RunTool({"describe", "spektrum"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "qel: unknown key \"spektrum\"; did you mean \"spectrum\"?\n");
}

TEST(KeysCommandTest, DescribeKnowsTheAliasesOfKeys) {
    const ChildResult alias = RunTool({"describe", "chroma"});
    EXPECT_EQ(alias.status, 0) << alias.err;
    EXPECT_EQ(alias.out, RunTool({"describe", "pitch class profile"}).out);
    EXPECT_EQ(RunTool({"describe", "kroma"}).err,
              "qel: unknown key \"kroma\"; did you mean \"chroma\"?\n");
}

TEST(KeysCommandTest, VersionAndHelpSucceed) {
    const ChildResult version = RunTool({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.substr(0, 4), "qel ");
    for (const std::string& library : media::libraryVersions()) {
        EXPECT_NE(version.out.find(library), std::string::npos) << library;
    }
    EXPECT_EQ(std::count(version.out.begin(), version.out.end(), '\n'), 1);
    const ChildResult help = RunTool({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* command : {"analyze", "keys", "describe"}) {
        EXPECT_NE(help.out.find(command), std::string::npos) << command;
    }
    const std::string analyze = Unwrapped(RunTool({"analyze", "--help"}).out);
    EXPECT_NE(
        analyze.find("per-frame keys of up to 64 values; request tempo, beats and onsets by name"),
        std::string::npos);
}

TEST(KeysCommandTest, HelpNamesTheParametersAndWhereKeysAreListed) {
    std::vector<std::string> keys;
    for (const KeyInfo& info : kKeys) {
        keys.emplace_back(info.key);
    }
    const std::vector<std::string> parameters = Analyzer(keys, {.maxFrames = 1}).parameterNames();
    ASSERT_FALSE(parameters.empty());
    const std::string help = Unwrapped(RunTool({"analyze", "--help"}).out);
    for (const std::string& parameter : parameters) {
        EXPECT_NE(help.find('"' + parameter + '"'), std::string::npos) << parameter;
    }
    EXPECT_NE(help.find("\"qel keys\""), std::string::npos);
}

} // namespace
} // namespace qel::tool
