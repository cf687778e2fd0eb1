#include "media/checks/SyncWords.h"

#include <algorithm>
#include <array>

namespace qel::media {
namespace {

// FFmpeg takes frames that do not begin at the start for a codec if there are more of them. By
// chance there are up to 50 headers of AAC in samples of 8 bits, and fewer of one kind of MPEG
// audio.
constexpr std::size_t kMostByChance = 200;
constexpr std::size_t kMostAacByChance = 100;

// One that does not come up by chance, and what must follow it in the next two bytes.
struct LongWord {
    std::uint32_t word;
    std::uint32_t next = 0;
    std::uint32_t nextMask = 0;
};
constexpr LongWord kLongWords[] = {
    {0x7FFE8001},
    {0xFE7F0180}, // DTS of 16 bits, in both orders
    {0x1FFFE800, 0x07F0, 0xFFF0},
    {0xFF1F00E8, 0xF007, 0xF0FF}, // of 14 bits
    {0x64582025},
    {0x58642520}, // its extensions
    {0xF8726FBA},
    {0x72F8BA6F}, // TrueHD
    {0xF8724E1F},
    {0x72F81F4E}, // IEC 61937
};

// What a long word begins with: one byte in 25 is looked at more closely.
constexpr std::array<bool, 256> kBegins = [] {
    std::array<bool, 256> begins{};
    for (const LongWord& row : kLongWords) {
        begins[row.word >> 24] = true;
    }
    for (const std::size_t byte : {0xFFu, 0x0Bu, 0x77u, 0x56u}) {
        begins[byte] = true;
    }
    return begins;
}();

// The second bytes of all words: of the bytes of quiet music that begin one, the most are 0xFF, the
// upper half of a small sample below 0, and few of these have such a neighbour.
constexpr std::array<bool, 256> kGoesOn = [] {
    std::array<bool, 256> seconds{};
    for (const LongWord& row : kLongWords) {
        seconds[row.word >> 16 & 0xFF] = true;
    }
    for (std::size_t byte = 0xE0; byte < 256; ++byte) { // of headers, and of LATM
        seconds[byte] = true;
    }
    seconds[0x77] = true;
    seconds[0x0B] = true;
    return seconds;
}();

// AAC with the header of ADTS and one of its 13 sample rates.
bool IsAacHeader(std::uint32_t word) {
    return (word & 0xFFF60000) == 0xFFF00000 && (word >> 10 & 15) < 13;
}

// MPEG audio of any layer with a bit rate.
bool IsMpegHeader(std::uint32_t word) {
    const bool hasLayer = (word & 0x00060000) != 0;
    const std::uint32_t version = word >> 19 & 3;
    const std::uint32_t bitRate = word >> 12 & 15;
    const std::uint32_t rate = word >> 10 & 3;
    return (word & 0xFFE00000) == 0xFFE00000 && hasLayer && version != 1 && bitRate != 0 &&
           bitRate != 15 && rate != 3;
}

// AC-3 in both orders, and AAC in LATM.
bool IsShortWord(std::uint32_t word) {
    return word >> 16 == 0x0B77 || word >> 16 == 0x770B || word >> 21 == 0x56E0 >> 5;
}

bool IsShort(std::uint32_t word) {
    return IsAacHeader(word) || IsMpegHeader(word) || IsShortWord(word);
}

// What the frames of one stream share: the second byte, and the sample rate in a header of MPEG. Of
// layer I the bit rate too: its second byte is 0xFF, as are those of the sample -1.
std::size_t KindOf(std::uint32_t word) {
    const std::size_t second = word >> 16 & 0xFF;
    if (IsShortWord(word)) {
        return second << 6;
    }
    const bool isLayerOne = (word & 0x00060000) == 0x00060000;
    return second << 6 | (isLayerOne ? word >> 10 & 63 : word >> 10 & 3);
}
constexpr std::size_t kHeaderKinds = 256 << 6;

bool IsTag(std::uint32_t word) {
    return word >> 8 == 0x494433; // "ID3", in front of MPEG audio
}

bool IsLongWord(std::uint32_t word, std::uint32_t next) {
    return std::ranges::any_of(kLongWords, [=](const LongWord& row) {
        return row.word == word && row.next == (next & row.nextMask);
    });
}

// Four bytes from place `at` on, the first one on top.
std::uint32_t WordAt(std::span<const std::uint8_t> bytes, std::size_t at) {
    return std::uint32_t{bytes[at]} << 24 | std::uint32_t{bytes[at + 1]} << 16 |
           std::uint32_t{bytes[at + 2]} << 8 | bytes[at + 3];
}

bool BeginsWithFrame(std::span<const std::uint8_t> bytes) {
    const auto first = std::ranges::find_if(bytes, [](std::uint8_t byte) { return byte != 0; });
    if (bytes.end() - first < 4) {
        return false;
    }
    const std::uint32_t word = WordAt(bytes, static_cast<std::size_t>(first - bytes.begin()));
    return IsShort(word) || IsTag(word);
}

} // namespace

bool MayHoldFrames(std::span<const std::uint8_t> bytes) {
    if (BeginsWithFrame(bytes)) {
        return true;
    }
    std::array<std::uint16_t, kHeaderKinds> counts{}; // by kind
    // Of a word, six bytes count: the last five begin none.
    for (std::size_t i = 0; i + 6 <= bytes.size(); ++i) {
        if (!kBegins[bytes[i]] || !kGoesOn[bytes[i + 1]]) {
            continue;
        }
        const std::uint32_t word = WordAt(bytes, i);
        if (IsLongWord(word, WordAt(bytes, i + 2) & 0xFFFF)) {
            return true;
        }
        const std::size_t most = IsAacHeader(word) ? kMostAacByChance : kMostByChance;
        if (IsShort(word) && ++counts[KindOf(word)] > most) {
            return true;
        }
    }
    return false;
}

} // namespace qel::media
