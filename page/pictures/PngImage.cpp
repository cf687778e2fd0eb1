#include "page/pictures/PngImage.h"

#include <new>
#include <string_view>
#include <vector>
#include <zlib.h>

namespace qel::page {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kSignature = "\x89PNG\r\n\x1a\n"sv;
constexpr int kEffort = 6; // of zlib: more takes twice as long for two per cent

std::string BigEndian(std::uint32_t number) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes += static_cast<char>(number >> shift & 0xFFu);
    }
    return bytes;
}

std::string Chunk(std::string_view type, std::string_view content) {
    const std::string body = std::string(type) + std::string(content);
    const auto sum =
        crc32(0, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
    return BigEndian(static_cast<std::uint32_t>(content.size())) + body +
           BigEndian(static_cast<std::uint32_t>(sum));
}

std::string Palette(const ColourMap& colours) {
    std::string bytes;
    for (const Colour& colour : colours) {
        for (const std::uint8_t part : {colour.red, colour.green, colour.blue}) {
            bytes += static_cast<char>(part);
        }
    }
    return bytes;
}

std::string Compressed(const std::vector<std::uint8_t>& bytes) {
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    std::string compressed(size, '\0');
    if (compress2(reinterpret_cast<Bytef*>(compressed.data()), &size, bytes.data(),
                  static_cast<uLong>(bytes.size()), kEffort) != Z_OK) {
        throw std::bad_alloc();
    }
    compressed.resize(size);
    return compressed;
}

} // namespace

std::string PngImage(std::span<const std::uint8_t> pixels, std::size_t width, std::size_t height,
                     const ColourMap& colours, bool isClear) {
    std::vector<std::uint8_t> lines; // each with the number of its filter, none, before it
    lines.reserve(pixels.size() + height);
    for (std::size_t row = 0; row < height; ++row) {
        const auto line = pixels.subspan(row * width, width);
        lines.push_back(0);
        lines.insert(lines.end(), line.begin(), line.end());
    }
    const std::string header = BigEndian(static_cast<std::uint32_t>(width)) +
                               BigEndian(static_cast<std::uint32_t>(height)) +
                               std::string("\x08\x03\x00\x00\x00"sv); // 8 bits, palette
    return std::string(kSignature) + Chunk("IHDR", header) + Chunk("PLTE", Palette(colours)) +
           (isClear ? Chunk("tRNS", "\0"sv) : std::string()) + Chunk("IDAT", Compressed(lines)) +
           Chunk("IEND", "");
}

} // namespace qel::page
