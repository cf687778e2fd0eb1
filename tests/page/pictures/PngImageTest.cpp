#include "page/pictures/PngImage.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>
#include <zlib.h>

namespace qel::page {
namespace {

std::uint32_t NumberAt(const std::string& bytes, std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = number << 8u | static_cast<unsigned char>(bytes.at(at + i));
    }
    return number;
}

// The chunks of a file by their types; their sums are checked (PNG 1.2, section 3.2).
std::map<std::string, std::string> Chunks(const std::string& file) {
    std::map<std::string, std::string> chunks;
    EXPECT_EQ(file.substr(0, 8), "\x89PNG\r\n\x1a\n");
    for (std::size_t at = 8; at < file.size();) {
        const std::size_t size = NumberAt(file, at);
        const std::string body = file.substr(at + 4, size + 4);
        const auto sum =
            crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
        EXPECT_EQ(NumberAt(file, at + 8 + size), sum);
        chunks[body.substr(0, 4)] = body.substr(4);
        at += size + 12;
    }
    return chunks;
}

TEST(PngImageTest, HoldsItsPixelsRowByRow) {
    const std::vector<std::uint8_t> pixels{1, 2, 3, 4, 5, 63};
    auto chunks = Chunks(PngImage(pixels, 3, 2, PerceptualColours(), false));
    EXPECT_EQ(NumberAt(chunks["IHDR"], 0), 3u);
    EXPECT_EQ(NumberAt(chunks["IHDR"], 4), 2u);
    std::vector<Bytef> lines(8);
    uLongf size = lines.size();
    const std::string& data = chunks["IDAT"];
    ASSERT_EQ(uncompress(lines.data(), &size, reinterpret_cast<const Bytef*>(data.data()),
                         static_cast<uLong>(data.size())),
              Z_OK);
    EXPECT_EQ(lines, (std::vector<Bytef>{0, 1, 2, 3, 0, 4, 5, 63}));
    EXPECT_FALSE(chunks.contains("tRNS"));
}

TEST(PngImageTest, HasThePaletteAndATransparentLowestValue) {
    const std::vector<std::uint8_t> pixels{0};
    auto chunks = Chunks(PngImage(pixels, 1, 1, PerceptualColours(), true));
    ASSERT_EQ(chunks["PLTE"].size(), 3 * kColours);
    EXPECT_EQ(static_cast<unsigned char>(chunks["PLTE"][0]), PerceptualColours()[0].red);
    EXPECT_EQ(chunks["tRNS"], std::string(1, '\0'));
}

} // namespace
} // namespace qel::page
