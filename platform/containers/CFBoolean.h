#pragma once

#include "platform/containers/CFObject.h"

#include <CoreFoundation/CFNumber.h>

namespace qel::platform {

// A truth value. There are two.
class CFBoolean final : public CFObject {
public:
    static constexpr TypeCode kType = TypeCode::kBoolean;

    explicit constexpr CFBoolean(bool value) noexcept
        : CFObject(kType, Lifetime::kImmortal), mValue(value) {}

    bool Value() const noexcept { return mValue; }

    bool Equals(const CFObject& other) const override;
    CFHashCode Hash() const override;
    std::string Describe() const override;

private:
    void Destroy() const noexcept override {}

    const bool mValue;
};

} // namespace qel::platform
