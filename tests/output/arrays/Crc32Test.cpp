#include "output/arrays/Crc32.h"

#include <gtest/gtest.h>

#include <string>

namespace qel::output {
namespace {

// The check value that the catalogue of CRC algorithms has for CRC-32/ISO-HDLC.
TEST(Crc32Test, TheCheckValueIsThatOfTheStandard) {
    EXPECT_EQ(Crc32("123456789"), 0xCBF43926u);
}

TEST(Crc32Test, NothingHasZero) {
    EXPECT_EQ(Crc32(""), 0u);
}

// The division bit by bit, as the standard describes it.
std::uint32_t BitByBit(const std::string& bytes) {
    std::uint32_t crc = 0xFFFFFFFFu;
    for (const char byte : bytes) {
        for (int bit = 0; bit < 8; ++bit) {
            const std::uint32_t in = static_cast<unsigned char>(byte) >> bit & 1u;
            crc = (crc >> 1) ^ (((crc ^ in) & 1u) != 0 ? 0xEDB88320u : 0u);
        }
    }
    return ~crc;
}

TEST(Crc32Test, EveryLengthHasTheRemainderOfTheDivision) {
    std::string bytes;
    for (int i = 0; i < 70; ++i) {
        EXPECT_EQ(Crc32(bytes), BitByBit(bytes)) << i;
        bytes += static_cast<char>(i * 37 + 11);
    }
}

} // namespace
} // namespace qel::output
