#include "engine/base/AnalysisBlocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qel::core {
namespace {

TEST(AnalysisBlocksTest, ThereAreNoneBeforeTheFirstPreparation) {
    AnalysisBlocks blocks;
    EXPECT_EQ(blocks.Count(), 0u);
}

// Payloads of doubles and pointers are read in place.
TEST(AnalysisBlocksTest, PayloadsAreAlignedAndApart) {
    AnalysisBlocks blocks;
    for (const UInt32 bytes : {1u, 4u, 16u, 17u, 4100u}) {
        blocks.Prepare(3, bytes);
        ASSERT_EQ(blocks.Count(), 3u);
        for (UInt32 i = 0; i < 3; ++i) {
            const QelAudioAnalysisBlock& block = blocks.Blocks()[i];
            EXPECT_EQ(block.mDataByteSize, bytes);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block.mData) % alignof(std::max_align_t),
                      0u);
        }
        for (UInt32 i = 0; i + 1 < 3; ++i) {
            const auto* const here = static_cast<const std::byte*>(blocks.Blocks()[i].mData);
            const auto* const next = static_cast<const std::byte*>(blocks.Blocks()[i + 1].mData);
            EXPECT_GE(next - here, static_cast<std::ptrdiff_t>(bytes));
        }
    }
}

TEST(AnalysisBlocksTest, StoreFillsOneBlockAndNoOther) {
    AnalysisBlocks blocks;
    blocks.Prepare(3, 5);
    const std::array<std::array<unsigned char, 5>, 3> payloads = {
        {{1, 2, 3, 4, 5}, {6, 7, 8, 9, 10}, {11, 12, 13, 14, 15}}};
    for (const UInt32 i : {2u, 0u, 1u}) {
        blocks.Store(i, payloads[i].data());
    }
    for (UInt32 i = 0; i < 3; ++i) {
        const auto* const data = static_cast<const unsigned char*>(blocks.Blocks()[i].mData);
        EXPECT_TRUE(std::equal(payloads[i].begin(), payloads[i].end(), data)) << i;
    }
}

// Once they were as large, the same storage serves: a steady stream allocates nothing.
TEST(AnalysisBlocksTest, StorageIsKept) {
    AnalysisBlocks blocks;
    blocks.Prepare(4, 1000);
    const void* const payloads = blocks.Blocks()[0].mData;
    blocks.Prepare(1, 8);
    EXPECT_EQ(blocks.Count(), 1u);
    EXPECT_EQ(blocks.Blocks()[0].mData, payloads);
    blocks.Prepare(4, 1000);
    EXPECT_EQ(blocks.Blocks()[0].mData, payloads);
}

TEST(AnalysisBlocksTest, BlocksMayBeEmpty) {
    AnalysisBlocks blocks;
    blocks.Prepare(2, 0);
    EXPECT_EQ(blocks.Count(), 2u);
    EXPECT_EQ(blocks.Blocks()[1].mDataByteSize, 0u);
    blocks.Prepare(0, 16);
    EXPECT_EQ(blocks.Count(), 0u);
}

TEST(AnalysisBlocksTest, FloatsAreThePayload) {
    AnalysisBlocks blocks;
    blocks.Prepare(2, 2 * sizeof(float));
    blocks.Floats(1)[1] = 2.5f;
    EXPECT_EQ(static_cast<const float*>(blocks.Blocks()[1].mData)[1], 2.5f);
}

} // namespace
} // namespace qel::core
