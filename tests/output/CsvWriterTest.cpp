#include "output/CsvWriter.h"

#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <span>
#include <string>
#include <vector>

namespace qel::output {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

constexpr ValueInfo kOddValues[] = {{"plain", "1", {}, "", ""}, {"a,\"b\"", "1", {}, "", ""}};
constexpr KeyInfo kOddKey{"odd key", PayloadKind::Floats, 8, Delivery::PerFrame, 1024,
                          512,       kOddValues,          ""};

FileHeader OddHeader(std::size_t channels) {
    FileHeader header;
    header.path = "a.wav";
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
    EXPECT_EQ(ReadFile(OutputPath(directory.File("out"), "a.wav", "odd-key.csv")),
              "time,plain_ch0,\"a,\"\"b\"\"_ch0\",plain_ch1,\"a,\"\"b\"\"_ch1\",file\n"
              "0.25,1.5,-0.1,0,1e+20,a.wav\n");
}

constexpr ValueInfo kStrokeValues[] = {{"stroke time", "s", {}, "", ""},
                                       {"stroke strength", "1", {}, "", ""}};
constexpr KeyInfo kStrokes{"strokes", PayloadKind::Events, 16, Delivery::AtEnd, 1024,
                           128,       kStrokeValues,       ""};

// The CSV of one result of a key for so many channels.
std::string CsvOf(const KeyInfo& info, std::span<const QelAudioAnalysisBlock> blocks,
                  float minStrength = 0) {
    const TempDirectory directory;
    CsvWriter writer(directory.File("out"), {"a.wav"});
    FileHeader header = OddHeader(blocks.size());
    header.keys = {{&info, {}}};
    header.minStrength = minStrength;
    writer.BeginFile(header);
    writer.Write(0, Result(info.key, &info, 0, 0, blocks));
    writer.EndFile({});
    writer.Finish();
    return ReadFile(
        OutputPath(directory.File("out"), "a.wav", ResultFiles::KeyName(info.key) + ".csv"));
}

TEST(CsvWriterTest, EveryEventHasARowWithItsOwnTimeAndItsChannelIfThereAreSeveral) {
    const std::array<QelAudioAnalysisEvent, 2> first{{{0.1, 0.5f}, {1.0 / 3, 1.0f}}};
    const std::array<QelAudioAnalysisEvent, 1> second{{{0.2, 0.1f}}};
    std::array<QelAudioAnalysisEventList, 3> lists{
        {{2, first.data()}, {0, nullptr}, {1, second.data()}}};
    std::array<QelAudioAnalysisBlock, 3> blocks{
        {{&lists[0], sizeof lists[0]}, {&lists[1], sizeof lists[1]}, {&lists[2], sizeof lists[2]}}};
    EXPECT_EQ(CsvOf(kStrokes, std::span(blocks).first(1)), "time,stroke strength,file\n"
                                                           "0.1,0.5,a.wav\n"
                                                           "0.3333333333333333,1,a.wav\n");
    EXPECT_EQ(CsvOf(kStrokes, blocks), "time,channel,stroke strength,file\n"
                                       "0.1,0,0.5,a.wav\n"
                                       "0.3333333333333333,0,1,a.wav\n"
                                       "0.2,2,0.1,a.wav\n");
    EXPECT_EQ(CsvOf(kStrokes, blocks, 0.5f), "time,channel,stroke strength,file\n"
                                             "0.1,0,0.5,a.wav\n"
                                             "0.3333333333333333,0,1,a.wav\n");
}

constexpr ValueInfo kNumberValues[] = {{"number", "strokes", {}, "", ""}};
constexpr KeyInfo kNumber{"number", PayloadKind::Count, 4, Delivery::AtEnd, 1024,
                          128,      kNumberValues,      ""};

TEST(CsvWriterTest, ACountIsAWholeNumberInTheColumnOfItsChannel) {
    std::array<UInt32, 2> counts{3, 4000000001u};
    const std::array<QelAudioAnalysisBlock, 2> blocks{{{&counts[0], 4}, {&counts[1], 4}}};
    EXPECT_EQ(CsvOf(kNumber, std::span(blocks).first(1)), "time,number,file\n0,3,a.wav\n");
    EXPECT_EQ(CsvOf(kNumber, blocks), "time,number_ch0,number_ch1,file\n0,3,4000000001,a.wav\n");
}

constexpr ValueInfo kLevelValues[] = {{"level", "1", {}, "", ""}};
constexpr KeyInfo kLevels{"levels", PayloadKind::Vector, 12, Delivery::PerFrame, 1024,
                          512,      kLevelValues,        ""};

TEST(CsvWriterTest, APlaceOfAVectorIsAColumnWithItsNumber) {
    std::array<float, 6> levels{0, 0.5f, 2, 3, 4, 5};
    const std::array<QelAudioAnalysisBlock, 2> blocks{{{&levels[0], 12}, {&levels[3], 12}}};
    EXPECT_EQ(CsvOf(kLevels, std::span(blocks).first(1)), "time,level_0,level_1,level_2,file\n"
                                                          "0,0,0.5,2,a.wav\n");
    EXPECT_EQ(CsvOf(kLevels, blocks), "time,level_0_ch0,level_1_ch0,level_2_ch0,"
                                      "level_0_ch1,level_1_ch1,level_2_ch1,file\n"
                                      "0,0,0.5,2,3,4,5,a.wav\n");
}

constexpr KeyInfo kOneLevel{"level", PayloadKind::Vector, 4, Delivery::PerFrame, 1024,
                            512,     kLevelValues,        ""};

TEST(CsvWriterTest, AVectorOfOnePlaceHasAPlainColumn) {
    std::array<float, 2> levels{0.5f, 2};
    const std::array<QelAudioAnalysisBlock, 2> blocks{{{&levels[0], 4}, {&levels[1], 4}}};
    EXPECT_EQ(CsvOf(kOneLevel, std::span(blocks).first(1)), "time,level,file\n0,0.5,a.wav\n");
    EXPECT_EQ(CsvOf(kOneLevel, blocks), "time,level_ch0,level_ch1,file\n0,0.5,2,a.wav\n");
}

constexpr ValueInfo kMoodValues[] = {{"mood", "name", {}, "", ""}};
constexpr KeyInfo kMood{"mood", PayloadKind::Name, 8, Delivery::PerFrame, 1024,
                        512,    kMoodValues,       ""};

TEST(CsvWriterTest, ANameIsAFieldInQuotesWhereItNeedsThem) {
    const auto plain = detail::makeString("calm");
    const auto odd = detail::makeString("calm, \"cool\"");
    const std::array<QelAudioAnalysisBlock, 2> blocks{
        {{const_cast<void*>(static_cast<const void*>(plain.get())), 8},
         {const_cast<void*>(static_cast<const void*>(odd.get())), 8}}};
    EXPECT_EQ(CsvOf(kMood, std::span(blocks).first(1)), "time,mood,file\n0,calm,a.wav\n");
    EXPECT_EQ(CsvOf(kMood, blocks),
              "time,mood_ch0,mood_ch1,file\n0,calm,\"calm, \"\"cool\"\"\",a.wav\n");
}

constexpr ValueInfo kTrackValues[] = {{"bin", "bin", {}, "", ""},
                                      {"frequency", "Hz", {}, "", ""},
                                      {"magnitude", "1", {}, "", ""},
                                      {"phase", "rad", {}, "", ""},
                                      {"frame", "frames", {}, "", ""}};
constexpr KeyInfo kTracks{"tracks", PayloadKind::Partials, 16, Delivery::PerFrame, 1024,
                          512,      kTrackValues,          ""};

TEST(CsvWriterTest, EveryPartialHasARowWithTheTimeOfItsFrameAndItsChannelIfThereAreSeveral) {
    const std::array<PartialRecord, 2> first{{{3, 440.5f, 0.25f, 0, 7}, {9, 880, 2, -1.5f, 7}}};
    const std::array<PartialRecord, 1> second{{{1, 100, 1, 0, 7}}};
    std::array<PartialList, 3> lists{{{2, first.data()}, {0, nullptr}, {1, second.data()}}};
    std::array<QelAudioAnalysisBlock, 3> blocks{
        {{&lists[0], sizeof lists[0]}, {&lists[1], sizeof lists[1]}, {&lists[2], sizeof lists[2]}}};
    const std::string columns = "bin,frequency,magnitude,phase,frame,file\n";
    EXPECT_EQ(CsvOf(kTracks, std::span(blocks).first(1)), "time," + columns +
                                                              "0,3,440.5,0.25,0,7,a.wav\n"
                                                              "0,9,880,2,-1.5,7,a.wav\n");
    // A strength is what events have.
    EXPECT_EQ(CsvOf(kTracks, blocks, 10), "time,channel," + columns +
                                              "0,0,3,440.5,0.25,0,7,a.wav\n"
                                              "0,0,9,880,2,-1.5,7,a.wav\n"
                                              "0,2,1,100,1,0,7,a.wav\n");
}

TEST(CsvWriterTest, AFileThatFailsLeavesNothingAndTheOthersStay) {
    const TempDirectory directory;
    CsvWriter writer(directory.File("deep/out"), {"a.wav", "b.wav"});
    FileHeader header = OddHeader(1);
    writer.BeginFile(header);
    writer.EndFile({});
    header.path = "b.wav";
    writer.BeginFile(header);
    writer.FailFile("b.wav", "broken");
    EXPECT_EQ(directory.Entries("deep/out"),
              (Strings{OutputName("a.wav"), OutputName("a.wav") + "/odd-key.csv"}));
}

} // namespace
} // namespace qel::output
