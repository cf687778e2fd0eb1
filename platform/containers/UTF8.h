#pragma once

#include <string>
#include <string_view>

namespace qel::platform {

bool IsASCII(std::string_view bytes) noexcept;

// Reads UTF-8 into UTF-16. False, with `units` in no particular state, for bytes that are not
// valid: also overlong forms, surrogates, and code points above 0x10FFFF.
bool DecodeUTF8(std::string_view bytes, std::u16string& units);

} // namespace qel::platform
