// Reading payloads of events and counts, from blocks that the test makes.
#include <QelAudioAnalysis.hpp>

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

namespace qel {
namespace {

constexpr ValueInfo kStrokeValues[] = {{"stroke time", "s", {0, 1}, "", ""},
                                       {"stroke strength", "1", {0, 1}, "", ""}};
constexpr KeyInfo kStrokes{"strokes", PayloadKind::Events, 16, Delivery::AtEnd, 1024,
                           128,       kStrokeValues,       ""};
constexpr ValueInfo kNumberValues[] = {{"number", "strokes", {0, 9}, "", ""}};
constexpr KeyInfo kNumber{"number", PayloadKind::Count, 4, Delivery::AtEnd, 1024,
                          128,      kNumberValues,      ""};

class EventsResultTest : public ::testing::Test {
protected:
    std::array<QelAudioAnalysisEvent, 2> mLeft{{{0.1, 0.5f}, {1.0 / 3, 1.0f}}};
    std::array<QelAudioAnalysisEvent, 1> mRight{{{7200.0001, 0.25f}}};
    std::array<QelAudioAnalysisEventList, 2> mLists{{{2, mLeft.data()}, {1, mRight.data()}}};
    std::array<QelAudioAnalysisBlock, 2> mBlocks{
        {{&mLists[0], sizeof mLists[0]}, {&mLists[1], sizeof mLists[1]}}};
    Result mResult{"strokes", &kStrokes, 0, 0, mBlocks};
};

TEST_F(EventsResultTest, EventsOfEachChannelKeepTheirOrderAndAllDigitsOfTheirTimes) {
    EXPECT_EQ(mResult.events(), (std::vector<Event>{{0.1, 0.5f}, {1.0 / 3, 1.0f}}));
    EXPECT_EQ(mResult.events(1), (std::vector<Event>{{7200.0001, 0.25f}}));
}

TEST_F(EventsResultTest, CopiesDoNotFollowTheLibrarysMemory) {
    const std::vector<Event> events = mResult.events();
    const StoredResult stored = mResult.store();
    mLeft = {};
    mLists = {};
    EXPECT_EQ(events.at(1), (Event{1.0 / 3, 1.0f}));
    ASSERT_EQ(stored.events.size(), 2u);
    EXPECT_EQ(stored.events[0], events);
    EXPECT_EQ(stored.events[1].at(0), (Event{7200.0001, 0.25f}));
    EXPECT_TRUE(stored.channels.empty());
    EXPECT_TRUE(stored.counts.empty());
}

TEST_F(EventsResultTest, EventsAreNeitherFloatsNorPairsNorACount) {
    EXPECT_THROW(mResult.floats(), Error);
    EXPECT_THROW(mResult.complexes(), Error);
    EXPECT_THROW(mResult.count(), Error);
    EXPECT_THROW(mResult.value("stroke strength"), Error);
    EXPECT_THROW(mResult.store().value("stroke strength"), std::exception);
    EXPECT_THROW(mResult.events(2), std::out_of_range);
    EXPECT_EQ(mResult.bytes(1).size(), 16u);
}

TEST_F(EventsResultTest, AListWithoutEventsIsEmptyAndSoIsABlockThatHoldsNoList) {
    mLists[0] = {0, nullptr};
    mBlocks[1].mDataByteSize = sizeof(QelAudioAnalysisEventList) - 1;
    EXPECT_TRUE(mResult.events(0).empty());
    EXPECT_TRUE(mResult.events(1).empty());
    EXPECT_EQ(mResult.store().events, std::vector<std::vector<Event>>(2));
}

class CountResultTest : public ::testing::Test {
protected:
    std::array<UInt32, 2> mCounts{7, 4000000001u};
    std::array<QelAudioAnalysisBlock, 2> mBlocks{{{&mCounts[0], 4}, {&mCounts[1], 4}}};
    Result mResult{"number", &kNumber, 0, 0, mBlocks};
};

TEST_F(CountResultTest, CountOfEachChannelIsAWholeNumber) {
    EXPECT_EQ(mResult.count(), 7u);
    EXPECT_EQ(mResult.count(1), 4000000001u); // a float would make it 4000000000
    EXPECT_THROW(mResult.count(2), std::out_of_range);
}

TEST_F(CountResultTest, CopyDoesNotFollowTheLibrarysMemory) {
    const StoredResult stored = mResult.store();
    mCounts = {};
    EXPECT_EQ(stored.counts, (std::vector<std::uint32_t>{7, 4000000001u}));
    EXPECT_TRUE(stored.channels.empty());
    EXPECT_TRUE(stored.events.empty());
}

TEST_F(CountResultTest, ACountIsNeitherFloatsNorEvents) {
    EXPECT_THROW(mResult.floats(), Error);
    EXPECT_THROW(mResult.events(), Error);
    EXPECT_THROW(mResult.value("number"), Error);
}

constexpr ValueInfo kLevelValues[] = {{"level", "1", {0, 9}, "", ""}};
constexpr KeyInfo kLevels{"levels", PayloadKind::Vector, 12, Delivery::PerFrame, 1024,
                          512,      kLevelValues,        ""};

TEST(VectorResultTest, AVectorIsFloatsWithoutASingleValue) {
    std::array<float, 3> levels{1, 2, 4};
    const std::array<QelAudioAnalysisBlock, 1> blocks{{{levels.data(), sizeof levels}}};
    const Result result("levels", &kLevels, 0, 0, blocks);
    const StoredResult stored = result.store();
    EXPECT_EQ(result.floats()[2], 4);
    levels = {};
    EXPECT_EQ(stored.channels.at(0), (std::vector<float>{1, 2, 4}));
    EXPECT_THROW(result.value("level"), Error);
    EXPECT_THROW(result.complexes(), Error);
}

constexpr ValueInfo kReachValues[] = {{"reach", "1", {0, 1}, "", ""}};
constexpr KeyInfo kReach{"reach", PayloadKind::Range, 24, Delivery::AtEnd, 1024,
                         512,     kReachValues,       ""};

// Every block shows the records of both channels.
class RangeResultTest : public ::testing::Test {
protected:
    std::array<QelAudioAnalysisRange, 2> mRecords{
        {{0.25f, -60.5f, 16000, 1, 1, 1}, {-1, 100, -1, 1, 1, 1}}};
    std::array<QelAudioAnalysisBlock, 2> mBlocks{
        {{mRecords.data(), sizeof mRecords}, {mRecords.data(), sizeof mRecords}}};
    Result mResult{"reach", &kReach, 0, 0, mBlocks};
};

TEST_F(RangeResultTest, EachChannelHasItsRecordAndMarkersAreNoNumbers) {
    EXPECT_EQ(mResult.range(0), (AudioRange{0.25f, -60.5f, 16000.0f}));
    EXPECT_EQ(mResult.range(1), AudioRange{});
    EXPECT_THROW(mResult.range(2), std::out_of_range);
}

TEST_F(RangeResultTest, CopyDoesNotFollowTheLibrarysMemory) {
    const StoredResult stored = mResult.store();
    mRecords = {};
    EXPECT_EQ(stored.ranges, (std::vector<AudioRange>{{0.25f, -60.5f, 16000.0f}, AudioRange{}}));
    EXPECT_TRUE(stored.channels.empty());
}

TEST_F(RangeResultTest, ARangeIsNeitherFloatsNorACount) {
    EXPECT_THROW(mResult.floats(), Error);
    EXPECT_THROW(mResult.count(), Error);
    EXPECT_THROW(mResult.value("reach"), Error);
}

TEST(FloatsResultTest, FloatsAreNeitherEventsNorACount) {
    std::array<float, 2> values{1, 2};
    const std::array<QelAudioAnalysisBlock, 1> blocks{{{values.data(), sizeof values}}};
    const Result result("spectrum flux properties", findKey("spectrum flux properties"), 0, 0,
                        blocks);
    EXPECT_THROW(result.events(), Error);
    EXPECT_THROW(result.count(), Error);
    EXPECT_TRUE(result.store().events.empty());
    EXPECT_TRUE(result.store().counts.empty());
}

} // namespace
} // namespace qel
