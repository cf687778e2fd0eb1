#include "media/checks/FlacCheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace qel::media {
namespace {

using Bytes = std::vector<std::uint8_t>;

// How a frame begins: the mark, whether its number counts samples, two bytes of format, the number.
Bytes Frame(bool countsSamples, std::initializer_list<std::uint8_t> number) {
    Bytes frame(20);
    frame[0] = 0xFF;
    frame[1] = countsSamples ? 0xF9 : 0xF8;
    frame[2] = 0xC9;
    frame[3] = 0x08;
    std::copy(number.begin(), number.end(), frame.begin() + 4);
    return frame;
}

bool IsContinuous(const std::vector<Bytes>& packets, int samplesPerFrame) {
    FlacCheck check({});
    AVFrame frame{};
    frame.nb_samples = samplesPerFrame;
    for (const Bytes& packet : packets) {
        check.AddPacket(packet);
        check.AddFrame(frame);
    }
    return check.IsContinuous();
}

TEST(FlacCheckTest, FramesOfOneSizeAreNumberedOneByOne) {
    EXPECT_TRUE(IsContinuous({Frame(false, {0}), Frame(false, {1}), Frame(false, {2})}, 4096));
    EXPECT_TRUE(IsContinuous({Frame(false, {5}), Frame(false, {6})}, 4096));
    EXPECT_FALSE(IsContinuous({Frame(false, {0}), Frame(false, {2})}, 4096));
    EXPECT_FALSE(IsContinuous({Frame(false, {1}), Frame(false, {1})}, 4096));
}

// 127 is the last number of one byte; then come two: 110xxxxx 10xxxxxx.
TEST(FlacCheckTest, LargeNumbersAreOfSeveralBytes) {
    EXPECT_TRUE(IsContinuous({Frame(false, {127}), Frame(false, {0xC2, 0x80})}, 4096));
    EXPECT_FALSE(IsContinuous({Frame(false, {127}), Frame(false, {0xC2, 0x81})}, 4096));
    // 2047 and 2048, where three bytes begin
    EXPECT_TRUE(IsContinuous({Frame(false, {0xDF, 0xBF}), Frame(false, {0xE0, 0xA0, 0x80})}, 4096));
}

TEST(FlacCheckTest, FramesOfAnySizeAreNumberedBySamples) {
    EXPECT_TRUE(
        IsContinuous({Frame(true, {0}), Frame(true, {100}), Frame(true, {0xC3, 0x88})}, 100));
    EXPECT_FALSE(IsContinuous({Frame(true, {0}), Frame(true, {101})}, 100));
}

TEST(FlacCheckTest, StreamsThatFollowOneAnotherStartAnew) {
    EXPECT_TRUE(IsContinuous({Frame(false, {7}), Frame(false, {0}), Frame(false, {1})}, 4096));
}

} // namespace
} // namespace qel::media
