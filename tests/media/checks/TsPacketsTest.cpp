#include "media/checks/TsPackets.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>

namespace qel::media {
namespace {

constexpr int kPid = 0x101;

// A packet with content; flags are those of an adaptation field, none for 0.
std::string Packet(int counter, int pid = kPid, int flags = 0) {
    std::string packet = "G";
    packet += static_cast<char>(pid >> 8);
    packet += static_cast<char>(pid & 0xFF);
    packet += static_cast<char>((flags != 0 ? 0x30 : 0x10) | (counter & 0xF));
    if (flags != 0) {
        packet += '\1';
        packet += static_cast<char>(flags);
    }
    packet.resize(188, 'x');
    return packet;
}

std::string Packets(int count) {
    std::string packets;
    for (int i = 0; i < count; ++i) {
        packets += Packet(i);
    }
    return packets;
}

std::int64_t Gaps(const std::string& file) {
    std::istringstream stream(file);
    return CountTsGaps(stream, kPid);
}

TEST(TsPacketsTest, AWholeStreamHasNoGap) {
    EXPECT_EQ(Gaps(Packets(40)), 0);
    EXPECT_EQ(Gaps(Packets(10) + "TAG" + std::string(125, ' ')), 0) << "a tag at the end";
    EXPECT_EQ(Gaps(Packets(10) + std::string(1000, '\0')), 0);
}

TEST(TsPacketsTest, ACutPacketIsAGap) {
    const std::string file = Packets(10);
    for (std::size_t missing = 1; missing < 188; ++missing) {
        EXPECT_EQ(Gaps(file.substr(0, file.size() - missing)), 1) << missing;
    }
    EXPECT_EQ(Gaps(file.substr(0, 9 * 188)), 0)
        << "a packet that is missing as a whole leaves no trace";
}

TEST(TsPacketsTest, MissingAndForeignBytesAreAGap) {
    const std::string file = Packets(20);
    for (const std::size_t size : {1u, 100u, 187u, 300u}) {
        EXPECT_GE(Gaps(file.substr(0, 800) + file.substr(800 + size)), 1) << size;
    }
    EXPECT_EQ(Gaps(Packets(10) + std::string(50, 'x') + Packet(10) + Packet(11)), 1);
}

TEST(TsPacketsTest, AMissingPacketIsAGapOfItsStreamAlone) {
    const std::string begin = Packets(5);
    EXPECT_EQ(Gaps(begin + Packet(6) + Packet(7)), 1);
    EXPECT_EQ(Gaps(begin + Packet(9, 0x55) + Packet(5)), 0) << "another stream";
    EXPECT_EQ(Gaps(begin + Packet(4) + Packet(5)), 0) << "a packet that is sent twice";
    EXPECT_EQ(Gaps(begin + Packet(12, kPid, 0x80) + Packet(13)), 0) << "an announced jump";
    EXPECT_EQ(Gaps(begin + Packet(12, kPid, 0x40) + Packet(13)), 1) << "another flag";
}

TEST(TsPacketsTest, OtherDistancesAreKnown) {
    std::string bluRay;
    std::string withChecksums;
    for (int i = 0; i < 10; ++i) {
        bluRay += "time" + Packet(i);
        withChecksums += Packet(i) + std::string(16, 'c');
    }
    for (const std::string& file : {bluRay, withChecksums}) {
        EXPECT_EQ(Gaps(file), 0);
        EXPECT_EQ(Gaps(file.substr(0, file.size() - 100)), 1);
        EXPECT_GE(Gaps(file.substr(0, 900) + file.substr(950)), 1);
    }
}

TEST(TsPacketsTest, OtherFilesAreNoneOfItsBusiness) {
    EXPECT_EQ(Gaps(""), 0);
    EXPECT_EQ(Gaps("G"), 0);
    EXPECT_EQ(Gaps(std::string(1000, 'x')), 0);
}

} // namespace
} // namespace qel::media
