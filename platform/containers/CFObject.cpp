#include "platform/containers/CFObject.h"

#include "platform/containers/CFString.h"

namespace qel::platform {

void CFObject::Retain() const noexcept {
    if (mCount.load(std::memory_order_relaxed) != kImmortalCount) {
        mCount.fetch_add(1, std::memory_order_relaxed);
    }
}

void CFObject::Release() const noexcept {
    if (mCount.load(std::memory_order_relaxed) == kImmortalCount) {
        return;
    }
    // The last owner must see what every other owner did before it let go.
    if (mCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        Destroy();
    }
}

CFIndex CFObject::RetainCount() const noexcept {
    const std::int32_t count = mCount.load(std::memory_order_relaxed);
    return count == kImmortalCount ? std::numeric_limits<CFIndex>::max() : count;
}

namespace {

const char* NameOf(TypeCode type) {
    switch (type) {
    case TypeCode::kAllocator:
        return "CFAllocator";
    case TypeCode::kNull:
        return "CFNull";
    case TypeCode::kString:
        return "CFString";
    case TypeCode::kArray:
        return "CFArray";
    case TypeCode::kDictionary:
        return "CFDictionary";
    case TypeCode::kNumber:
        return "CFNumber";
    case TypeCode::kBoolean:
        return "CFBoolean";
    case TypeCode::kData:
        return "CFData";
    case TypeCode::kURL:
        return "CFURL";
    case TypeCode::kUUID:
        return "CFUUID";
    }
    return nullptr;
}

const CFObject* ObjectOf(CFTypeRef reference) {
    return static_cast<const CFObject*>(reference);
}

} // namespace
} // namespace qel::platform

using qel::platform::ObjectOf;

CFTypeRef CFRetain(CFTypeRef object) {
    if (object != nullptr) {
        ObjectOf(object)->Retain();
    }
    return object;
}

void CFRelease(CFTypeRef object) {
    if (object != nullptr) {
        ObjectOf(object)->Release();
    }
}

CFIndex CFGetRetainCount(CFTypeRef object) {
    return object == nullptr ? 0 : ObjectOf(object)->RetainCount();
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    return object == nullptr ? 0 : qel::platform::TypeID(ObjectOf(object)->Type());
}

Boolean CFEqual(CFTypeRef first, CFTypeRef second) {
    if (first == second) {
        return true;
    }
    if (first == nullptr || second == nullptr) {
        return false;
    }
    return ObjectOf(first)->Type() == ObjectOf(second)->Type() &&
           ObjectOf(first)->Equals(*ObjectOf(second));
}

CFHashCode CFHash(CFTypeRef object) {
    return object == nullptr ? 0 : ObjectOf(object)->Hash();
}

CFStringRef CFCopyDescription(CFTypeRef object) {
    if (object == nullptr) {
        return nullptr;
    }
    return qel::platform::NullWithoutMemory(
        [object] { return qel::platform::CFString::CopyText(ObjectOf(object)->Describe()); });
}

CFStringRef CFCopyTypeIDDescription(CFTypeID type) {
    using qel::platform::TypeCode;
    // An id that does not fit the code's 32 bits must not be cut down to one that does.
    if (type < TypeID(TypeCode::kAllocator) || type > TypeID(TypeCode::kUUID)) {
        return nullptr;
    }
    return qel::platform::NullWithoutMemory([type] {
        return qel::platform::CFString::CopyText(
            qel::platform::NameOf(static_cast<TypeCode>(type)));
    });
}
