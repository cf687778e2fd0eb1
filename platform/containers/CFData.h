#pragma once

#include "platform/containers/CFObject.h"

#include <CoreFoundation/CFData.h>

#include <string>
#include <utility>

namespace qel::platform {

// A run of bytes.
class CFData final : public CFObject {
public:
    static constexpr TypeCode kType = TypeCode::kData;

    explicit CFData(std::string bytes) noexcept
        : CFObject(kType, Lifetime::kCounted), mBytes(std::move(bytes)) {}

    // Ended by a zero byte that is not counted, so that there is always an address to give.
    const std::string& Bytes() const noexcept { return mBytes; }

    bool Equals(const CFObject& other) const override;
    CFHashCode Hash() const override;
    // Hexadecimal digits between angle brackets.
    std::string Describe() const override;

private:
    void Destroy() const noexcept override { delete this; }

    const std::string mBytes;
};

} // namespace qel::platform
