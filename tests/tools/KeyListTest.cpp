#include "tools/KeyList.h"

#include "tools/ToolError.h"

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
    EXPECT_EQ(FaultOf({"spectrum flow properties"}),
              "unknown key \"spectrum flow properties\"; did you mean \"spectrum flux "
              "properties\"?");
}

TEST(KeyListTest, AKeyLikeNoOtherGetsNoHint) {
    EXPECT_EQ(FaultOf({"xyz"}), "unknown key \"xyz\"; \"qel keys\" lists the keys");
}

TEST(KeyListTest, EmptyKeysAreRefused) {
    for (const char* list : {"", " ", ",", "spectrum,", ",spectrum", "spectrum,,spectrum"}) {
        EXPECT_EQ(FaultOf({list}), "empty key; \"qel keys\" lists the keys") << list;
    }
}

TEST(KeyListTest, TheDefaultLeavesTheRawSpectrumAndWhatComesAtTheEndOut) {
    const Strings chosen = Names(DefaultKeys());
    for (const KeyInfo& info : kKeys) {
        const bool isLeftOut = info.key == "spectrum" || info.delivery == Delivery::AtEnd;
        const auto count = std::count(chosen.begin(), chosen.end(), info.key);
        EXPECT_EQ(count, isLeftOut ? 0 : 1) << info.key;
    }
    for (const char* key : {"global tempo", "beat data", "down beat data"}) {
        EXPECT_EQ(RequireKey(key)->delivery, Delivery::AtEnd);
    }
}

TEST(KeyListTest, KeysWithEventsAreThoseOfThatKind) {
    const Strings keys = Names(EventKeys());
    for (const char* key : {"beat data", "down beat data"}) {
        EXPECT_EQ(std::count(keys.begin(), keys.end(), key), 1) << key;
    }
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
