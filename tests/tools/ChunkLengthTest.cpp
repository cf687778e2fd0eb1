#include "tools/ChunkLength.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

namespace qel::tool {
namespace {

std::string Chunk(const std::string& name, std::uint32_t statedSize, std::size_t actualSize) {
    std::string chunk = name;
    for (int i = 0; i < 4; ++i) {
        chunk += static_cast<char>(statedSize >> (8 * i) & 0xFF);
    }
    return chunk + std::string(actualSize, '\0');
}

std::string Form(const std::string& chunks) {
    return "RIFF????WAVE" + chunks;
}

bool IsTruncated(const std::string& file) {
    std::istringstream stream(file);
    return AudioChunkIsCut(stream);
}

TEST(ChunkLengthTest, AWholeFileIsNotTruncated) {
    EXPECT_FALSE(IsTruncated(Form(Chunk("fmt ", 16, 16) + Chunk("data", 100, 100))));
}

TEST(ChunkLengthTest, OneMissingByteIsSeen) {
    EXPECT_TRUE(IsTruncated(Form(Chunk("fmt ", 16, 16) + Chunk("data", 100, 99))));
}

TEST(ChunkLengthTest, ChunksOfOddLengthArePadded) {
    EXPECT_TRUE(IsTruncated(Form(Chunk("note", 3, 4) + Chunk("data", 100, 99))));
    EXPECT_FALSE(IsTruncated(Form(Chunk("note", 3, 4) + Chunk("data", 100, 100))));
}

TEST(ChunkLengthTest, WhatStreamingProgramsWriteIsNoLength) {
    for (const std::uint32_t stated : {0u, 0x7FFFF000u, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_FALSE(IsTruncated(Form(Chunk("data", stated, 10)))) << stated;
    }
}

// Each is a read of its own, and a file of the usual size has room for millions.
TEST(ChunkLengthTest, ChunksBeyondReasonAreNotFollowed) {
    const auto cutBehind = [](std::size_t count) {
        std::string chunks;
        for (std::size_t i = 0; i < count; ++i) {
            chunks += Chunk("note", 0, 0);
        }
        return IsTruncated(Form(chunks + Chunk("data", 100, 99)));
    };
    EXPECT_TRUE(cutBehind(60000));
    EXPECT_FALSE(cutBehind(70000));
}

TEST(ChunkLengthTest, OtherFilesAreNoneOfItsBusiness) {
    EXPECT_FALSE(IsTruncated(""));
    EXPECT_FALSE(IsTruncated("RIF"));
    EXPECT_FALSE(IsTruncated("FORM????AIFF" + Chunk("data", 100, 10)));
    EXPECT_FALSE(IsTruncated(Form(Chunk("note", 100, 10))));
}

} // namespace
} // namespace qel::tool
