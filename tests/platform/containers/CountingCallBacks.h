#pragma once

#include <CoreFoundation/CoreFoundation.h>

namespace qel::platform {

// A value that counts the retains and releases of the containers that hold it. Two are equal when
// their names are.
struct Counted {
    explicit Counted(int nameOfValue) : name(nameOfValue) {}

    int name;
    mutable int owners = 0;
    mutable int retains = 0;
    mutable CFAllocatorRef allocator = nullptr;
};

inline const void* RetainCounted(CFAllocatorRef allocator, const void* value) {
    const auto* counted = static_cast<const Counted*>(value);
    ++counted->owners;
    ++counted->retains;
    counted->allocator = allocator;
    return value;
}

inline void ReleaseCounted(CFAllocatorRef, const void* value) {
    --static_cast<const Counted*>(value)->owners;
}

inline Boolean EqualCounted(const void* first, const void* second) {
    return static_cast<const Counted*>(first)->name == static_cast<const Counted*>(second)->name;
}

inline CFHashCode HashCounted(const void* value) {
    // Few hashes for many names, so that keys with the same hash occur.
    return static_cast<CFHashCode>(static_cast<const Counted*>(value)->name % 3);
}

constexpr CFArrayCallBacks kCountedArrayCallBacks = {0, RetainCounted, ReleaseCounted, nullptr,
                                                     EqualCounted};
constexpr CFDictionaryKeyCallBacks kCountedKeyCallBacks = {0,       RetainCounted, ReleaseCounted,
                                                           nullptr, EqualCounted,  HashCounted};
constexpr CFDictionaryValueCallBacks kCountedValueCallBacks = {0, RetainCounted, ReleaseCounted,
                                                               nullptr, EqualCounted};

} // namespace qel::platform
