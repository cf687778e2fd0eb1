// The published functions of dictionaries.

#include "platform/containers/CFDictionary.h"
#include "platform/containers/ObjectCallBacks.h"

#include <algorithm>
#include <memory>

using qel::platform::CastTo;
using qel::platform::CFDictionary;
using qel::platform::Reference;

namespace {

constexpr CFDictionaryKeyCallBacks kNoKeyCallBacks = {0,       nullptr, nullptr,
                                                      nullptr, nullptr, nullptr};
constexpr CFDictionaryValueCallBacks kNoValueCallBacks = {0, nullptr, nullptr, nullptr, nullptr};

std::unique_ptr<CFDictionary> NewDictionary(CFAllocatorRef allocator, CFIndex capacity,
                                            const CFDictionaryKeyCallBacks* keyCallBacks,
                                            const CFDictionaryValueCallBacks* valueCallBacks,
                                            bool isMutable) {
    return std::make_unique<CFDictionary>(
        allocator, keyCallBacks == nullptr ? kNoKeyCallBacks : *keyCallBacks,
        valueCallBacks == nullptr ? kNoValueCallBacks : *valueCallBacks,
        capacity > 0 ? static_cast<std::size_t>(capacity) : 0, isMutable);
}

template <typename Ref>
Ref NewCopy(CFAllocatorRef allocator, CFIndex capacity, CFDictionaryRef dictionary,
            bool isMutable) {
    const auto* original = CastTo<CFDictionary>(dictionary);
    if (original == nullptr) {
        return nullptr;
    }
    return qel::platform::NullWithoutMemory([=] {
        auto copy =
            NewDictionary(allocator, std::max(capacity, CFDictionaryGetCount(dictionary)),
                          &original->KeyCallBacks(), &original->ValueCallBacks(), isMutable);
        for (const CFDictionary::Entry& entry : original->Entries()) {
            if (entry.isLive) {
                copy->Add(entry.key, entry.value);
            }
        }
        return Reference<Ref>(copy.release());
    });
}

CFDictionary* Mutable(CFMutableDictionaryRef dictionary) {
    auto* object = CastTo<CFDictionary>(dictionary);
    return object != nullptr && object->IsMutable() ? object : nullptr;
}

} // namespace

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0,     qel::platform::RetainObject, qel::platform::ReleaseObject, CFCopyDescription, CFEqual,
    CFHash};
const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {
    0,     qel::platform::RetainObject, qel::platform::ReleaseObject, CFCopyDescription, CFEqual,
    CFHash};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, qel::platform::RetainObject, qel::platform::ReleaseObject, CFCopyDescription, CFEqual};

CFTypeID CFDictionaryGetTypeID(void) {
    return TypeID(CFDictionary::kType);
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
    if (count < 0 || ((keys == nullptr || values == nullptr) && count > 0)) {
        return nullptr;
    }
    return qel::platform::NullWithoutMemory([=] {
        auto made = NewDictionary(allocator, count, keyCallBacks, valueCallBacks, false);
        for (CFIndex i = 0; i < count; ++i) {
            made->Add(keys[i], values[i]);
        }
        return Reference<CFDictionaryRef>(made.release());
    });
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef allocator, CFDictionaryRef dictionary) {
    return NewCopy<CFDictionaryRef>(allocator, 0, dictionary, false);
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
    return qel::platform::NullWithoutMemory([=] {
        return Reference<CFMutableDictionaryRef>(
            NewDictionary(allocator, capacity, keyCallBacks, valueCallBacks, true).release());
    });
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef dictionary) {
    return NewCopy<CFMutableDictionaryRef>(allocator, capacity, dictionary, true);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
    const auto* object = CastTo<CFDictionary>(dictionary);
    return object == nullptr ? 0 : static_cast<CFIndex>(object->Count());
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    const void* value = nullptr;
    CFDictionaryGetValueIfPresent(dictionary, key, &value);
    return value;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key,
                                      const void** value) {
    const auto* object = CastTo<CFDictionary>(dictionary);
    const CFDictionary::Entry* entry = object == nullptr ? nullptr : object->Find(key);
    if (entry != nullptr && value != nullptr) {
        *value = entry->value;
    }
    return entry != nullptr;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key) {
    return CFDictionaryGetValueIfPresent(dictionary, key, nullptr);
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys,
                                  const void** values) {
    const auto* object = CastTo<CFDictionary>(dictionary);
    if (object == nullptr) {
        return;
    }
    for (const CFDictionary::Entry& entry : object->Entries()) {
        if (!entry.isLive) {
            continue;
        }
        if (keys != nullptr) {
            *keys++ = entry.key;
        }
        if (values != nullptr) {
            *values++ = entry.value;
        }
    }
}

void CFDictionaryApplyFunction(CFDictionaryRef dictionary, CFDictionaryApplierFunction applier,
                               void* context) {
    const auto* object = CastTo<CFDictionary>(dictionary);
    if (object == nullptr || applier == nullptr) {
        return;
    }
    for (const CFDictionary::Entry& entry : object->Entries()) {
        if (entry.isLive) {
            applier(entry.key, entry.value, context);
        }
    }
}

void CFDictionaryAddValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    if (auto* object = Mutable(dictionary)) {
        object->Add(key, value);
    }
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
    if (auto* object = Mutable(dictionary)) {
        object->Set(key, value);
    }
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key) {
    if (auto* object = Mutable(dictionary)) {
        object->Remove(key);
    }
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef dictionary) {
    if (auto* object = Mutable(dictionary)) {
        object->RemoveAll();
    }
}
