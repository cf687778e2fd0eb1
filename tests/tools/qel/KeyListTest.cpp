#include "tools/qel/KeyList.h"

#include "tools/qel/ToolError.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

std::vector<std::string> Names(const std::vector<const KeyInfo*>& keys) {
    std::vector<std::string> names;
    for (const KeyInfo* info : keys) {
        names.emplace_back(info->key);
    }
    return names;
}

std::string FaultOf(const std::vector<std::string>& lists) {
    try {
        ParseKeys(lists);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "no fault";
}

using Strings = std::vector<std::string>;

TEST(KeyListTest, BlanksAroundKeysDoNotCount) {
    EXPECT_EQ(Names(ParseKeys({" temporal properties ,\tspectrum"})),
              (Strings{"temporal properties", "spectrum"}));
}

TEST(KeyListTest, KeysComeInTheTablesOrderAndOnce) {
    EXPECT_EQ(Names(ParseKeys({"spectrum,temporal properties", "spectrum"})),
              (Strings{"temporal properties", "spectrum"}));
}

TEST(KeyListTest, AnUnknownKeyIsToldWithTheNearestOne) {
    EXPECT_EQ(FaultOf({"temporal properties,Spectrm"}),
              "unknown key \"Spectrm\"; did you mean \"spectrum\"?");
    EXPECT_EQ(FaultOf({"spectrum flow properties"}), "unknown key \"spectrum flow properties\"; "
                                                     "did you mean \"spectrum flux properties\"?");
}

TEST(KeyListTest, AKeyLikeNoOtherGetsNoHint) {
    EXPECT_EQ(FaultOf({"xyz"}), "unknown key \"xyz\"; \"qel keys\" lists the keys");
}

TEST(KeyListTest, EmptyKeysAreRefused) {
    for (const char* list : {"", " ", ",", "spectrum,", ",spectrum", "spectrum,,spectrum"}) {
        EXPECT_EQ(FaultOf({list}), "empty key; \"qel keys\" lists the keys") << list;
    }
}

TEST(KeyListTest, TheDefaultLeavesBulkyKeysAndWhatComesAtTheEndOut) {
    const Strings chosen = Names(DefaultKeys());
    for (const char* key :
         {"temporal properties", "generic spectrum properties", "tempo", "dominant key",
          "gamma tome spectrum", "pitch class profile", "harmonic pitch class profile"}) {
        EXPECT_EQ(std::count(chosen.begin(), chosen.end(), key), 1) << key;
    }
    for (const char* key : {"spectrum", "constant q spectrum", "global tempo", "beat data",
                            "down beat data", "global key"}) {
        EXPECT_EQ(std::count(chosen.begin(), chosen.end(), key), 0) << key;
    }
}

// A key with one kind of payload of so many bytes, made by hand.
KeyInfo KeyOf(PayloadKind payload, std::uint32_t bytes, std::uint32_t resultsPerFrame = 1) {
    static constexpr ValueInfo kValues[] = {{"value", "1", {}, "", ""}};
    return {"key", payload, bytes, Delivery::PerFrame, 1024, 512, kValues, "", resultsPerFrame};
}

TEST(KeyListTest, SixtyFourNumbersAFrameAreTheMostThatTheDefaultTakes) {
    EXPECT_TRUE(IsDefault(KeyOf(PayloadKind::Vector, 64 * 4)));
    EXPECT_FALSE(IsDefault(KeyOf(PayloadKind::Vector, 65 * 4)));
    EXPECT_TRUE(IsDefault(KeyOf(PayloadKind::ComplexPairs, 32 * 8)));
    EXPECT_FALSE(IsDefault(KeyOf(PayloadKind::ComplexPairs, 33 * 8)));
    // All results of a frame count.
    EXPECT_TRUE(IsDefault(KeyOf(PayloadKind::Vector, 32 * 4, 2)));
    EXPECT_FALSE(IsDefault(KeyOf(PayloadKind::Vector, 33 * 4, 2)));
    // A list of any length, however small the block that points at it.
    EXPECT_FALSE(IsDefault(KeyOf(PayloadKind::Events, 16)));
    EXPECT_FALSE(IsDefault(KeyOf(PayloadKind::Partials, 16)));
    EXPECT_TRUE(IsDefault(KeyOf(PayloadKind::Name, 8)));
}

TEST(KeyListTest, LabelTracksShowEventsAndNamesThatChange) {
    const Strings keys = Names(LabelKeys());
    for (const char* key : {"beat data", "down beat data", "onset data", "dominant key"}) {
        EXPECT_EQ(std::count(keys.begin(), keys.end(), key), 1) << key;
    }
    EXPECT_EQ(std::count(keys.begin(), keys.end(), "global key"), 0);
    for (const char* key : {"spectrum", "global tempo", "global number of beats per bar"}) {
        EXPECT_EQ(std::count(keys.begin(), keys.end(), key), 0) << key;
    }
}

TEST(KeyListTest, BeatsTakeThreeKeysInTheTablesOrder) {
    EXPECT_EQ(Names(BeatKeys()),
              (Strings{"global number of beats per bar", "beat data", "down beat data"}));
}

TEST(KeyListTest, TheNearestNameTakesTheFewestEdits) {
    EXPECT_EQ(NearestName("kitten", {"sitting", "mitten", "kit"}), "mitten");
    EXPECT_EQ(NearestName("KITTEN", {"sitting", "kitten"}), "kitten");
    EXPECT_EQ(NearestName("kitten", {}), "");
    // kitten to sitting takes 3 edits of 7 letters, the least there is; to "dog" it takes 6.
    EXPECT_EQ(NearestName("kitten", {"sitting"}), "sitting");
    EXPECT_EQ(NearestName("kitten", {"dog"}), "");
}

} // namespace
} // namespace qel::tool
