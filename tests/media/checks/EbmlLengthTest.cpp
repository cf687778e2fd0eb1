#include "media/checks/EbmlLength.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>

namespace qel::media {
namespace {

const std::string kHeaderName = "\x1A\x45\xDF\xA3";
const std::string kSegmentName = "\x18\x53\x80\x67";
const std::string kClusterName = "\x1F\x43\xB6\x75";
const std::string kSimpleBlockName = "\xA3";
const std::string kTagsName = "\x12\x54\xC3\x67";

// A size in two bytes: a bit that tells the length, and 14 of the number.
std::string Element(const std::string& name, const std::string& content) {
    return name + static_cast<char>(0x40 | content.size() >> 8) +
           static_cast<char>(content.size() & 0xFF) + content;
}

// An element whose size is not known: all bits of the number are ones.
std::string Open(const std::string& name, const std::string& content) {
    return name + "\x7F\xFF" + content;
}

std::string Blocks() {
    return Element("\xE7", std::string(1, '\0')) +
           Element(kSimpleBlockName, std::string(500, 'a')) +
           Element(kSimpleBlockName, std::string(500, 'b'));
}

bool IsCut(const std::string& file) {
    std::istringstream stream(file);
    return MatroskaIsCut(stream);
}

TEST(EbmlLengthTest, EveryCutInASegmentOfKnownSizeIsSeen) {
    const std::string header = Element(kHeaderName, std::string(20, 'h'));
    const std::string file = header + Element(kSegmentName, Element(kClusterName, Blocks()));
    EXPECT_FALSE(IsCut(file));
    EXPECT_FALSE(IsCut(file + std::string(128, 'j')));
    for (std::size_t size = header.size() + 6; size < file.size(); ++size) {
        EXPECT_TRUE(IsCut(file.substr(0, size))) << size;
    }
}

TEST(EbmlLengthTest, AStreamedFileIsCutInsideOfAClusterOrABlock) {
    const std::string header = Element(kHeaderName, std::string(20, 'h'));
    const std::string clusters = Element(kClusterName, Blocks()) + Element(kClusterName, Blocks());
    const std::string file = header + Open(kSegmentName, clusters);
    EXPECT_FALSE(IsCut(file));
    EXPECT_TRUE(IsCut(file.substr(0, file.size() - 1)));
    const std::string open =
        header + Open(kSegmentName, Open(kClusterName, Blocks()) + Open(kClusterName, Blocks()));
    EXPECT_FALSE(IsCut(open));
    EXPECT_TRUE(IsCut(open.substr(0, open.size() - 1)));
    EXPECT_FALSE(IsCut(open.substr(0, open.size() - 503))) << "between two blocks";
}

TEST(EbmlLengthTest, TagsThatAreCutAreNoAudio) {
    const std::string header = Element(kHeaderName, std::string(20, 'h'));
    const std::string file =
        header + Open(kSegmentName,
                      Element(kClusterName, Blocks()) + Element(kTagsName, std::string(100, 't')));
    EXPECT_FALSE(IsCut(file.substr(0, file.size() - 1)));
}

TEST(EbmlLengthTest, OtherFilesAreNoneOfItsBusiness) {
    EXPECT_FALSE(IsCut(""));
    EXPECT_FALSE(IsCut("\x1A"));
    EXPECT_FALSE(IsCut("RIFF"));
    EXPECT_FALSE(IsCut(std::string(100, '\0')));
    EXPECT_FALSE(IsCut(Element(kSegmentName, "")));
}

} // namespace
} // namespace qel::media
