#include "platform/containers/UTF8.h"

#include <algorithm>
#include <cstdint>

namespace qel::platform {
namespace {

// How a code point of several bytes begins: the bytes that follow, the smallest value that needs so
// many, the bits that mark its first byte, and the bits of it that belong to the value.
struct LeadByte {
    std::size_t following;
    std::uint32_t smallest;
    std::uint8_t mark;
    std::uint8_t valueBits;
};

constexpr LeadByte kLeadBytes[] = {
    {0, 0x0, 0x00, 0x7F},
    {1, 0x80, 0xC0, 0x1F},
    {2, 0x800, 0xE0, 0x0F},
    {3, 0x10000, 0xF0, 0x07},
};

constexpr bool IsCodePoint(std::uint32_t value) {
    return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

void Append(std::u16string& units, std::uint32_t value) {
    if (value < 0x10000) {
        units += static_cast<char16_t>(value);
        return;
    }
    value -= 0x10000;
    units += static_cast<char16_t>(0xD800 + (value >> 10));
    units += static_cast<char16_t>(0xDC00 + (value & 0x3FF));
}

// Takes the first code point off `bytes`; false if it is not valid.
bool TakeCodePoint(std::string_view& bytes, std::uint32_t& value) {
    const auto first = static_cast<std::uint8_t>(bytes.front());
    const auto* lead = std::find_if(
        std::begin(kLeadBytes), std::end(kLeadBytes), [first](const LeadByte& candidate) {
            return (first & static_cast<std::uint8_t>(~candidate.valueBits)) == candidate.mark;
        });
    if (lead == std::end(kLeadBytes) || bytes.size() <= lead->following) {
        return false;
    }
    value = first & lead->valueBits;
    for (std::size_t i = 1; i <= lead->following; ++i) {
        const auto byte = static_cast<std::uint8_t>(bytes[i]);
        if ((byte & 0xC0) != 0x80) {
            return false;
        }
        value = (value << 6) | (byte & 0x3Fu);
    }
    bytes.remove_prefix(lead->following + 1);
    return value >= lead->smallest && IsCodePoint(value);
}

} // namespace

bool IsASCII(std::string_view bytes) noexcept {
    return std::all_of(bytes.begin(), bytes.end(),
                       [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

bool DecodeUTF8(std::string_view bytes, std::u16string& units) {
    units.clear();
    while (!bytes.empty()) {
        std::uint32_t value = 0;
        if (!TakeCodePoint(bytes, value)) {
            return false;
        }
        Append(units, value);
    }
    return true;
}

} // namespace qel::platform
