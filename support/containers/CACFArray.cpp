#include "support/containers/CACFArray.h"

#include "support/containers/CACFDictionary.h"

namespace qel::core {

CFArrayRef CACFArray::Create(CFIndex capacity) {
    return MadeOrThrow(CFArrayCreateMutable(kCFAllocatorDefault, capacity, &kCFTypeArrayCallBacks));
}

CACFArray& CACFArray::operator=(const CACFArray& other) {
    CACFReference::operator=(other);
    mMutable = false;
    return *this;
}

CACFArray& CACFArray::operator=(CFArrayRef array) {
    Share(array);
    mMutable = false;
    return *this;
}

// Only for a wrapper that is mutable: its object was made, or given, as a mutable array.
CFMutableArrayRef CACFArray::Mutable() const {
    return const_cast<CFMutableArrayRef>(Object());
}

CFTypeRef CACFArray::Item(UInt32 index) const {
    return index < GetNumberItems() ? CFArrayGetValueAtIndex(Object(), index) : nullptr;
}

bool CACFArray::CanWrite(CFTypeRef value) const {
    return Object() != nullptr && mMutable && value != nullptr;
}

UInt32 CACFArray::GetNumberItems() const {
    return Object() != nullptr ? static_cast<UInt32>(CFArrayGetCount(Object())) : 0;
}

bool CACFArray::GetIndexOfItem(CFTypeRef value, UInt32& outIndex) const {
    if (Object() == nullptr || value == nullptr) {
        return false;
    }
    const CFIndex index =
        CFArrayGetFirstIndexOfValue(Object(), CFRangeMake(0, CFArrayGetCount(Object())), value);
    if (index == kCFNotFound) {
        return false;
    }
    outIndex = static_cast<UInt32>(index);
    return true;
}

bool CACFArray::HasItem(CFTypeRef value) const {
    UInt32 index = 0;
    return GetIndexOfItem(value, index);
}

bool CACFArray::AppendCFType(CFTypeRef value) {
    if (!CanWrite(value)) {
        return false;
    }
    CFArrayAppendValue(Mutable(), value);
    return true;
}

bool CACFArray::InsertCFType(UInt32 index, CFTypeRef value) {
    if (!CanWrite(value) || index > GetNumberItems()) {
        return false;
    }
    CFArrayInsertValueAtIndex(Mutable(), index, value);
    return true;
}

bool CACFArray::SetCFType(UInt32 index, CFTypeRef value) {
    if (!CanWrite(value) || index > GetNumberItems()) {
        return false;
    }
    CFArraySetValueAtIndex(Mutable(), index, value);
    return true;
}

bool CACFArray::GetCFType(UInt32 index, CFTypeRef& out) const {
    const CFTypeRef item = Item(index);
    if (item == nullptr) {
        return false;
    }
    out = item;
    return true;
}

bool CACFArray::GetCACFString(UInt32 index, CACFString& out) const {
    return detail::ReadWrappedString(Item(index), out);
}

bool CACFArray::GetCACFArray(UInt32 index, CACFArray& out) const {
    return detail::ReadWrapped<CFArrayRef>(Item(index), out);
}

bool CACFArray::GetCACFDictionary(UInt32 index, CACFDictionary& out) const {
    return detail::ReadWrapped<CFDictionaryRef>(Item(index), out);
}

} // namespace qel::core
