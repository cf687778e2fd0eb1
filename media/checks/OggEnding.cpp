#include "media/checks/OggEnding.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>

namespace qel::media {
namespace {

constexpr std::string_view kPageMark{"OggS\0", 5}; // capture pattern and version
constexpr std::size_t kCountPosition = 26;         // of the number of segments
constexpr std::int64_t kTailBytes = 128 * 1024;

std::size_t ByteAt(const std::string& bytes, std::size_t position) {
    return static_cast<unsigned char>(bytes[position]);
}

// Whether the page that begins there needs more bytes than there are.
bool PageIsCut(const std::string& bytes, std::size_t page) {
    if (page + kCountPosition >= bytes.size()) {
        return true;
    }
    const std::size_t segments = ByteAt(bytes, page + kCountPosition);
    const std::size_t table = page + kCountPosition + 1;
    if (table + segments > bytes.size()) {
        return true;
    }
    std::size_t end = table + segments;
    for (std::size_t i = 0; i < segments; ++i) {
        end += ByteAt(bytes, table + i);
    }
    return end > bytes.size();
}

} // namespace

bool OggIsTruncated(std::istream& file) {
    file.seekg(0, std::ios::end);
    const std::int64_t size = file.tellg();
    if (size <= 0) {
        return false;
    }
    const std::int64_t tail = std::min(size, kTailBytes);
    std::string bytes(static_cast<std::size_t>(tail), '\0');
    file.seekg(size - tail);
    file.read(bytes.data(), tail);
    const std::size_t page = bytes.rfind(kPageMark);
    return file && page != std::string::npos && PageIsCut(bytes, page);
}

} // namespace qel::media
