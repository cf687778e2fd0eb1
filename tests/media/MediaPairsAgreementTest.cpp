// Every container and codec that the ffmpeg command writes: whole and cut.

#include "media/AudioDecoder.h"
#include "tests/harness/TempDirectory.h"
#include "tests/media/MediaPairs.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace qel::media {
namespace {

using namespace test;

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
    } catch (const Error& error) {
        return error.what();
    }
}

void ExpectNoFault(const std::vector<MediaPair>& pairs, std::size_t frames) {
    const TempDirectory directory;
    EncodePairs(pairs, frames, directory);
    for (const MediaPair& pair : pairs) {
        EXPECT_EQ(FaultOf(directory.File("audio." + pair.name)), "no fault")
            << pair.name << ", " << frames << " frames";
    }
}

TEST(MediaPairsAgreementTest, WholeFilesPassWithoutAWord) {
    ExpectNoFault(MediaPairs(), 44100);
}

// One packet of several codecs, part of one, and hardly anything. Other pairs, as raw streams, are
// not recognized by a single packet.
TEST(MediaPairsAgreementTest, ShortFilesPassWithoutAWord) {
    const std::vector<MediaPair> pairs = MediaPairs(
        {"s16.wav",  "s24.wav",    "ima.wav",    "rf64.wav",    "s16.w64",  "s16.aiff", "s16.caf",
         "f32.caf",  "alac.caf",   "s16.au",     "flac",        "flac.ogg", "mp3",      "alac.m4a",
         "flac.mp4", "s16.mov",    "s16.mka",    "flac.mka",    "wv.mka",   "alac.mka", "s16.asf",
         "aac.mka",  "vorbis.ogg", "vorbis.mka", "vorbis.webm", "aac.flv",  "mp3.flv",  "s16.avi",
         "wv",       "tta",        "s16.voc",    "s16.nut",     "sox",      "smjpeg"});
    for (const std::size_t frames : {9999u, 1152u, 1024u, 2u, 1u}) {
        ExpectNoFault(pairs, frames);
    }
}

// Containers that state neither a length nor a size that could be checked, or as SWF state what the
// muxer does not take seriously: a part cannot be told from a whole there, unless a packet is cut.
const std::set<std::string> kStateNothing{"bare.mp3", "mp2",     "aac",     "latm",    "ac3",
                                          "eac3",     "dts",     "mp2.ts",  "aac.ts",  "ac3.ts",
                                          "opus.ts",  "mp2.mpg", "ac3.vob", "mp3.swf", "vorbis.nut",
                                          "s16.nut",  "ircam",   "c2"};

TEST(MediaPairsAgreementTest, CutFilesAreRefusedWhereTheyStateALength) {
    const TempDirectory directory;
    EncodePairs(MediaPairs(), 44100, directory);
    for (const MediaPair& pair : MediaPairs()) {
        const std::string whole = ReadFile(directory.File("audio." + pair.name));
        for (const std::size_t percent : {40u, 60u, 75u}) {
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
} // namespace qel::media
