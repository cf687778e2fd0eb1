#include "tests/fuzz/ContainerModels.h"

#include "tests/fuzz/ContainerObjects.h"
#include "tests/fuzz/ContainerTokens.h"
#include "tests/fuzz/Require.h"

#include <algorithm>
#include <cstddef>

namespace qel::fuzz {
namespace {

constexpr std::size_t kMostValues = 300;

unsigned SumOfWeights(const std::vector<Item>& items) {
    unsigned sum = 1;
    for (const Item& item : items) {
        sum += item.weight;
    }
    return sum;
}

} // namespace

ArrayModel::ArrayModel(Kind kind, CFIndex capacity)
    : mKind(kind), mArray(CFArrayCreateMutable(nullptr, capacity, ArrayCallBacksOf(kind))) {
    Require(mArray != nullptr, "an array is made");
}

ArrayModel::~ArrayModel() {
    CFRelease(mArray);
}

void ArrayModel::Step(ByteProgram& program, const ObjectPool& pool) {
    const Item item = pool.Any(mKind, program);
    if (program.Seldom(4)) {
        Ask(program, item.value);
    } else {
        Change(program, item);
    }
    Compare();
}

void ArrayModel::Change(ByteProgram& program, const Item& item) {
    const CFIndex index = AnyIndex(program, Count());
    const auto place = mItems.begin() + std::clamp<CFIndex>(index, 0, Count());
    const bool isThere = index >= 0 && index < Count();
    switch (program.Below(mItems.size() < kMostValues ? 8 : 3)) {
    case 0:
        CFArrayRemoveValueAtIndex(mArray, index);
        if (isThere) {
            mItems.erase(place);
        }
        break;
    case 1:
        BecomeCopy(AnyIndex(program, Count()));
        break;
    case 2:
        if (program.Seldom(16)) {
            CFArrayRemoveAllValues(mArray);
            mItems.clear();
        }
        break;
    case 3:
        CFArrayAppendValue(mArray, item.value);
        mItems.push_back(item);
        break;
    case 4:
    case 5:
    case 6:
        CFArrayInsertValueAtIndex(mArray, index, item.value);
        if (isThere || index == Count()) {
            mItems.insert(place, item);
        }
        break;
    default:
        CFArraySetValueAtIndex(mArray, index, item.value);
        if (isThere) {
            *place = item;
        } else if (index == Count()) {
            mItems.push_back(item);
        }
        break;
    }
}

void ArrayModel::Ask(ByteProgram& program, const void* value) const {
    const CFRange range = AnyRange(program, Count());
    CFIndex found = kCFNotFound;
    for (CFIndex i = 0; i < Count() && found == kCFNotFound; ++i) {
        // By differences: the sum of the two may be too large. A negative one is within bounds.
        const bool inRange = i >= range.location && range.length > 0 &&
                             (range.location < 0 ? i < range.length + range.location
                                                 : i - range.location < range.length);
        if (inRange && AreEqual(mKind, mItems[static_cast<std::size_t>(i)].value, value)) {
            found = i;
        }
    }
    Require(CFArrayGetFirstIndexOfValue(mArray, range, value) == found, "the first is found");
    Require(CFArrayContainsValue(mArray, range, value) == (found != kCFNotFound),
            "what is found is contained");
    const bool within = range.location >= 0 && range.length >= 0 && range.location <= Count() &&
                        range.length <= Count() - range.location;
    const void* const untouched = this;
    std::vector<const void*> values(within ? static_cast<std::size_t>(range.length) : 1, untouched);
    CFArrayGetValues(mArray, range, values.data());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::size_t from = static_cast<std::size_t>(within ? range.location : 0) + i;
        Require(values[i] == (within ? mItems[from].value : untouched),
                "a range has its values, and one outside none");
    }
}

void ArrayModel::BecomeCopy(CFIndex capacity) {
    const CFMutableArrayRef copy = CFArrayCreateMutableCopy(nullptr, capacity, mArray);
    Require(CFEqual(copy, mArray) && CFHash(copy) == CFHash(mArray), "a copy equals the original");
    CFRelease(mArray);
    mArray = copy;
}

Item ArrayModel::Copy() const {
    const CFArrayRef copy = CFArrayCreateCopy(nullptr, mArray);
    // What is not mutable stays as it is. The cast is what a careless caller does.
    const auto mutableCopy = const_cast<CFMutableArrayRef>(copy);
    CFArrayRemoveAllValues(mutableCopy);
    CFArrayAppendValue(mutableCopy, nullptr);
    CFArraySetValueAtIndex(mutableCopy, 0, nullptr);
    CFArrayRemoveValueAtIndex(mutableCopy, 0);
    Require(CFEqual(copy, mArray), "a copy that is not mutable does not change");
    return {copy, SumOfWeights(mItems)};
}

void ArrayModel::Compare() const {
    Require(CFArrayGetCount(mArray) == Count(), "an array counts its values");
    for (CFIndex i = 0; i < Count(); ++i) {
        Require(CFArrayGetValueAtIndex(mArray, i) == mItems[static_cast<std::size_t>(i)].value,
                "each value stands at its index");
    }
    Require(CFArrayGetValueAtIndex(mArray, -1) == nullptr &&
                CFArrayGetValueAtIndex(mArray, Count()) == nullptr,
            "outside is no value");
}

DictionaryModel::DictionaryModel(Kind kind, CFIndex capacity)
    : mKind(kind), mDictionary(CFDictionaryCreateMutable(nullptr, capacity, KeyCallBacksOf(kind),
                                                         ValueCallBacksOf(kind))) {
    Require(mDictionary != nullptr, "a dictionary is made");
}

