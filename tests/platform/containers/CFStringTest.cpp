#include "ContainerObjects.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace qel::platform {
namespace {

using namespace std::string_literals;

CFStringRef FromC(const char* text, CFStringEncoding encoding) {
    return CFStringCreateWithCString(kCFAllocatorDefault, text, encoding);
}

TEST(CFStringTest, ALiteralIsOneObjectInTheWholeProcess) {
    const CFStringRef first = CFSTR("the same");
    const CFStringRef second = CFSTR("the "
                                     "same");
    EXPECT_EQ(first, second);
    EXPECT_NE(first, CFSTR("another"));
    EXPECT_EQ(ToText(first), "the same");
    EXPECT_EQ(CFStringGetLength(CFSTR("")), 0);
    EXPECT_EQ(CFSTR("\xFF"), nullptr);
}

TEST(CFStringTest, EqualContentMeansEqualHash) {
    const auto made = MakeString("beat data");
    EXPECT_NE(static_cast<CFStringRef>(made), CFSTR("beat data"));
    EXPECT_TRUE(CFEqual(made, CFSTR("beat data")));
    EXPECT_EQ(CFHash(made), CFHash(CFSTR("beat data")));
    EXPECT_FALSE(CFEqual(made, CFSTR("beat date")));
    EXPECT_NE(CFHash(made), CFHash(CFSTR("beat date")));
}

TEST(CFStringTest, ASCIITakesOnlySevenBits) {
    EXPECT_EQ(kCFStringEncodingASCII, 1536);
    EXPECT_EQ(ToText(CFOwner(FromC("\x7F", kCFStringEncodingASCII))), "\x7F");
    EXPECT_EQ(FromC("caf\xC3\xA9", kCFStringEncodingASCII), nullptr);
    EXPECT_EQ(FromC("\x80", kCFStringEncodingASCII), nullptr);
}

TEST(CFStringTest, NothingComesOfNothing) {
    EXPECT_EQ(FromC(nullptr, kCFStringEncodingASCII), nullptr);
    EXPECT_EQ(CFStringCreateWithBytes(nullptr, nullptr, 1, kCFStringEncodingUTF8, false), nullptr);
    const UInt8 byte = 'a';
    EXPECT_EQ(CFStringCreateWithBytes(nullptr, &byte, -1, kCFStringEncodingUTF8, false), nullptr);
    EXPECT_EQ(FromC("a", 0xFFFF), nullptr);
    const CFOwner empty(CFStringCreateWithBytes(nullptr, nullptr, 0, kCFStringEncodingUTF8, false));
    EXPECT_TRUE(CFEqual(empty, CFSTR("")));
}

// Table 3-7 of the Unicode standard, "well-formed UTF-8 byte sequences": the ends of its rows.
TEST(CFStringTest, WellFormedUTF8IsTaken) {
    struct Case {
        std::string bytes;
        std::u16string units;
    };
    const Case cases[] = {
        {"\xC2\x80", u"\u0080"},
        {"\xDF\xBF", u"\u07FF"},
        {"\xE0\xA0\x80", u"\u0800"},
        {"\xED\x9F\xBF", u"\uD7FF"},
        {"\xEE\x80\x80", u"\uE000"},
        {"\xEF\xBF\xBF", u"\uFFFF"},
        {"\xF0\x90\x80\x80", {0xD800, 0xDC00}},
        {"\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}},
        {"a\xC3\xA9z", u"a\u00E9z"},
    };
    for (const Case& item : cases) {
        const auto string = MakeString(item.bytes);
        ASSERT_NE(static_cast<CFStringRef>(string), nullptr);
        ASSERT_EQ(CFStringGetLength(string), static_cast<CFIndex>(item.units.size()));
        for (std::size_t i = 0; i < item.units.size(); ++i) {
            EXPECT_EQ(CFStringGetCharacterAtIndex(string, static_cast<CFIndex>(i)), item.units[i]);
        }
        EXPECT_EQ(ToText(string), item.bytes);
    }
}

TEST(CFStringTest, IllFormedUTF8IsRefused) {
    const std::string cases[] = {
        "\x80",             // a following byte alone
        "\xC3",             // cut short
        "\xC3z",            // no following byte
        "\xC0\x80",         // overlong
        "\xC1\xBF",         // overlong
        "\xE0\x9F\xBF",     // overlong
        "\xF0\x8F\xBF\xBF", // overlong
        "\xED\xA0\x80",     // surrogate
        "\xED\xBF\xBF",     // surrogate
        "\xF4\x90\x80\x80", // above 0x10FFFF
        "\xF5\x80\x80\x80", // no first byte
        "\xF8\x88\x80\x80\x80",
        "\xFE",
        "\xFF",
        "ab\xE2\x82",
    };
    for (const std::string& bytes : cases) {
        EXPECT_EQ(static_cast<CFStringRef>(MakeString(bytes)), nullptr);
    }
}

TEST(CFStringTest, AByteOrderMarkIsContentUnlessTheBytesComeFromOutside) {
    const std::string bytes = "\xEF\xBB\xBFq";
    const auto* data = reinterpret_cast<const UInt8*>(bytes.data());
    const CFOwner inner(CFStringCreateWithBytes(nullptr, data, 4, kCFStringEncodingUTF8, false));
    const CFOwner outer(CFStringCreateWithBytes(nullptr, data, 4, kCFStringEncodingUTF8, true));
    EXPECT_EQ(CFStringGetLength(inner), 2);
    EXPECT_TRUE(CFEqual(outer, CFSTR("q")));
}

TEST(CFStringTest, AZeroMayStandWithin) {
    const auto string = MakeString("a\0b"s);
    EXPECT_EQ(CFStringGetLength(string), 3);
    EXPECT_EQ(CFStringGetCharacterAtIndex(string, 2), 'b');
    EXPECT_EQ(CFStringGetCStringPtr(string, kCFStringEncodingUTF8), nullptr);
    EXPECT_FALSE(CFEqual(string, CFSTR("a")));
    char buffer[4] = {1, 1, 1, 1};
    EXPECT_TRUE(CFStringGetCString(string, buffer, 4, kCFStringEncodingASCII));
    EXPECT_EQ(std::string(buffer, 4), "a\0b\0"s);
}

TEST(CFStringTest, GetCStringNeedsRoomForTheZeroAtTheEnd) {
    char buffer[8] = "xxxxxxx";
    EXPECT_FALSE(CFStringGetCString(CFSTR("four"), buffer, 4, kCFStringEncodingASCII));
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(buffer[1], 'x');
    EXPECT_TRUE(CFStringGetCString(CFSTR("four"), buffer, 5, kCFStringEncodingASCII));
    EXPECT_STREQ(buffer, "four");
    EXPECT_EQ(buffer[5], 'x');
    EXPECT_FALSE(CFStringGetCString(CFSTR("four"), buffer, 0, kCFStringEncodingASCII));
    EXPECT_FALSE(CFStringGetCString(CFSTR("four"), buffer, -1, kCFStringEncodingASCII));
    EXPECT_FALSE(CFStringGetCString(CFSTR("four"), nullptr, 8, kCFStringEncodingASCII));
    EXPECT_STREQ(buffer, "four");
    EXPECT_FALSE(CFStringGetCString(nullptr, buffer, 8, kCFStringEncodingASCII));
    EXPECT_STREQ(buffer, "");
}

TEST(CFStringTest, WhatTheEncodingLacksIsNotRead) {
    const CFStringRef string = CFSTR("caf\u00E9");
    char buffer[16];
    EXPECT_EQ(CFStringGetCStringPtr(string, kCFStringEncodingASCII), nullptr);
    EXPECT_FALSE(CFStringGetCString(string, buffer, 16, kCFStringEncodingASCII));
    EXPECT_FALSE(CFStringGetCString(string, buffer, 16, 0xFFFF));
    EXPECT_TRUE(CFStringGetCString(string, buffer, 16, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "caf\xC3\xA9");
    EXPECT_EQ(CFStringGetLength(string), 4);
}

TEST(CFStringTest, MaximumSizeHoldsTheLongestString) {
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(5, kCFStringEncodingASCII), 5);
    // Five code units of three bytes each.
    EXPECT_GE(CFStringGetMaximumSizeForEncoding(5, kCFStringEncodingUTF8), 15);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(-1, kCFStringEncodingUTF8), kCFNotFound);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(5, 0xFFFF), kCFNotFound);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(std::numeric_limits<CFIndex>::max(),
                                                kCFStringEncodingUTF8),
              kCFNotFound);
}

