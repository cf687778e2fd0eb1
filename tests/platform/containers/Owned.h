#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <string>
#include <utility>

namespace qel::platform {

// Holds the caller's reference to an object during a test, and gives it back at the end.
template <typename Ref>
class Owned {
public:
    explicit Owned(Ref object) : mObject(object) {}
    Owned(Owned&& other) noexcept : mObject(std::exchange(other.mObject, nullptr)) {}
    Owned& operator=(Owned&&) = delete;
    ~Owned() { CFRelease(mObject); }

    operator Ref() const { return mObject; } // NOLINT: a test reads better without calls to get

private:
    Ref mObject;
};

inline Owned<CFStringRef> MakeString(const std::string& utf8) {
    return Owned(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(utf8.data()),
                                static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

inline Owned<CFNumberRef> MakeNumber(double value) {
    return Owned(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &value));
}

inline Owned<CFNumberRef> MakeNumber(SInt64 value) {
    return Owned(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

inline Owned<CFMutableArrayRef> MakeArray() {
    return Owned(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
}

inline Owned<CFMutableDictionaryRef> MakeDictionary() {
    return Owned(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                           &kCFTypeDictionaryValueCallBacks));
}

// The content of a string in UTF-8.
inline std::string TextOf(CFStringRef string) {
    const char* text = CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
    return text == nullptr ? "(no text)" : text;
}

// A pointer that is no object, for containers without callbacks.
inline const void* Token(std::uintptr_t value) {
    return reinterpret_cast<const void*>(value);
}

} // namespace qel::platform
