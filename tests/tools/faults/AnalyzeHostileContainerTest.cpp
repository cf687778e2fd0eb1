// Headers of compressed formats that lie.
#include "tests/harness/TempDirectory.h"
#include "tests/harness/TestAudio.h"
#include "tests/harness/WavBytes.h"
#include "tests/tools/faults/HostileFiles.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

constexpr std::size_t kFrames = 4800;

// A short tone, coded.
std::string Coded(const std::string& extension, const std::vector<std::string>& arguments = {}) {
    const TempDirectory directory;
    WriteWav(directory.File("tone.wav"), 44100, {Sine(kFrames, 100, 0.4)});
    Encode(directory.File("tone.wav"), directory.File("tone." + extension), arguments);
    return ReadFile(directory.File("tone." + extension));
}

// The same bytes with some of them changed.
std::string With(std::string bytes, std::size_t position, const std::string& others) {
    return bytes.replace(position, others.size(), others);
}

std::size_t Find(const std::string& bytes, const std::string& name) {
    const std::size_t position = bytes.find(name);
    if (position == std::string::npos) {
        throw std::runtime_error("no " + name);
    }
    return position;
}

// The stream information of a FLAC begins at byte 8. Its bits from byte 10 on: 20 of rate, 3 of
// channels less one, 5 of bits less one, 36 of frames.
std::string StreamInfo(const std::string& flac, std::uint64_t rateHz, std::uint64_t channels,
                       std::uint64_t bits, std::uint64_t frames) {
    return With(flac, 18,
                BigEndian(rateHz << 44 | (channels - 1) << 41 | (bits - 1) << 36 | frames, 8));
}

constexpr std::uint64_t kMostFlacFrames = (std::uint64_t{1} << 36) - 1;

TEST(AnalyzeHostileContainerTest, FlacMayLieAboutItself) {
    const std::string flac = Coded("flac");
    const std::string magic = "fLaC";
    ExpectAnswers({{"true.flac", StreamInfo(flac, 44100, 1, 16, kFrames), kFrames},
                   {"unknown.flac", StreamInfo(flac, 44100, 1, 16, 0), kFrames},
                   {"most.flac", StreamInfo(flac, 44100, 1, 16, kMostFlacFrames), kRefused},
                   {"4g.flac", StreamInfo(flac, 44100, 1, 16, 0xFFFFFFFF), kRefused},
                   {"more.flac", StreamInfo(flac, 44100, 1, 16, kFrames + 1), kRefused},
                   {"no-rate.flac", StreamInfo(flac, 0, 1, 16, kFrames), kFrames},
                   {"1-bit.flac", StreamInfo(flac, 44100, 1, 1, kFrames), kRefused},
                   {"24-bits.flac", StreamInfo(flac, 44100, 1, 24, kFrames), kRefused},
                   {"no-block.flac", With(flac, 8, std::string(4, '\0')), kRefused},
                   {"short-block.flac", With(flac, 8, BigEndian(0x00100010, 4)), kRefused},
                   {"no-info.flac", magic + std::string(4, '\x7F'), kRefused},
                   {"magic.flac", magic, kRefused}});
}

// Keys of the end keep all of a file, and take room for it on the word of its header.
TEST(AnalyzeHostileContainerTest, AHugeStatedLengthTakesNoMemory) {
    const std::string flac = Coded("flac");
    ExpectAnswers({{"4g.flac", StreamInfo(flac, 44100, 1, 16, 0xFFFFFFFE), kRefused},
                   {"2g.flac", StreamInfo(flac, 44100, 1, 16, 0x7FFFFFFF), kRefused}},
                  "onset data,beat data,down beat data,global key,audio range,dominant key");
}

