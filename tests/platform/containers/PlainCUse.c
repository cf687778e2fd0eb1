#include "PlainCUse.h"

#include <CoreFoundation/CoreFoundation.h>

#include <string.h>

#define REQUIRE(condition)   \
    do {                     \
        if (!(condition)) {  \
            return __LINE__; \
        }                    \
    } while (0)

static int UseArray(void) {
    CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorDefault, 2, &kCFTypeArrayCallBacks);
    Float32 values[] = {0.5f, 1.5f, 2.5f};
    for (size_t i = 0; i < sizeof values / sizeof values[0]; ++i) {
        CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat32Type, &values[i]);
        CFArrayAppendValue(array, number);
        CFRelease(number);
    }
    REQUIRE(CFArrayGetCount(array) == 3);
    Float32 value = 0.0f;
    REQUIRE(CFNumberGetValue((CFNumberRef)CFArrayGetValueAtIndex(array, 2), kCFNumberFloat32Type,
                             &value));
    REQUIRE(value == 2.5f);
    REQUIRE(!CFArrayContainsValue(array, CFRangeMake(0, 3), kCFBooleanTrue));
    REQUIRE(CFArrayGetFirstIndexOfValue(array, CFRangeMake(0, 3), kCFNull) == kCFNotFound);
    CFRelease(array);
    return 0;
}

static void CountCall(const void* key, const void* value, void* context) {
    (void)key;
    (void)value;
    ++*(int*)context;
}

static int UseDictionary(void) {
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
        NULL, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    CFDictionarySetValue(dictionary, CFSTR("name"), CFSTR("song"));
    CFDictionarySetValue(dictionary, CFSTR("loud"), kCFBooleanTrue);
    CFStringRef name = (CFStringRef)CFDictionaryGetValue(dictionary, CFSTR("name"));
    REQUIRE(name == CFSTR("song"));
    char text[8];
    REQUIRE(CFStringGetCString(name, text, sizeof text, kCFStringEncodingASCII));
    REQUIRE(strcmp(text, "song") == 0);
    int calls = 0;
    CFDictionaryApplyFunction(dictionary, CountCall, &calls);
    REQUIRE(calls == 2);
    CFDictionaryRef copy = CFDictionaryCreateCopy(NULL, dictionary);
    REQUIRE(CFEqual(copy, dictionary));
    CFRelease(copy);
    CFRelease(dictionary);
    return 0;
}

int UseContainersFromC(void) {
    int failure = UseArray();
    return failure != 0 ? failure : UseDictionary();
}
