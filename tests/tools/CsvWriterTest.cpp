#include "tools/CsvWriter.h"

#include "tests/tools/TempDirectory.h"
#include "tools/ToolError.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using Strings = std::vector<std::string>;

TEST(CsvWriterTest, DirectoriesAreNamedAfterTheFilesAndNeverTwiceTheSame) {
    EXPECT_EQ(CsvWriter::DirectoryNames({"a/x.wav", "b/x.wav", "x.wav-2", "X.WAV", "x.mp3"}),
              (Strings{"x.wav", "x.wav-2", "x.wav-2-2", "X.WAV-3", "x.mp3"}));
}

TEST(CsvWriterTest, APathWithoutANameStillGetsADirectoryInside) {
    EXPECT_EQ(CsvWriter::DirectoryNames({"..", ".", "a/"}), (Strings{"file", "file-2", "file-3"}));
}

TEST(CsvWriterTest, FilesAreNamedAfterTheKeys) {
    EXPECT_EQ(CsvWriter::FileName("generic spectrum properties"),
              "generic-spectrum-properties.csv");
}

constexpr ValueInfo kOddValues[] = {{"plain", "1", {}, "", ""}, {"a,\"b\"", "1", {}, "", ""}};
constexpr KeyInfo kOddKey{"odd key", PayloadKind::Floats, 8, Delivery::PerFrame, 1024,
                          512,       kOddValues,          ""};

FileHeader OddHeader(std::size_t channels) {
    FileHeader header;
    header.analyzedChannels = channels;
    header.sampleRateHz = 44100;
    header.keys = {{&kOddKey, {}}};
    return header;
}

TEST(CsvWriterTest, NamesWithCommasAndQuotesAreQuotedAndChannelsNumbered) {
    const TempDirectory directory;
    CsvWriter writer(directory.File("out"), {"a.wav"});
    writer.BeginFile(OddHeader(2));
    std::array<float, 2> first{1.5f, -0.1f};
    std::array<float, 2> second{0.0f, 1e20f};
    const std::array<QelAudioAnalysisBlock, 2> blocks{QelAudioAnalysisBlock{first.data(), 8},
                                                      QelAudioAnalysisBlock{second.data(), 8}};
    writer.Write(0, Result("odd key", &kOddKey, 0, 0.25, blocks));
    writer.EndFile({});
    writer.Finish();
    EXPECT_EQ(ReadFile(directory.File("out/odd-key.csv")),
              "time,plain_ch0,\"a,\"\"b\"\"_ch0\",plain_ch1,\"a,\"\"b\"\"_ch1\"\n"
              "0.25,1.5,-0.1,0,1e+20\n");
}

TEST(CsvWriterTest, AFileThatFailsLeavesNothingAndTheOthersStay) {
    const TempDirectory directory;
    CsvWriter writer(directory.File("deep/out"), {"a.wav", "b.wav"});
    FileHeader header = OddHeader(1);
    writer.BeginFile(header);
    writer.EndFile({});
    header.index = 1;
    writer.BeginFile(header);
    writer.FailFile("b.wav", "broken");
    EXPECT_EQ(directory.Entries("deep/out"), (Strings{"a.wav", "a.wav/odd-key.csv"}));
}

TEST(CsvWriterTest, DirectoriesMadeForNothingAreTakenAway) {
    const TempDirectory directory;
    {
        CsvWriter writer(directory.File("deep/out"), {"a.wav"});
        writer.BeginFile(OddHeader(1));
        EXPECT_FALSE(directory.Entries().empty());
    }
    EXPECT_EQ(directory.Entries(), Strings{});
}

TEST(CsvWriterTest, RefusesADirectoryThatCannotBe) {
    const TempDirectory directory;
    WriteFile(directory.File("file"), "");
    CsvWriter writer(directory.File("file/out"), {"a.wav"});
    EXPECT_THROW(writer.BeginFile(OddHeader(1)), OutputError);
}

} // namespace
} // namespace qel::tool
