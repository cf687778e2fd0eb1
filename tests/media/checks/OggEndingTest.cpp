#include "media/checks/OggEnding.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace qel::media {
namespace {

// A page of two segments of 255 and 45 bytes.
std::string Page(char flags = '\1') {
    return std::string("OggS\0", 5) + flags + std::string(20, '\1') + "\x02\xFF\x2D" +
           std::string(300, 'x');
}

bool IsTruncated(const std::string& file) {
    std::istringstream stream(file);
    return OggIsTruncated(stream);
}

TEST(OggEndingTest, WholePagesAreNotTruncated) {
    EXPECT_FALSE(IsTruncated(Page()));
    EXPECT_FALSE(IsTruncated(Page() + Page()));
    EXPECT_FALSE(IsTruncated(std::string(500000, 'x') + Page()));
}

TEST(OggEndingTest, EveryCutInsideOfTheLastPageIsSeen) {
    const std::string file = Page() + Page();
    // A cut inside of the mark leaves bytes that no page accounts for, but no page to judge by.
    for (std::size_t size = Page().size() + 5; size < file.size(); ++size) {
        EXPECT_TRUE(IsTruncated(file.substr(0, size))) << size;
    }
}

bool LacksEnd(const std::string& file) {
    std::istringstream stream(file);
    return OggLacksEnd(stream);
}

TEST(OggEndingTest, ACutBetweenPagesTakesTheFlagOfTheLastOne) {
    constexpr char kIsLast = 4;
    constexpr char kContinuesAndIsLast = 5;
    EXPECT_FALSE(LacksEnd(Page() + Page(kIsLast)));
    EXPECT_FALSE(LacksEnd(Page() + Page(kContinuesAndIsLast)));
    EXPECT_FALSE(LacksEnd(Page() + Page(kIsLast) + std::string(500, 'x'))) << "a tag";
    EXPECT_TRUE(LacksEnd(Page() + Page()));
    EXPECT_TRUE(LacksEnd(Page(kIsLast) + Page())) << "another stream follows, and is cut";
    EXPECT_FALSE(LacksEnd((Page() + Page()).substr(0, 400))) << "left to OggIsTruncated";
    EXPECT_FALSE(LacksEnd(""));
    EXPECT_FALSE(LacksEnd(std::string(1000, 'x')));
}

TEST(OggEndingTest, OtherFilesAreNoneOfItsBusiness) {
    EXPECT_FALSE(IsTruncated(""));
    EXPECT_FALSE(IsTruncated("OggS"));
    EXPECT_FALSE(IsTruncated(std::string(1000, 'x')));
}

} // namespace
} // namespace qel::media
