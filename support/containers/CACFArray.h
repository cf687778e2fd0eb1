#pragma once

#include "support/containers/CACFNumber.h"
#include "support/containers/CACFReadItem.h"
#include "support/containers/CACFReference.h"
#include "support/containers/CACFString.h"

#include <concepts>

namespace qel::core {

class CACFDictionary;

// A CFArray of objects in a wrapper. The array retains what is put into it.
//
// Every operation that can fail answers false and changes nothing. Writing fails without an array,
// with a wrapper that is not mutable, with a null value, and with an index out of range. Reading
// fails without an array, with an index out of range, and if the item has another type; detail::
// ReadItem tells what counts as which type. Objects that are read out get no new reference.
class CACFArray : public CACFReference<CFArrayRef> {
public:
    // No array, not mutable.
    CACFArray() = default;
    // A new mutable array; `capacity` is a hint.
    template <std::integral Capacity>
    CACFArray(Capacity capacity, bool release)
        : CACFReference(Create(static_cast<CFIndex>(capacity)), release), mMutable(true) {}
    // An existing array, mutable through the wrapper if its type says so.
    CACFArray(CFArrayRef array, bool release) : CACFReference(array, release) {}
    CACFArray(CFMutableArrayRef array, bool release)
        : CACFReference(array, release), mMutable(true) {}
    CACFArray(const CACFArray&) = default;

    // Shares the array, which this wrapper cannot change any more. Assignment from a bare array
    // keeps the release flag, assignment from a wrapper takes the other's.
    CACFArray& operator=(const CACFArray& other);
    CACFArray& operator=(CFArrayRef array);

    CFArrayRef GetCFArray() const { return Object(); }
    bool IsMutable() const { return mMutable; }

    UInt32 GetNumberItems() const;
    // The first item that is equal to `value`.
    bool GetIndexOfItem(CFTypeRef value, UInt32& outIndex) const;
    bool HasItem(CFTypeRef value) const;

    // At the end.
    bool AppendCFType(CFTypeRef value);
    bool AppendData(CFDataRef value) { return AppendCFType(value); }
    bool AppendDictionary(CFDictionaryRef value) { return AppendCFType(value); }
    bool AppendArray(CFArrayRef value) { return AppendCFType(value); }
    bool AppendString(CFStringRef value) { return AppendCFType(value); }
    bool AppendFloat64(Float64 value) { return AppendCFType(CACFNumber(value).GetCFNumber()); }
    bool AppendFloat32(Float32 value) { return AppendCFType(CACFNumber(value).GetCFNumber()); }
    bool AppendUInt64(UInt64 value) { return AppendCFType(CACFNumber(value).GetCFNumber()); }
    bool AppendSInt64(SInt64 value) { return AppendCFType(CACFNumber(value).GetCFNumber()); }
    bool AppendUInt32(UInt32 value) { return AppendCFType(CACFNumber(value).GetCFNumber()); }
    bool AppendSInt32(SInt32 value) { return AppendCFType(CACFNumber(value).GetCFNumber()); }
    bool AppendBool(bool value) { return AppendCFType(CACFBoolean(value).GetCFBoolean()); }

    // In front of the item at `index`, which may be the number of items.
    bool InsertCFType(UInt32 index, CFTypeRef value);
    bool InsertData(UInt32 index, CFDataRef value) { return InsertCFType(index, value); }
    bool InsertDictionary(UInt32 index, CFDictionaryRef value) {
        return InsertCFType(index, value);
    }
    bool InsertArray(UInt32 index, CFArrayRef value) { return InsertCFType(index, value); }
    bool InsertString(UInt32 index, CFStringRef value) { return InsertCFType(index, value); }
    bool InsertFloat64(UInt32 index, Float64 value) {
        return InsertCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool InsertFloat32(UInt32 index, Float32 value) {
        return InsertCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool InsertUInt64(UInt32 index, UInt64 value) {
        return InsertCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool InsertSInt64(UInt32 index, SInt64 value) {
        return InsertCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool InsertUInt32(UInt32 index, UInt32 value) {
        return InsertCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool InsertSInt32(UInt32 index, SInt32 value) {
        return InsertCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool InsertBool(UInt32 index, bool value) {
        return InsertCFType(index, CACFBoolean(value).GetCFBoolean());
    }

    // In place of the item at `index`; at the number of items, after the last.
    bool SetCFType(UInt32 index, CFTypeRef value);
    bool SetData(UInt32 index, CFDataRef value) { return SetCFType(index, value); }
    bool SetDictionary(UInt32 index, CFDictionaryRef value) { return SetCFType(index, value); }
    bool SetArray(UInt32 index, CFArrayRef value) { return SetCFType(index, value); }
    bool SetString(UInt32 index, CFStringRef value) { return SetCFType(index, value); }
    bool SetFloat64(UInt32 index, Float64 value) {
        return SetCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool SetFloat32(UInt32 index, Float32 value) {
        return SetCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool SetUInt64(UInt32 index, UInt64 value) {
        return SetCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool SetSInt64(UInt32 index, SInt64 value) {
        return SetCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool SetUInt32(UInt32 index, UInt32 value) {
        return SetCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool SetSInt32(UInt32 index, SInt32 value) {
        return SetCFType(index, CACFNumber(value).GetCFNumber());
    }
    bool SetBool(UInt32 index, bool value) {
        return SetCFType(index, CACFBoolean(value).GetCFBoolean());
    }

    bool GetCFType(UInt32 index, CFTypeRef& out) const;
    bool GetBool(UInt32 index, bool& out) const { return detail::ReadItem(Item(index), out); }
    bool GetSInt32(UInt32 index, SInt32& out) const { return detail::ReadItem(Item(index), out); }
    bool GetUInt32(UInt32 index, UInt32& out) const { return detail::ReadItem(Item(index), out); }
    bool GetSInt64(UInt32 index, SInt64& out) const { return detail::ReadItem(Item(index), out); }
    bool GetUInt64(UInt32 index, UInt64& out) const { return detail::ReadItem(Item(index), out); }
    bool GetFloat32(UInt32 index, Float32& out) const { return detail::ReadItem(Item(index), out); }
    bool GetFloat64(UInt32 index, Float64& out) const { return detail::ReadItem(Item(index), out); }
    bool GetData(UInt32 index, CFDataRef& out) const { return detail::ReadItem(Item(index), out); }
    bool GetString(UInt32 index, CFStringRef& out) const {
        return detail::ReadItem(Item(index), out);
    }
    bool GetArray(UInt32 index, CFArrayRef& out) const {
        return detail::ReadItem(Item(index), out);
    }
    bool GetDictionary(UInt32 index, CFDictionaryRef& out) const {
        return detail::ReadItem(Item(index), out);
    }
    bool GetUUID(UInt32 index, CFUUIDRef& out) const { return detail::ReadItem(Item(index), out); }
    bool GetCACFString(UInt32 index, CACFString& out) const;
    bool GetCACFArray(UInt32 index, CACFArray& out) const;
    bool GetCACFDictionary(UInt32 index, CACFDictionary& out) const;

private:
    static CFArrayRef Create(CFIndex capacity);
    CFMutableArrayRef Mutable() const;
    CFTypeRef Item(UInt32 index) const;
    bool CanWrite(CFTypeRef value) const;

    bool mMutable = false;
};

} // namespace qel::core
