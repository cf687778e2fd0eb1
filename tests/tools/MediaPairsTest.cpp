// Every container and codec that the ffmpeg command writes: whole and cut.

#include "tests/tools/MediaPairs.h"
#include "tests/tools/TempDirectory.h"
#include "tools/AudioDecoder.h"
#include "tools/ToolError.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

// What is wrong with a file; a warning counts as well.
std::string FaultOf(const std::string& path) {
    AudioDecoder::SilenceLibrary();
    try {
        AudioDecoder decoder(path);
        std::vector<float> block(4096);
        const std::vector<float*> planes(decoder.Channels(), block.data());
        while (decoder.Read(planes, block.size()) > 0) {
        }
        return decoder.Report().damagedPackets == 0 ? "no fault" : "a warning";
    } catch (const ToolError& error) {
        return error.what();
    }
}

TEST(MediaPairsTest, WholeFilesPassWithoutAWord) {
    // A second, a few of the codecs' packets, just one of several codecs, and hardly anything.
    for (const std::size_t frames : {44100u, 9999u, 1152u, 1024u, 2u}) {
        const TempDirectory directory;
        EncodePairs(MediaPairs(), frames, directory);
        for (const MediaPair& pair : MediaPairs()) {
            const std::string path = directory.File("audio." + pair.name);
            if (!ReadFile(path).empty()) { // some muxers write nothing for so little
                EXPECT_EQ(FaultOf(path), "no fault") << pair.name << ", " << frames << " frames";
            }
        }
    }
}

// Containers that state neither a length nor a size, where a part cannot be told from a whole unless
// a packet is cut.
const std::set<std::string> kStateNothing{};

TEST(MediaPairsTest, CutFilesAreRefusedWhereTheyStateALength) {
    const TempDirectory directory;
    EncodePairs(MediaPairs(), 44100, directory);
    for (const MediaPair& pair : MediaPairs()) {
        const std::string whole = ReadFile(directory.File("audio." + pair.name));
        for (const std::size_t percent : {40u, 60u, 85u}) {
            const std::string path = directory.File("cut." + pair.name);
            WriteFile(path, whole.substr(0, whole.size() * percent / 100));
            const std::string fault = FaultOf(path);
            EXPECT_TRUE(kStateNothing.contains(pair.name) ||
                        (fault != "no fault" && fault != "a warning"))
                << pair.name << " at " << percent << " %: " << fault;
        }
    }
}

} // namespace
} // namespace qel::tool
