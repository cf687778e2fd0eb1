#include "output/files/OutputName.h"

#include "output/files/Sha256.h"

#include <cstddef>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace qel::output {
namespace {

constexpr std::size_t kLongestName = 255; // bytes, on all file systems in common use
constexpr std::size_t kDigestBytes = 6;   // 12 digits

// The bytes in front of a length, without a character of UTF-8 that it would cut apart.
std::string_view Cut(std::string_view text, std::size_t length) {
    if (text.size() <= length) {
        return text;
    }
    const auto continues = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
    while (length > 0 && continues(text[length])) {
        --length;
    }
    return text.substr(0, length);
}

} // namespace

std::filesystem::path AbsolutePath(const std::filesystem::path& input) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(input, error);
    if (error) { // no current directory: the path as it was given tells more than nothing
        return input;
    }
    const std::filesystem::path directory =
        std::filesystem::weakly_canonical(absolute.parent_path(), error);
    return error ? absolute : directory / absolute.filename();
}

std::string OutputName(const std::string& input) {
    const std::filesystem::path path = AbsolutePath(input);
    const std::string end = '-' + Hexadecimal(Sha256(path.string()), kDigestBytes);
    const std::string name = path.filename().string();
    return std::string(Cut(name, kLongestName - end.size())) + end;
}

} // namespace qel::output
