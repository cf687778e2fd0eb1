#include "media/checks/ChunkLength.h"

#include "tests/harness/WavBytes.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace qel::media {
namespace {

using namespace test;

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

// A chunk whose size has any width and order, and may count its header.
std::string Sized(const std::string& name, std::uint64_t stated, int sizeBytes, bool isBig) {
    const std::string size = isBig ? BigEndian(stated, 8) : LittleEndian(stated, 8);
    const auto width = static_cast<std::size_t>(sizeBytes);
    return name + (isBig ? size.substr(8 - width) : size.substr(0, width));
}

struct Whole {
    const char* kind;
    std::string header;      // up to the content of the chunk with audio
    std::size_t audio = 100; // bytes of it
    std::string end{};       // what must stand after it
};

std::vector<Whole> WholeFiles() {
    const std::string guid(12, '\x11');
    const std::string wide(4, '\0');
    return {
        {"RIFX", "RIFX????WAVE" + Sized("data", 100, 4, true)},
        {"RF64", "RF64\xFF\xFF\xFF\xFFWAVE" + Sized("ds64", 28, 4, false) + LittleEndian(0, 8) +
                     LittleEndian(100, 8) + LittleEndian(0, 12) +
                     Sized("data", 0xFFFFFFFF, 4, false)},
        {"W64", "riff\x2E\x91\xCF\x11" + std::string(32, 'x') + Sized("fmt " + guid, 25, 8, false) +
                    "f" + std::string(7, '\0') + Sized("data" + guid, 124, 8, false)},
        {"AIFF", "FORM????AIFF" + Sized("COMM", 3, 4, true) + "four" + Sized("SSND", 100, 4, true)},
        {"AIFC", "FORM????AIFC" + Sized("SSND", 100, 4, true)},
        {"8SVX", "FORM????8SVX" + Sized("BODY", 100, 4, true)},
        {"DSDIFF", "FRM8????????DSD " + Sized("DSD ", 100, 8, true)},
        {"DSF", Sized("DSD ", 28, 8, false) + std::string(16, 'x') + Sized("data", 112, 8, false)},
        {"CAF", std::string("caff\0\1\0\0", 8) + Sized("desc", 3, 8, true) + "dsc" +
                    Sized("data", 100, 8, true)},
        {"VOC", "Creative Voice File\x1A\x1A\x1A\x1A\x1A\x1A\x1A" + Sized("\x01", 100, 3, false),
         100, std::string(1, '\0')},
        {"AVI", Sized("RIFF", 104, 4, false) + "AVI "},
        {"MP4", BigEndian(12, 4) + "ftypM4A " + BigEndian(108, 4) + "mdat"},
        {"large MP4", BigEndian(12, 4) + "ftypM4A " + BigEndian(1, 4) + "mdat" + BigEndian(116, 8)},
        {"Windows Media", Sized("\x30\x26\xB2\x75" + guid, 30, 8, false) + "header" +
                              Sized("\x36\x26\xB2\x75" + guid, 124, 8, false)},
        {"MMF", Sized("MMMD", 100, 4, true)},
        {"AU", ".snd" + BigEndian(24, 4) + BigEndian(100, 4) + std::string(12, 'x')},
        {"SoX", ".SoX" + LittleEndian(28, 4) + LittleEndian(25, 8) + std::string(16, 'x')},
    };
}

TEST(ChunkLengthTest, EveryKindOfFileShowsThatAByteIsMissing) {
    for (const Whole& whole : WholeFiles()) {
        const std::string file = whole.header + std::string(whole.audio, '\0');
        const std::string tag = "TAG" + std::string(125, ' ');
        EXPECT_FALSE(IsTruncated(file)) << whole.kind;
        EXPECT_FALSE(IsTruncated(file + whole.end + tag)) << whole.kind;
        EXPECT_TRUE(IsTruncated(file.substr(0, file.size() - 1))) << whole.kind;
        EXPECT_TRUE(IsTruncated(whole.header)) << whole.kind;
    }
}

TEST(ChunkLengthTest, SizesThatWereNeverLearnedAreNone) {
    EXPECT_FALSE(IsTruncated("caff" + BigEndian(1 << 16, 4) + "data" + std::string(8, '\xFF')));
    EXPECT_FALSE(IsTruncated(".snd" + BigEndian(24, 4) + std::string(4, '\xFF') + "x"));
    EXPECT_FALSE(IsTruncated("FORM????AIFF" + Sized("SSND", 0, 4, true) + "audio"));
    EXPECT_FALSE(IsTruncated(BigEndian(12, 4) + "ftypM4A " + BigEndian(0, 4) + "mdataudio"));
}

std::int64_t SoxSamplesOf(const std::string& file) {
    std::istringstream stream(file);
    return SoxSamples(stream);
}

TEST(ChunkLengthTest, ASoxHeaderStatesTheSamplesOfAllChannels) {
    const std::string rest(16, 'x');
    EXPECT_EQ(SoxSamplesOf(".SoX" + LittleEndian(28, 4) + LittleEndian(25, 8) + rest), 25);
    EXPECT_EQ(SoxSamplesOf("XoS." + BigEndian(28, 4) + BigEndian(25, 8) + rest), 25);
    EXPECT_EQ(SoxSamplesOf(".SoX" + LittleEndian(28, 4) + LittleEndian(0, 8) + rest), 0);
    EXPECT_EQ(SoxSamplesOf(".SoX" + LittleEndian(28, 4) + std::string(8, '\xFF') + rest), 0);
    EXPECT_EQ(SoxSamplesOf(".SoX" + LittleEndian(28, 4) + "cut"), 0);
    EXPECT_EQ(SoxSamplesOf(".snd" + BigEndian(24, 4) + BigEndian(100, 4) + rest), 0);
    EXPECT_EQ(SoxSamplesOf(""), 0);
}

TEST(ChunkLengthTest, ABlockOfAVocThatCannotBeMeansDamageBeforeIt) {
    const std::string header = "Creative Voice File\x1A\x1A\x1A\x1A\x1A\x1A\x1A";
    const std::string block = Sized("\x01", 10, 3, false) + std::string(10, '\x55');
    const std::string end(1, '\0');
    EXPECT_FALSE(IsTruncated(header + block + block + end));
    EXPECT_TRUE(IsTruncated(header + block.substr(0, 13) + block + block + end));
}

TEST(ChunkLengthTest, SizesBeyondAllNumbersAreNone) {
    for (const Whole& whole : WholeFiles()) {
        for (std::size_t i = 0; i + 8 <= whole.header.size(); ++i) {
            std::string file = whole.header + std::string(whole.audio, '\0');
            file.replace(i, 8, std::string("\x7F") + std::string(7, '\xFF'));
            IsTruncated(file); // it ends, and the checkers see no overflow
            file.replace(i, 8, std::string(7, '\xFF') + "\x7F");
            IsTruncated(file);
        }
    }
}

} // namespace
} // namespace qel::media
