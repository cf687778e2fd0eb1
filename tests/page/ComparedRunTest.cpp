#include "page/ComparedRun.h"

#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace qel::page {
namespace {

using namespace test;

class ComparedRunTest : public testing::Test {
protected:
    std::string Document(const std::string& text) const {
        WriteFile(mDirectory.File("run.json"), text);
        return mDirectory.File("run.json");
    }

    std::string MessageFor(const std::string& text) const {
        try {
            ReadComparedRun(Document(text), "a/song.wav");
        } catch (const RunError& error) {
            return std::string(error.what()).substr(Document(text).size());
        }
        return "none";
    }

    const TempDirectory mDirectory;
};

TEST_F(ComparedRunTest, TakesBeatsBarsAndKeys) {
    const ComparedRun run = ReadComparedRun(
        Document(R"({"qel":"9.8","files":[{"path":"x","tempo_bpm":120.5,"key":"G major",
            "beats_per_bar":null,
            "beats":[{"seconds":0.5,"position":2},{"seconds":1,"position":1},
                     {"seconds":1.5,"position":null}],
            "key_segments":[{"begin_seconds":0,"end_seconds":2,"key":"Bb minor"}]}]})"),
        "a/song.wav");
    EXPECT_EQ(run.label, "run.json (qel 9.8)");
    EXPECT_EQ(run.tempoBpm, 120.5);
    EXPECT_EQ(run.beatsPerBar, 0);
    EXPECT_EQ(run.key, "G major");
    EXPECT_EQ(run.beatSeconds, (std::vector<double>{0.5, 1, 1.5}));
    EXPECT_EQ(run.downBeatSeconds, std::vector<double>{1});
    ASSERT_EQ(run.keySegments.size(), 1u);
    EXPECT_EQ(run.keySegments[0].endSeconds, 2);
    EXPECT_EQ(run.keySegments[0].key, "Bb minor");
}

TEST_F(ComparedRunTest, TakesTheSongOfItsNameAmongSeveral) {
    const std::string path = Document(
        R"({"files":[{"path":"b/other.wav","beats":[]},
                     {"path":"b/song.wav","beats":[{"seconds":3}]}]})");
    EXPECT_EQ(ReadComparedRun(path, "a/song.wav").beatSeconds, std::vector<double>{3});
    EXPECT_THROW(ReadComparedRun(path, "a/third.wav"), RunError);
}

TEST_F(ComparedRunTest, SaysWhatIsWrongWithADocument) {
    EXPECT_EQ(MessageFor("no JSON"), ": is no output of qel read --format json");
    EXPECT_EQ(MessageFor("[]"), ": is no output of qel read --format json");
    EXPECT_EQ(MessageFor(R"({"files":[{"path":"a"}]})"),
              ": has no beats: write it with qel read --format json --beats --key-segments");
    EXPECT_EQ(MessageFor(R"({"files":[{"beats":[{"seconds":2},{"seconds":1}]}]})"),
              ": cannot be compared: its beats are not in order");
    EXPECT_EQ(MessageFor(R"({"files":[{"beats":[{"seconds":"2"}]}]})"),
              ": cannot be compared: \"seconds\" is missing or no number");
    EXPECT_EQ(MessageFor(R"({"files":[{"beats":[7]}]})"),
              ": cannot be compared: \"seconds\" is missing or no number");
    EXPECT_EQ(MessageFor(R"({"files":[{"beats":[],"key_segments":[{"key":5}]}]})"),
              ": cannot be compared: \"begin_seconds\" is missing or no number");
    EXPECT_THROW(ReadComparedRun(mDirectory.File("none.json"), "song.wav"), RunError);
    EXPECT_THROW(ReadComparedRun(mDirectory.Path(), "song.wav"), RunError);
}

TEST_F(ComparedRunTest, DescribesWhatIsUnknownAsNull) {
    const auto described = DescribeRuns({ComparedRun{}});
    EXPECT_TRUE(described[0]["tempoBpm"].is_null());
    EXPECT_TRUE(described[0]["beatsPerBar"].is_null());
    EXPECT_TRUE(described[0]["key"].is_null());
    EXPECT_TRUE(described[0]["segments"].empty());
}

} // namespace
} // namespace qel::page
