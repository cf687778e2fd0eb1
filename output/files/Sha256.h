#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace qel::output {

// The SHA-256 of a text, as FIPS 180-4 defines it.
std::array<std::uint8_t, 32> Sha256(std::string_view text);

} // namespace qel::output
