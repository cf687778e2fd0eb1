#include "platform/containers/CFDictionary.h"

#include "platform/containers/Description.h"
#include "platform/containers/HashMix.h"

#include <algorithm>
#include <utility>

namespace qel::platform {
namespace {

// The most room that a capacity sets aside: it is a hint, and may be far off.
constexpr std::size_t kMaximumReserve = 65536;
constexpr std::size_t kFewestSlots = 8;

// How many entries a table of so many slots may hold, dead ones included: half, so that a probe
// is short and always meets an empty slot.
constexpr std::size_t RoomIn(std::size_t slotCount) {
    return slotCount / 2;
}

void Link(std::vector<std::size_t>& slots, CFHashCode hash, std::size_t place) {
    const std::size_t mask = slots.size() - 1;
    std::size_t slot = hash & mask;
    while (slots[slot] != 0) {
        slot = (slot + 1) & mask;
    }
    slots[slot] = place + 1;
}

} // namespace

CFDictionary::CFDictionary(CFAllocatorRef allocator, const CFDictionaryKeyCallBacks& keyCallBacks,
                           const CFDictionaryValueCallBacks& valueCallBacks, std::size_t capacity,
                           bool isMutable)
    : CFObject(kType, Lifetime::kCounted), mAllocator(allocator), mKeyCallBacks(keyCallBacks),
      mValueCallBacks(valueCallBacks), mIsMutable(isMutable) {
    if (capacity > 0) {
        Rebuild(std::min(capacity, kMaximumReserve));
    }
}

CFDictionary::~CFDictionary() {
    RemoveAll();
}

CFHashCode CFDictionary::HashOf(const void* key) const {
    const auto hash =
        mKeyCallBacks.hash == nullptr ? reinterpret_cast<CFHashCode>(key) : mKeyCallBacks.hash(key);
    return HashMix(hash);
}

bool CFDictionary::AreKeysEqual(const void* first, const void* second) const {
    return first == second ||
           (mKeyCallBacks.equal != nullptr && mKeyCallBacks.equal(first, second));
}

bool CFDictionary::AreValuesEqual(const void* first, const void* second) const {
    return first == second ||
           (mValueCallBacks.equal != nullptr && mValueCallBacks.equal(first, second));
}

const CFDictionary::Entry* CFDictionary::FindHashed(const void* key, CFHashCode hash) const {
    if (mSlots.empty()) {
        return nullptr;
    }
    const std::size_t mask = mSlots.size() - 1;
    for (std::size_t slot = hash & mask; mSlots[slot] != 0; slot = (slot + 1) & mask) {
        const Entry& entry = mEntries[mSlots[slot] - 1];
        if (entry.isLive && entry.hash == hash && AreKeysEqual(entry.key, key)) {
            return &entry;
        }
    }
    return nullptr;
}

CFDictionary::Entry* CFDictionary::FindHashed(const void* key, CFHashCode hash) {
    return const_cast<Entry*>(std::as_const(*this).FindHashed(key, hash));
}

const CFDictionary::Entry* CFDictionary::Find(const void* key) const {
    return mLiveCount == 0 ? nullptr : FindHashed(key, HashOf(key));
}

// Gives every live entry a new place, in a table with room for `count` entries and as many again.
void CFDictionary::Rebuild(std::size_t count) {
    std::size_t slotCount = kFewestSlots;
    while (RoomIn(slotCount) < 2 * count) {
        slotCount *= 2;
    }
    std::vector<std::size_t> slots(slotCount, 0);
    std::vector<Entry> entries;
    entries.reserve(RoomIn(slotCount));
    for (const Entry& entry : mEntries) {
        if (entry.isLive) {
            Link(slots, entry.hash, entries.size());
            entries.push_back(entry);
        }
    }
    mSlots = std::move(slots);
    mEntries = std::move(entries);
}

void CFDictionary::Append(const void* key, const void* value, CFHashCode hash) {
    if (mEntries.size() >= RoomIn(mSlots.size())) {
        Rebuild(mLiveCount + 1);
    }
    // From here on there is room, so that nothing is retained and then forgotten.
    const void* retainedKey =
        mKeyCallBacks.retain == nullptr ? key : mKeyCallBacks.retain(mAllocator, key);
    const void* retainedValue = RetainedValue(value);
    Link(mSlots, hash, mEntries.size());
    mEntries.push_back({retainedKey, retainedValue, hash, true});
    ++mLiveCount;
}

void CFDictionary::Add(const void* key, const void* value) {
    const CFHashCode hash = HashOf(key);
    if (FindHashed(key, hash) == nullptr) {
        Append(key, value, hash);
    }
}

void CFDictionary::Set(const void* key, const void* value) {
    const CFHashCode hash = HashOf(key);
    if (Entry* entry = FindHashed(key, hash)) {
        const void* retained = RetainedValue(value);
        LetGoOfValue(std::exchange(entry->value, retained));
    } else {
        Append(key, value, hash);
    }
}

void CFDictionary::Remove(const void* key) {
    if (Entry* entry = FindHashed(key, HashOf(key))) {
        const Entry removed = *entry;
        entry->isLive = false;
        --mLiveCount;
        LetGo(removed);
    }
}

void CFDictionary::RemoveAll() {
    // Taken out first, so that a release callback finds the dictionary empty.
    const std::vector<Entry> entries = std::exchange(mEntries, {});
    mSlots.clear();
    mLiveCount = 0;
    for (const Entry& entry : entries) {
        if (entry.isLive) {
            LetGo(entry);
        }
    }
}

const void* CFDictionary::RetainedValue(const void* value) const {
    return mValueCallBacks.retain == nullptr ? value : mValueCallBacks.retain(mAllocator, value);
}

void CFDictionary::LetGoOfValue(const void* value) const {
    if (mValueCallBacks.release != nullptr) {
        mValueCallBacks.release(mAllocator, value);
    }
}

void CFDictionary::LetGo(const Entry& entry) const {
    if (mKeyCallBacks.release != nullptr) {
        mKeyCallBacks.release(mAllocator, entry.key);
    }
    LetGoOfValue(entry.value);
}

bool CFDictionary::Equals(const CFObject& other) const {
    const auto& dictionary = static_cast<const CFDictionary&>(other);
    if (dictionary.mLiveCount != mLiveCount ||
        dictionary.mKeyCallBacks.equal != mKeyCallBacks.equal ||
        dictionary.mValueCallBacks.equal != mValueCallBacks.equal) {
        return false;
    }
    return std::all_of(mEntries.begin(), mEntries.end(), [&](const Entry& entry) {
        if (!entry.isLive) {
            return true;
        }
        const Entry* match = dictionary.Find(entry.key);
        return match != nullptr && AreValuesEqual(entry.value, match->value);
    });
}

CFHashCode CFDictionary::Hash() const {
    // Under another notion of equality than that of objects, only the count is sure to be the same.
    const bool hashKeys = mKeyCallBacks.equal == CFEqual;
    const bool hashValues = mValueCallBacks.equal == CFEqual;
    CFHashCode sum = mLiveCount;
    for (const Entry& entry : mEntries) {
        if (entry.isLive) {
            const CFHashCode key = hashKeys ? HashMix(CFHash(entry.key)) : 0;
            const CFHashCode value = hashValues ? CFHash(entry.value) : 0;
            // A sum, as the order of the keys does not matter.
            sum += HashMix(key ^ value);
        }
    }
    return HashMix(sum);
}

std::string CFDictionary::Describe() const {
    std::vector<std::string> items;
    items.reserve(mLiveCount);
    for (const Entry& entry : mEntries) {
        if (entry.isLive) {
            items.push_back(DescribeValue(mKeyCallBacks.copyDescription, entry.key) + ": " +
                            DescribeValue(mValueCallBacks.copyDescription, entry.value));
        }
    }
    return DescribeList('{', items, '}');
}

} // namespace qel::platform
