#pragma once

#include <CoreFoundation/CoreFoundation.h>

namespace qel::core::detail {

// Reading one member of a container as a given type, the same for arrays and dictionaries: false,
// with `out` untouched, if the member is missing or is an object of another type. A number counts
// as each of the number types and is converted, to the nearest value where it does not fit; the
// unsigned types take the low bits of the 64-bit integer. A number is a bool too: nonzero is true.

template <class Number, class Stored = Number>
bool ReadNumber(CFTypeRef item, CFNumberType storedType, Number& out) {
    if (item == nullptr || CFGetTypeID(item) != CFNumberGetTypeID()) {
        return false;
    }
    Stored value{};
    // False for a conversion that is not exact, which is no failure here.
    CFNumberGetValue(static_cast<CFNumberRef>(item), storedType, &value);
    out = static_cast<Number>(value);
    return true;
}

template <class Ref>
bool ReadObject(CFTypeRef item, CFTypeID type, Ref& out) {
    if (item == nullptr || CFGetTypeID(item) != type) {
        return false;
    }
    out = static_cast<Ref>(item);
    return true;
}

inline bool ReadItem(CFTypeRef item, SInt32& out) {
    return ReadNumber(item, kCFNumberSInt32Type, out);
}
inline bool ReadItem(CFTypeRef item, UInt32& out) {
    return ReadNumber<UInt32, SInt64>(item, kCFNumberSInt64Type, out);
}
inline bool ReadItem(CFTypeRef item, SInt64& out) {
    return ReadNumber(item, kCFNumberSInt64Type, out);
}
inline bool ReadItem(CFTypeRef item, UInt64& out) {
    return ReadNumber<UInt64, SInt64>(item, kCFNumberSInt64Type, out);
}
inline bool ReadItem(CFTypeRef item, Float32& out) {
    return ReadNumber(item, kCFNumberFloat32Type, out);
}
inline bool ReadItem(CFTypeRef item, Float64& out) {
    return ReadNumber(item, kCFNumberFloat64Type, out);
}
inline bool ReadItem(CFTypeRef item, CFStringRef& out) {
    return ReadObject(item, CFStringGetTypeID(), out);
}
inline bool ReadItem(CFTypeRef item, CFArrayRef& out) {
    return ReadObject(item, CFArrayGetTypeID(), out);
}
inline bool ReadItem(CFTypeRef item, CFDictionaryRef& out) {
    return ReadObject(item, CFDictionaryGetTypeID(), out);
}
inline bool ReadItem(CFTypeRef item, CFDataRef& out) {
    return ReadObject(item, CFDataGetTypeID(), out);
}
inline bool ReadItem(CFTypeRef item, CFUUIDRef& out) {
    return ReadObject(item, CFUUIDGetTypeID(), out);
}
inline bool ReadItem(CFTypeRef item, bool& out) {
    CFBooleanRef boolean = nullptr;
    if (ReadObject(item, CFBooleanGetTypeID(), boolean)) {
        out = CFBooleanGetValue(boolean) != 0;
        return true;
    }
    Float64 number = 0;
    if (!ReadItem(item, number)) {
        return false;
    }
    out = number != 0;
    return true;
}

// Reading into a wrapper. A container is shared as the wrapper's assignment does it; a string
// wrapper takes references over, so it is given one.
template <class Ref, class Wrapper>
bool ReadWrapped(CFTypeRef item, Wrapper& out) {
    Ref object = nullptr;
    if (!ReadItem(item, object)) {
        return false;
    }
    out = object;
    return true;
}

template <class Wrapper>
bool ReadWrappedString(CFTypeRef item, Wrapper& out) {
    CFStringRef string = nullptr;
    if (!ReadItem(item, string)) {
        return false;
    }
    CFRetain(string);
    out = string;
    return true;
}

} // namespace qel::core::detail
