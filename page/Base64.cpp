#include "page/Base64.h"

#include <cstdint>

namespace qel::page {
namespace {

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::uint32_t ByteAt(std::string_view bytes, std::size_t place) {
    return place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0u;
}

} // namespace

std::string Base64(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::uint32_t group =
            ByteAt(bytes, i) << 16u | ByteAt(bytes, i + 1) << 8u | ByteAt(bytes, i + 2);
        text += kDigits[group >> 18u];
        text += kDigits[group >> 12u & 63u];
        text += i + 1 < bytes.size() ? kDigits[group >> 6u & 63u] : '=';
        text += i + 2 < bytes.size() ? kDigits[group & 63u] : '=';
    }
    return text;
}

} // namespace qel::page
