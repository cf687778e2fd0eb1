#include "ContainerObjects.h"
#include "CountingCallBacks.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

namespace qel::platform {
namespace {

TEST(CFObjectTest, NullIsAcceptedByEveryFunctionOfAllObjects) {
    EXPECT_EQ(CFRetain(nullptr), nullptr);
    CFRelease(nullptr);
    EXPECT_EQ(CFGetRetainCount(nullptr), 0);
    EXPECT_EQ(CFGetTypeID(nullptr), 0u);
    EXPECT_EQ(CFHash(nullptr), 0u);
    EXPECT_TRUE(CFEqual(nullptr, nullptr));
    EXPECT_FALSE(CFEqual(nullptr, CFSTR("a")));
    EXPECT_FALSE(CFEqual(CFSTR("a"), nullptr));
    EXPECT_EQ(CFCopyDescription(nullptr), nullptr);
    EXPECT_EQ(CFGetAllocator(nullptr), nullptr);
}

TEST(CFObjectTest, RetainAndReleaseCount) {
    const auto number = MakeNumber(1.5);
    EXPECT_EQ(CFGetRetainCount(number), 1);
    EXPECT_EQ(CFRetain(number), static_cast<CFTypeRef>(static_cast<CFNumberRef>(number)));
    EXPECT_EQ(CFGetRetainCount(number), 2);
    CFRelease(number);
    EXPECT_EQ(CFGetRetainCount(number), 1);
}

TEST(CFObjectTest, ConstantsOutliveAnyNumberOfReleases) {
    for (const CFTypeRef constant :
         {CFTypeRef{kCFBooleanTrue}, CFTypeRef{kCFNull}, CFTypeRef{kCFNumberNaN},
          CFTypeRef{CFSTR("constant")}, CFTypeRef{kCFAllocatorSystemDefault}}) {
        for (int i = 0; i < 5; ++i) {
            CFRelease(constant);
        }
        EXPECT_EQ(CFRetain(constant), constant);
        EXPECT_EQ(CFGetRetainCount(constant), std::numeric_limits<CFIndex>::max());
    }
}

TEST(CFObjectTest, TypesHaveDistinctIdsAndNames) {
    const CFTypeID ids[] = {CFAllocatorGetTypeID(), CFNullGetTypeID(),       CFStringGetTypeID(),
                            CFArrayGetTypeID(),     CFDictionaryGetTypeID(), CFNumberGetTypeID(),
                            CFBooleanGetTypeID(),   CFDataGetTypeID(),       CFURLGetTypeID(),
                            CFUUIDGetTypeID()};
    const char* const names[] = {"CFAllocator", "CFNull",    "CFString", "CFArray", "CFDictionary",
                                 "CFNumber",    "CFBoolean", "CFData",   "CFURL",   "CFUUID"};
    EXPECT_EQ(std::set<CFTypeID>(std::begin(ids), std::end(ids)).size(), std::size(ids));
    for (std::size_t i = 0; i < std::size(ids); ++i) {
        EXPECT_NE(ids[i], 0u);
        EXPECT_EQ(ToText(CFOwner(CFCopyTypeIDDescription(ids[i]))), names[i]);
    }
}

TEST(CFObjectTest, AnIdOfNoTypeHasNoName) {
    EXPECT_EQ(CFCopyTypeIDDescription(0), nullptr);
    EXPECT_EQ(CFCopyTypeIDDescription(1000), nullptr);
    // Equal to the id of strings in the low 32 bits.
    EXPECT_EQ(CFCopyTypeIDDescription(CFStringGetTypeID() + (CFTypeID{1} << 32)), nullptr);
}

TEST(CFObjectTest, ObjectsKnowTheirType) {
    const auto array = MakeArray();
    const auto dictionary = MakeDictionary();
    EXPECT_EQ(CFGetTypeID(array), CFArrayGetTypeID());
    EXPECT_EQ(CFGetTypeID(dictionary), CFDictionaryGetTypeID());
    EXPECT_EQ(CFGetTypeID(CFSTR("a")), CFStringGetTypeID());
    EXPECT_EQ(CFGetTypeID(MakeNumber(1.0)), CFNumberGetTypeID());
    EXPECT_EQ(CFGetTypeID(kCFBooleanFalse), CFBooleanGetTypeID());
    EXPECT_EQ(CFGetTypeID(kCFNull), CFNullGetTypeID());
    EXPECT_EQ(CFGetTypeID(kCFAllocatorMalloc), CFAllocatorGetTypeID());
}

TEST(CFObjectTest, ObjectsOfDifferentTypesAreNotEqual) {
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, MakeNumber(SInt64{1})));
    EXPECT_FALSE(CFEqual(CFSTR("1"), MakeNumber(SInt64{1})));
    EXPECT_FALSE(CFEqual(MakeArray(), MakeDictionary()));
}

