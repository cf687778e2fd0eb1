#include "tools/RiffLength.h"

#include <array>
#include <istream>
#include <string_view>

namespace qel::tool {
namespace {

struct ChunkHeader {
    std::array<char, 4> name{};
    std::array<unsigned char, 4> size{};

    bool Is(std::string_view other) const {
        return std::string_view(name.data(), name.size()) == other;
    }
    std::int64_t Size() const {
        return size[0] | size[1] << 8 | size[2] << 16 | std::int64_t{size[3]} << 24;
    }
};

bool ReadHeader(std::istream& file, ChunkHeader& header) {
    file.read(header.name.data(), 4);
    file.read(reinterpret_cast<char*>(header.size.data()), 4);
    return static_cast<bool>(file);
}

} // namespace

bool RiffIsTruncated(std::istream& file) {
    constexpr std::int64_t kPlaceholder = 0x7FFFF000;
    constexpr std::int64_t kFormBytes = 12; // "RIFF", size, "WAVE"
    constexpr int kMostChunks = 1 << 16;    // a file may consist of millions of empty ones
    file.seekg(0, std::ios::end);
    const std::int64_t fileEnd = file.tellg();
    file.seekg(0);
    ChunkHeader header;
    if (!ReadHeader(file, header) || !header.Is("RIFF")) {
        return false;
    }
    file.seekg(kFormBytes);
    for (int chunk = 0; chunk < kMostChunks && ReadHeader(file, header); ++chunk) {
        const std::int64_t content = file.tellg();
        const std::int64_t size = header.Size();
        if (header.Is("data")) {
            return size < kPlaceholder && content + size > fileEnd;
        }
        file.seekg(content + size + size % 2); // chunks start at even positions
    }
    return false;
}

} // namespace qel::tool
