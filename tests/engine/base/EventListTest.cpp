#include "engine/base/EventList.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace qel::core {
namespace {

using Pairs = std::vector<std::pair<double, float>>; // time and strength

Pairs PairsOf(const std::vector<QelAudioAnalysisEvent>& events) {
    Pairs pairs;
    for (const QelAudioAnalysisEvent& event : events) {
        pairs.emplace_back(event.mTime, event.mStrength);
    }
    return pairs;
}

// The number of items under a name.
CFIndex CountOf(const CACFDictionary& values, CFStringRef name) {
    const auto items =
        static_cast<CFArrayRef>(CFDictionaryGetValue(values.GetCFDictionary(), name));
    return CFArrayGetCount(items);
}

float ItemOf(const CACFDictionary& values, CFStringRef name, CFIndex index) {
    const auto items =
        static_cast<CFArrayRef>(CFDictionaryGetValue(values.GetCFDictionary(), name));
    float value = 0;
    EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(CFArrayGetValueAtIndex(items, index)),
                                 kCFNumberFloat32Type, &value));
    return value;
}

TEST(EventListTest, EventsAreSortedByTime) {
    const Pairs expected = {{-1, 0.4f}, {0.5, 0.2f}, {2, 0.3f}, {3, 0.1f}};
    EXPECT_EQ(PairsOf(SortedEvents({{3, 0.5, 2, -1}, {0.1f, 0.2f, 0.3f, 0.4f}})), expected);
    EXPECT_TRUE(SortedEvents({}).empty());
}

TEST(EventListTest, EventsOfOneTimeStayInTheOrderInWhichTheyWereFound) {
    const Pairs expected = {{1, 0.2f}, {1, 0.5f}, {2, 0.1f}, {2, 0.3f}, {2, 0.4f}};
    EXPECT_EQ(PairsOf(SortedEvents({{2, 1, 2, 2, 1}, {0.1f, 0.2f, 0.3f, 0.4f, 0.5f}})), expected);
}

TEST(EventListTest, EachChannelHasABlockWithItsEvents) {
    const std::vector<std::vector<QelAudioAnalysisEvent>> channels = {
        {{1, 0.5f}, {2, 0.25f}}, {}, {{3, 1}}};
    AnalysisBlocks blocks;
    PrepareEventBlocks(blocks, channels);
    ASSERT_EQ(blocks.Count(), 3u);
    for (UInt32 c = 0; c < 3; ++c) {
        ASSERT_EQ(blocks.Blocks()[c].mDataByteSize, sizeof(QelAudioAnalysisEventList));
        const auto* const list =
            static_cast<const QelAudioAnalysisEventList*>(blocks.Blocks()[c].mData);
        EXPECT_EQ(list->mCount, channels[c].size());
        EXPECT_EQ(list->mEvents, channels[c].data());
    }
}

TEST(EventListTest, ADictionaryHasTimesAndStrengths) {
    const std::vector<QelAudioAnalysisEvent> events = {{0.1, 0.5f}, {2, 0.25f}};
    QelAudioAnalysisEventList list{2, events.data()};
    const CACFDictionary values =
        EventDictionary({&list, sizeof list}, CFSTR("times"), CFSTR("strengths"));
    ASSERT_EQ(CountOf(values, CFSTR("times")), 2);
    ASSERT_EQ(CountOf(values, CFSTR("strengths")), 2);
    EXPECT_EQ(ItemOf(values, CFSTR("times"), 0), 0.1f); // narrowed
    EXPECT_EQ(ItemOf(values, CFSTR("times"), 1), 2);
    EXPECT_EQ(ItemOf(values, CFSTR("strengths"), 1), 0.25f);
}

TEST(EventListTest, ABlockWithoutAListIsAnEmptyOne) {
    QelAudioAnalysisEventList list{2, nullptr};
    const std::vector<QelAudioAnalysisBlock> without = {
        {nullptr, sizeof list}, {&list, sizeof list - 1}, {&list, 0}, {&list, sizeof list}};
    for (const QelAudioAnalysisBlock& block : without) {
        const CACFDictionary values = EventDictionary(block, CFSTR("times"), CFSTR("strengths"));
        EXPECT_EQ(CountOf(values, CFSTR("times")), 0);
        EXPECT_EQ(CountOf(values, CFSTR("strengths")), 0);
    }
}

} // namespace
} // namespace qel::core
