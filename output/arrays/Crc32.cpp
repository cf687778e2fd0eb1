#include "output/arrays/Crc32.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

namespace qel::output {
namespace {

constexpr std::uint32_t kPolynomial = 0xEDB88320; // the lowest power in the highest bit
constexpr std::size_t kSlices = 8;                // bytes that one step takes

using Tables = std::array<std::array<std::uint32_t, 256>, kSlices>;

// Table s holds the remainder of a byte with s zero bytes after it.
constexpr Tables MakeTables() {
    Tables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = (remainder >> 1) ^ ((remainder & 1) != 0 ? kPolynomial : 0);
        }
        tables[0][byte] = remainder;
    }
    for (std::size_t slice = 1; slice < kSlices; ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t shorter = tables[slice - 1][byte];
            tables[slice][byte] = (shorter >> 8) ^ tables[0][shorter & 0xFF];
        }
    }
    return tables;
}

constexpr Tables kTables = MakeTables();

static_assert(std::endian::native == std::endian::little, "a step takes words as they lie");

} // namespace

std::uint32_t Crc32(std::string_view bytes) {
    std::uint32_t crc = ~std::uint32_t{0};
    const char* at = bytes.data();
    const char* const end = at + bytes.size();
    for (; end - at >= static_cast<std::ptrdiff_t>(kSlices); at += kSlices) {
        std::uint32_t low = 0;
        std::uint32_t high = 0;
        std::memcpy(&low, at, sizeof low);
        std::memcpy(&high, at + sizeof low, sizeof high);
        low ^= crc;
        crc = kTables[7][low & 0xFF] ^ kTables[6][low >> 8 & 0xFF] ^ kTables[5][low >> 16 & 0xFF] ^
              kTables[4][low >> 24] ^ kTables[3][high & 0xFF] ^ kTables[2][high >> 8 & 0xFF] ^
              kTables[1][high >> 16 & 0xFF] ^ kTables[0][high >> 24];
    }
    for (; at != end; ++at) {
        crc = (crc >> 8) ^ kTables[0][(crc ^ static_cast<unsigned char>(*at)) & 0xFF];
    }
    return ~crc;
}

} // namespace qel::output
