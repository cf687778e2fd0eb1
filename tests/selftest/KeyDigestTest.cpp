#include "tools/selftest/KeyDigest.h"

#include <QelAudioAnalysis/Keys.hpp>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <vector>

namespace qel::selftest {
namespace {

QelAudioAnalysisBlock BlockOf(std::vector<float>& values) {
    QelAudioAnalysisBlock block{};
    block.mDataByteSize = static_cast<UInt32>(values.size() * sizeof(float));
    block.mData = values.data();
    return block;
}

// Of results with one block of numbers per channel.
std::uint64_t DigestOf(std::initializer_list<std::vector<float>> channels,
                       std::uint64_t frame = 0) {
    std::vector<std::vector<float>> values(channels);
    std::vector<QelAudioAnalysisBlock> blocks;
    for (std::vector<float>& channel : values) {
        blocks.push_back(BlockOf(channel));
    }
    KeyDigest digest;
    digest.Add(Result("spectrum", findKey("spectrum"), frame, 0.0, blocks));
    return digest.Value();
}

TEST(KeyDigestTest, IsFnv1aOfIndexAndNumbersInOrder) {
    // Recomputed byte by byte: the index of the frame and the bits of each number, of 64 bits each.
    std::uint64_t expected = 0xCBF29CE484222325;
    for (const std::uint64_t word :
         {std::uint64_t{3}, std::uint64_t{0x3F800000}, std::uint64_t{0xC0000000}}) {
        for (int shift = 0; shift < 64; shift += 8) {
            expected ^= (word >> shift) & 0xFF;
            expected *= 0x100000001B3;
        }
    }
    EXPECT_EQ(expected, DigestOf({{1.0f, -2.0f}}, 3));
}

TEST(KeyDigestTest, SeesTheLastBitOfEveryNumberOfEveryChannel) {
    const float next = std::nextafter(2.0f, 3.0f);
    const std::uint64_t digest = DigestOf({{1.0f, 2.0f}, {2.0f, 1.0f}});
    EXPECT_NE(digest, DigestOf({{1.0f, next}, {2.0f, 1.0f}}));
    EXPECT_NE(digest, DigestOf({{1.0f, 2.0f}, {next, 1.0f}}));
    EXPECT_NE(digest, DigestOf({{2.0f, 1.0f}, {1.0f, 2.0f}}));
    EXPECT_NE(DigestOf({{0.0f}}), DigestOf({{-0.0f}}));
}

TEST(KeyDigestTest, TakesAllThatIsNoNumberForTheSame) {
    const float negative = std::bit_cast<float>(0xFFC00000u); // of x86
    const float positive = std::bit_cast<float>(0x7FC00000u); // of ARM
    EXPECT_EQ(DigestOf({{negative}}), DigestOf({{positive}}));
    EXPECT_NE(DigestOf({{positive}}), DigestOf({{std::numeric_limits<float>::infinity()}}));
}

} // namespace
} // namespace qel::selftest
