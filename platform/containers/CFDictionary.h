#pragma once

#include "platform/containers/CFObject.h"

#include <CoreFoundation/CFDictionary.h>

#include <cstddef>
#include <vector>

namespace qel::platform {

// A hash table that remembers the order in which its keys came.
//
// The entries stand in a vector in order of arrival. A table of slots, open-addressed with linear
// probing, leads from a hash to the place of an entry. A removed entry keeps its place and its
// slot, marked as dead, until the table is rebuilt: so probing needs no other marks.
class CFDictionary final : public CFObject {
public:
    static constexpr TypeCode kType = TypeCode::kDictionary;

    struct Entry {
        const void* key;
        const void* value;
        CFHashCode hash;
        bool isLive;
    };

    // `capacity` is room to set aside, up to a limit.
    CFDictionary(CFAllocatorRef allocator, const CFDictionaryKeyCallBacks& keyCallBacks,
                 const CFDictionaryValueCallBacks& valueCallBacks, std::size_t capacity,
                 bool isMutable);
    ~CFDictionary();

    const CFDictionaryKeyCallBacks& KeyCallBacks() const noexcept { return mKeyCallBacks; }
    const CFDictionaryValueCallBacks& ValueCallBacks() const noexcept { return mValueCallBacks; }
    bool IsMutable() const noexcept { return mIsMutable; }
    std::size_t Count() const noexcept { return mLiveCount; }
    // In order of arrival, with dead ones among them.
    const std::vector<Entry>& Entries() const noexcept { return mEntries; }

    // The entry of a key; null if there is none.
    const Entry* Find(const void* key) const;

    // Leaves the value alone if the key is there.
    void Add(const void* key, const void* value);
    void Set(const void* key, const void* value);
    void Remove(const void* key);
    void RemoveAll();

    // The same equal callbacks, the same keys, and equal values; the order does not matter.
    bool Equals(const CFObject& other) const override;
    CFHashCode Hash() const override;
    std::string Describe() const override;

private:
    void Destroy() const noexcept override { delete this; }

    CFHashCode HashOf(const void* key) const;
    bool AreKeysEqual(const void* first, const void* second) const;
    bool AreValuesEqual(const void* first, const void* second) const;
    const Entry* FindHashed(const void* key, CFHashCode hash) const;
    Entry* FindHashed(const void* key, CFHashCode hash);
    void Append(const void* key, const void* value, CFHashCode hash);
    void Rebuild(std::size_t count);
    const void* RetainedValue(const void* value) const;
    void LetGo(const Entry& entry) const;
    void LetGoOfValue(const void* value) const;

    const CFAllocatorRef mAllocator;
    const CFDictionaryKeyCallBacks mKeyCallBacks;
    const CFDictionaryValueCallBacks mValueCallBacks;
    const bool mIsMutable;
    std::size_t mLiveCount = 0;
    std::vector<Entry> mEntries;
    // One more than the place of an entry; 0 for an empty slot. The size is a power of two.
    std::vector<std::size_t> mSlots;
};

} // namespace qel::platform
