#include "tests/harness/WavBytes.h"

#include <algorithm>

namespace qel::test {

std::string LittleEndian(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(value & 0xFF);
        value >>= 8;
    }
    return text;
}

std::string BigEndian(std::uint64_t value, int bytes) {
    std::string text = LittleEndian(value, bytes);
    std::reverse(text.begin(), text.end());
    return text;
}

std::string WavBytes::Bytes() const {
    std::string content = "WAVE" + before + "fmt " + LittleEndian(formatSize, 4);
    content += LittleEndian(code, 2) + LittleEndian(channels, 2) + LittleEndian(rateHz, 4);
    content += LittleEndian(byteRate, 4) + LittleEndian(align, 2) + LittleEndian(bits, 2);
    content += extension + "data" + LittleEndian(dataSize, 4) + data;
    return form + LittleEndian(formSize == 0 ? content.size() : formSize, 4) + content;
}

} // namespace qel::test
