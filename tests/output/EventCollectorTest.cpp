#include "output/EventCollector.h"

#include "output/KeyFacts.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace qel::output {
namespace {

// Adds events of one channel at these times.
void AddEvents(EventCollector& collector, std::string_view key, const std::vector<double>& times) {
    std::vector<QelAudioAnalysisEvent> events;
    for (const double time : times) {
        events.push_back({time, 0.5f});
    }
    QelAudioAnalysisEventList list{static_cast<UInt32>(events.size()), events.data()};
    const std::array<QelAudioAnalysisBlock, 1> blocks{{{&list, sizeof list}}};
    collector.Add(Result(key, findKey(key), 0, 0, blocks));
}

void AddBeatsPerBar(EventCollector& collector, UInt32 count) {
    const std::array<QelAudioAnalysisBlock, 1> blocks{{{&count, sizeof count}}};
    collector.Add(Result(kBeatsPerBarKey, findKey(kBeatsPerBarKey), 0, 0, blocks));
}

TEST(EventCollectorTest, WhatNeverCameIsEmpty) {
    const EventCollector collector;
    EXPECT_TRUE(collector.Events(kBeatKey, 0).empty());
    EXPECT_TRUE(collector.BeatPositions(0).empty());
}

TEST(EventCollectorTest, EventsThatComeInPiecesAreAppended) {
    EventCollector collector;
    AddEvents(collector, kBeatKey, {1, 2});
    AddEvents(collector, kBeatKey, {3});
    EXPECT_EQ(collector.Events(kBeatKey, 0), (std::vector<Event>{{1, 0.5f}, {2, 0.5f}, {3, 0.5f}}));
    EXPECT_TRUE(collector.Events(kDownBeatKey, 0).empty());
}

TEST(EventCollectorTest, PositionsComeFromBeatsDownBeatsAndMeterInWhateverOrder) {
    EventCollector collector;
    AddEvents(collector, kDownBeatKey, {2});
    AddBeatsPerBar(collector, 4);
    AddEvents(collector, kBeatKey, {1, 2, 3});
    EXPECT_EQ(collector.BeatPositions(0), (std::vector<std::size_t>{4, 1, 2}));
}

TEST(EventCollectorTest, ClearForgetsAll) {
    EventCollector collector;
    AddEvents(collector, kDownBeatKey, {2});
    AddBeatsPerBar(collector, 4);
    collector.Clear();
    AddEvents(collector, kBeatKey, {1, 2, 3});
    EXPECT_EQ(collector.BeatPositions(0), (std::vector<std::size_t>{0, 0, 0}));
    AddEvents(collector, kDownBeatKey, {2});
    EXPECT_EQ(collector.BeatPositions(0), (std::vector<std::size_t>{0, 1, 2}));
}

TEST(EventCollectorTest, ResultsOfOtherKindsArePassedOver) {
    EventCollector collector;
    std::array<float, 3> tempo{120, 60, 0.5f};
    const std::array<QelAudioAnalysisBlock, 1> blocks{{{tempo.data(), sizeof tempo}}};
    collector.Add(Result("global tempo", findKey("global tempo"), 0, 0, blocks));
    EXPECT_TRUE(collector.Events("global tempo", 0).empty());
}

} // namespace
} // namespace qel::output
