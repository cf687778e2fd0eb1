// Damage after which there are fewer or more samples: it is a fault or a warning, or the samples
// are those of the whole file.

#include "media/AudioDecoder.h"
#include "tests/harness/TempDirectory.h"
#include "tests/media/MediaPairs.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qel::media {
namespace {

using namespace test;

constexpr std::size_t kFrames = 22050;
constexpr const char* kMayBeCut = "its end is not marked as the end, so that it may have been cut";

struct Answer {
    bool isSilent = false;
    bool mayBeCut = false;
    bool isRefused = false;
    std::int64_t frames = 0;
};

Answer Decode(const std::string& path) {
    AudioDecoder::SilenceLibrary();
    Answer answer;
    try {
        AudioDecoder decoder(path);
        std::vector<float> block(4096);
        const std::vector<float*> planes(decoder.Channels(), block.data());
        while (const std::size_t count = decoder.Read(planes, block.size())) {
            answer.frames += static_cast<std::int64_t>(count);
        }
        const Report report = decoder.Report();
        answer.isSilent = report.warnings.empty();
        for (const Warning& warning : report.warnings) {
            answer.mayBeCut = answer.mayBeCut || warning.text == kMayBeCut;
        }
    } catch (const Error&) {
        answer.isSilent = false;
        answer.isRefused = true;
    }
    return answer;
}

TEST(LengthDamageTest, AnOggThatIsCutBetweenTwoPagesIsWarnedOf) {
    const TempDirectory directory;
    const std::vector<MediaPair> pairs = MediaPairs({"vorbis.ogg", "flac.ogg", "opus"});
    EncodePairs(pairs, 100000, directory);
    for (const MediaPair& pair : pairs) {
        const std::string whole = ReadFile(directory.File("audio." + pair.name));
        EXPECT_FALSE(Decode(directory.File("audio." + pair.name)).mayBeCut) << pair.name;
        const std::string path = directory.File("cut." + pair.name);
        WriteFile(path, whole.substr(0, whole.rfind("OggS")));
        EXPECT_TRUE(Decode(path).mayBeCut) << pair.name;
    }
}

TEST(LengthDamageTest, AFrameThatIsCutIsWarnedOf) {
    const TempDirectory directory;
    const std::vector<MediaPair> pairs =
        MediaPairs({"bare.mp3", "mp2", "ac3", "eac3", "aac", "mp2.mpg", "ac3.vob", "mp2.ts",
                    "aac.ts", "ac3.ts", "opus.ts"});
    EncodePairs(pairs, kFrames, directory);
    for (const MediaPair& pair : pairs) {
        const std::string whole = ReadFile(directory.File("audio." + pair.name));
        EXPECT_TRUE(Decode(directory.File("audio." + pair.name)).isSilent) << pair.name;
        const std::string path = directory.File("cut." + pair.name);
        // Not on the border of a frame, of a transport packet or of a pack of 2048 bytes.
        WriteFile(path, whole.substr(0, whole.size() / 2 / 2048 * 2048 + 1000));
        EXPECT_FALSE(Decode(path).isSilent) << pair.name;
    }
}

// Makes one block in the middle of a Matroska file an element that readers skip, so that every size
// in the file stays right.
std::string WithoutOneBlock(std::string matroska) {
    constexpr char kSimpleBlock = '\xA3';
    constexpr char kVoid = '\xEC';
    constexpr unsigned char kKeyFrame = 0x80;
    constexpr std::size_t kLongestSize = 3;
    // The element's size, the number of the track, a time of two bytes, flags.
    for (std::size_t at = matroska.size() / 3; at + 5 + kLongestSize < matroska.size(); ++at) {
        const auto byte = [&](std::size_t i) {
            return static_cast<unsigned char>(matroska[at + i]);
        };
        const auto sizeBytes = static_cast<std::size_t>(std::countl_zero(byte(1))) + 1;
        if (matroska[at] == kSimpleBlock && sizeBytes <= kLongestSize &&
            byte(1 + sizeBytes) == 0x81 && byte(4 + sizeBytes) == kKeyFrame) {
            matroska[at] = kVoid;
            return matroska;
        }
    }
    ADD_FAILURE() << "no block was found";
    return matroska;
}

// The file is as long as it says and ends where it says: only the times of its packets tell.
TEST(LengthDamageTest, APacketThatIsMissingFromTheMiddleIsMissed) {
    const TempDirectory directory;
    const std::vector<MediaPair> pairs =
        MediaPairs({"s16.mka", "alac.mka", "mp3.mka", "aac.mka", "opus.webm"});
    EncodePairs(pairs, 2 * kFrames, directory);
    for (const MediaPair& pair : pairs) {
        const std::string whole = ReadFile(directory.File("audio." + pair.name));
        EXPECT_TRUE(Decode(directory.File("audio." + pair.name)).isSilent) << pair.name;
        const std::string path = directory.File("hole." + pair.name);
        WriteFile(path, WithoutOneBlock(whole));
        EXPECT_FALSE(Decode(path).isSilent) << pair.name;
    }
}

// Nothing is missing from the container, and Opus takes zeros for a packet of fewer samples.
TEST(LengthDamageTest, AnErasedPacketThatGivesTooFewSamplesIsWarnedOf) {
    constexpr std::size_t kErased = 1000; // more than two packets
    const TempDirectory directory;
    const std::vector<MediaPair> pairs = MediaPairs({"opus.mp4"});
    EncodePairs(pairs, 2 * kFrames, directory);
    for (const MediaPair& pair : pairs) {
        std::string erased = ReadFile(directory.File("audio." + pair.name));
        EXPECT_TRUE(Decode(directory.File("audio." + pair.name)).isSilent) << pair.name;
        erased.replace(erased.size() / 2, kErased, kErased, '\0');
        const std::string path = directory.File("erased." + pair.name);
        WriteFile(path, erased);
        EXPECT_FALSE(Decode(path).isSilent) << pair.name;
    }
}

TEST(LengthDamageTest, BytesThatAreMissingFromAFlashVideoTagAreMissed) {
    const TempDirectory directory;
    const std::vector<MediaPair> pairs = MediaPairs({"adpcm.flv", "nelly.flv"});
    EncodePairs(pairs, 2 * kFrames, directory);
    for (const MediaPair& pair : pairs) {
        const std::string whole = ReadFile(directory.File("audio." + pair.name));
        EXPECT_TRUE(Decode(directory.File("audio." + pair.name)).isSilent) << pair.name;
        const std::string path = directory.File("hole." + pair.name);
        WriteFile(path, whole.substr(0, whole.size() / 2) + whole.substr(whole.size() / 2 + 50));
        EXPECT_FALSE(Decode(path).isSilent) << pair.name;
    }
}

TEST(LengthDamageTest, BytesAfterSamplesOfAStatedLengthAreNoAudio) {
    const TempDirectory directory;
    const std::vector<MediaPair> pairs = MediaPairs({"s16.au", "mulaw.au", "apm", "sox"});
    const std::string tag = "TAG" + std::string(125, ' ');
    const std::string lessThanAFrame = "x";
    EncodePairs(pairs, kFrames, directory);
    for (const MediaPair& pair : pairs) {
        const std::string whole = ReadFile(directory.File("audio." + pair.name));
        const std::int64_t frames = Decode(directory.File("audio." + pair.name)).frames;
        for (const std::string& bytes : {tag, lessThanAFrame}) {
            const std::string path = directory.File("longer." + pair.name);
            WriteFile(path, whole + bytes);
            const Answer answer = Decode(path);
            EXPECT_EQ(answer.frames, frames) << pair.name << ", " << bytes;
            EXPECT_FALSE(answer.isRefused) << pair.name << ", " << bytes;
        }
    }
}

} // namespace
} // namespace qel::media
