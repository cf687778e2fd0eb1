// Damage to lossless audio: it is a fault, or no sample has changed.

#include "media/AudioDecoder.h"
#include "tests/harness/ChildProcess.h"
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"
#include "tests/media/MediaPairs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace qel::media {
namespace {

using namespace test;

struct Decoded {
    std::string fault; // empty for none
    std::vector<float> samples;
};

// The samples of all channels, block by block.
Decoded Decode(const std::string& path) {
    AudioDecoder::SilenceLibrary();
    Decoded decoded;
    try {
        AudioDecoder decoder(path);
        Planes buffers(decoder.Channels(), std::vector<float>(4096));
        std::vector<float*> planes;
        for (std::vector<float>& buffer : buffers) {
            planes.push_back(buffer.data());
        }
        while (const std::size_t count = decoder.Read(planes, 4096)) {
            for (const float* plane : planes) {
                decoded.samples.insert(decoded.samples.end(), plane, plane + count);
            }
        }
    } catch (const Error& error) {
        decoded.fault = error.what();
    }
    return decoded;
}

// A FLAC as a program writes it which cannot go back: without a total and without a sum.
std::string StreamedFlac(const TempDirectory& directory, std::size_t frames) {
    WriteWav(directory.File("in.wav"), 44100, {Noise(frames, 0.3f)});
    const std::string path = directory.File("streamed.flac");
    const ChildResult result = RunChild({"ffmpeg", "-nostdin", "-v", "error", "-i",
                                         directory.File("in.wav"), "-f", "flac", "pipe:1"},
                                        {.outPath = path});
    EXPECT_EQ(result.status, 0) << result.err;
    return ReadFile(path);
}

std::string WithBit(std::string bytes, std::size_t position, int bit) {
    bytes[position] = static_cast<char>(bytes[position] ^ 1 << bit);
    return bytes;
}

// Flips single bits all over the audio.
void ExpectNoSilentChange(const std::string& whole, const std::string& path) {
    WriteFile(path, whole);
    const Decoded expected = Decode(path);
    ASSERT_EQ(expected.fault, "") << path;
    constexpr std::size_t kFlips = 25;
    std::size_t faults = 0;
    for (std::size_t i = 0; i < kFlips; ++i) {
        const std::size_t position = whole.size() / 5 + i * (whole.size() * 3 / 4) / kFlips;
        WriteFile(path, WithBit(whole, position, static_cast<int>(i % 8)));
        const Decoded damaged = Decode(path);
        if (damaged.fault.empty()) {
            EXPECT_TRUE(damaged.samples == expected.samples) << path << ": byte " << position;
        } else {
            ++faults;
        }
    }
    EXPECT_GT(faults, kFlips / 2) << path;
}

TEST(LosslessDamageTest, ABitFlippedInAudioWithChecksumsIsSeen) {
    const TempDirectory directory;
    const std::vector<MediaPair> pairs =
        MediaPairs({"flac", "s24.flac", "flac.ogg", "flac.mka", "flac.mp4", "flac.nut", "wv",
                    "wv.mka", "tta"});
    EncodePairs(pairs, 30000, directory);
    for (const MediaPair& pair : pairs) {
        ExpectNoSilentChange(ReadFile(directory.File("audio." + pair.name)),
                             directory.File("damaged." + pair.name));
    }
    ExpectNoSilentChange(StreamedFlac(directory, 30000), directory.File("damaged.flac"));
}

TEST(LosslessDamageTest, OnePacketIsToldAsOne) {
    const TempDirectory directory;
    const std::string whole = StreamedFlac(directory, 30000);
    WriteFile(directory.File("damaged.flac"), WithBit(whole, whole.size() / 2, 2));
    EXPECT_EQ(Decode(directory.File("damaged.flac")).fault,
              "is damaged: 1 packet of its lossless audio is missing or cannot be decoded");
}

// Positions of the frames of a FLAC whose blocks have 4096 samples in one channel of 16 bits.
std::vector<std::size_t> FlacFrames(const std::string& flac) {
    std::vector<std::size_t> positions;
    for (std::size_t at = flac.find("\xFF\xF8"); at != std::string::npos;
         at = flac.find("\xFF\xF8", at + 1)) {
        const bool isNext =
            at + 4 < flac.size() && static_cast<std::size_t>(flac[at + 4]) == positions.size();
        if (isNext) {
            positions.push_back(at);
        }
    }
    return positions;
}

TEST(LosslessDamageTest, AFlacFrameThatIsMissingIsMissed) {
    const TempDirectory directory;
    const std::string whole = StreamedFlac(directory, 60000);
    const std::vector<std::size_t> frames = FlacFrames(whole);
    ASSERT_GT(frames.size(), 5u);
    const std::string path = directory.File("hole.flac");
    WriteFile(path, whole.substr(0, frames[3]) + whole.substr(frames[4]));
    EXPECT_TRUE(Decode(path).fault.starts_with("is damaged: ")) << Decode(path).fault;
    WriteFile(path, whole.substr(0, frames[0]) + whole.substr(frames[3]));
    EXPECT_EQ(Decode(path).fault, "") << "a recording may begin in the middle";
}

TEST(LosslessDamageTest, AFlacIsHeldAgainstItsSum) {
    const TempDirectory directory;
    constexpr std::size_t kSumPosition = 26; // after the magic, a block's header and 18 bytes
    const std::vector<MediaPair> pairs = MediaPairs({"flac", "s24.flac"});
    EncodePairs(pairs, 10000, directory);
    for (const MediaPair& pair : pairs) {
        const std::string path = directory.File("audio." + pair.name);
        const std::string whole = ReadFile(path);
        EXPECT_EQ(Decode(path).fault, "");
        WriteFile(path, WithBit(whole, kSumPosition, 0));
        EXPECT_EQ(Decode(path).fault,
                  "is damaged: its samples do not have the MD5 sum that it states");
        std::string without = whole;
        std::fill_n(without.begin() + kSumPosition, 16, '\0');
        WriteFile(path, without);
        EXPECT_EQ(Decode(path).fault, "") << "no sum is stated";
    }
}

TEST(LosslessDamageTest, ATagAfterALosslessFileIsNoDamage) {
    const TempDirectory directory;
    const std::vector<MediaPair> pairs =
        MediaPairs({"flac", "wv", "tta", "s16.wav", "s16.aiff", "s16.caf", "alac.m4a", "flac.mka"});
    EncodePairs(pairs, 30000, directory);
    for (const MediaPair& pair : pairs) {
        const std::string path = directory.File("audio." + pair.name);
        const Decoded expected = Decode(path);
        WriteFile(path, ReadFile(path) + "TAG" + std::string(125, ' '));
        const Decoded tagged = Decode(path);
        EXPECT_EQ(tagged.fault, "") << pair.name;
        EXPECT_TRUE(tagged.samples == expected.samples) << pair.name;
    }
}

} // namespace
} // namespace qel::media
