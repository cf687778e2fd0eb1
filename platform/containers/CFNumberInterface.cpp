// The published functions of numbers.

#include "platform/containers/CFNumber.h"

using qel::platform::CastTo;
using qel::platform::CFNumber;
using qel::platform::Reference;

CFTypeID CFNumberGetTypeID(void) {
    return TypeID(CFNumber::kType);
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
    if (value == nullptr) {
        return nullptr;
    }
    return qel::platform::NullWithoutMemory(
        [type, value] { return Reference<CFNumberRef>(CFNumber::Create(type, value).release()); });
}

CFNumberType CFNumberGetType(CFNumberRef number) {
    const auto* object = CastTo<CFNumber>(number);
    return object == nullptr ? 0 : object->NumberType();
}

CFIndex CFNumberGetByteSize(CFNumberRef number) {
    switch (CFNumberGetType(number)) {
    case kCFNumberSInt8Type:
        return 1;
    case kCFNumberSInt16Type:
        return 2;
    case kCFNumberSInt32Type:
    case kCFNumberFloat32Type:
        return 4;
    case kCFNumberSInt64Type:
    case kCFNumberFloat64Type:
        return 8;
    default:
        return 0;
    }
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
    const auto* object = CastTo<CFNumber>(number);
    return object != nullptr && object->IsFloat();
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    const auto* object = CastTo<CFNumber>(number);
    return object != nullptr && value != nullptr && object->Get(type, value);
}

CFComparisonResult CFNumberCompare(CFNumberRef first, CFNumberRef second, void*) {
    const auto* one = CastTo<CFNumber>(first);
    const auto* other = CastTo<CFNumber>(second);
    if (one == nullptr || other == nullptr) {
        return static_cast<CFIndex>(one != nullptr) - static_cast<CFIndex>(other != nullptr);
    }
    return one->Compare(*other);
}
