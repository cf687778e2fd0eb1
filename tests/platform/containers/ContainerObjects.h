// Objects that the tests of the containers make, and what they put into them.
#pragma once

#include "tests/harness/CFOwner.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

namespace qel::platform {

using test::CFOwner;
using test::MakeString;
using test::ToText;

inline CFOwner<CFNumberRef> MakeNumber(double value) {
    return CFOwner(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &value));
}

inline CFOwner<CFNumberRef> MakeNumber(SInt64 value) {
    return CFOwner(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

inline CFOwner<CFMutableArrayRef> MakeArray() {
    return CFOwner(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
}

inline CFOwner<CFMutableDictionaryRef> MakeDictionary() {
    return CFOwner(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                             &kCFTypeDictionaryValueCallBacks));
}

// A pointer that is no object, for containers without callbacks.
inline const void* Token(std::uintptr_t value) {
    return reinterpret_cast<const void*>(value);
}

} // namespace qel::platform
