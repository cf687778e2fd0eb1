#pragma once

#include "platform/containers/CFObject.h"

#include <CoreFoundation/CFNumber.h>

#include <cstdint>
#include <memory>

namespace qel::platform {

// A number of one of six types, held as a 64-bit integer or a double.
class CFNumber final : public CFObject {
public:
    static constexpr TypeCode kType = TypeCode::kNumber;

    // `type` is one of the types of fixed size, of the matching kind.
    constexpr CFNumber(CFNumberType type, std::int64_t value,
                       Lifetime lifetime = Lifetime::kCounted) noexcept
        : CFObject(kType, lifetime), mInteger(value), mNumberType(static_cast<std::uint8_t>(type)) {
    }
    constexpr CFNumber(CFNumberType type, double value,
                       Lifetime lifetime = Lifetime::kCounted) noexcept
        : CFObject(kType, lifetime), mFloat(value), mNumberType(static_cast<std::uint8_t>(type)) {}

    // The number that `value` points at, with its one reference; null for an unknown type.
    static std::unique_ptr<const CFNumber> Create(CFNumberType type, const void* value);

    CFNumberType NumberType() const noexcept { return mNumberType; }
    bool IsFloat() const noexcept { return mNumberType >= kCFNumberFloat32Type; }

    // Writes the number as the given type; whether that is exact. Nothing is written for an
    // unknown type.
    bool Get(CFNumberType type, void* value) const noexcept;

    // -1, 0 or 1: the order of the exact values, not-a-number first.
    int Compare(const CFNumber& other) const noexcept;

    bool Equals(const CFObject& other) const override;
    CFHashCode Hash() const override;
    std::string Describe() const override;

private:
    void Destroy() const noexcept override { delete this; }

    template <typename T>
    bool GetInteger(void* value) const noexcept;
    bool GetFloat32(void* value) const noexcept;
    bool GetFloat64(void* value) const noexcept;

    union {
        std::int64_t mInteger;
        double mFloat;
    };
    const std::uint8_t mNumberType;
};

// The type of fixed size that a type is on this machine; 0 for an unknown type.
CFNumberType FixedNumberType(CFNumberType type) noexcept;

} // namespace qel::platform
