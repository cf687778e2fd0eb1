#include "support/containers/CACFDictionary.h"

#include "support/containers/CACFArray.h"

namespace qel::core {

CACFDictionary::CACFDictionary(CFAllocatorRef allocator, bool release)
    : CACFReference(
          MadeOrThrow(CFDictionaryCreateMutable(allocator, 0, &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks)),
          release),
      mMutable(true) {}

CACFDictionary& CACFDictionary::operator=(const CACFDictionary& other) {
    CACFReference::operator=(other);
    mMutable = false;
    return *this;
}

CACFDictionary& CACFDictionary::operator=(CFDictionaryRef dictionary) {
    Share(dictionary);
    mMutable = false;
    return *this;
}

CFTypeRef CACFDictionary::Item(CFStringRef key) const {
    return Object() != nullptr && key != nullptr ? CFDictionaryGetValue(Object(), key) : nullptr;
}

UInt32 CACFDictionary::Size() const {
    return Object() != nullptr ? static_cast<UInt32>(CFDictionaryGetCount(Object())) : 0;
}

bool CACFDictionary::HasKey(CFStringRef key) const {
    return Object() != nullptr && key != nullptr && CFDictionaryContainsKey(Object(), key) != 0;
}

void CACFDictionary::GetKeys(const void** keys) const {
    if (Object() != nullptr) {
        CFDictionaryGetKeysAndValues(Object(), keys, nullptr);
    }
}

bool CACFDictionary::AddCFType(CFStringRef key, CFTypeRef value) {
    if (Object() == nullptr || !mMutable || key == nullptr || value == nullptr) {
        return false;
    }
    // A mutable wrapper's object was made, or given, as a mutable dictionary.
    CFDictionarySetValue(const_cast<CFMutableDictionaryRef>(Object()), key, value);
    return true;
}

bool CACFDictionary::AddCString(CFStringRef key, const char* value) {
    return AddCFType(key, CACFString(value).GetCFString());
}

bool CACFDictionary::AddCFTypeWithCStringKey(const char* key, CFTypeRef value) {
    return AddCFType(CACFString(key).GetCFString(), value);
}

bool CACFDictionary::GetCFType(CFStringRef key, CFTypeRef& out) const {
    const CFTypeRef item = Item(key);
    if (item == nullptr) {
        return false;
    }
    out = item;
    return true;
}

bool CACFDictionary::GetCFTypeWithCStringKey(const char* key, CFTypeRef& out) const {
    return GetCFType(CACFString(key).GetCFString(), out);
}

bool CACFDictionary::GetFixed64(CFStringRef key, Float64& out) const {
    SInt64 fixed = 0;
    if (!GetSInt64(key, fixed)) {
        return false;
    }
    out = static_cast<Float64>(fixed) / 4294967296.0; // 2^32
    return true;
}

bool CACFDictionary::GetCACFString(CFStringRef key, CACFString& out) const {
    return detail::ReadWrappedString(Item(key), out);
}

bool CACFDictionary::GetCACFArray(CFStringRef key, CACFArray& out) const {
    return detail::ReadWrapped<CFArrayRef>(Item(key), out);
}

bool CACFDictionary::GetCACFDictionary(CFStringRef key, CACFDictionary& out) const {
    return detail::ReadWrapped<CFDictionaryRef>(Item(key), out);
}

} // namespace qel::core
