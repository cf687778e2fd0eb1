#include "engine/slots/AnalyzerSlots.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace qel::core {
namespace {

std::string Text(CFStringRef string) {
    char text[64] = {};
    EXPECT_TRUE(CFStringGetCString(string, text, sizeof text, kCFStringEncodingASCII));
    return text;
}

CFStringRef MakeString(const char* text) {
    return CFStringCreateWithCString(nullptr, text, kCFStringEncodingASCII);
}

// Slot -> keys, written down apart from the code's own table.
const std::map<std::size_t, std::set<std::string>> kKeysOfSlots = {
    {0,
     {"temporal properties", "generic spectrum properties", "spectrum histogram properties",
      "spectrum peak properties", "spectrum flux properties", "spectrum"}},
    {1, {"phase properties"}},
    {2, {"gamma tome spectrum"}},
    {3, {"tempo"}},
    {4, {"mel frequency cepstral coefficients", "mel spectrum"}},
    {5, {"global tempo", "beat data", "global number of beats per bar", "down beat data"}},
    {6, {"onset data"}},
    {7, {"constant q spectrum", "harmonic pitch class profile"}},
    {8,
     {"pitch class profile", "pitch class porofile key correlation", "dominant key",
      "pitch class profile tonal centroid", "global key"}},
    {9, {"partials", "fundamental frequency", "inharmonicity"}},
    {10, {"cepstrum"}},
    {11, {"instantaneous frequency"}},
    {12, {"sound check"}},
    {13, {"audio range"}},
    {14, {"reasigned spectrum"}},
};

TEST(AnalyzerSlotsTest, EveryKeyLeadsToItsSlot) {
    for (const auto& [slot, keys] : kKeysOfSlots) {
        for (const std::string& text : keys) {
            CFStringRef key = MakeString(text.c_str());
            const KeyRoute* route = FindKeyRoute(key);
            CFRelease(key);
            ASSERT_NE(route, nullptr) << text;
            EXPECT_EQ(route->slot, slot) << text;
            EXPECT_EQ(Text(route->key), text);
            EXPECT_EQ(route->createsGenerator, text != "global key") << text;
        }
    }
}

TEST(AnalyzerSlotsTest, OnlySlotsWithoutAGuardBuildAnewForARepeatedKey) {
    const std::set<std::size_t> unguarded = {1, 2, 3, 6, 10, 11, 12, 13};
    for (const auto& [slot, keys] : kKeysOfSlots) {
        for (const std::string& text : keys) {
            CFStringRef key = MakeString(text.c_str());
            EXPECT_EQ(FindKeyRoute(key)->createdOnce, !unguarded.contains(slot)) << text;
            CFRelease(key);
        }
    }
}

TEST(AnalyzerSlotsTest, UnknownKeysHaveNoRoute) {
    EXPECT_EQ(FindKeyRoute(nullptr), nullptr);
    EXPECT_EQ(FindKeyRoute(CFSTR("")), nullptr);
    EXPECT_EQ(FindKeyRoute(CFSTR("Spectrum")), nullptr);
    EXPECT_EQ(FindKeyRoute(CFSTR("reassigned spectrum")), nullptr);
}

TEST(AnalyzerSlotsTest, EveryListedKeyIsRoutedAndSoundCheckIsNotListed) {
    std::set<std::string> listed;
    for (CFStringRef key : ListedKeys()) {
        EXPECT_NE(FindKeyRoute(key), nullptr) << Text(key);
        listed.insert(Text(key));
    }
    EXPECT_EQ(listed.size(), 30u);
    EXPECT_FALSE(listed.contains("sound check"));
    EXPECT_NE(FindKeyRoute(CFSTR("sound check")), nullptr);
}

TEST(AnalyzerSlotsTest, EveryParameterLeadsToItsSlot) {
    EXPECT_EQ(FindParameterSlot(CFSTR("Genre Hint")), 5u);
    EXPECT_EQ(FindParameterSlot(CFSTR("complexity")), 3u);
    EXPECT_EQ(FindParameterSlot(CFSTR("Min BPM")), 3u);
    EXPECT_EQ(FindParameterSlot(CFSTR("Max BPM")), 3u);
    EXPECT_EQ(FindParameterSlot(CFSTR("Onset Sensitivity")), 6u);
    EXPECT_EQ(FindParameterSlot(CFSTR("min bpm")), std::nullopt);
    EXPECT_EQ(FindParameterSlot(nullptr), std::nullopt);
}

} // namespace
} // namespace qel::core
