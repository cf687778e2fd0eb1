#include "media/checks/StatedSize.h"

#include "tests/harness/WavBytes.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

namespace qel::media {
namespace {

using namespace test;

bool IsCut(const std::string& file, const std::string& container) {
    std::istringstream stream(file);
    return StatedSizeIsCut(stream, container);
}

struct Whole {
    const char* container;
    std::string file;
    std::size_t sizePosition; // of 4 bytes
    std::size_t spare = 0;    // how many bytes may be missing
};

// Headers as the formats' descriptions have them, with audio of the stated size.
std::vector<Whole> WholeFiles() {
    const std::string audio(500, 'a');
    return {
        {"wsaud",
         LittleEndian(44100, 2) + LittleEndian(500, 4) + LittleEndian(2000, 4) + "\1\x63" + audio,
         2},
        {"apm",
         std::string(20, 'x') + "vs12" + LittleEndian(600, 4) + LittleEndian(500, 4) +
             std::string(64, 'x') + "DATA" + audio,
         28},
        // 10 blocks of two channels, 20 of one
        {"argo_asf",
         std::string("ASF\0\2\0\1\0\1\0\0\0", 12) + LittleEndian(24, 4) + "eight..." +
             LittleEndian(10, 4) + LittleEndian(32, 4) + LittleEndian(0, 4) +
             LittleEndian(44100, 4) + LittleEndian(15, 4) + std::string(340, 'a'),
         24},
        {"argo_asf",
         std::string("ASF\0\2\0\1\0\1\0\0\0", 12) + LittleEndian(24, 4) + "eight..." +
             LittleEndian(20, 4) + LittleEndian(32, 4) + LittleEndian(0, 4) +
             LittleEndian(44100, 4) + LittleEndian(13, 4) + std::string(340, 'a'),
         24},
        // 289 samples are ten blocks of 32
        {"adx",
         std::string("\x80\0\0\x20\3\x12\4\2", 8) + BigEndian(44100, 4) + BigEndian(289, 4) +
             std::string(14, '\0') + "(c)CRI" + std::string(360, 'a'),
         12},
        {"swf", "FWS\4" + LittleEndian(508, 4) + audio, 4},
        {"rm",
         ".RMF" + BigEndian(18, 4) + std::string(10, 'x') + "PROP" + BigEndian(10, 4) + "xx" +
             "DATA" + BigEndian(508, 4) + audio,
         32, 20},
    };
}

TEST(StatedSizeTest, EveryKindOfFileShowsThatAByteIsMissing) {
    for (const Whole& whole : WholeFiles()) {
        const std::string& file = whole.file;
        EXPECT_FALSE(IsCut(file, whole.container)) << whole.container;
        EXPECT_FALSE(IsCut(file + "TAG" + std::string(125, ' '), whole.container));
        const std::size_t least = file.size() - whole.spare;
        EXPECT_FALSE(IsCut(file.substr(0, least), whole.container)) << whole.container;
        EXPECT_TRUE(IsCut(file.substr(0, least - 1), whole.container)) << whole.container;
        EXPECT_TRUE(IsCut(file.substr(0, file.size() / 2), whole.container)) << whole.container;
    }
}

TEST(StatedSizeTest, WhatStreamingProgramsWriteIsNoSize) {
    for (const Whole& whole : WholeFiles()) {
        for (const char byte : {'\0', '\xFF'}) {
            std::string file = whole.file;
            file.replace(whole.sizePosition, 4, std::string(4, byte));
            EXPECT_FALSE(IsCut(file, whole.container)) << whole.container;
        }
    }
    const std::string dummy = "FWS\4" + LittleEndian(100 << 20, 4);
    EXPECT_FALSE(IsCut(dummy + std::string(500, 'a'), "swf"));
    EXPECT_FALSE(IsCut("CWS\4" + LittleEndian(10000, 4) + std::string(500, 'a'), "swf"))
        << "the size of what was compressed";
}

TEST(StatedSizeTest, AMotionJpegEndsWithAMark) {
    const std::string file = std::string("\0\nSMJPEG", 8) + std::string(500, 'a');
    EXPECT_FALSE(IsCut(file + "DONE", "smjpeg"));
    EXPECT_FALSE(IsCut(file + "DONE" + std::string(128, ' '), "smjpeg"));
    EXPECT_TRUE(IsCut(file + "DON", "smjpeg"));
    EXPECT_TRUE(IsCut(file, "smjpeg"));
}

TEST(StatedSizeTest, HeadersThatAreCutStateNothing) {
    for (const Whole& whole : WholeFiles()) {
        EXPECT_FALSE(IsCut(whole.file.substr(0, whole.sizePosition), whole.container));
        EXPECT_FALSE(IsCut(whole.file.substr(0, whole.file.size() / 2), "wav"));
    }
    EXPECT_FALSE(IsCut("", "rm"));
}

} // namespace
} // namespace qel::media
