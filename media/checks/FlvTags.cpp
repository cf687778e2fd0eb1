#include "media/checks/FlvTags.h"

#include <array>
#include <cstdint>
#include <istream>
#include <string_view>

namespace qel::media {
namespace {

// -1 where the file ends before.
std::int64_t Number(std::istream& file, std::int64_t position, std::streamsize bytes) {
    std::array<char, 4> raw{};
    file.clear();
    file.seekg(position);
    file.read(raw.data(), bytes);
    if (file.gcount() != bytes) {
        return -1;
    }
    std::int64_t value = 0;
    for (std::streamsize i = 0; i < bytes; ++i) {
        value = value << 8 | static_cast<unsigned char>(raw[static_cast<std::size_t>(i)]);
    }
    return value;
}

} // namespace

bool FlvTagIsBroken(std::istream& file) {
    constexpr std::int64_t kMark = 0x464C56; // "FLV"
    constexpr std::int64_t kHeaderBytes = 11;
    constexpr std::int64_t kBackBytes = 4; // of the size after a tag
    if (Number(file, 0, 3) != kMark) {
        return false;
    }
    std::int64_t tag = Number(file, 5, 4) + kBackBytes;
    for (bool isFirst = true;; isFirst = false) {
        const std::int64_t size = Number(file, tag + 1, 3);
        const std::int64_t stated = Number(file, tag + kHeaderBytes + size, 4);
        if (size < 0 || stated < 0) {
            return false;
        }
        if (stated != kHeaderBytes + size) {
            return !isFirst;
        }
        tag += kHeaderBytes + size + kBackBytes;
    }
}

} // namespace qel::media
