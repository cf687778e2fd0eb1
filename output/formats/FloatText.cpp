#include "output/formats/FloatText.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace qel::output {
namespace {

// Decimal exponents of the first digit, without an exponent in the text.
constexpr int kLeastPlain = -4;
constexpr int kMostPlain = 15;

constexpr std::uint32_t kPowersOfTen[] = {1,      10,      100,      1000,      10000,
                                          100000, 1000000, 10000000, 100000000, 1000000000};
// Shortest digits of a float are no more.
constexpr int kMostDigits = 9;

// Eight digits as text, the first one in the lowest byte. Halves, quarters and eighths of the
// number are worked on at once, each in its part of the word.
std::uint64_t EightDigits(std::uint32_t number) {
    constexpr std::uint64_t kHundreds = 0x0000007F0000007F;
    constexpr std::uint64_t kTens = 0x000F000F000F000F;
    constexpr std::uint64_t kZeros = 0x3030303030303030;
    const std::uint64_t halves = number / 10000 | std::uint64_t{number % 10000} << 32;
    const std::uint64_t hundreds = halves * 5243 >> 19 & kHundreds; // by 100, below 10000
    const std::uint64_t pairs = hundreds | (halves - hundreds * 100) << 16;
    const std::uint64_t tens = pairs * 103 >> 10 & kTens; // by 10, below 100
    return (tens | (pairs - tens * 10) << 8) + kZeros;
}

// The digits of a number from 1 to below 1e9. They are kept in words and written from there: copies
// within memory would wait for each other.
class Digits {
public:
    explicit Digits(std::uint32_t number) : mCount(CountDigits(number)) {
        const std::uint32_t left = number * kPowersOfTen[kMostDigits - mCount];
        mFirst = static_cast<char>('0' + left / 100000000);
        mRest = EightDigits(left % 100000000);
    }

    int Count() const { return mCount; }

    // Writes all of them, and zeros up to nine digits.
    void WriteTo(char* out) const {
        out[0] = mFirst;
        WriteRest(out + 1, 0);
    }

    // Writes those from a place from 1 to 8 on, and rubbish up to eight characters.
    void WriteTo(char* out, int from) const { WriteRest(out, from - 1); }

private:
    static int CountDigits(std::uint32_t number) {
        // 1233 / 4096 is the logarithm of 2, a little too small.
        const int guess = static_cast<int>(std::bit_width(number)) * 1233 >> 12;
        return guess + (number >= kPowersOfTen[guess] ? 1 : 0);
    }

    void WriteRest(char* out, int skipped) const {
        static_assert(std::endian::native == std::endian::little);
        const std::uint64_t rest = mRest >> 8 * skipped;
        std::copy_n(reinterpret_cast<const char*>(&rest), sizeof(rest), out);
    }

    const int mCount;
    char mFirst = '0';
    std::uint64_t mRest = 0;
};

char* WriteFraction(char* out, const Digits& digits, int firstPlace) {
    std::copy_n("0.000", 5, out);
    char* const first = out + 1 - firstPlace;
    digits.WriteTo(first);
    return first + digits.Count();
}

char* WriteWhole(char* out, const Digits& digits, int firstPlace) {
    std::fill_n(out + kMostDigits, kMostPlain + 1 - kMostDigits, '0');
    digits.WriteTo(out);
    return out + firstPlace + 1;
}

char* WriteMixed(char* out, const Digits& digits, int firstPlace) {
    digits.WriteTo(out);
    out[firstPlace + 1] = '.';
    digits.WriteTo(out + firstPlace + 2, firstPlace + 1);
    return out + digits.Count() + 1;
}

// Exponents of floats have two digits.
char* WriteScientific(char* out, const Digits& digits, int firstPlace) {
    digits.WriteTo(out);
    if (digits.Count() > 1) {
        out[1] = '.';
        digits.WriteTo(out + 2, 1);
        out += digits.Count();
    }
    *++out = 'e';
    *++out = firstPlace < 0 ? '-' : '+';
    const int size = firstPlace < 0 ? -firstPlace : firstPlace;
    *++out = static_cast<char>('0' + size / 10);
    *++out = static_cast<char>('0' + size % 10);
    return out + 1;
}

} // namespace

char* WriteFloat(char* out, float value) {
    if (std::bit_cast<std::uint32_t>(value) >> 31 != 0) {
        *out++ = '-';
        value = -value;
    }
    if (value == 0) {
        *out = '0';
        return out + 1;
    }
    const auto decimal = fmt::detail::dragonbox::to_decimal(value);
    const Digits digits(decimal.significand);
    const int firstPlace = decimal.exponent + digits.Count() - 1;
    if (firstPlace < kLeastPlain || firstPlace > kMostPlain) {
        return WriteScientific(out, digits, firstPlace);
    }
    if (firstPlace < 0) {
        return WriteFraction(out, digits, firstPlace);
    }
    return decimal.exponent >= 0 ? WriteWhole(out, digits, firstPlace)
                                 : WriteMixed(out, digits, firstPlace);
}

} // namespace qel::output
