#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qel::output {

// The SHA-256 of bytes that come piece by piece, as FIPS 180-4 defines it.
class Sha256Sum {
public:
    Sha256Sum();

    void Add(std::string_view bytes);

    // The digest of all that was added, once.
    std::array<std::uint8_t, 32> Digest();

private:
    std::array<std::uint32_t, 8> mState;
    std::uint64_t mBytes = 0;
    std::string mRest; // less than a block
};

// The SHA-256 of a text.
std::array<std::uint8_t, 32> Sha256(std::string_view text);

// A digest, or the beginning of one, in hexadecimal digits.
std::string Hexadecimal(const std::array<std::uint8_t, 32>& digest, std::size_t bytes = 32);

} // namespace qel::output
