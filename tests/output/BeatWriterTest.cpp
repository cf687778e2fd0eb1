#include "output/BeatWriter.h"

#include "output/KeyFacts.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/output/EventResults.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qel::output {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

class BeatWriterTest : public testing::Test {
protected:
    std::string Annotation(const std::string& name, const std::string& input = "a.wav") const {
        return ReadFile(OutputPath(mDirectory.File("out"), input, name));
    }

    TempDirectory mDirectory;
    BeatWriter mWriter{mDirectory.File("out"), {"a.wav", "b.wav"}};
    const std::vector<const KeyInfo*> mKeys{findKey(kBeatKey), findKey(kDownBeatKey),
                                            findKey(kBeatsPerBarKey)};
};

TEST_F(BeatWriterTest, ABeatIsALineWithItsPosition) {
    const FileHeader header = HeaderOf(mKeys, 1);
    mWriter.BeginFile(header);
    WriteCounts(mWriter, header, 2, {3});
    WriteEvents(mWriter, header, 0, {At({0.00001, 0.5, 1, 1.5, 2})});
    WriteEvents(mWriter, header, 1, {At({0.5, 2})});
    mWriter.EndFile({});
    EXPECT_EQ(mDirectory.Entries("out/" + OutputName("a.wav")), Strings{"beats.txt"});
    EXPECT_EQ(Annotation("beats.txt"), "0.000010\t3\n"
                                       "0.500000\t1\n"
                                       "1.000000\t2\n"
                                       "1.500000\t3\n"
                                       "2.000000\t1\n");
}

TEST_F(BeatWriterTest, WithoutDownBeatsThereAreTimesAlone) {
    const FileHeader header = HeaderOf(mKeys, 1);
    mWriter.BeginFile(header);
    WriteEvents(mWriter, header, 0, {At({0.5, 1})});
    WriteCounts(mWriter, header, 2, {0}); // none was found
    mWriter.EndFile({});
    EXPECT_EQ(Annotation("beats.txt"), "0.500000\n1.000000\n");
}

TEST_F(BeatWriterTest, APickupOfUnknownMeterHasTimesAlone) {
    const FileHeader header = HeaderOf({mKeys[0], mKeys[1]}, 1);
    mWriter.BeginFile(header);
    WriteEvents(mWriter, header, 0, {At({0.5, 1, 1.5})});
    WriteEvents(mWriter, header, 1, {At({1})});
    mWriter.EndFile({});
    EXPECT_EQ(Annotation("beats.txt"), "0.500000\n1.000000\t1\n1.500000\t2\n");
}

TEST_F(BeatWriterTest, EveryChannelHasAnAnnotationWithItsOwnMeter) {
    const FileHeader header = HeaderOf(mKeys, 2);
    mWriter.BeginFile(header);
    WriteEvents(mWriter, header, 0, {At({1, 2}), At({1, 2})});
    WriteEvents(mWriter, header, 1, {At({2}), At({2})});
    WriteCounts(mWriter, header, 2, {3, 7});
    mWriter.EndFile({});
    EXPECT_EQ(mDirectory.Entries("out/" + OutputName("a.wav")),
              (Strings{"beats-ch0.txt", "beats-ch1.txt"}));
    EXPECT_EQ(Annotation("beats-ch0.txt"), "1.000000\t3\n2.000000\t1\n");
    EXPECT_EQ(Annotation("beats-ch1.txt"), "1.000000\t7\n2.000000\t1\n");
}

TEST_F(BeatWriterTest, WeakBeatsAreLeftOutAndTheOthersKeepTheirPositions) {
    FileHeader header = HeaderOf(mKeys, 1);
    header.minStrength = 0.5f;
    mWriter.BeginFile(header);
    WriteEvents(mWriter, header, 0, {{{1, 0.4f}, {2, 0.5f}, {3, 0.6f}, {4, 0.1f}, {5, 0.9f}}});
    WriteEvents(mWriter, header, 1, {{{1, 0.4f}, {4, 0.1f}}});
    mWriter.EndFile({});
    EXPECT_EQ(Annotation("beats.txt"), "2.000000\t2\n3.000000\t3\n5.000000\t2\n");
}

TEST_F(BeatWriterTest, AFileWithoutBeatsIsEmptyAndOneThatFailsLeavesNothing) {
    FileHeader header = HeaderOf(mKeys, 1);
    mWriter.BeginFile(header);
    WriteEvents(mWriter, header, 0, {At({1, 2, 3})});
    mWriter.FailFile("a.wav", "broken");
    EXPECT_EQ(mDirectory.Entries(), Strings{});
    header.path = "b.wav";
    mWriter.BeginFile(header);
    mWriter.EndFile({});
    EXPECT_EQ(mDirectory.Entries("out/" + OutputName("b.wav")), Strings{"beats.txt"});
    EXPECT_EQ(Annotation("beats.txt", "b.wav"), "");
}

} // namespace
} // namespace qel::output
