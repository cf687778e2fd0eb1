// The published functions of strings.

#include "platform/containers/CFString.h"
#include "platform/containers/ConstantStrings.h"

#include <algorithm>
#include <cstring>

using qel::platform::CastTo;
using qel::platform::CFString;
using qel::platform::Reference;

namespace {

CFStringRef NewString(std::string_view bytes, CFStringEncoding encoding) {
    return qel::platform::NullWithoutMemory([bytes, encoding] {
        return Reference<CFStringRef>(CFString::Create(bytes, encoding).release());
    });
}

char16_t LowerCase(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit - u'A' + u'a') : unit;
}

} // namespace

CFTypeID CFStringGetTypeID(void) {
    return TypeID(CFString::kType);
}

CFStringRef __CFStringMakeConstantString(const char* literal) {
    if (literal == nullptr) {
        return nullptr;
    }
    return Reference<CFStringRef>(qel::platform::ConstantStrings::Shared().Find(literal));
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* cString,
                                      CFStringEncoding encoding) {
    return cString == nullptr ? nullptr : NewString(cString, encoding);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
    if (count < 0 || (bytes == nullptr && count > 0)) {
        return nullptr;
    }
    std::string_view content;
    if (count > 0) {
        content = {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count)};
    }
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (isExternalRepresentation && encoding == kCFStringEncodingUTF8 &&
        content.starts_with(kByteOrderMark)) {
        content.remove_prefix(kByteOrderMark.size());
    }
    return NewString(content, encoding);
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef string) {
    const auto* object = CastTo<CFString>(string);
    if (object == nullptr) {
        return nullptr;
    }
    object->Retain();
    return string;
}

CFIndex CFStringGetLength(CFStringRef string) {
    const auto* object = CastTo<CFString>(string);
    return object == nullptr ? 0 : static_cast<CFIndex>(object->Length());
}

UniChar CFStringGetCharacterAtIndex(CFStringRef string, CFIndex index) {
    if (index < 0 || index >= CFStringGetLength(string)) {
        return 0;
    }
    return CastTo<CFString>(string)->Unit(static_cast<std::size_t>(index));
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize,
                           CFStringEncoding encoding) {
    if (buffer == nullptr || bufferSize <= 0) {
        return false;
    }
    buffer[0] = 0;
    const auto* object = CastTo<CFString>(string);
    if (object == nullptr || !object->FitsInto(encoding) ||
        object->UTF8().size() >= static_cast<std::size_t>(bufferSize)) {
        return false;
    }
    std::memcpy(buffer, object->UTF8().c_str(), object->UTF8().size() + 1);
    return true;
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding) {
    const auto* object = CastTo<CFString>(string);
    if (object == nullptr || !object->FitsInto(encoding) ||
        object->UTF8().find('\0') != std::string::npos) {
        return nullptr;
    }
    return object->UTF8().c_str();
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
    // A code unit takes at most three bytes; the two of a surrogate pair take four together.
    constexpr CFIndex kBytesPerUnit = 3;
    if (length < 0) {
        return kCFNotFound;
    }
    if (encoding == kCFStringEncodingASCII) {
        return length;
    }
    if (encoding != kCFStringEncodingUTF8 ||
        length > std::numeric_limits<CFIndex>::max() / kBytesPerUnit) {
        return kCFNotFound;
    }
    return length * kBytesPerUnit;
}

CFComparisonResult CFStringCompare(CFStringRef first, CFStringRef second,
                                   CFStringCompareFlags options) {
    const auto* one = CastTo<CFString>(first);
    const auto* other = CastTo<CFString>(second);
    if (one == nullptr || other == nullptr) {
        return static_cast<CFIndex>(one != nullptr) - static_cast<CFIndex>(other != nullptr);
    }
    const bool foldCase = (options & kCFCompareCaseInsensitive) != 0;
    const std::size_t shared = std::min(one->Length(), other->Length());
    for (std::size_t i = 0; i < shared; ++i) {
        const char16_t left = foldCase ? LowerCase(one->Unit(i)) : one->Unit(i);
        const char16_t right = foldCase ? LowerCase(other->Unit(i)) : other->Unit(i);
        if (left != right) {
            return left < right ? kCFCompareLessThan : kCFCompareGreaterThan;
        }
    }
    if (one->Length() == other->Length()) {
        return kCFCompareEqualTo;
    }
    return one->Length() < other->Length() ? kCFCompareLessThan : kCFCompareGreaterThan;
}

Boolean CFStringHasPrefix(CFStringRef string, CFStringRef prefix) {
    const auto* object = CastTo<CFString>(string);
    const auto* beginning = CastTo<CFString>(prefix);
    return object != nullptr && beginning != nullptr &&
           object->UTF8().starts_with(beginning->UTF8());
}
