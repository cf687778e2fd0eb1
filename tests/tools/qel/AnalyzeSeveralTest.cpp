// Several files in one run, which may share an analyzer.
#include "tests/harness/ChildProcess.h"
#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

class AnalyzeSeveralTest : public testing::Test {
protected:
    AnalyzeSeveralTest() {
        Write("short.wav", 44100, {Drums(0.5, 90, 3)});
        Write("long.wav", 44100, {Drums(3, 120, 4)});
        Write("cut.wav", 44100, {Drums(2, 150, 4)});
        std::filesystem::resize_file(mFiles.back(), 200000);
        Write("other.wav", 44100, {Drums(1, 100, 3)});
        Write("rate.wav", 48000, {Drums(1, 110, 4)});
        Write("two.wav", 48000, {Drums(1, 130, 3), Drums(1, 140, 4)});
        mFiles.push_back(mDirectory.File("none.wav"));
        mFiles.push_back(mFiles.front()); // the one before is not there
    }

    void Write(const std::string& name, int rateHz, const Planes& planes) {
        mFiles.push_back(mDirectory.File(name));
        WriteFloatWav(mFiles.back(), rateHz, planes);
    }

    static std::string Analyze(const Strings& files, const Strings& more) {
        Strings arguments{"analyze"};
        arguments.insert(arguments.end(), files.begin(), files.end());
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTool(arguments).out;
    }

    // The files of a document as text: what stands between its first and its last line.
    static std::string EntriesOf(const std::string& document) {
        const std::size_t begin = document.find('\n') + 1;
        const std::size_t end = document.rfind("\n]}\n");
        EXPECT_NE(end, std::string::npos);
        return document.substr(begin, end - begin);
    }

    void ExpectSingleRuns(const Strings& more) const {
        std::string singles;
        for (const std::string& file : mFiles) {
            singles += (singles.empty() ? "" : ",\n") + EntriesOf(Analyze({file}, more));
        }
        const std::string together = Analyze(mFiles, more);
        EXPECT_TRUE(EntriesOf(together) == singles) << testing::PrintToString(more);
        const Json document = Json::parse(together);
        ASSERT_EQ(document["files"].size(), mFiles.size());
        EXPECT_TRUE(document["files"][2].contains("error"));
        EXPECT_TRUE(document["files"][6].contains("error"));
        EXPECT_EQ(document["files"][0]["keys"], document["files"][7]["keys"]);
    }

    TempDirectory mDirectory;
    Strings mFiles;
};

TEST_F(AnalyzeSeveralTest, SeveralFilesGiveTheTextOfSingleRuns) {
    ExpectSingleRuns({});
    ExpectSingleRuns({"--mix", "keep", "--block", "700"});
}

TEST_F(AnalyzeSeveralTest, KeysOfWholeStreamsToo) {
    ExpectSingleRuns({"--keys", "global tempo,beat data,onset data,global key,audio range,"
                                "temporal properties,reasigned spectrum"});
}

TEST_F(AnalyzeSeveralTest, LongBlocksOfKeysPerPushToo) {
    ExpectSingleRuns({"--keys", "temporal properties,tempo,dominant key", "--block", "8192"});
}

TEST_F(AnalyzeSeveralTest, ParametersHoldForEachFile) {
    const Strings keys{"--keys", "tempo,temporal properties", "--block", "1024"};
    ExpectSingleRuns(keys);
    Strings set = keys;
    set.insert(set.end(), {"--param", "complexity=1", "--param", "Max BPM=150"});
    ExpectSingleRuns(set);
    EXPECT_NE(Analyze(mFiles, keys), Analyze(mFiles, set));
}

} // namespace
} // namespace qel::tool
