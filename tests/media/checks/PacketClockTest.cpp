#include "media/checks/PacketClock.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace qel::media {
namespace {

constexpr int kRateHz = 44100;
constexpr AVRational kMillisecond{1, 1000};
constexpr AVRational kSample{1, kRateHz};

// Packets with times of their own.
class Packets {
public:
    explicit Packets(AVRational timeBase) : mClock(timeBase, kRateHz) {}

    std::int64_t At(std::int64_t ticks, std::int64_t previousFrames) {
        AVPacket packet{};
        packet.pts = ticks;
        return mClock.Advance(packet, previousFrames);
    }

private:
    PacketClock mClock;
};

TEST(PacketClockTest, TimesThatFollowTheAudioAreRight) {
    Packets packets(kSample);
    EXPECT_EQ(packets.At(1000, 0), 0);
    EXPECT_EQ(packets.At(1512, 512), 0);
    EXPECT_EQ(packets.At(5608, 4096), 0);
}

// 1024 frames are 23.2 ms: rounded, packets stand 23 or 24 ms apart, or 22 after a rounding up.
TEST(PacketClockTest, RoundedTimesAreRight) {
    Packets packets(kMillisecond);
    EXPECT_EQ(packets.At(0, 0), 0);
    for (const int ticks : {23, 47, 69, 92}) {
        EXPECT_EQ(packets.At(ticks, 1024), 0) << ticks;
    }
}

// Times of Vorbis as Matroska has them: short packets begin a quarter of a long one late, then
// catch up.
TEST(PacketClockTest, ShortPacketsMayBeLateByLessThanHalfALongOne) {
    Packets packets(kMillisecond);
    packets.At(208, 0);
    EXPECT_EQ(packets.At(231, 1024), 0);
    EXPECT_EQ(packets.At(254, 576), 0);
    EXPECT_EQ(packets.At(254, 128), 0);
    EXPECT_EQ(packets.At(257, 128), 0);
    EXPECT_GT(packets.At(283, 128), 0) << "a long packet is missing";
}

TEST(PacketClockTest, ALostPacketIsMissedByItsFrames) {
    Packets packets(kSample);
    packets.At(0, 0);
    EXPECT_EQ(packets.At(8192, 4096), 4096);
    EXPECT_EQ(packets.At(12288, 4096), 0) << "it is told once";
}

TEST(PacketClockTest, ATimeThatGoesBackIsBelowZero) {
    Packets packets(kSample);
    packets.At(8192, 0);
    EXPECT_EQ(packets.At(4096, 4096), -8192);
}

TEST(PacketClockTest, APacketWithoutATimeShowsNothing) {
    Packets packets(kSample);
    packets.At(0, 0);
    EXPECT_EQ(packets.At(AV_NOPTS_VALUE, 1024), 0);
    EXPECT_EQ(packets.At(100000, 1024), 0);
    EXPECT_EQ(packets.At(101024, 1024), 0);
}

TEST(PacketClockTest, TimesBeyondAllNumbersAreNone) {
    Packets packets(AVRational{1000, 1});
    EXPECT_EQ(packets.At(std::numeric_limits<std::int64_t>::max(), 0), 0);
    EXPECT_EQ(packets.At(std::numeric_limits<std::int64_t>::min() + 1, 1024), 0);
    EXPECT_EQ(packets.At(0, 1024), 0);
}

} // namespace
} // namespace qel::media
