// Files that were damaged, or made to do harm: what the decoder does with what they state.

#include "media/AudioDecoder.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"
#include "tests/media/FaultOf.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <sys/resource.h>

namespace qel::media {
namespace {

using namespace test;

std::string LittleEndian(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (8 * i) & 0xFF);
    }
    return text;
}

std::string BigEndian(std::uint32_t value) {
    const std::string text = LittleEndian(value, 4);
    return {text.rbegin(), text.rend()};
}

TEST(FileDamageTest, AScriptOrPlaylistOpensNoOtherFile) {
    const TempDirectory directory;
    WriteWav(directory.File("other.wav"), 44100, {Noise(5000, 0.5f)});
    Encode(directory.File("other.wav"), directory.File("other.aac"), {"-c:a", "aac"});
    WriteFile(directory.File("script.wav"), "ffconcat version 1.0\nfile other.wav\n");
    WriteFile(directory.File("list.wav"), "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n"
                                          "#EXT-X-MEDIA-SEQUENCE:0\n#EXTINF:0.1,\nother.aac\n"
                                          "#EXT-X-ENDLIST\n");
    for (const char* name : {"script.wav", "list.wav"}) {
        const std::string fault = FaultOf(directory.File(name));
        EXPECT_TRUE(fault.ends_with("damaged") || fault.ends_with("damaged or truncated"))
            << name << ": " << fault;
    }
}

TEST(FileDamageTest, AHeaderThatIsCutIsNoLackOfMemory) {
    const TempDirectory directory;
    const std::string path = directory.File("cut.wav");
    // The format's chunk states 25856 bytes more than its fields, and there are none.
    WriteFile(path, "RIFF" + LittleEndian(100, 4) + "WAVEfmt " + LittleEndian(18 + 25856, 4) +
                        LittleEndian(0xFFFE, 2) + LittleEndian(1, 2) + LittleEndian(8000, 4) +
                        LittleEndian(16000, 4) + LittleEndian(2, 2) + LittleEndian(16, 2) +
                        LittleEndian(25856, 2));
    EXPECT_NE(FaultOf(path), "no fault");
}

// MP3 packets in the large kind of WAV file, whose header counts samples in 64 bits on a clock of
// 1 Hz. At the packets' own rate that length has no number.
TEST(FileDamageTest, ALengthThatIsTooLargeForANumberIsNone) {
    const TempDirectory directory;
    WriteWav(directory.File("tone.wav"), 44100, {Sine(8820, 100, 0.5)});
    Encode(directory.File("tone.wav"), directory.File("tone.mp3"),
           {"-c:a", "libmp3lame", "-write_xing", "0", "-id3v2_version", "0"});
    const std::string packets = ReadFile(directory.File("tone.mp3"));
    const std::string path = directory.File("long.wav");
    const std::uint64_t longest = std::uint64_t{1} << 62;
    const std::string largeSizes =
        LittleEndian(packets.size() + 80, 8) + LittleEndian(packets.size(), 8);
    WriteFile(path, "RF64\xFF\xFF\xFF\xFFWAVEds64" + LittleEndian(28, 4) + largeSizes +
                        LittleEndian(longest, 8) + LittleEndian(0, 4) + "fmt " +
                        LittleEndian(16, 4) + LittleEndian(0x55, 2) + LittleEndian(1, 2) +
                        LittleEndian(1, 4) + LittleEndian(4000, 4) + LittleEndian(1, 2) +
                        LittleEndian(0, 2) + "data\xFF\xFF\xFF\xFF" + packets);
    const AudioDecoder decoder(path);
    EXPECT_EQ(decoder.SampleRateHz(), 44100);
    EXPECT_EQ(decoder.ExpectedFrames(), 0);
    EXPECT_EQ(FaultOf(path), "no fault");
}

// An index of 2^26 packets of one byte each, which a box of 20 bytes states: FFmpeg would lay it
// out in 1.5 GiB.
TEST(FileDamageTest, ATableThatIsOnlyStatedTakesNoMemory) {
    const TempDirectory directory;
    WriteWav(directory.File("tone.wav"), 44100, {Sine(4410, 100, 0.5)});
    Encode(directory.File("tone.wav"), directory.File("tone.m4a"), {"-c:a", "aac"});
    std::string file = ReadFile(directory.File("tone.m4a"));
    const std::string count = BigEndian(1 << 26);
    file.replace(file.find("stsz") + 8, 8, BigEndian(1) + count);
    file.replace(file.find("stsc") + 16, 4, count);
    WriteFile(directory.File("table.m4a"), file);
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    EXPECT_NE(FaultOf(directory.File("table.m4a")), "no fault");
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    constexpr long kBoundKilobytes = 512 * 1024; // four of the largest blocks that are allowed
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, kBoundKilobytes);
}

} // namespace
} // namespace qel::media
