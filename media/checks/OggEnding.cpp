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

// Whether the page that begins with the bytes needs more than there are.
bool PageIsCut(const std::string& bytes) {
    if (kCountPosition >= bytes.size()) {
        return true;
    }
    const std::size_t segments = ByteAt(bytes, kCountPosition);
    const std::size_t table = kCountPosition + 1;
    if (table + segments > bytes.size()) {
        return true;
    }
    std::size_t end = table + segments;
    for (std::size_t i = 0; i < segments; ++i) {
        end += ByteAt(bytes, table + i);
    }
    return end > bytes.size();
}

// From the mark of the last page on; empty if there is none.
std::string LastPage(std::istream& file) {
    file.seekg(0, std::ios::end);
    const std::int64_t size = file.tellg();
    if (size <= 0) {
        return {};
    }
    const std::int64_t tail = std::min(size, kTailBytes);
    std::string bytes(static_cast<std::size_t>(tail), '\0');
    file.seekg(size - tail);
    file.read(bytes.data(), tail);
    const std::size_t page = bytes.rfind(kPageMark);
    return file && page != std::string::npos ? bytes.substr(page) : std::string();
}

} // namespace

bool OggIsTruncated(std::istream& file) {
    const std::string page = LastPage(file);
    return !page.empty() && PageIsCut(page);
}

bool OggLacksEnd(std::istream& file) {
    constexpr std::size_t kIsLast = 4; // a bit of the flags that follow the mark
    const std::string page = LastPage(file);
    return !page.empty() && !PageIsCut(page) && (ByteAt(page, kPageMark.size()) & kIsLast) == 0;
}

} // namespace qel::media
