#include "tools/KeyList.h"

#include "tools/ToolError.h"

#include <gtest/gtest.h>

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
    const Strings all = Names(AllKeys());
    Strings expected = all;
    for (const char* key : {"spectrum", "global tempo", "global number of beats per bar",
                            "beat data", "down beat data"}) {
        std::erase(expected, key);
    }
    EXPECT_EQ(Names(DefaultKeys()), expected);
    EXPECT_EQ(expected.size() + 5, all.size());
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
