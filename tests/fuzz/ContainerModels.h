// Mutable containers beside plain models of them, for the fuzz target of the containers.
#pragma once

#include "tests/fuzz/ByteProgram.h"

#include <CoreFoundation/CoreFoundation.h>

#include <vector>

namespace qel::fuzz {

// What a container does with its values: objects that it retains, tokens that it counts and finds
// equal in pairs, or bare pointers that it leaves alone.
enum class Kind { Objects, Tokens, Pointers };

// A value, and how many objects are in it, itself included: what nests is kept light, as the same
// object may be in another many times over.
struct Item {
    const void* value = nullptr;
    unsigned weight = 1;
};

// The immutable objects of a run, which it owns.
class ObjectPool {
public:
    ObjectPool();
    ~ObjectPool();
    ObjectPool(const ObjectPool&) = delete;
    ObjectPool& operator=(const ObjectPool&) = delete;

    // Takes over a reference, in place of another one when there are many, and holds the object
    // beside each other: equality, hash, order. Null is passed over, and what is too heavy
    // released.
    void Adopt(Item item, ByteProgram& program);
    Item Any(ByteProgram& program) const;
    // An object, a token or any pointer.
    Item Any(Kind kind, ByteProgram& program) const;

    // Each by itself: description, counts, what other types say of it.
    void Check() const;

private:
    std::vector<Item> mItems;
};

// Whether each token has been released as often as it was retained.
bool NoTokenIsHeld();

class ArrayModel {
public:
    ArrayModel(Kind kind, CFIndex capacity);
    ~ArrayModel();
    ArrayModel(const ArrayModel&) = delete;
    ArrayModel& operator=(const ArrayModel&) = delete;

    // One change or question, then a comparison of everything.
    void Step(ByteProgram& program, const ObjectPool& pool);
    // An immutable copy, which the caller releases.
    Item Copy() const;

private:
    void Change(ByteProgram& program, const Item& item);
    void Ask(ByteProgram& program, const void* value) const;
    void BecomeCopy(CFIndex capacity);
    void Compare() const;
    CFIndex Count() const { return static_cast<CFIndex>(mItems.size()); }

    Kind mKind;
    CFMutableArrayRef mArray;
    std::vector<Item> mItems;
};

class DictionaryModel {
public:
    DictionaryModel(Kind kind, CFIndex capacity);
    ~DictionaryModel();
    DictionaryModel(const DictionaryModel&) = delete;
    DictionaryModel& operator=(const DictionaryModel&) = delete;

    void Step(ByteProgram& program, const ObjectPool& pool);
    Item Copy() const;
    // A dictionary made in one go from the same, equal keys among them.
    Item MakeWhole(ByteProgram& program, const ObjectPool& pool) const;

private:
    struct Pair {
        Item key;
        Item value;
    };
    std::vector<Pair>::iterator Find(const void* key);
    void Change(ByteProgram& program, const Pair& pair);
    void BecomeCopy(CFIndex capacity);
    void Compare() const;

    Kind mKind;
    CFMutableDictionaryRef mDictionary;
    std::vector<Pair> mPairs;
};

} // namespace qel::fuzz
