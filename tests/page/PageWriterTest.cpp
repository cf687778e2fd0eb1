#include "page/PageWriter.h"

#include "output/files/AtomicFile.h"
#include "tests/harness/TempDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>

namespace qel::page {
namespace {

using namespace test;

// What is between head and tail of a page.
std::string Written(const std::function<void(PageWriter&)>& write) {
    const TempDirectory directory;
    WriteFile(directory.File("t.html"), "HEAD<!-- qel: data -->TAIL");
    const PageTemplate pageTemplate(directory.File("t.html"));
    output::AtomicFile file(directory.File("page.html"));
    PageWriter page(file.Sink(), pageTemplate);
    write(page);
    page.Finish();
    file.Commit();
    const std::string text = ReadFile(directory.File("page.html"));
    EXPECT_TRUE(text.starts_with("HEAD") && text.ends_with("TAIL"));
    return text.substr(4, text.size() - 8);
}

TEST(PageWriterTest, TextCannotEndItsElement) {
    const std::string evil = "</script><script>alert(1)</script><!--&amp;";
    const std::string text = Written([&](PageWriter& page) { page.Describe({{"name", evil}}); });
    const std::string begin = "<script type=\"application/json\" id=\"qel:page\">";
    const std::string end = "</script>\n";
    ASSERT_TRUE(text.starts_with(begin) && text.ends_with(end));
    const std::string json = text.substr(begin.size(), text.size() - begin.size() - end.size());
    EXPECT_EQ(json.find_first_of("<>&"), std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(json)["name"], evil);
}

TEST(PageWriterTest, TextThatIsNoUtf8DoesNotStopThePage) {
    const std::string text = Written([](PageWriter& page) {
        page.Describe({{"name", "a\xFF\xC3z"}});
    });
    EXPECT_NE(text.find("\\ufffd"), std::string::npos);
}

TEST(PageWriterTest, BlocksAreBase64OfTheirBytes) {
    const std::vector<std::uint8_t> bytes{'f', 'o', 'o'};
    const std::string text =
        Written([&](PageWriter& page) { page.AddArray<std::uint8_t>("curve:a", bytes); });
    EXPECT_EQ(text, "<script type=\"text/plain\" id=\"qel:curve:a\">Zm9v</script>\n");
}

TEST(PageWriterTest, ShownTextIsCutBetweenCharacters) {
    EXPECT_EQ(ShownText("short"), "short");
    std::string umlauts;
    for (int i = 0; i < 500; ++i) {
        umlauts += "\xC3\xA4";
    }
    const std::string cut = ShownText("a" + umlauts);
    EXPECT_EQ(cut.size(), 302u); // 299 bytes, of which 298 are umlauts, and the dots
    EXPECT_TRUE(cut.ends_with("\xA4..."));
}

TEST(PageTemplateTest, AMissingTemplateSaysWhatToDo) {
    try {
        PageTemplate("/nowhere/report.html");
        FAIL();
    } catch (const TemplateError& error) {
        EXPECT_NE(std::string(error.what()).find("/nowhere/report.html"), std::string::npos);
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
    }
}

TEST(PageTemplateTest, AFileThatIsNoTemplateIsRefused) {
    const TempDirectory directory;
    WriteFile(directory.File("t.html"), "<html></html>");
    EXPECT_THROW(PageTemplate(directory.File("t.html")), TemplateError);
}

} // namespace
} // namespace qel::page
