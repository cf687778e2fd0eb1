#pragma once

#include "platform/containers/CFObject.h"

#include <CoreFoundation/CFUUID.h>

#include <array>

namespace qel::platform {

// A universally unique identifier.
class CFUUID final : public CFObject {
public:
    static constexpr TypeCode kType = TypeCode::kUUID;
    using Bytes = std::array<UInt8, 16>;

    explicit CFUUID(const Bytes& bytes) noexcept
        : CFObject(kType, Lifetime::kCounted), mBytes(bytes) {}

    const Bytes& Content() const noexcept { return mBytes; }

    bool Equals(const CFObject& other) const override;
    CFHashCode Hash() const override;
    // 8-4-4-4-12 upper-case hexadecimal digits.
    std::string Describe() const override;

private:
    void Destroy() const noexcept override { delete this; }

    const Bytes mBytes;
};

} // namespace qel::platform
