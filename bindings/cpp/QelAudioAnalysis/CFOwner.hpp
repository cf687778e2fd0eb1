// Scoped ownership of containers, and strings to and from them.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <QelAudioAnalysis/Error.hpp>

#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qel::detail {

// Owns one reference to a container. Move only.
template <class Ref>
class CFOwner {
public:
    CFOwner() = default;
    explicit CFOwner(Ref ref) noexcept : mRef(ref) {}
    CFOwner(CFOwner&& other) noexcept : mRef(std::exchange(other.mRef, nullptr)) {}
    CFOwner& operator=(CFOwner&& other) noexcept {
        std::swap(mRef, other.mRef);
        return *this;
    }
    ~CFOwner() {
        if (mRef) {
            CFRelease(mRef);
        }
    }

    Ref get() const noexcept { return mRef; }

private:
    Ref mRef = nullptr;
};

// Throws std::bad_alloc if the container could not be made.
template <class Ref>
CFOwner<Ref> own(Ref ref) {
    if (!ref) {
        throw std::bad_alloc();
    }
    return CFOwner<Ref>(ref);
}

// Throws kAudioAnalysisErr_UnknownProperty for text that is not UTF-8, because all names are.
inline CFOwner<CFStringRef> makeString(std::string_view text) {
    const CFStringRef string =
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
    if (!string) {
        throw Error(kAudioAnalysisErr_UnknownProperty, "name that is not UTF-8 text");
    }
    return CFOwner<CFStringRef>(string);
}

inline CFOwner<CFMutableArrayRef> makeArray() {
    return own(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
}

inline std::string textOf(CFStringRef string) {
    // A UTF-16 unit takes at most three bytes of UTF-8, and the terminator one.
    const CFIndex capacity = 3 * CFStringGetLength(string) + 1;
    std::string text(static_cast<std::size_t>(capacity), '\0');
    if (!CFStringGetCString(string, text.data(), capacity, kCFStringEncodingUTF8)) {
        return {};
    }
    text.resize(text.find('\0'));
    return text;
}

inline std::vector<std::string> textsOf(CFArrayRef array) {
    std::vector<std::string> texts;
    const CFIndex count = CFArrayGetCount(array);
    texts.reserve(static_cast<std::size_t>(count));
    for (CFIndex i = 0; i < count; ++i) {
        texts.push_back(textOf(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array, i))));
    }
    return texts;
}

} // namespace qel::detail