TEST(CFStringTest, ACharacterOutOfRangeIsZero) {
    EXPECT_EQ(CFStringGetCharacterAtIndex(CFSTR("ab"), 1), 'b');
    EXPECT_EQ(CFStringGetCharacterAtIndex(CFSTR("ab"), 2), 0);
    EXPECT_EQ(CFStringGetCharacterAtIndex(CFSTR("ab"), -1), 0);
    EXPECT_EQ(CFStringGetCharacterAtIndex(nullptr, 0), 0);
}

TEST(CFStringTest, ACopyIsTheSameStringWithOneOwnerMore) {
    const auto string = MakeString("a");
    const CFOwner copy(CFStringCreateCopy(nullptr, string));
    EXPECT_TRUE(CFEqual(copy, string));
    EXPECT_EQ(CFGetRetainCount(string), 2);
}

TEST(CFStringTest, CompareGoesByCodeUnits) {
    const auto compare = [](const char* first, const char* second, CFStringCompareFlags options) {
        return CFStringCompare(MakeString(first), MakeString(second), options);
    };
    EXPECT_EQ(compare("a", "b", 0), kCFCompareLessThan);
    EXPECT_EQ(compare("b", "a", 0), kCFCompareGreaterThan);
    EXPECT_EQ(compare("a", "a", 0), kCFCompareEqualTo);
    EXPECT_EQ(compare("a", "aa", 0), kCFCompareLessThan);
    EXPECT_EQ(compare("aa", "a", 0), kCFCompareGreaterThan);
    EXPECT_EQ(compare("B", "a", 0), kCFCompareLessThan);
    EXPECT_EQ(compare("B", "a", kCFCompareCaseInsensitive), kCFCompareGreaterThan);
    EXPECT_EQ(compare("Tempo", "tEMPO", kCFCompareCaseInsensitive), kCFCompareEqualTo);
    EXPECT_EQ(compare("[", "{", kCFCompareCaseInsensitive), kCFCompareLessThan);
    // In UTF-16 a surrogate pair comes before U+FFFF, in UTF-8 after it.
    EXPECT_EQ(compare("\xF0\x90\x80\x80", "\xEF\xBF\xBF", 0), kCFCompareLessThan);
    EXPECT_EQ(CFStringCompare(nullptr, CFSTR(""), 0), kCFCompareLessThan);
    EXPECT_EQ(CFStringCompare(CFSTR(""), nullptr, 0), kCFCompareGreaterThan);
    EXPECT_EQ(CFStringCompare(nullptr, nullptr, 0), kCFCompareEqualTo);
}

TEST(CFStringTest, PrefixesAreFound) {
    EXPECT_TRUE(CFStringHasPrefix(CFSTR("beat data"), CFSTR("beat")));
    EXPECT_TRUE(CFStringHasPrefix(CFSTR("beat data"), CFSTR("")));
    EXPECT_FALSE(CFStringHasPrefix(CFSTR("beat data"), CFSTR("data")));
    EXPECT_FALSE(CFStringHasPrefix(CFSTR("beat"), CFSTR("beat data")));
    EXPECT_FALSE(CFStringHasPrefix(nullptr, CFSTR("")));
}

} // namespace
} // namespace qel::platform
