#include "tools/Texts.h"

#include <gtest/gtest.h>

namespace qel::tool {
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

} // namespace
} // namespace qel::tool