TEST(CFObjectTest, AnyAllocatorMayBeNamed) {
    EXPECT_EQ(kCFAllocatorDefault, nullptr);
    EXPECT_EQ(CFAllocatorGetDefault(), kCFAllocatorSystemDefault);
    const float value = 1.0f;
    const UInt8 byte = 1;
    for (const CFAllocatorRef allocator :
         {kCFAllocatorDefault, kCFAllocatorSystemDefault, kCFAllocatorMalloc}) {
        const CFOwner number(CFNumberCreate(allocator, kCFNumberFloat32Type, &value));
        const CFOwner string(CFStringCreateWithCString(allocator, "a", kCFStringEncodingASCII));
        const CFOwner data(CFDataCreate(allocator, &byte, 1));
        const CFOwner array(CFArrayCreateMutable(allocator, 1, &kCFTypeArrayCallBacks));
        const CFOwner dictionary(CFDictionaryCreateMutable(
            allocator, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
        CFArrayAppendValue(array, number);
        CFDictionaryAddValue(dictionary, string, data);
        EXPECT_EQ(CFArrayGetValueAtIndex(array, 0), static_cast<CFNumberRef>(number));
        EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("a")), static_cast<CFDataRef>(data));
        EXPECT_EQ(CFGetAllocator(array), kCFAllocatorSystemDefault);
    }
}

TEST(CFObjectTest, CallbacksReceiveTheAllocatorOfTheirContainer) {
    const Counted value(1);
    const CFOwner array(CFArrayCreateMutable(kCFAllocatorMalloc, 0, &kCountedArrayCallBacks));
    CFArrayAppendValue(array, &value);
    EXPECT_EQ(value.allocator, kCFAllocatorMalloc);
}

TEST(CFObjectTest, BooleansAndNullReadBack) {
    EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
    EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
    EXPECT_FALSE(CFBooleanGetValue(nullptr));
    EXPECT_TRUE(CFEqual(kCFBooleanTrue, kCFBooleanTrue));
    EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
    EXPECT_NE(CFHash(kCFBooleanTrue), CFHash(kCFBooleanFalse));
    EXPECT_TRUE(CFEqual(kCFNull, kCFNull));
}

// One object of each type, passed where another type is expected.
TEST(CFObjectTest, AnObjectOfAnotherTypeGetsTheAnswerOfNone) {
    const auto array = MakeArray();
    const CFTypeRef number = kCFNumberPositiveInfinity;
    EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(number)), 0);
    EXPECT_EQ(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(number), 0), nullptr);
    EXPECT_EQ(CFArrayCreateCopy(nullptr, static_cast<CFArrayRef>(number)), nullptr);
    EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(number)), 0);
    EXPECT_FALSE(CFDictionaryContainsKey(static_cast<CFDictionaryRef>(number), number));
    EXPECT_EQ(CFDictionaryCreateCopy(nullptr, static_cast<CFDictionaryRef>(number)), nullptr);
    EXPECT_EQ(CFStringGetLength(static_cast<CFStringRef>(number)), 0);
    EXPECT_EQ(CFStringGetCStringPtr(static_cast<CFStringRef>(number), kCFStringEncodingUTF8),
              nullptr);
    EXPECT_EQ(CFStringCreateCopy(nullptr, static_cast<CFStringRef>(number)), nullptr);
    EXPECT_EQ(CFDataGetLength(static_cast<CFDataRef>(number)), 0);
    EXPECT_FALSE(CFBooleanGetValue(static_cast<CFBooleanRef>(number)));
    const CFTypeRef other = static_cast<CFMutableArrayRef>(array);
    EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(other)), 0);
    float value = 7.0f;
    EXPECT_FALSE(CFNumberGetValue(static_cast<CFNumberRef>(other), kCFNumberFloat32Type, &value));
    EXPECT_EQ(value, 7.0f);
}

} // namespace
} // namespace qel::platform
