// What happens when memory runs out: this program's operator new fails on demand, for the platform
// library as well.

#include "ContainerObjects.h"
#include "CountingCallBacks.h"
#include "tests/platform/FailingAllocation.h"

#include <gtest/gtest.h>

#include <functional>

namespace qel::platform {
namespace {

using qel::testing::gAllocationsLeft;
using qel::testing::gOnlyOneFails;

// Runs `make` with room for 0, 1, 2... allocations until it makes an object. Before that, each
// run must answer null. Returns the number of runs that did.
int FailuresBeforeSuccess(const std::function<CFTypeRef()>& make) {
    for (int allocations = 0; allocations < 100; ++allocations) {
        gAllocationsLeft = allocations;
        const CFTypeRef object = make();
        gAllocationsLeft = -1;
        if (object != nullptr) {
            CFRelease(object);
            return allocations;
        }
    }
    return -1;
}

const std::string kLongText(1000, 'x');

TEST(ContainersMemoryTest, MakingAnObjectAnswersNull) {
    const double value = 1.0;
    EXPECT_GE(FailuresBeforeSuccess(
                  [&value] { return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value); }),
              1);
    // The text and the object.
    EXPECT_GE(FailuresBeforeSuccess([] {
                  return CFStringCreateWithCString(nullptr, kLongText.c_str(),
                                                   kCFStringEncodingASCII);
              }),
              2);
    EXPECT_GE(FailuresBeforeSuccess([] {
                  return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(kLongText.data()),
                                      static_cast<CFIndex>(kLongText.size()));
              }),
              2);
    const auto text = MakeString(kLongText);
    EXPECT_GE(FailuresBeforeSuccess([&text] { return CFCopyDescription(text); }), 2);
}

// The text that CFCopyDescription answers as soon as it answers at all, while its first, second,
// third... allocation fails, and no other: the failure may lie deep inside.
std::string FirstDescription(CFTypeRef object) {
    std::string text;
    gOnlyOneFails = true;
    const int failures = FailuresBeforeSuccess([object, &text] {
        const CFStringRef description = CFCopyDescription(object);
        if (description != nullptr) {
            gAllocationsLeft = -1;
            text = ToText(description);
        }
        return description;
    });
    gOnlyOneFails = false;
    // At the least the text and its object fail.
    EXPECT_GE(failures, 2);
    return text;
}

TEST(ContainersMemoryTest, ADescriptionIsWholeOrNull) {
    // Texts too long for a string's own room, so that each takes memory.
    const auto array = MakeArray();
    const auto inner = MakeArray();
    CFArrayAppendValue(inner, MakeString("the first text of an inner array"));
    CFArrayAppendValue(inner, MakeNumber(SInt64{2}));
    CFArrayAppendValue(array, inner);
    CFArrayAppendValue(array, nullptr);
    EXPECT_EQ(FirstDescription(array), "[[\"the first text of an inner array\", 2], null]");

    const auto dictionary = MakeDictionary();
    CFDictionarySetValue(dictionary, CFSTR("a key of the outer dictionary"), array);
    CFDictionarySetValue(dictionary, CFSTR("truth"), kCFBooleanTrue);
    EXPECT_EQ(FirstDescription(dictionary),
              "{\n"
              "    \"a key of the outer dictionary\": [[\"the first text of an inner array\", 2], "
              "null],\n"
              "    \"truth\": true\n"
              "}");
}

TEST(ContainersMemoryTest, AFailedCopyRetainsNothing) {
    const Counted value(1);
    const CFOwner array(CFArrayCreateMutable(nullptr, 0, &kCountedArrayCallBacks));
    CFArrayAppendValue(array, &value);
    const CFOwner dictionary(
        CFDictionaryCreateMutable(nullptr, 0, &kCountedKeyCallBacks, &kCountedValueCallBacks));
    CFDictionaryAddValue(dictionary, &value, &value);
    EXPECT_GE(FailuresBeforeSuccess([&array] { return CFArrayCreateCopy(nullptr, array); }), 2);
    EXPECT_GE(FailuresBeforeSuccess(
                  [&dictionary] { return CFDictionaryCreateCopy(nullptr, dictionary); }),
              2);
    EXPECT_EQ(value.owners, 3);
}

TEST(ContainersMemoryTest, AFailedChangeLeavesTheContainerAsItWas) {
    const Counted value(1);
    const CFOwner array(CFArrayCreateMutable(nullptr, 0, &kCountedArrayCallBacks));
    const CFOwner dictionary(
        CFDictionaryCreateMutable(nullptr, 0, &kCountedKeyCallBacks, &kCountedValueCallBacks));
    gAllocationsLeft = 0;
    EXPECT_THROW(CFArrayAppendValue(array, &value), std::bad_alloc);
    EXPECT_THROW(CFDictionarySetValue(dictionary, &value, &value), std::bad_alloc);
    gAllocationsLeft = -1;
    EXPECT_EQ(value.retains, 0);
    EXPECT_EQ(CFArrayGetCount(array), 0);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
    CFArrayAppendValue(array, &value);
    CFDictionarySetValue(dictionary, &value, &value);
    EXPECT_EQ(value.owners, 3);
}

TEST(ContainersMemoryTest, AConstantIsMadeWhenMemoryIsBack) {
    for (int allocations = 0; allocations < 3; ++allocations) {
        gAllocationsLeft = allocations;
        EXPECT_THROW(__CFStringMakeConstantString(kLongText.c_str()), std::bad_alloc);
        gAllocationsLeft = -1;
    }
    EXPECT_EQ(ToText(__CFStringMakeConstantString(kLongText.c_str())), kLongText);
}

} // namespace
} // namespace qel::platform