DictionaryModel::~DictionaryModel() {
    CFRelease(mDictionary);
}

std::vector<DictionaryModel::Pair>::iterator DictionaryModel::Find(const void* key) {
    return std::find_if(mPairs.begin(), mPairs.end(), [this, key](const Pair& pair) {
        return AreEqual(mKind, pair.key.value, key);
    });
}

void DictionaryModel::Step(ByteProgram& program, const ObjectPool& pool) {
    const Pair pair{pool.Any(mKind, program), pool.Any(mKind, program)};
    Change(program, pair);
    const auto found = Find(pair.key.value);
    const bool isThere = found != mPairs.end();
    const void* value = this;
    Require(CFDictionaryGetValueIfPresent(mDictionary, pair.key.value, &value) == isThere &&
                CFDictionaryContainsKey(mDictionary, pair.key.value) == isThere,
            "a key is present that was added and not removed");
    Require(value == (isThere ? found->value.value : this), "a key has its value");
    Require(CFDictionaryGetValue(mDictionary, pair.key.value) == (isThere ? value : nullptr),
            "a value is had in two ways");
    Compare();
}

void DictionaryModel::Change(ByteProgram& program, const Pair& pair) {
    const auto found = Find(pair.key.value);
    const bool isThere = found != mPairs.end();
    switch (program.Below(mPairs.size() < kMostValues ? 6 : 3)) {
    case 0:
        CFDictionaryRemoveValue(mDictionary, pair.key.value);
        if (isThere) {
            mPairs.erase(found);
        }
        break;
    case 1:
        BecomeCopy(AnyIndex(program, CFDictionaryGetCount(mDictionary)));
        break;
    case 2:
        if (program.Seldom(16)) {
            CFDictionaryRemoveAllValues(mDictionary);
            mPairs.clear();
        }
        break;
    case 3:
        CFDictionaryAddValue(mDictionary, pair.key.value, pair.value.value);
        if (!isThere) {
            mPairs.push_back(pair);
        }
        break;
    default:
        CFDictionarySetValue(mDictionary, pair.key.value, pair.value.value);
        if (isThere) {
            found->value = pair.value; // the key that was there stays
        } else {
            mPairs.push_back(pair);
        }
        break;
    }
}

void DictionaryModel::BecomeCopy(CFIndex capacity) {
    const CFMutableDictionaryRef copy =
        CFDictionaryCreateMutableCopy(nullptr, capacity, mDictionary);
    Require(CFEqual(copy, mDictionary) && CFHash(copy) == CFHash(mDictionary),
            "a copy equals the original");
    CFRelease(mDictionary);
    mDictionary = copy;
}

Item DictionaryModel::Copy() const {
    const CFDictionaryRef copy = CFDictionaryCreateCopy(nullptr, mDictionary);
    const auto mutableCopy = const_cast<CFMutableDictionaryRef>(copy);
    CFDictionaryRemoveAllValues(mutableCopy);
    CFDictionarySetValue(mutableCopy, nullptr, nullptr);
    Require(CFEqual(copy, mDictionary), "a copy that is not mutable does not change");
    unsigned weight = 1;
    for (const Pair& pair : mPairs) {
        weight += pair.key.weight + pair.value.weight;
    }
    return {copy, weight};
}

Item DictionaryModel::MakeWhole(ByteProgram& program, const ObjectPool& pool) const {
    std::vector<const void*> keys;
    std::vector<const void*> values;
    std::vector<const void*> firsts;
    unsigned weight = 1;
    for (std::uint32_t count = program.Below(12); count > 0; --count) {
        const Pair pair{pool.Any(mKind, program), pool.Any(mKind, program)};
        keys.push_back(pair.key.value);
        values.push_back(pair.value.value);
        weight += pair.key.weight + pair.value.weight;
        if (std::none_of(firsts.begin(), firsts.end(),
                         [&](const void* key) { return AreEqual(mKind, key, pair.key.value); })) {
            firsts.push_back(pair.key.value);
        }
    }
    const auto count = static_cast<CFIndex>(keys.size());
    const CFDictionaryRef whole = CFDictionaryCreate(
        nullptr, keys.data(), values.data(), count, KeyCallBacksOf(mKind), ValueCallBacksOf(mKind));
    Require(CFDictionaryGetCount(whole) == static_cast<CFIndex>(firsts.size()),
            "of equal keys one stays");
    std::vector<const void*> read(firsts.size());
    CFDictionaryGetKeysAndValues(whole, read.data(), nullptr);
    Require(read == firsts, "of equal keys the first stays");
    return {whole, weight};
}

void DictionaryModel::Compare() const {
    const std::size_t count = mPairs.size();
    Require(CFDictionaryGetCount(mDictionary) == static_cast<CFIndex>(count),
            "a dictionary counts its keys");
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(mDictionary, keys.data(), values.data());
    for (std::size_t i = 0; i < count; ++i) {
        Require(keys[i] == mPairs[i].key.value && values[i] == mPairs[i].value.value,
                "keys come in the order in which they were added");
    }
    CFIndex applied = 0;
    CFDictionaryApplyFunction(
        mDictionary, [](const void*, const void*, void* calls) { ++*static_cast<CFIndex*>(calls); },
        &applied);
    Require(applied == static_cast<CFIndex>(count), "a function is applied once to each key");
}

} // namespace qel::fuzz
