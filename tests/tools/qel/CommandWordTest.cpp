#include "tools/qel/CommandWord.h"

#include "tools/qel/ToolError.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qel::tool {
namespace {

using Strings = std::vector<std::string>;

Strings Completed(Strings arguments) {
    CompleteCommandWord(arguments);
    return arguments;
}

std::string FaultOf(const std::string& word) {
    try {
        Completed({word});
        return "none";
    } catch (const UsageError& error) {
        return error.what();
    }
}

TEST(CommandWordTest, SubcommandsAndOptionsStayAsTheyAre) {
    for (const char* word : {"read", "analyze", "keys", "describe", "selftest", "--help"}) {
        EXPECT_EQ(Completed({word, "song.flac"}), (Strings{word, "song.flac"}));
    }
    EXPECT_EQ(Completed({}), Strings{});
}

TEST(CommandWordTest, AWordWithADotOrASlashIsAFileToRead) {
    EXPECT_EQ(Completed({"song.flac", "--beats"}), (Strings{"read", "song.flac", "--beats"}));
    EXPECT_EQ(Completed({"--", "-x.wav"}), (Strings{"read", "--", "-x.wav"}));
    EXPECT_EQ(Completed({"music/song"}), (Strings{"read", "music/song"}));
}

TEST(CommandWordTest, OptionsBeforeAFileNeedACommand) {
    Strings arguments{"--format", "json", "song.flac"};
    try {
        CompleteCommandWord(arguments);
        FAIL();
    } catch (const UsageError& error) {
        EXPECT_STREQ(error.what(), "--format needs a command or a file before it; try "
                                   "\"qel read --format json song.flac\"");
    }
}

TEST(CommandWordTest, UnknownWordsGetTheNearestCommandReadingOrKey) {
    EXPECT_EQ(FaultOf("analyse"), "unknown command \"analyse\"; did you mean \"qel analyze\"?");
    EXPECT_EQ(FaultOf("bpm"), "unknown command \"bpm\"; try \"qel read FILE\"");
    EXPECT_EQ(FaultOf("onset"), "unknown command \"onset\"; try \"qel read --onsets FILE\"");
    EXPECT_EQ(FaultOf("chroma"), "unknown command \"chroma\"; for the key \"pitch class profile\", "
                                 "try \"qel analyze FILE --keys 'pitch class profile'\"");
    EXPECT_EQ(FaultOf("cepstrun"), "unknown command \"cepstrun\"; for the key \"cepstrum\", try "
                                   "\"qel analyze FILE --keys 'cepstrum'\"");
    EXPECT_EQ(FaultOf("xyzzyxyzzyxyzzy"), "unknown command \"xyzzyxyzzyxyzzy\"; see qel --help");
}

} // namespace
} // namespace qel::tool
