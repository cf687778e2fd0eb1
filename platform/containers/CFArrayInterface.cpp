// The published functions of arrays.

#include "platform/containers/CFArray.h"
#include "platform/containers/IndexRange.h"
#include "platform/containers/ObjectCallBacks.h"

#include <algorithm>

using qel::platform::CastTo;
using qel::platform::CFArray;
using qel::platform::Reference;

const CFArrayCallBacks kCFTypeArrayCallBacks = {
    0, qel::platform::RetainObject, qel::platform::ReleaseObject, CFCopyDescription, CFEqual};

namespace {

constexpr CFArrayCallBacks kNoCallBacks = {0, nullptr, nullptr, nullptr, nullptr};

std::size_t CapacityOf(CFIndex hint) {
    return hint > 0 ? static_cast<std::size_t>(hint) : 0;
}

template <typename Ref>
Ref NewCopy(CFAllocatorRef allocator, CFIndex capacity, CFArrayRef array, bool isMutable) {
    const auto* original = CastTo<CFArray>(array);
    if (original == nullptr) {
        return nullptr;
    }
    return qel::platform::NullWithoutMemory([=] {
        return Reference<Ref>(new CFArray(allocator, original->CallBacks(),
                                          original->Values().data(), original->Values().size(),
                                          CapacityOf(capacity), isMutable));
    });
}

// The array, if it may be changed, and the index is from 0 to its count minus `excluded`.
CFArray* MutableAt(CFMutableArrayRef array, CFIndex index, CFIndex excluded) {
    auto* object = CastTo<CFArray>(array);
    const bool isAllowed = object != nullptr && object->IsMutable() && index >= 0 &&
                           index <= CFArrayGetCount(array) - excluded;
    return isAllowed ? object : nullptr;
}

} // namespace

CFTypeID CFArrayGetTypeID(void) {
    return TypeID(CFArray::kType);
}

CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks) {
    if (count < 0 || (values == nullptr && count > 0)) {
        return nullptr;
    }
    return qel::platform::NullWithoutMemory([=] {
        return Reference<CFArrayRef>(
            new CFArray(allocator, callBacks == nullptr ? kNoCallBacks : *callBacks, values,
                        static_cast<std::size_t>(count), 0, false));
    });
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef allocator, CFArrayRef array) {
    return NewCopy<CFArrayRef>(allocator, 0, array, false);
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callBacks) {
    return qel::platform::NullWithoutMemory([=] {
        return Reference<CFMutableArrayRef>(
            new CFArray(allocator, callBacks == nullptr ? kNoCallBacks : *callBacks, nullptr, 0,
                        CapacityOf(capacity), true));
    });
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                           CFArrayRef array) {
    return NewCopy<CFMutableArrayRef>(allocator, capacity, array, true);
}

CFIndex CFArrayGetCount(CFArrayRef array) {
    const auto* object = CastTo<CFArray>(array);
    return object == nullptr ? 0 : static_cast<CFIndex>(object->Values().size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
    if (index < 0 || index >= CFArrayGetCount(array)) {
        return nullptr;
    }
    return CastTo<CFArray>(array)->Values()[static_cast<std::size_t>(index)];
}

void CFArrayGetValues(CFArrayRef array, CFRange range, const void** values) {
    const auto* object = CastTo<CFArray>(array);
    if (object == nullptr || values == nullptr ||
        !qel::platform::LiesWithin(range, CFArrayGetCount(array))) {
        return;
    }
    std::copy_n(object->Values().begin() + range.location, range.length, values);
}

Boolean CFArrayContainsValue(CFArrayRef array, CFRange range, const void* value) {
    return CFArrayGetFirstIndexOfValue(array, range, value) != kCFNotFound;
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef array, CFRange range, const void* value) {
    const auto* object = CastTo<CFArray>(array);
    if (object == nullptr) {
        return kCFNotFound;
    }
    const CFRange part = qel::platform::Overlap(range, CFArrayGetCount(array));
    const auto begin = object->Values().begin();
    const auto end = begin + part.location + part.length;
    const auto found =
        std::find_if(begin + part.location, end, [object, value](const void* candidate) {
            return object->AreEqual(candidate, value);
        });
    return found == end ? kCFNotFound : found - begin;
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) {
    CFArrayInsertValueAtIndex(array, CFArrayGetCount(array), value);
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef array, CFIndex index, const void* value) {
    if (auto* object = MutableAt(array, index, 0)) {
        object->Insert(static_cast<std::size_t>(index), value);
    }
}

void CFArraySetValueAtIndex(CFMutableArrayRef array, CFIndex index, const void* value) {
    if (index == CFArrayGetCount(array)) {
        CFArrayAppendValue(array, value);
    } else if (auto* object = MutableAt(array, index, 1)) {
        object->Replace(static_cast<std::size_t>(index), value);
    }
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef array, CFIndex index) {
    if (auto* object = MutableAt(array, index, 1)) {
        object->Remove(static_cast<std::size_t>(index));
    }
}

void CFArrayRemoveAllValues(CFMutableArrayRef array) {
    if (auto* object = MutableAt(array, 0, 0)) {
        object->RemoveAll();
    }
}
