// WAV files whose headers lie.
#include "tests/harness/WavBytes.h"
#include "tests/tools/faults/HostileFiles.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

namespace qel::tool {
namespace {

using namespace test;

constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();

HostileFile Named(const std::string& name, const WavBytes& wav, std::int64_t frames) {
    return {name + ".wav", wav.Bytes(), frames};
}

TEST(AnalyzeHostileWavTest, StatedSizesOfTheDataAreNotTrusted) {
    std::vector<HostileFile> files;
    // Programs that stream leave 0 or a huge number for the size: what follows is the audio.
    for (const std::uint32_t size : {0u, 0x7FFFF000u, 0x7FFFFFFFu, 0x80000000u, kLargest}) {
        files.push_back(Named(std::to_string(size), {.dataSize = size}, 4800));
    }
    files.push_back(Named("one-byte", {.dataSize = 1}, kRefused));
    files.push_back(Named("one-frame", {.dataSize = 2}, 1));
    files.push_back(Named("one-frame-and-a-half", {.dataSize = 3}, 1));
    files.push_back(Named("half-a-frame-short", {.dataSize = 2 * 4800 - 1}, 4799));
    files.push_back(Named("half-a-frame-long", {.dataSize = 2 * 4800 + 1}, kRefused));
    files.push_back(Named("beyond-the-end", {.dataSize = 0x7FFFEFFF}, kRefused));
    ExpectAnswers(files);
}

TEST(AnalyzeHostileWavTest, StatedSizesOfTheFormAndTheFormatAreNotTrusted) {
    std::vector<HostileFile> files{Named("form-1", {.formSize = 1}, 4800),
                                   Named("form-most", {.formSize = kLargest}, 4800)};
    for (const std::uint32_t size : {0u, 1u, 14u, 17u, 18u, 0x7FFFFFFFu, kLargest}) {
        files.push_back(Named("format-" + std::to_string(size), {.formatSize = size}, kRefused));
    }
    ExpectAnswers(files);
}

TEST(AnalyzeHostileWavTest, ChunksOfAnySizeMayStandInFront) {
    const std::string junk = "junk" + LittleEndian(3, 4) + "abc";
    ExpectAnswers({Named("odd", {.before = junk + '\0'}, 4800),
                   Named("odd-without-padding", {.before = junk}, kRefused),
                   Named("most", {.before = "junk" + LittleEndian(kLargest, 4)}, kRefused),
                   Named("list", {.before = "LIST" + LittleEndian(0x7FFFFFFF, 4)}, kRefused),
                   Named("id3", {.before = "id3 " + LittleEndian(0x7FFFFFFF, 4)}, kRefused)});
}

TEST(AnalyzeHostileWavTest, AnyBlockAlignmentIsAnsweredInPlainBytes) {
    // Audio of 16 bits needs none: but with one of 3, the last bytes are no frame.
    ExpectAnswers({Named("0", {.align = 0}, 4800), Named("1", {.align = 1}, 4800),
                   Named("3", {.align = 3}, kRefused), Named("65535", {.align = 65535}, 4800)});
}

TEST(AnalyzeHostileWavTest, ChannelsBeyondAnyMeasureAreRefused) {
    // 4800 samples are 75 frames of 64 channels, which is as many as can be converted.
    std::vector<HostileFile> files{Named("64", {.channels = 64, .align = 128}, 75)};
    for (const std::uint16_t channels :
         std::initializer_list<std::uint16_t>{0, 65, 512, 513, 65535}) {
        const auto align = static_cast<std::uint16_t>(2 * channels);
        files.push_back(
            Named(std::to_string(channels), {.channels = channels, .align = align}, kRefused));
    }
    ExpectAnswers(files);
}

TEST(AnalyzeHostileWavTest, RatesFromOneUpToThoseOfConvertersAreAnalyzed) {
    std::vector<HostileFile> files;
    for (const std::uint32_t rateHz : {1u, 2u, 100u, 768000u}) {
        files.push_back(Named(std::to_string(rateHz), {.rateHz = rateHz}, 4800));
    }
    for (const std::uint32_t rateHz :
         {0u, 768001u, 10000000u, 0x7FFFFFFFu, 0x80000000u, kLargest}) {
        files.push_back(Named(std::to_string(rateHz), {.rateHz = rateHz}, kRefused));
    }
    ExpectAnswers(files);
}

TEST(AnalyzeHostileWavTest, OddNumbersOfBitsAreRoundedUpToBytesOrRefused) {
    ExpectAnswers({Named("0", {.bits = 0}, kRefused), Named("1", {.bits = 1}, 9600),
                   Named("7", {.bits = 7}, 9600), Named("12", {.bits = 12}, 4800),
                   Named("24", {.align = 3, .bits = 24}, 3200),
                   Named("64", {.align = 8, .bits = 64}, 1200),
                   Named("65535", {.bits = 65535}, kRefused),
                   Named("float-7", {.code = 3, .bits = 7}, kRefused),
                   Named("float-16", {.code = 3, .bits = 16}, kRefused),
                   Named("float-64", {.code = 3, .align = 8, .bits = 64}, 1200)});
}

TEST(AnalyzeHostileWavTest, EveryCutOfTheHeaderIsRefused) {
    const std::string whole = WavBytes().Bytes();
    std::vector<HostileFile> files;
    for (std::size_t size = 0; size < whole.size() - WavBytes().data.size() + 2; ++size) {
        files.push_back({std::to_string(size) + ".wav", whole.substr(0, size), kRefused});
    }
    ExpectAnswers(files);
}

// A form of 64 bits, whose sizes stand in a chunk of their own.
WavBytes Wide(std::uint64_t dataSize) {
    const std::string sizes = LittleEndian(dataSize + 72, 8) + LittleEndian(dataSize, 8) +
                              LittleEndian(dataSize / 2, 8) + LittleEndian(0, 4);
    return {.form = "RF64",
            .formSize = kLargest,
            .before = "ds64" + LittleEndian(28, 4) + sizes,
            .dataSize = kLargest};
}

TEST(AnalyzeHostileWavTest, SizesOf64BitsAreNotTrustedEither) {
    WavBytes bare = Wide(9600);
    bare.before.clear();
    ExpectAnswers({Named("true", Wide(9600), 4800), Named("none", Wide(0), kRefused),
                   Named("twice", Wide(2 * 9600), kRefused),
                   Named("huge", Wide(std::uint64_t{1} << 62), kRefused),
                   Named("negative", Wide(~std::uint64_t{0} - 100), kRefused),
                   Named("no-sizes", bare, kRefused)});
}

// An extensible format: its size, the bits that count, the speakers, and the code as a GUID.
WavBytes Extensible(std::uint16_t size, std::uint16_t validBits, const std::string& guid) {
    return {.formatSize = 40,
            .code = 0xFFFE,
            .extension = LittleEndian(size, 2) + LittleEndian(validBits, 2) +
                         LittleEndian(kLargest, 4) + guid};
}

TEST(AnalyzeHostileWavTest, ExtensibleFormatsAreTakenOrRefusedByWhatTheyName) {
    const std::string integers("\x01\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 16);
    ExpectAnswers({Named("true", Extensible(22, 16, integers), 4800),
                   Named("no-bits", Extensible(22, 0, integers), 4800),
                   Named("bits", Extensible(22, 99, integers), kRefused),
                   Named("guid", Extensible(22, 16, std::string(16, '\xFF')), kRefused),
                   Named("size", Extensible(65535, 16, integers), 4800),
                   Named("no-extension", {.code = 0xFFFE}, kRefused)});
}

TEST(AnalyzeHostileWavTest, CodesWithoutADecoderOrWithoutItsDataAreRefused) {
    std::vector<HostileFile> files;
    for (const std::uint16_t code :
         std::initializer_list<std::uint16_t>{0, 2, 0x11, 0x55, 0xFFFF}) {
        files.push_back(Named(std::to_string(code), {.code = code}, kRefused));
    }
    ExpectAnswers(files);
}

} // namespace
} // namespace qel::tool
