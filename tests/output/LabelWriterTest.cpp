#include "output/LabelWriter.h"

#include "output/KeyFacts.h"
#include "tests/harness/OutputPaths.h"
#include "tests/harness/TempDirectory.h"
#include "tests/output/EventResults.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace qel::output {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

class LabelWriterTest : public testing::Test {
protected:
    // Writes one result per key, of as many channels as the first one has.
    void Write(const std::vector<const KeyInfo*>& keys, const std::vector<EventLists>& results,
               float minStrength = 0) {
        LabelWriter writer(mDirectory.File("out"), {"a.wav"}, Existing::Replace);
        FileHeader header = HeaderOf(keys, results.at(0).size());
        header.minStrength = minStrength;
        writer.BeginFile(header);
        for (std::size_t key = 0; key < keys.size(); ++key) {
            WriteEvents(writer, header, key, results.at(key));
        }
        writer.EndFile({});
        writer.Finish();
    }

    std::string Track(const std::string& name, const std::string& input = "a.wav") const {
        return ReadFile(OutputPath(mDirectory.File("out"), input, name + ".txt"));
    }

    TempDirectory mDirectory;
    const KeyInfo* mBeats = findKey(kBeatKey);
    const KeyInfo* mDownBeats = findKey(kDownBeatKey);
};

TEST_F(LabelWriterTest, BeatsTellTheirPositionAndDownBeatsTheirBar) {
    Write({mBeats, mDownBeats}, {{At({0.5, 1, 1.5, 2, 2.5})}, {At({1, 2})}});
    EXPECT_EQ(Track("beat-data"), "0.500000\t0.500000\t2\n"
                                  "1.000000\t1.000000\t1\n"
                                  "1.500000\t1.500000\t2\n"
                                  "2.000000\t2.000000\t1\n"
                                  "2.500000\t2.500000\t2\n");
    EXPECT_EQ(Track("down-beat-data"), "1.000000\t1.000000\t1\n"
                                       "2.000000\t2.000000\t2\n");
}

TEST_F(LabelWriterTest, BeatsWithoutDownBeatsAreNumbered) {
    const std::string numbered = "0.500000\t0.500000\t1\n"
                                 "1.000000\t1.000000\t2\n";
    Write({mBeats}, {{At({0.5, 1})}});
    EXPECT_EQ(Track("beat-data"), numbered);
    Write({mBeats, mDownBeats}, {{At({0.5, 1})}, {{}}});
    EXPECT_EQ(Track("beat-data"), numbered);
    EXPECT_EQ(Track("down-beat-data"), "");
}

TEST_F(LabelWriterTest, APickupOfUnknownMeterHasNoText) {
    Write({mBeats, mDownBeats}, {{At({0.5, 1})}, {At({1})}});
    EXPECT_EQ(Track("beat-data"), "0.500000\t0.500000\t\n"
                                  "1.000000\t1.000000\t1\n");
}

TEST_F(LabelWriterTest, OtherEventsTellTheirStrength) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    Write({&StrokeKey()},
          {{{{0.00001, 1.0f}, {0.25, 0.12345f}, {0.5, nan}, {0.75, -nan}, {100000, 0.0f}}}});
    EXPECT_EQ(Track("hand-made-strokes"), "0.000010\t0.000010\t1.000\n"
                                          "0.250000\t0.250000\t0.123\n"
                                          "0.500000\t0.500000\tnan\n"
                                          "0.750000\t0.750000\tnan\n"
                                          "100000.000000\t100000.000000\t0.000\n");
}

TEST_F(LabelWriterTest, EveryChannelHasATrackOfItsOwn) {
    Write({mBeats, mDownBeats}, {{At({1, 2}), At({3, 4})}, {At({1}), At({4})}});
    EXPECT_EQ(mDirectory.Entries("out/" + OutputName("a.wav")),
              (Strings{"beat-data-ch0.txt", "beat-data-ch1.txt", "down-beat-data-ch0.txt",
                       "down-beat-data-ch1.txt"}));
    EXPECT_EQ(Track("beat-data-ch0"), "1.000000\t1.000000\t1\n2.000000\t2.000000\t2\n");
    EXPECT_EQ(Track("beat-data-ch1"), "3.000000\t3.000000\t\n4.000000\t4.000000\t1\n");
    EXPECT_EQ(Track("down-beat-data-ch1"), "4.000000\t4.000000\t1\n");
}

TEST_F(LabelWriterTest, WeakEventsAreLeftOutAndTheOthersKeepTheirTexts) {
    const std::vector<Event> beats{{1, 0.9f}, {2, 0.1f}, {3, 0.5f}, {4, 0.2f}, {5, 0.6f}};
    Write({mBeats, mDownBeats}, {{beats}, {{{1, 0.9f}, {4, 0.2f}}}}, 0.5f);
    EXPECT_EQ(Track("beat-data"), "1.000000\t1.000000\t1\n"
                                  "3.000000\t3.000000\t3\n"
                                  "5.000000\t5.000000\t2\n");
    EXPECT_EQ(Track("down-beat-data"), "1.000000\t1.000000\t1\n");
    Write({mBeats}, {{beats}}, 0.5f);
    EXPECT_EQ(Track("beat-data"), "1.000000\t1.000000\t1\n"
                                  "3.000000\t3.000000\t3\n"
                                  "5.000000\t5.000000\t5\n");
}

TEST_F(LabelWriterTest, AKeyWithoutAResultGivesAnEmptyTrack) {
    LabelWriter writer(mDirectory.File("out"), {"a.wav"});
    writer.BeginFile(HeaderOf({mBeats, mDownBeats}, 1));
    writer.EndFile({});
    EXPECT_EQ(mDirectory.Entries("out/" + OutputName("a.wav")),
              (Strings{"beat-data.txt", "down-beat-data.txt"}));
    EXPECT_EQ(Track("beat-data"), "");
}

TEST_F(LabelWriterTest, FilesHaveDirectoriesAndOneThatFailsLeavesNothing) {
    LabelWriter writer(mDirectory.File("out"), {"a.wav", "b.wav", "c.wav"});
    FileHeader header = HeaderOf({mBeats}, 1);
    for (const std::string path : {"a.wav", "b.wav", "c.wav"}) {
        header.path = path;
        writer.BeginFile(header);
        if (path == "b.wav") {
            WriteEvents(writer, header, 0, {At({1, 2, 3})});
            writer.FailFile("b.wav", "broken");
        } else {
            writer.EndFile({});
        }
    }
    Strings expected;
    for (const std::string path : {"a.wav", "c.wav"}) {
        expected.push_back(OutputName(path));
        expected.push_back(OutputName(path) + "/beat-data.txt");
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(mDirectory.Entries("out"), expected);
    // Nothing of the file that failed has come into the one after it.
    EXPECT_EQ(Track("beat-data", "c.wav"), "");
}

} // namespace
} // namespace qel::output
