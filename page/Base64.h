#pragma once

#include <string>
#include <string_view>

namespace qel::page {

// Bytes as base64 with padding (RFC 4648). Parts of a stream can be coded one after the other if
// all but the last one have a multiple of 3 bytes.
std::string Base64(std::string_view bytes);

} // namespace qel::page
