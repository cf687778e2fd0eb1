// Frames of a codec in a WAV file whose header calls them 16-bit samples. The expectation is what
// ffprobe finds, which searches all files.

#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"
#include "tests/harness/WavBytes.h"

#include <QelMedia.hpp>

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace qel::media {
namespace {

using namespace test;

struct HiddenCodec {
    const char* extension;
    std::vector<std::string> arguments;
};

const std::vector<HiddenCodec> kCodecs = {
    {"dts", {"-c:a", "dca", "-strict", "-2"}},
    {"spdif", {"-c:a", "ac3", "-f", "spdif"}},
    {"ac3", {"-c:a", "ac3"}},
    {"aac", {"-c:a", "aac"}},
    {"latm", {"-c:a", "aac"}},
    {"mp3", {"-c:a", "libmp3lame", "-write_xing", "0", "-id3v2_version", "0"}},
    {"thd", {"-c:a", "truehd", "-strict", "-2"}},
};

std::string ProbedCodec(const std::string& path) {
    const ChildResult result =
        RunChild({"ffprobe", "-v", "error", "-show_entries", "stream=codec_name", "-of",
                  "default=nokey=1:noprint_wrappers=1", path});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out.substr(0, result.out.find('\n'));
}

// In front of the frames: nothing, silence as discs have it, or the rest of other audio.
const std::string kLeads[] = {"", std::string(2000, '\0'), std::string(3000, '\x35')};

TEST(HiddenCodecAgreementTest, FramesUnderAHeaderOfSamplesAreFoundAsFfprobeFindsThem) {
    const TempDirectory directory;
    const std::string source = directory.File("source.wav");
    WriteWav(source, 48000, {Noise(48000, 0.3f), Noise(48000, 0.2f)});
    std::set<std::string> found;
    for (const HiddenCodec& codec : kCodecs) {
        const std::string bare = directory.File("bare." + std::string(codec.extension));
        Encode(source, bare, codec.arguments);
        for (const std::string& lead : kLeads) {
            WavBytes wav;
            wav.channels = 2;
            wav.align = 4;
            wav.byteRate = 192000;
            wav.data = lead + ReadFile(bare);
            wav.data.resize(wav.data.size() / 4 * 4);
            wav.dataSize = static_cast<std::uint32_t>(wav.data.size());
            const std::string path = directory.File("hidden.wav");
            WriteFile(path, wav.Bytes());
            const std::string name = Reader(path).report().codec;
            EXPECT_EQ(name, ProbedCodec(path)) << codec.extension << " after " << lead.size();
            found.insert(name);
        }
    }
    for (const char* codec : {"dts", "ac3", "aac", "aac_latm", "mp3", "truehd"}) {
        EXPECT_TRUE(found.contains(codec)) << codec;
    }
}

} // namespace
} // namespace qel::media
