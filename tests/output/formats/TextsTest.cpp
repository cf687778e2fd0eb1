#include "output/formats/Texts.h"

#include <gtest/gtest.h>

namespace qel::output {
namespace {

TEST(TextsTest, JsonEscapesWhatItMustAndReplacesWhatIsNotUtf8) {
    EXPECT_EQ(JsonText("plain"), "\"plain\"");
    EXPECT_EQ(JsonText("a \"b\"\n"), "\"a \\\"b\\\"\\n\"");
    EXPECT_EQ(JsonText("\xC3\xA9"), "\"\xC3\xA9\"");
    EXPECT_EQ(JsonText("caf\xE9"), "\"caf\xEF\xBF\xBD\"");
}

TEST(TextsTest, CsvQuotesWhatWouldEndTheField) {
    EXPECT_EQ(CsvText("F# major"), "F# major");
    EXPECT_EQ(CsvText(""), "");
    EXPECT_EQ(CsvText("a,b"), "\"a,b\"");
    EXPECT_EQ(CsvText("a \"b\""), "\"a \"\"b\"\"\"");
    EXPECT_EQ(CsvText("a\nb"), "\"a\nb\"");
}

TEST(TextsTest, PrintableTextStaysInItsLine) {
    EXPECT_EQ(PrintableText("caf\xC3\xA9 \\n, caf\xE9"), "caf\xC3\xA9 \\n, caf\xE9");
    EXPECT_EQ(PrintableText("a\nb\rc\td"), "a\\nb\\rc\\td");
    EXPECT_EQ(PrintableText(std::string_view("\0\x1B[2J\x7F", 6)), "\\x00\\x1b[2J\\x7f");
}

TEST(TextsTest, OneThingIsNotSeveral) {
    EXPECT_EQ(CountText(0, "file"), "0 files");
    EXPECT_EQ(CountText(1, "file"), "1 file");
    EXPECT_EQ(CountText(2, "file"), "2 files");
}

} // namespace
} // namespace qel::output
