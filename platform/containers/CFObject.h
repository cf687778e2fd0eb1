#pragma once

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace qel::platform {

// The types there are. 0 stays free: it is the type id of a null object.
enum class TypeCode : std::uint32_t {
    kAllocator = 1,
    kNull,
    kString,
    kArray,
    kDictionary,
    kNumber,
    kBoolean,
    kData,
    kURL,
    kUUID
};

// Whether an object counts its owners, or is a constant that lives as long as the process.
enum class Lifetime : bool { kCounted, kImmortal };

// The common part of all objects: a type and an atomic count.
//
// A reference is the address of the CFObject part of an object; Reference and CastTo are the two
// ways across. The class has no virtual destructor, so that constants need no code at start or
// exit; a final class implements Destroy as `delete this`.
class CFObject {
public:
    CFObject(const CFObject&) = delete;
    CFObject& operator=(const CFObject&) = delete;

    TypeCode Type() const noexcept { return mType; }

    void Retain() const noexcept;
    // Destroys the object when the last owner lets go.
    void Release() const noexcept;
    CFIndex RetainCount() const noexcept;

    // Equality by content. `other` has the same type as this object.
    virtual bool Equals(const CFObject& other) const = 0;
    virtual CFHashCode Hash() const = 0;
    // UTF-8 text for people.
    virtual std::string Describe() const = 0;

protected:
    constexpr CFObject(TypeCode type, Lifetime lifetime) noexcept
        : mType(type), mCount(lifetime == Lifetime::kImmortal ? kImmortalCount : 1) {}
    ~CFObject() = default;

private:
    static constexpr std::int32_t kImmortalCount = std::numeric_limits<std::int32_t>::min();

    virtual void Destroy() const noexcept = 0;

    const TypeCode mType;
    mutable std::atomic<std::int32_t> mCount;
};

// The object behind a reference, or null if it is null or of another type than T.
template <typename T>
T* CastTo(const void* reference) noexcept {
    const auto* object = static_cast<const CFObject*>(reference);
    if (object == nullptr || object->Type() != T::kType) {
        return nullptr;
    }
    return const_cast<T*>(static_cast<const T*>(object));
}

// The reference to an object, which may be null.
template <typename Ref>
Ref Reference(const CFObject* object) noexcept {
    const void* address = object;
    if constexpr (std::is_const_v<std::remove_pointer_t<Ref>>) {
        return static_cast<Ref>(address);
    } else {
        return static_cast<Ref>(const_cast<void*>(address));
    }
}

// The type id that represents a type at the interface.
constexpr CFTypeID TypeID(TypeCode type) noexcept {
    return static_cast<CFTypeID>(type);
}

// Runs a function that makes an object, and answers null if memory runs out.
template <typename Make>
auto NullWithoutMemory(Make make) -> decltype(make()) {
    try {
        return make();
    } catch (const std::bad_alloc&) {
        return nullptr;
    } catch (const std::length_error&) {
        return nullptr;
    }
}

} // namespace qel::platform
