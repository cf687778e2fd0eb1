// The strings among the objects, beside a reader of UTF-8 of their own.

#include "tests/fuzz/ContainerObjects.h"
#include "tests/fuzz/Require.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

namespace qel::fuzz {
namespace {

using IndexLimits = std::numeric_limits<CFIndex>;

int Byte(const std::string& bytes, std::size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : -1;
}

bool IsWithin(int value, int low, int high) {
    return low <= value && value <= high;
}

// The length of the well-formed sequence that begins there, 0 for none: by the table of well-formed
// byte sequences in RFC 3629, section 4.
std::size_t SequenceLength(const std::string& bytes, std::size_t i) {
    const int first = Byte(bytes, i);
    const int second = Byte(bytes, i + 1);
    const bool third = IsWithin(Byte(bytes, i + 2), 0x80, 0xBF);
    const bool fourth = IsWithin(Byte(bytes, i + 3), 0x80, 0xBF);
    if (first < 0x80) {
        return 1;
    }
    if (IsWithin(first, 0xC2, 0xDF)) {
        return IsWithin(second, 0x80, 0xBF) ? 2 : 0;
    }
    if (IsWithin(first, 0xE0, 0xEF)) {
        const int low = first == 0xE0 ? 0xA0 : 0x80;
        const int high = first == 0xED ? 0x9F : 0xBF;
        return IsWithin(second, low, high) && third ? 3 : 0;
    }
    if (IsWithin(first, 0xF0, 0xF4)) {
        const int low = first == 0xF0 ? 0x90 : 0x80;
        const int high = first == 0xF4 ? 0x8F : 0xBF;
        return IsWithin(second, low, high) && third && fourth ? 4 : 0;
    }
    return 0;
}

std::optional<std::u16string> PlainUTF16(const std::string& bytes) {
    std::u16string units;
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t length = SequenceLength(bytes, i);
        if (length == 0) {
            return std::nullopt;
        }
        int value = length == 1 ? Byte(bytes, i) : Byte(bytes, i) & (0x7F >> length);
        for (std::size_t k = 1; k < length; ++k) {
            value = value * 64 + Byte(bytes, i + k) % 64;
        }
        if (value >= 0x10000) {
            units += static_cast<char16_t>(0xD800 + (value - 0x10000) / 0x400);
            units += static_cast<char16_t>(0xDC00 + (value - 0x10000) % 0x400);
        } else {
            units += static_cast<char16_t>(value);
        }
        i += length;
    }
    return units;
}

void AppendUTF8(std::string& bytes, std::uint32_t value) {
    const auto follow = [&bytes, value](int shift) {
        bytes += static_cast<char>(0x80 | (value >> shift & 0x3F));
    };
    if (value < 0x80) {
        bytes += static_cast<char>(value);
    } else if (value < 0x800) {
        bytes += static_cast<char>(0xC0 | value >> 6);
        follow(0);
    } else if (value < 0x10000) {
        bytes += static_cast<char>(0xE0 | value >> 12);
        follow(6);
        follow(0);
    } else {
        bytes += static_cast<char>(0xF0 | value >> 18);
        follow(12);
        follow(6);
        follow(0);
    }
}

// Raw bytes, the UTF-8 of numbers around the bounds of its forms, surrogates among them, and bytes
// that are no UTF-8: overlong forms, lone and missing bytes.
std::string AnyText(ByteProgram& program) {
    constexpr std::uint32_t kAround[] = {
        0,      'A',    0x7F,    0x80,    0x7FF, 0x800, 0xD7FF, 0xD800,  0xDFFF,   0xE000,
        0xFEFF, 0xFFFF, 0x10000, 0x1F3B5, '"',   '\\',  '\n',   0x1FFFF, 0x10FFFF, 0x110000};
    const std::string kNoUTF8[] = {
        "\xC0\x80",         "\xC1\xBF",         "\xE0\x80\x80", "\xE0\x9F\xBF", "\xF0\x80\x80\x80",
        "\xF0\x8F\xBF\xBF", "\xF8\x88\x80\x80", "\x80",         "\xE2\x82"};
    std::string bytes;
    const std::uint32_t form = program.Below(4);
    for (std::uint32_t length = program.Below(40); length > 0 && !program.AtEnd(); --length) {
        if (form == 0) {
            bytes += static_cast<char>(program.Byte());
        } else if (form == 1 && program.Seldom(8)) {
            bytes += program.OneOf(kNoUTF8);
        } else {
            AppendUTF8(bytes, program.OneOf(kAround));
        }
    }
    return bytes;
}

CFStringEncoding AnyEncoding(ByteProgram& program) {
    constexpr CFStringEncoding kEncodings[] = {kCFStringEncodingUTF8, kCFStringEncodingASCII,
                                               kCFStringEncodingUTF8, 0x0100, 0};
    const CFStringEncoding encoding = program.OneOf(kEncodings);
    return encoding != 0 ? encoding : program.Long();
}

bool IsASCII(const std::string& bytes) {
    return std::all_of(bytes.begin(), bytes.end(),
                       [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

// Whether the content has a form in the encoding.
bool Fits(const std::string& content, CFStringEncoding encoding) {
    return encoding == kCFStringEncodingUTF8 ||
           (encoding == kCFStringEncodingASCII && IsASCII(content));
}

void CheckCString(CFStringRef string, const std::string& content, CFStringEncoding encoding,
                  CFIndex room) {
    // As large as it says, so that a byte beyond is a fault.
    const std::unique_ptr<char[]> buffer(new char[static_cast<std::size_t>(room)]);
    std::fill_n(buffer.get(), room, '!');
    const bool fits = Fits(content, encoding) && content.size() < static_cast<std::size_t>(room);
    Require(CFStringGetCString(string, buffer.get(), room, encoding) == fits,
            "a C string is had exactly where it fits");
    if (fits) {
        Require(std::memcmp(buffer.get(), content.c_str(), content.size() + 1) == 0,
                "a C string has the content");
    } else {
        Require(room == 0 || buffer[0] == 0, "without a C string there is an empty one");
    }
    Require(!CFStringGetCString(string, buffer.get(), -room, encoding), "no room, no C string");
}

void CheckString(CFStringRef string, const std::string& content, const std::u16string& units,
                 ByteProgram& program) {
    const auto length = static_cast<CFIndex>(units.size());
    Require(CFGetTypeID(string) == CFStringGetTypeID(), "a string is of its type");
    Require(CFStringGetLength(string) == length && UnitsOf(string) == units,
            "a string has the units of its bytes");
    for (const CFIndex outside : {CFIndex{-1}, length, IndexLimits::min(), IndexLimits::max()}) {
        Require(CFStringGetCharacterAtIndex(string, outside) == 0, "outside is no character");
    }
    const CFStringEncoding encoding = AnyEncoding(program);
    CheckCString(string, content, encoding,
                 program.Below(static_cast<unsigned>(content.size() + 3)));
    const char* pointer = CFStringGetCStringPtr(string, encoding);
    const bool isThere = Fits(content, encoding) && content.find('\0') == std::string::npos;
    Require((pointer != nullptr) == isThere && (!isThere || content == pointer),
            "a string shows its content where a C string can hold it");
    Require(CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8) >=
                static_cast<CFIndex>(content.size()),
            "the largest size holds the content");
    const CFIndex any = AnyIndex(program, length);
    const CFIndex size = CFStringGetMaximumSizeForEncoding(any, encoding);
    Require(size == kCFNotFound || (any >= 0 && size >= any), "a largest size is no less");
    const CFStringRef copy = CFStringCreateCopy(nullptr, string);
    Require(copy == string, "the copy of a string is the same object");
    CFRelease(copy);
}

} // namespace

CFStringRef MakeString(ByteProgram& program) {
    std::string bytes = AnyText(program);
    const CFStringEncoding encoding = AnyEncoding(program);
    const std::uint32_t way = program.Below(3);
    CFStringRef string = nullptr;
    if (way == 0) {
        bytes.resize(std::strlen(bytes.c_str())); // up to the first zero
        string = CFStringCreateWithCString(nullptr, bytes.c_str(), encoding);
    } else {
        // A copy in memory of its size, without a zero after it.
        const std::vector<UInt8> exact(bytes.begin(), bytes.end());
        string = CFStringCreateWithBytes(nullptr, exact.data(), static_cast<CFIndex>(exact.size()),
                                         encoding, way == 1);
        if (way == 1 && encoding == kCFStringEncodingUTF8 && bytes.starts_with("\xEF\xBB\xBF")) {
            bytes.erase(0, 3);
        }
    }
    const auto units = PlainUTF16(bytes);
    Require((string != nullptr) == (units.has_value() && Fits(bytes, encoding)),
            "valid bytes make a string, and only they do");
    if (string != nullptr) {
        CheckString(string, bytes, *units, program);
    }
    return string;
}

std::u16string UnitsOf(CFStringRef string) {
    std::u16string units;
    for (CFIndex i = 0; i < CFStringGetLength(string); ++i) {
        units += static_cast<char16_t>(CFStringGetCharacterAtIndex(string, i));
    }
    return units;
}

} // namespace qel::fuzz
