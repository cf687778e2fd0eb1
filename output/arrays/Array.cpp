#include "output/arrays/Array.h"

#include <fmt/format.h>

namespace qel::output {
namespace {

constexpr std::size_t kAlignment = 64; // of the data within the file
constexpr std::size_t kPrefixBytes = 10;

} // namespace

// NumPy's documentation of the format: a magic text, the version, the length of the dictionary, the
// dictionary filled up with blanks, a line feed.
std::string Array::Header() const {
    std::string axes;
    for (const std::size_t size : shape) {
        axes += fmt::format("{}, ", size);
    }
    if (shape.size() > 1) { // a comma at the end is for a single axis
        axes.resize(axes.size() - 2);
    }
    std::string text =
        fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': ({}), }}", type, axes);
    const std::size_t used = kPrefixBytes + text.size() + 1;
    text.append((kAlignment - used % kAlignment) % kAlignment, ' ');
    text += '\n';
    std::string header("\x93NUMPY\x01\x00", 8);
    header += static_cast<char>(text.size() & 0xFF);
    header += static_cast<char>(text.size() >> 8 & 0xFF);
    return header + text;
}

} // namespace qel::output
