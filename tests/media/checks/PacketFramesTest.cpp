#include "media/checks/PacketFrames.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace qel::media {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Kind {
    const char* name;
    AVCodecID codec;
    Bytes header;
    std::size_t length; // by the standard's formula
};

// Lengths: ISO/IEC 11172-3 2.4.3.1 for MPEG audio, 13818-7 6.2 for ADTS, ATSC A/52 table 5.18 for
// AC-3 (words of 2 bytes), its annex E (words less 1) for E-AC-3.
std::vector<Kind> Kinds() {
    return {
        {"MP3, 128 kbit/s, 44.1 kHz", AV_CODEC_ID_MP3, {0xFF, 0xFB, 0x90, 0x44}, 417},
        {"the same with padding", AV_CODEC_ID_MP3, {0xFF, 0xFB, 0x92, 0x44}, 418},
        {"MP3, 64 kbit/s, 22.05 kHz", AV_CODEC_ID_MP3, {0xFF, 0xF3, 0x80, 0x44}, 208},
        {"MP3, 8 kbit/s, 8 kHz", AV_CODEC_ID_MP3, {0xFF, 0xE3, 0x18, 0x44}, 72},
        {"MP2, 384 kbit/s, 44.1 kHz", AV_CODEC_ID_MP2, {0xFF, 0xFD, 0xE0, 0x44}, 1253},
        {"MP1, 384 kbit/s, 48 kHz", AV_CODEC_ID_MP1, {0xFF, 0xFF, 0xC4, 0x44}, 384},
        {"AC-3, 192 kbit/s, 48 kHz",
         AV_CODEC_ID_AC3,
         {0x0B, 0x77, 0, 0, 0x14, 0x40, 0x43, 0xE1},
         768},
        {"E-AC-3, 384 words", AV_CODEC_ID_EAC3, {0x0B, 0x77, 0x01, 0x7F, 0x34, 0x86, 0xFF}, 768},
        {"ADTS, 371 bytes", AV_CODEC_ID_AAC, {0xFF, 0xF1, 0x50, 0x80, 0x2E, 0x7F, 0xFC}, 371},
    };
}

Bytes Frame(const Kind& kind) {
    Bytes frame = kind.header;
    frame.resize(kind.length, 0x55);
    return frame;
}

Bytes operator+(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST(PacketFramesTest, WholeFramesAreNotDamaged) {
    for (const Kind& kind : Kinds()) {
        PacketFrames frames(kind.codec);
        EXPECT_FALSE(frames.IsDamaged(Frame(kind))) << kind.name;
        EXPECT_FALSE(frames.IsDamaged(Frame(kind) + Frame(kind))) << kind.name;
        EXPECT_FALSE(frames.IsDamaged(Frame(kind))) << kind.name;
    }
}

TEST(PacketFramesTest, AFrameThatLacksAByteIsDamaged) {
    for (const Kind& kind : Kinds()) {
        Bytes cut = Frame(kind);
        cut.pop_back();
        EXPECT_TRUE(PacketFrames(kind.codec).IsDamaged(cut)) << kind.name;
        EXPECT_TRUE(PacketFrames(kind.codec).IsDamaged(Frame(kind) + cut)) << kind.name;
    }
}

TEST(PacketFramesTest, BytesBetweenFramesAreDamageAndBytesAfterTheLastOneAreNot) {
    for (const Kind& kind : Kinds()) {
        PacketFrames frames(kind.codec);
        EXPECT_FALSE(frames.IsDamaged(Frame(kind) + Bytes{'T', 'A', 'G'})) << kind.name;
        EXPECT_TRUE(frames.IsDamaged(Frame(kind))) << kind.name;
        EXPECT_FALSE(frames.IsDamaged(Frame(kind) + Bytes(100, 0))) << kind.name;
        EXPECT_FALSE(frames.IsDamaged(Frame(kind))) << kind.name << ", after padding";
    }
}

TEST(PacketFramesTest, WhatStatesNoLengthIsNotJudged) {
    const Bytes freeRate{0xFF, 0xFB, 0x00, 0x44, 1, 2, 3};
    EXPECT_FALSE(PacketFrames(AV_CODEC_ID_MP3).IsDamaged(freeRate));
    EXPECT_FALSE(PacketFrames(AV_CODEC_ID_AAC).IsDamaged(Bytes{0x21, 0x10, 0x04, 0x60, 0, 0, 0}));
    for (const Kind& kind : Kinds()) {
        EXPECT_FALSE(PacketFrames(AV_CODEC_ID_OPUS).IsDamaged(Frame(kind)));
        EXPECT_FALSE(PacketFrames(kind.codec).IsDamaged({}));
        EXPECT_FALSE(PacketFrames(kind.codec).IsDamaged(Bytes{0xFF}));
        EXPECT_FALSE(PacketFrames(kind.codec).IsDamaged(Bytes{0x0B, 0x77}));
    }
}

} // namespace
} // namespace qel::media
