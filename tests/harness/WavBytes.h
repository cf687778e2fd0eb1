#pragma once

#include <cstdint>
#include <string>

namespace qel::test {

// A WAV file put together from its fields, so that each of them can tell a lie. As it stands it is
// true: 4800 frames of 16 bits in one channel at 48000 Hz.
struct WavBytes {
    std::string form = "RIFF";
    std::uint32_t formSize = 0; // 0: the true one
    std::string before{};       // chunks in front of the format
    std::uint32_t formatSize = 16;
    std::uint16_t code = 1;
    std::uint16_t channels = 1;
    std::uint32_t rateHz = 48000;
    std::uint32_t byteRate = 96000;
    std::uint16_t align = 2;
    std::uint16_t bits = 16;
    std::string extension{};           // what the format has after its bits
    std::uint32_t dataSize = 2 * 4800; // as stated
    std::string data = std::string(2 * 4800, '\x11');

    std::string Bytes() const;
};

// A number in so many bytes, the lowest one first, and the highest one first.
std::string LittleEndian(std::uint64_t value, int bytes);
std::string BigEndian(std::uint64_t value, int bytes);

} // namespace qel::test
