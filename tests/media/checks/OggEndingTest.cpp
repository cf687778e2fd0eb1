#include "media/checks/OggEnding.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace qel::media {
namespace {

// A page of two segments of 255 and 45 bytes.
std::string Page() {
    return std::string("OggS\0", 5) + std::string(21, '\1') + "\x02\xFF\x2D" +
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

TEST(OggEndingTest, OtherFilesAreNoneOfItsBusiness) {
    EXPECT_FALSE(IsTruncated(""));
    EXPECT_FALSE(IsTruncated("OggS"));
    EXPECT_FALSE(IsTruncated(std::string(1000, 'x')));
}

} // namespace
} // namespace qel::media
