#include "page/PageReader.h"

#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

namespace qel::page {
namespace {

using namespace test;

std::string Page(const std::string& description) {
    return "<html><script type=\"application/json\" id=\"qel:page\">" + description +
           "</script></html>";
}

std::string Song(const std::string& generator, const std::string& audio, int bytes) {
    return Page(R"({"kind":"song","generator":")" + generator + R"(","audio":)" + audio +
                R"(,"song":{"name":"a.wav","bytes":)" + std::to_string(bytes) + "}}");
}

class PageReaderTest : public testing::Test {
protected:
    PageReaderTest() { WriteFile(File("a.wav"), "12345"); }

    std::string File(const std::string& name) const { return mDirectory.File(name); }

    bool IsCurrent(const std::string& page, bool hasAudio) const {
        WriteFile(File("page.html"), page);
        return CurrentSongOf(File("page.html"), File("a.wav"), hasAudio).has_value();
    }

    const std::string mVersion = "qel " QEL_VERSION;
    const TempDirectory mDirectory;
};

TEST_F(PageReaderTest, FindsWhatAPageSaysAboutItself) {
    WriteFile(File("page.html"), Page(R"({"kind":"index"})"));
    EXPECT_EQ(DescriptionOf(File("page.html"))->at("kind"), "index");
    for (const char* text :
         {"", "<html></html>", "id=\"qel:page\">{", "id=\"qel:page\">5</script>"}) {
        WriteFile(File("page.html"), text);
        EXPECT_FALSE(DescriptionOf(File("page.html"))) << text;
    }
    EXPECT_FALSE(DescriptionOf(File("none.html")));
}

TEST_F(PageReaderTest, APageIsCurrentForTheSameFileVersionAndSound) {
    EXPECT_TRUE(IsCurrent(Song(mVersion, "null", 5), false));
    EXPECT_TRUE(IsCurrent(Song(mVersion, "{}", 5), true));
    EXPECT_FALSE(IsCurrent(Song(mVersion, "null", 5), true));
    EXPECT_FALSE(IsCurrent(Song(mVersion, "{}", 5), false));
    EXPECT_FALSE(IsCurrent(Song(mVersion, "null", 6), false));
    EXPECT_FALSE(IsCurrent(Song("qel 0.0.1", "null", 5), false));
}

TEST_F(PageReaderTest, APageThatIsOlderThanItsFileIsNotCurrent) {
    WriteFile(File("page.html"), Song(mVersion, "null", 5));
    std::filesystem::last_write_time(File("page.html"),
                                     std::filesystem::last_write_time(File("a.wav")) -
                                         std::chrono::seconds(1));
    EXPECT_FALSE(CurrentSongOf(File("page.html"), File("a.wav"), false));
}

} // namespace
} // namespace qel::page