// The checksum of an Ogg page is of all its bytes, with 0 in the checksum's place.
std::string Sealed(std::string ogg, std::size_t page) {
    constexpr std::uint32_t kPolynomial = 0x04C11DB7;
    ogg.replace(page + 22, 4, 4, '\0');
    const auto segments = static_cast<unsigned char>(ogg[page + 26]);
    std::size_t end = page + 27 + segments;
    for (std::size_t i = 0; i < segments; ++i) {
        end += static_cast<unsigned char>(ogg[page + 27 + i]);
    }
    std::uint32_t sum = 0;
    for (std::size_t i = page; i < end; ++i) {
        sum ^= std::uint32_t{static_cast<unsigned char>(ogg[i])} << 24;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum & 0x80000000) != 0 ? sum << 1 ^ kPolynomial : sum << 1;
        }
    }
    return ogg.replace(page + 22, 4, LittleEndian(sum, 4));
}

TEST(AnalyzeHostileContainerTest, TheLastPageOfAnOggMayLie) {
    const std::string ogg = Coded("ogg", {"-c:a", "libvorbis"});
    const std::size_t last = ogg.rfind("OggS");
    ASSERT_EQ(Sealed(ogg, last), ogg) << "the checksum is worked out rightly";
    const auto counting = [&](std::int64_t frames) {
        return Sealed(With(ogg, last + 6, LittleEndian(static_cast<std::uint64_t>(frames), 8)),
                      last);
    };
    std::vector<HostileFile> files{{"true.ogg", counting(kFrames), kFrames},
                                   {"less.ogg", counting(kFrames - 1), kFrames - 1}};
    for (const std::int64_t frames :
         {std::int64_t{50000}, std::int64_t{1} << 31, std::int64_t{1} << 32, std::int64_t{1} << 40,
          std::int64_t{1} << 62, std::numeric_limits<std::int64_t>::max()}) {
        files.push_back({std::to_string(frames) + ".ogg", counting(frames), kRefused});
    }
    files.push_back({"segments.ogg", With(ogg, last + 26, "\xFF"), kRefused});
    ExpectAnswers(files);
}

TEST(AnalyzeHostileContainerTest, TheHeaderOfVorbisMayLie) {
    const std::string ogg = Coded("ogg", {"-c:a", "libvorbis"});
    const std::size_t header = Find(ogg, std::string("\x01vorbis"));
    const auto with = [&](std::size_t position, std::uint64_t value, int bytes) {
        return Sealed(With(ogg, header + position, LittleEndian(value, bytes)), 0);
    };
    ExpectAnswers({{"no-rate.ogg", with(12, 0, 4), kRefused},
                   {"1-hz.ogg", with(12, 1, 4), kFrames},
                   {"rate.ogg", with(12, 0xFFFFFFFF, 4), kRefused},
                   {"no-channel.ogg", with(11, 0, 1), kRefused},
                   {"channels.ogg", with(11, 255, 1), kRefused}});
}

// The answers below are about a box "moov" at the end, as it is written by default.
TEST(AnalyzeHostileContainerTest, EveryCutBeforeTheTableOfSamplesOfAnM4AIsRefused) {
    const std::string m4a = Coded("m4a", {"-c:a", "aac"});
    const std::size_t movie = Find(m4a, "moov") - 4;
    const std::size_t sizes = Find(m4a, "stsz");
    std::vector<HostileFile> files;
    for (std::size_t size = movie; size < sizes; size += 13) {
        files.push_back({std::to_string(size) + ".m4a", m4a.substr(0, size), kRefused});
    }
    ExpectAnswers(files);
}

TEST(AnalyzeHostileContainerTest, TablesOfAnM4AMayHaveAnyCount) {
    const std::string m4a = Coded("m4a", {"-c:a", "aac"});
    std::vector<HostileFile> files{{"true.m4a", m4a, kFrames}};
    for (const std::string table : {"stsz", "stco", "stts"}) {
        // After the name and 4 bytes of flags, the table of sizes has one size for all first.
        const std::size_t count = Find(m4a, table) + (table == "stsz" ? 12 : 8);
        for (const std::uint32_t value : {0u, 0x10000000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
            files.push_back({table + std::to_string(value) + ".m4a",
                             With(m4a, count, BigEndian(value, 4)), kRefused});
        }
    }
    ExpectAnswers(files);
}

} // namespace
} // namespace qel::tool
