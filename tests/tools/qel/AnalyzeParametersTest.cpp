// Every parameter of --param changes results, from the first sample on.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

constexpr int kRateHz = 44100;

class AnalyzeParametersTest : public testing::Test {
protected:
    ChildResult Analyze(const std::string& key, const Strings& parameters) const {
        Strings arguments{"analyze", mPath, "--keys", key};
        for (const std::string& parameter : parameters) {
            arguments.insert(arguments.end(), {"--param", parameter});
        }
        return RunTool(arguments);
    }

    Json Values(const std::string& key, const Strings& parameters = {}) const {
        const ChildResult result = Analyze(key, parameters);
        EXPECT_EQ(result.status, 0) << result.err;
        return Json::parse(result.out)["files"][0]["keys"][key]["values"];
    }

    // The running tempo, in BPM.
    std::vector<double> Tempi(const Strings& parameters = {}) const {
        std::vector<double> tempi;
        for (const Json& value : Values("tempo", parameters)) {
            tempi.push_back(value[0][0].get<double>());
        }
        EXPECT_FALSE(tempi.empty());
        return tempi;
    }

    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("music.wav");
};

TEST_F(AnalyzeParametersTest, TheseAreAllThereAre) {
    const std::vector<std::string> names =
        Analyzer(Analyzer::availableKeys(), {.maxFrames = 1}).parameterNames();
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()),
              (std::set<std::string>{"Genre Hint", "complexity", "Min BPM", "Max BPM",
                                     "Onset Sensitivity"}));
}

// Combs of up to 128 accents reach down to 10320 / 128 = 80.6 BPM, those of 256 to 40.3.
TEST_F(AnalyzeParametersTest, ComplexityReachesSlowTempi) {
    WriteFloatWav(mPath, kRateHz, {Drums(14, 60, 1)});
    constexpr double kSlowest = 10320.0 / 128;
    EXPECT_GT(Tempi().back(), kSlowest);
    const double slow = Tempi({"complexity=1"}).back();
    EXPECT_NEAR(slow, 60, 60.0 / 172); // one accent more or less per beat
}

TEST_F(AnalyzeParametersTest, ComplexityBeyondWhatCanBeSetUpIsAMistakeOfUsage) {
    WriteFloatWav(mPath, kRateHz, {Drums(1, 60, 1)});
    const ChildResult result = Analyze("tempo", {"complexity=9"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "qel: parameter \"complexity\" cannot be 9: it takes more memory than "
                          "there is\n");
}

TEST_F(AnalyzeParametersTest, MinAndMaxBpmBoundEveryTempo) {
    WriteFloatWav(mPath, kRateHz, {Drums(6, 120, 1)});
    const std::vector<double> tempi = Tempi();
    EXPECT_EQ(tempi.front(), 20) << "the least one, before any is found";
    EXPECT_NEAR(tempi.back(), 120, 120.0 / 86);
    const std::vector<double> fast = Tempi({"Min BPM=150"});
    EXPECT_EQ(fast.front(), 150);
    EXPECT_GE(*std::min_element(fast.begin(), fast.end()), 150);
    const std::vector<double> slow = Tempi({"Max BPM=100"});
    EXPECT_LE(*std::max_element(slow.begin(), slow.end()), 100);
}

// At 100 an onset needs 2048 samples to the one before; at 0 a sixteenth of the stream more.
TEST_F(AnalyzeParametersTest, OnsetSensitivitySetsHowFarApartOnsetsAre) {
    WriteFloatWav(mPath, kRateHz, {Drums(8, 240, 1)}); // a stroke each 11025 samples
    const auto onsets = [this](const std::string& sensitivity) {
        return Values("onset data", {"Onset Sensitivity=" + sensitivity})[0][0][0].size();
    };
    const std::size_t most = onsets("100");
    const std::size_t least = onsets("0");
    EXPECT_GE(most, 31u);
    EXPECT_LE(least, 8 * kRateHz / (2048u + 8 * kRateHz / 16) + 1);
    EXPECT_GE(least, 1u);
}

TEST_F(AnalyzeParametersTest, GenreHintOfZeroLooksBelow110Bpm) {
    WriteFloatWav(mPath, kRateHz, {Drums(12, 120, 1)});
    EXPECT_EQ(Values("global tempo")[0][0][0], 120);
    EXPECT_LT(Values("global tempo", {"Genre Hint=0"})[0][0][0].get<double>(), 110);
}

// A reset, which some parameters need, begins the stream that would have begun without it.
TEST_F(AnalyzeParametersTest, AParameterOfItsDefaultChangesNothing) {
    WriteFloatWav(mPath, kRateHz, {Drums(2, 120, 3)});
    const auto keys = [this](const Strings& more) {
        Strings arguments{"analyze", mPath, "--keys",
                          "tempo,global tempo,beat data,constant q spectrum,audio range"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Json::parse(RunTool(arguments).out)["files"][0]["keys"].dump();
    };
    EXPECT_EQ(keys({"--param", "complexity=0", "--param", "Genre Hint=1"}), keys({}));
}

} // namespace
} // namespace qel::tool
