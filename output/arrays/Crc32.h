#pragma once

#include <cstdint>
#include <string_view>

namespace qel::output {

// The CRC-32 of ISO 3309 and ITU-T V.42, as ZIP archives have it.
std::uint32_t Crc32(std::string_view bytes);

} // namespace qel::output
