// The table of keys, and what the slots make of it.

#include "engine/base/KeyFacts.h"

#include "engine/slots/AnalyzerSlots.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qel::core {
namespace {

std::string Text(CFStringRef string) {
    char text[64] = {};
    EXPECT_TRUE(CFStringGetCString(string, text, sizeof text, kCFStringEncodingASCII));
    return text;
}

struct Row {
    std::string symbol;
    std::string text;
    CFStringRef name; // of QelAudioAnalysisNames.h
    KeyFacts facts;
};

#define QEL_KEY(symbol, text, slot, payload, bytes, delivery, results, companion) \
    {#symbol, text, kQelAnalysisKey_##symbol, KeyTable::symbol},
const std::vector<Row> kRows = {QEL_KEY_TABLE(QEL_KEY)};
#undef QEL_KEY

TEST(KeyFactsTest, EveryRowHasTheTextOfItsName) {
    for (const Row& row : kRows) {
        EXPECT_EQ(Text(row.name), row.text) << row.symbol;
    }
}

TEST(KeyFactsTest, EveryNameHasARowInTheOrderOfTheTable) {
    std::ifstream header(QEL_NAMES_HEADER);
    ASSERT_TRUE(header);
    const std::string start = "#define kQelAnalysisKey_";
    std::vector<std::string> names;
    for (std::string line; std::getline(header, line);) {
        if (line.starts_with(start)) {
            names.push_back(line.substr(start.size(), line.find(' ', start.size()) - start.size()));
        }
    }
    std::vector<std::string> symbols;
    for (const Row& row : kRows) {
        symbols.push_back(row.symbol);
    }
    EXPECT_EQ(names, symbols);
}

TEST(KeyFactsTest, KeysAreListedInTheOrderOfTheTable) {
    std::vector<std::string> listed;
    for (CFStringRef key : ListedKeys()) {
        listed.push_back(Text(key));
    }
    std::vector<std::string> texts;
    for (const Row& row : kRows) {
        texts.push_back(row.text);
    }
    EXPECT_EQ(listed, texts);
}

TEST(KeyFactsTest, ACompanionCreatesTheSlotOfItsKey) {
    for (const Row& row : kRows) {
        if (row.facts.companion.empty()) {
            continue;
        }
        const std::string companion(row.facts.companion);
        CFStringRef key =
            CFStringCreateWithCString(nullptr, companion.c_str(), kCFStringEncodingASCII);
        const KeyRoute* route = FindKeyRoute(key);
        CFRelease(key);
        ASSERT_NE(route, nullptr) << row.text;
        EXPECT_TRUE(route->createsGenerator) << row.text;
        EXPECT_EQ(route->slot, row.facts.slot) << row.text;
    }
}

// The rows are the only place with frames and hops, so their values stand here a second time: a
// change of one would go unnoticed otherwise.
TEST(KeyFactsTest, EverySlotHasItsFrameAndHop) {
    const std::pair<UInt32, UInt32> expected[] = {
        {1024, 512}, {1024, 512}, {1024, 512},  {1024, 512}, {4096, 2048},
        {1024, 128}, {0, 0},      {8192, 1024}, {8192, 512}, {1024, 512},
        {512, 256},  {1024, 512}, {0, 0},       {1024, 512}, {512, 64},
    };
    ASSERT_EQ(kNumSlots, std::size(expected));
    for (std::size_t slot = 0; slot < kNumSlots; ++slot) {
        EXPECT_EQ(kSlotFacts[slot].frameSize, expected[slot].first) << slot;
        EXPECT_EQ(kSlotFacts[slot].hop, expected[slot].second) << slot;
    }
}

void Ignore(void*, CFStringRef, UInt32, QelAudioAnalysisBlock*, void*) {}

// A generator that is ready for audio, for one key.
std::unique_ptr<QelAAAnalysisBase> ReadyGenerator(const Row& row) {
    auto generator = MakeGenerator(row.facts.slot, {1, 44100.0, 4096, 44100, &Ignore, nullptr});
    const void* keys[] = {row.name};
    CFArrayRef list = CFArrayCreate(nullptr, keys, 1, &kCFTypeArrayCallBacks);
    generator->SetComputeProperty(list);
    CFRelease(list);
    generator->ReadyAnalysis();
    return generator;
}

TEST(KeyFactsTest, GeneratorsReportTheFrameAndTheHopOfTheirRow) {
    // Written by the library only for keys that are made from frames it tells of.
    constexpr UInt32 kUntouched = 77;
    for (const Row& row : kRows) {
        QelAudioAnalysisKeyMetaData data{0, kUntouched, kUntouched, {}};
        EXPECT_EQ(ReadyGenerator(row)->GetMetaDataForKey(row.name, &data), 0);
        const bool tellsNothing = row.symbol == "TemporalProperties" || row.symbol == "OnsetData" ||
                                  row.symbol == "AudioRange";
        const SlotFacts& slot = row.facts.Slot();
        EXPECT_EQ(data.mFrameSize, tellsNothing ? kUntouched : slot.frameSize) << row.text;
        EXPECT_EQ(data.mHopSize, tellsNothing ? kUntouched : slot.hop) << row.text;
    }
}

TEST(KeyFactsTest, GeneratorsAnswerTheBytesOfTheRow) {
    for (const Row& row : kRows) {
        // The range meter answers 0 for every key.
        const UInt32 expected = row.symbol == "AudioRange" ? 0 : row.facts.payloadBytes;
        EXPECT_EQ(ReadyGenerator(row)->GetSizeOfAnalysisDataForKey(row.name), expected) << row.text;
    }
}

} // namespace
} // namespace qel::core
