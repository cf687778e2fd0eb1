#pragma once

#include "support/containers/CACFNumber.h"
#include "support/containers/CACFReadItem.h"
#include "support/containers/CACFReference.h"
#include "support/containers/CACFString.h"

namespace qel::core {

class CACFArray;

// A CFDictionary of objects under string keys in a wrapper. The dictionary retains keys and values.
//
// Every operation that can fail answers false and changes nothing. Adding fails without a
// dictionary, with a wrapper that is not mutable, and with a null key or value; a key that is there
// already gets the new value. Reading fails without a dictionary, without the key, and if the value
// has another type; detail::ReadItem tells what counts as which type. Objects that are read out get
// no new reference.
class CACFDictionary : public CACFReference<CFDictionaryRef> {
public:
    // No dictionary, not mutable.
    CACFDictionary() = default;
    // A new mutable dictionary; a null allocator is the default one.
    explicit CACFDictionary(bool release)
        : CACFDictionary(CFAllocatorRef{kCFAllocatorDefault}, release) {}
    CACFDictionary(CFAllocatorRef allocator, bool release);
    // An existing dictionary, mutable through the wrapper if its type says so.
    CACFDictionary(CFDictionaryRef dictionary, bool release) : CACFReference(dictionary, release) {}
    CACFDictionary(CFMutableDictionaryRef dictionary, bool release)
        : CACFReference(dictionary, release), mMutable(true) {}
    CACFDictionary(const CACFDictionary&) = default;

    // Shares the dictionary, which this wrapper cannot change any more. Assignment from a bare
    // dictionary keeps the release flag, assignment from a wrapper takes the other's.
    CACFDictionary& operator=(const CACFDictionary& other);
    CACFDictionary& operator=(CFDictionaryRef dictionary);

    CFDictionaryRef GetCFDictionary() const { return Object(); }
    bool IsMutable() const { return mMutable; }

    UInt32 Size() const;
    bool HasKey(CFStringRef key) const;
    // Writes Size() keys.
    void GetKeys(const void** keys) const;

    bool AddCFType(CFStringRef key, CFTypeRef value);
    bool AddURL(CFStringRef key, CFURLRef value) { return AddCFType(key, value); }
    bool AddNumber(CFStringRef key, CFNumberRef value) { return AddCFType(key, value); }
    bool AddData(CFStringRef key, CFDataRef value) { return AddCFType(key, value); }
    bool AddDictionary(CFStringRef key, CFDictionaryRef value) { return AddCFType(key, value); }
    bool AddArray(CFStringRef key, CFArrayRef value) { return AddCFType(key, value); }
    bool AddString(CFStringRef key, CFStringRef value) { return AddCFType(key, value); }
    bool AddFloat64(CFStringRef key, Float64 value) {
        return AddCFType(key, CACFNumber(value).GetCFNumber());
    }
    bool AddFloat32(CFStringRef key, Float32 value) {
        return AddCFType(key, CACFNumber(value).GetCFNumber());
    }
    bool AddUInt64(CFStringRef key, UInt64 value) {
        return AddCFType(key, CACFNumber(value).GetCFNumber());
    }
    bool AddSInt64(CFStringRef key, SInt64 value) {
        return AddCFType(key, CACFNumber(value).GetCFNumber());
    }
    bool AddUInt32(CFStringRef key, UInt32 value) {
        return AddCFType(key, CACFNumber(value).GetCFNumber());
    }
    bool AddSInt32(CFStringRef key, SInt32 value) {
        return AddCFType(key, CACFNumber(value).GetCFNumber());
    }
    bool AddBool(CFStringRef key, bool value) {
        return AddCFType(key, CACFBoolean(value).GetCFBoolean());
    }
    // The C strings must be ASCII.
    bool AddCString(CFStringRef key, const char* value);
    bool AddCFTypeWithCStringKey(const char* key, CFTypeRef value);

    bool GetCFType(CFStringRef key, CFTypeRef& out) const;
    bool GetCFTypeWithCStringKey(const char* key, CFTypeRef& out) const;
    bool GetBool(CFStringRef key, bool& out) const { return detail::ReadItem(Item(key), out); }
    bool GetSInt32(CFStringRef key, SInt32& out) const { return detail::ReadItem(Item(key), out); }
    bool GetUInt32(CFStringRef key, UInt32& out) const { return detail::ReadItem(Item(key), out); }
    bool GetSInt64(CFStringRef key, SInt64& out) const { return detail::ReadItem(Item(key), out); }
    bool GetUInt64(CFStringRef key, UInt64& out) const { return detail::ReadItem(Item(key), out); }
    bool GetFloat32(CFStringRef key, Float32& out) const {
        return detail::ReadItem(Item(key), out);
    }
    bool GetFloat64(CFStringRef key, Float64& out) const {
        return detail::ReadItem(Item(key), out);
    }
    bool GetData(CFStringRef key, CFDataRef& out) const { return detail::ReadItem(Item(key), out); }
    bool GetString(CFStringRef key, CFStringRef& out) const {
        return detail::ReadItem(Item(key), out);
    }
    bool GetArray(CFStringRef key, CFArrayRef& out) const {
        return detail::ReadItem(Item(key), out);
    }
    bool GetDictionary(CFStringRef key, CFDictionaryRef& out) const {
        return detail::ReadItem(Item(key), out);
    }
    // A 64-bit integer read as a fixed-point number with 32 bits after the binary point.
    bool GetFixed64(CFStringRef key, Float64& out) const;
    bool GetCACFString(CFStringRef key, CACFString& out) const;
    bool GetCACFArray(CFStringRef key, CACFArray& out) const;
    bool GetCACFDictionary(CFStringRef key, CACFDictionary& out) const;

private:
    CFTypeRef Item(CFStringRef key) const;

    bool mMutable = false;
};

} // namespace qel::core
