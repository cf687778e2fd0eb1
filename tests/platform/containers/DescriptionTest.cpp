#include "ContainerObjects.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace qel::platform {
namespace {

std::string DescriptionOf(CFTypeRef object) {
    return ToText(CFOwner(CFCopyDescription(object)));
}

TEST(DescriptionTest, ValuesReadAsInJSON) {
    EXPECT_EQ(DescriptionOf(CFSTR("a \"b\" \\ \n \x01 \u00E9")),
              "\"a \\\"b\\\" \\\\ \\n \\u0001 \xC3\xA9\"");
    EXPECT_EQ(DescriptionOf(MakeNumber(SInt64{-7})), "-7");
    EXPECT_EQ(DescriptionOf(MakeNumber(0.1)), "0.1");
    EXPECT_EQ(DescriptionOf(kCFBooleanTrue), "true");
    EXPECT_EQ(DescriptionOf(kCFBooleanFalse), "false");
    EXPECT_EQ(DescriptionOf(kCFNull), "null");
}

TEST(DescriptionTest, AFloatReadsWithItsOwnDigits) {
    const float tenth = 0.1f;
    EXPECT_EQ(DescriptionOf(CFOwner(CFNumberCreate(nullptr, kCFNumberFloat32Type, &tenth))), "0.1");
    EXPECT_EQ(DescriptionOf(MakeNumber(1.0 / 3.0)), "0.3333333333333333");
    EXPECT_EQ(DescriptionOf(MakeNumber(-INFINITY)), "-inf");
    EXPECT_EQ(DescriptionOf(kCFNumberNaN), "nan");
}

TEST(DescriptionTest, DataLocationsAndIdentifiersAreReadable) {
    const UInt8 bytes[] = {0x00, 0xAB, 0x7F};
    EXPECT_EQ(DescriptionOf(CFOwner(CFDataCreate(nullptr, bytes, 3))), "<00ab7f>");
    const CFOwner base(CFURLCreateWithString(nullptr, CFSTR("file:///m/"), nullptr));
    EXPECT_EQ(DescriptionOf(base), "<file:///m/>");
    EXPECT_EQ(DescriptionOf(CFOwner(CFURLCreateWithString(nullptr, CFSTR("a.wav"), base))),
              "<a.wav> relative to <file:///m/>");
    EXPECT_EQ(DescriptionOf(CFOwner(CFUUIDCreateFromUUIDBytes(nullptr, CFUUIDBytes{}))),
              "00000000-0000-0000-0000-000000000000");
}

TEST(DescriptionTest, ShortContainersStandOnOneLine) {
    const auto array = MakeArray();
    EXPECT_EQ(DescriptionOf(array), "[]");
    CFArrayAppendValue(array, CFSTR(""));
    CFArrayAppendValue(array, MakeNumber(SInt64{2}));
    CFArrayAppendValue(array, nullptr);
    EXPECT_EQ(DescriptionOf(array), "[\"\", 2, null]");
    const auto dictionary = MakeDictionary();
    EXPECT_EQ(DescriptionOf(dictionary), "{}");
    CFDictionarySetValue(dictionary, CFSTR("list"), array);
    CFDictionarySetValue(dictionary, CFSTR("truth"), kCFBooleanTrue);
    EXPECT_EQ(DescriptionOf(dictionary), "{\"list\": [\"\", 2, null], \"truth\": true}");
}

TEST(DescriptionTest, LongContainersAreIndented) {
    const auto inner = MakeArray();
    CFArrayAppendValue(inner, MakeString(std::string(50, 'a')));
    CFArrayAppendValue(inner, MakeString(std::string(50, 'b')));
    const auto outer = MakeDictionary();
    CFDictionarySetValue(outer, CFSTR("list"), inner);
    CFDictionarySetValue(outer, CFSTR("n"), MakeNumber(SInt64{1}));
    EXPECT_EQ(DescriptionOf(outer), "{\n"
                                    "    \"list\": [\n"
                                    "        \"" +
                                        std::string(50, 'a') +
                                        "\",\n"
                                        "        \"" +
                                        std::string(50, 'b') +
                                        "\"\n"
                                        "    ],\n"
                                        "    \"n\": 1\n"
                                        "}");
}

CFStringRef CopyPlainText(const void* text) {
    return static_cast<CFStringRef>(CFRetain(text));
}

CFStringRef CopyNothing(const void*) {
    return nullptr;
}

TEST(DescriptionTest, EmptyDescriptionsKeepTheirSeparators) {
    CFArrayCallBacks callBacks = {};
    callBacks.copyDescription = CopyPlainText;
    const void* firstEmpty[] = {CFSTR(""), CFSTR("a")};
    EXPECT_EQ(DescriptionOf(CFOwner(CFArrayCreate(nullptr, firstEmpty, 2, &callBacks))), "[, a]");
    const void* allEmpty[] = {CFSTR(""), CFSTR(""), CFSTR("")};
    EXPECT_EQ(DescriptionOf(CFOwner(CFArrayCreate(nullptr, allEmpty, 3, &callBacks))), "[, , ]");
    const std::string longText(100, 'a');
    const auto longString = MakeString(longText);
    const void* thenLong[] = {CFSTR(""), longString};
    EXPECT_EQ(DescriptionOf(CFOwner(CFArrayCreate(nullptr, thenLong, 2, &callBacks))),
              "[\n    ,\n    " + longText + "\n]");
}

TEST(DescriptionTest, AClientsFunctionMayHaveNothingToSay) {
    CFArrayCallBacks callBacks = {};
    callBacks.copyDescription = CopyNothing;
    const void* values[] = {Token(1), Token(2)};
    EXPECT_EQ(DescriptionOf(CFOwner(CFArrayCreate(nullptr, values, 2, &callBacks))),
              "[null, null]");
}

TEST(DescriptionTest, BarePointersReadAsAddresses) {
    const void* values[] = {Token(0x2A), nullptr};
    EXPECT_EQ(DescriptionOf(CFOwner(CFArrayCreate(nullptr, values, 2, nullptr))), "[0x2a, 0x0]");
}

} // namespace
} // namespace qel::platform
