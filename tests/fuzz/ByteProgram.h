#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace qel::fuzz {

// Reads the bytes of an input as a program: numbers, choices and floats one after the other. Past
// the end everything reads as 0.
class ByteProgram {
public:
    ByteProgram(const std::uint8_t* data, std::size_t size) : mData(data), mSize(size) {}

    bool AtEnd() const { return mSize == 0; }

    std::uint8_t Byte() {
        if (mSize == 0) {
            return 0;
        }
        --mSize;
        return *mData++;
    }
    std::uint16_t Word() { return static_cast<std::uint16_t>(Number(2)); }
    std::uint32_t Long() { return static_cast<std::uint32_t>(Number(4)); }
    std::uint64_t Quad() { return Number(8); }

    // Any value with its bits.
    float Float() { return std::bit_cast<float>(Long()); }
    double Double() { return std::bit_cast<double>(Quad()); }

    bool Coin() { return (Byte() & 1) != 0; }
    // Once in `times`, and not at the end of the bytes.
    bool Seldom(unsigned times) { return Byte() % times == times - 1; }
    // 0 to `count` - 1, from a byte, or from two where a byte has too few values.
    std::uint32_t Below(std::uint32_t count) {
        return (count <= 256 ? std::uint32_t{Byte()} : std::uint32_t{Word()}) %
               std::max<std::uint32_t>(count, 1);
    }
    template <class T, std::size_t count>
    const T& OneOf(const T (&values)[count]) {
        return values[Below(static_cast<std::uint32_t>(count))];
    }

private:
    std::uint64_t Number(int bytes) {
        std::uint64_t value = 0;
        for (int i = 0; i < bytes; ++i) {
            value |= std::uint64_t{Byte()} << (8 * i);
        }
        return value;
    }

    const std::uint8_t* mData;
    std::size_t mSize;
};

} // namespace qel::fuzz
