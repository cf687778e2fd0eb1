// CoreFoundation objects that a test owns.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <utility>

namespace qel::test {

// One reference to an object, given back when the owner goes.
template <typename Ref>
class CFOwner {
public:
    explicit CFOwner(Ref object = nullptr) : mObject(object) {}
    ~CFOwner() {
        if (mObject != nullptr) {
            CFRelease(mObject);
        }
    }
    CFOwner(CFOwner&& other) noexcept : mObject(std::exchange(other.mObject, nullptr)) {}
    CFOwner(const CFOwner&) = delete;
    CFOwner& operator=(const CFOwner&) = delete;
    CFOwner& operator=(CFOwner&&) = delete;

    Ref Get() const { return mObject; }
    operator Ref() const { return mObject; } // NOLINT: a test reads better without calls to Get

private:
    Ref mObject;
};

// A new string object on every call, so that equal keys never share a pointer.
inline CFOwner<CFStringRef> MakeString(const std::string& utf8) {
    return CFOwner<CFStringRef>(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(utf8.data()),
                                static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

inline std::string ToText(CFStringRef string) {
    const char* text = CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
    return text == nullptr ? "(no text)" : text;
}

} // namespace qel::test
