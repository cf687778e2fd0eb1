#include "media/checks/FlvTags.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>

namespace qel::media {
namespace {

std::string Big(std::size_t value, std::size_t bytes) {
    std::string text;
    while (bytes-- > 0) {
        text += static_cast<char>(value >> (8 * bytes) & 0xFF);
    }
    return text;
}

std::string Tag(std::size_t size, std::size_t statedAfter) {
    return "\x08" + Big(size, 3) + std::string(7, '\0') + std::string(size, 'x') +
           Big(statedAfter, 4);
}

std::string Tag(std::size_t size) {
    return Tag(size, 11 + size);
}

std::string File(const std::string& tags) {
    return "FLV\1\4" + Big(9, 4) + Big(0, 4) + tags;
}

bool IsBroken(const std::string& file) {
    std::istringstream stream(file);
    return FlvTagIsBroken(stream);
}

TEST(FlvTagsTest, TagsWithTheirSizesAreWhole) {
    EXPECT_FALSE(IsBroken(File("")));
    EXPECT_FALSE(IsBroken(File(Tag(100))));
    EXPECT_FALSE(IsBroken(File(Tag(100) + Tag(0) + Tag(70000) + Tag(3))));
}

TEST(FlvTagsTest, BytesThatAreMissingFromATagAreSeen) {
    constexpr std::size_t kBefore = 13 + 115; // the file's header and the first tag
    const std::string file = File(Tag(100) + Tag(200) + Tag(300) + Tag(400));
    for (const std::size_t count : {1u, 50u}) {
        for (std::size_t at = kBefore + 11; at + count <= kBefore + 11 + 200; at += 7) {
            EXPECT_TRUE(IsBroken(file.substr(0, at) + file.substr(at + count))) << at;
        }
    }
}

TEST(FlvTagsTest, ACutTagIsNotABrokenOne) {
    const std::string file = File(Tag(100) + Tag(200));
    for (std::size_t size = 0; size < file.size(); ++size) {
        EXPECT_FALSE(IsBroken(file.substr(0, size))) << size;
    }
}

TEST(FlvTagsTest, AProgramThatWritesOtherSizesIsNotJudged) {
    EXPECT_FALSE(IsBroken(File(Tag(100, 100) + Tag(200, 200))));
    EXPECT_FALSE(IsBroken(File(Tag(100, 0) + Tag(200, 0))));
    EXPECT_TRUE(IsBroken(File(Tag(100) + Tag(200, 210))));
}

TEST(FlvTagsTest, OtherFilesAreNoneOfItsBusiness) {
    EXPECT_FALSE(IsBroken("FLX\1\4" + Big(9, 4) + Big(0, 4) + Tag(100) + Tag(200, 210)));
}

} // namespace
} // namespace qel::media
