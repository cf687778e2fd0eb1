#include "media/checks/OggPages.h"

#include "tests/harness/WavBytes.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

namespace qel::media {
namespace {

using namespace test;

// The checksum as the format defines it: a remainder bit by bit, the highest bit first.
std::uint32_t Checksum(const std::string& bytes) {
    std::uint32_t sum = 0;
    for (const char byte : bytes) {
        sum ^= static_cast<std::uint32_t>(static_cast<unsigned char>(byte)) << 24;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum & 0x80000000) != 0 ? sum << 1 ^ 0x04C11DB7 : sum << 1;
        }
    }
    return sum;
}

// A page of two segments of 255 and 45 bytes.
std::string Page(std::uint32_t number, std::uint32_t serial = 7, int flags = 0) {
    std::string page = std::string("OggS\0", 5) + static_cast<char>(flags) + std::string(8, '\1') +
                       LittleEndian(serial, 4) + LittleEndian(number, 4) + std::string(4, '\0') +
                       "\x02\xFF\x2D" + std::string(300, static_cast<char>('a' + number % 26));
    return page.replace(22, 4, LittleEndian(Checksum(page), 4));
}

std::int64_t CountDamaged(const std::string& file) {
    std::istringstream stream(file);
    return CountDamagedOggPages(stream);
}

TEST(OggPagesTest, WholePagesAreNotDamaged) {
    EXPECT_EQ(CountDamaged(""), 0);
    EXPECT_EQ(CountDamaged(Page(0, 7, 2) + Page(1) + Page(2)), 0);
    std::string many = Page(0, 7, 2);
    for (std::uint32_t number = 1; number < 5000; ++number) { // more than is read at once
        many += Page(number);
    }
    EXPECT_EQ(CountDamaged(many), 0);
}

TEST(OggPagesTest, AFlippedBitAnywhereInAPageIsSeen) {
    const std::string before = Page(0, 7, 2) + Page(1);
    const std::string page = Page(2);
    for (const std::string& behind : {Page(3), std::string()}) {
        for (std::size_t byte = 0; byte < page.size(); byte += behind.empty() ? 97 : 1) {
            std::string damaged = page;
            damaged[byte] = static_cast<char>(damaged[byte] ^ 0x10);
            // The last page of a file is not told from other bytes once its mark is damaged.
            const std::int64_t expected = behind.empty() && byte < 5 ? 0 : 1;
            EXPECT_EQ(CountDamaged(before + damaged + behind), expected) << byte;
        }
    }
}

TEST(OggPagesTest, MissingPagesAreCounted) {
    EXPECT_EQ(CountDamaged(Page(0, 7, 2) + Page(1) + Page(5)), 3);
}

TEST(OggPagesTest, StreamsThatTakeTurnsOrFollowOneAnotherMissNothing) {
    EXPECT_EQ(CountDamaged(Page(0, 7, 2) + Page(0, 8, 2) + Page(1, 7) + Page(1, 8)), 0);
    EXPECT_EQ(CountDamaged(Page(0, 7, 2) + Page(1, 7) + Page(0, 9, 2) + Page(1, 9)), 0);
    EXPECT_EQ(CountDamaged(Page(0, 7, 2) + Page(1, 7) + Page(0, 7, 2) + Page(1, 7)), 0);
    EXPECT_EQ(CountDamaged(Page(100, 7) + Page(101, 7)), 0) << "a recording of a broadcast";
}

TEST(OggPagesTest, WhatStandsAroundThePagesIsNoDamage) {
    EXPECT_EQ(CountDamaged(std::string(70000, 'x') + Page(0, 7, 2) + Page(1)), 0);
    EXPECT_EQ(CountDamaged(Page(0, 7, 2) + Page(1) + std::string(70000, 'x')), 0);
    EXPECT_EQ(CountDamaged(Page(0, 7, 2) + std::string(70000, 'x') + Page(1)), 0);
}

// Each mark would have the checksum of a largest page computed.
TEST(OggPagesTest, MarksBeyondReasonAreNotFollowed) {
    std::string marks;
    for (int i = 0; i < 200000; ++i) {
        marks += std::string("OggS\0", 5) + std::string(21, '\xFF') + "\xFF";
    }
    EXPECT_LE(CountDamaged(marks), 1);
}

} // namespace
} // namespace qel::media
