#include "output/JsonWriter.h"

#include "tests/harness/Json.h"
#include "tests/harness/TempDirectory.h"
#include "tests/output/EventResults.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace qel::output {
namespace {

using namespace test;

class JsonWriterTest : public testing::Test {
protected:
    Json Document() const { return Json::parse(ReadFile(mPath)); }

    TempDirectory mDirectory;
    std::string mPath = mDirectory.File("out.json");
    FileHeader mHeader = HeaderOf({&StrokeKey()}, 2);
};

TEST_F(JsonWriterTest, AFileHasItsResultsByKeyResultAndChannel) {
    JsonWriter writer(mPath);
    mHeader.path = "a.wav";
    mHeader.sampleRateHz = 48000;
    writer.BeginFile(mHeader);
    WriteEvents(writer, mHeader, 0, {At({0.5, 1.25}), {}});
    WriteEvents(writer, mHeader, 0, {{}, At({3.0})});
    FileSummary summary;
    summary.frames = 96000;
    writer.EndFile(summary);
    writer.Finish();

    const Json document = Document();
    EXPECT_EQ(document.names(), (std::vector<std::string>{"qel", "files"}));
    ASSERT_EQ(document["files"].size(), 1u);
    const Json file = document["files"][0];
    EXPECT_EQ(file["file"], "a.wav");
    EXPECT_EQ(file["channels"], 2);
    EXPECT_EQ(file["duration"], 2.0);
    const Json key = file["keys"][std::string(StrokeKey().key)];
    EXPECT_EQ(key["count"], 2);
    EXPECT_EQ(key["layout"], "arrays");
    // Times, then strengths; every number is the shortest text that reads back.
    EXPECT_EQ(key["values"].dump(), "[[[[0.5,1.25],[1,1]],[[],[]]],[[[],[]],[[3],[1]]]]");
}

TEST_F(JsonWriterTest, AFailedFileHasItsErrorAndNothingOfItsResults) {
    JsonWriter writer(mPath);
    writer.BeginFile(mHeader);
    WriteEvents(writer, mHeader, 0, {At({0.5}), {}});
    writer.FailFile("a.wav", "it ends too soon");
    writer.BeginFile(mHeader);
    writer.EndFile({});
    writer.Finish();
    const Json files = Document()["files"];
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].names(), (std::vector<std::string>{"file", "error"}));
    EXPECT_EQ(files[0]["error"], "it ends too soon");
    EXPECT_EQ(files[1]["keys"][std::string(StrokeKey().key)]["count"], 0);
}

TEST_F(JsonWriterTest, NoFilesAreAnEmptyList) {
    JsonWriter(mPath).Finish();
    EXPECT_EQ(Document()["files"], Json::array());
}

TEST_F(JsonWriterTest, BytesOfAPathThatAreNoTextAreReplaced) {
    JsonWriter writer(mPath);
    writer.FailFile("a\xFF\"b", "no audio");
    writer.Finish();
    EXPECT_EQ(Document()["files"][0]["file"], "a\xEF\xBF\xBD\"b");
}

TEST_F(JsonWriterTest, WithoutItsFinishNothingStays) {
    {
        JsonWriter writer(mPath);
        writer.BeginFile(mHeader);
        writer.EndFile({});
    }
    EXPECT_EQ(mDirectory.Entries(), std::vector<std::string>());
}

TEST_F(JsonWriterTest, AnExistingFileIsKeptUnlessItIsToBeReplaced) {
    WriteFile(mPath, "before");
    EXPECT_ANY_THROW(JsonWriter{mPath});
    EXPECT_EQ(ReadFile(mPath), "before");
    JsonWriter(mPath, Existing::Replace).Finish();
    EXPECT_EQ(Document()["files"].size(), 0u);
}

} // namespace
} // namespace qel::output
