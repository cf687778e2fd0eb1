#pragma once

#include "platform/containers/CFObject.h"

namespace qel::platform {

// The object that represents "nothing". There is one.
class CFNull final : public CFObject {
public:
    static constexpr TypeCode kType = TypeCode::kNull;

    constexpr CFNull() noexcept : CFObject(kType, Lifetime::kImmortal) {}

    bool Equals(const CFObject&) const override { return true; }
    CFHashCode Hash() const override;
    std::string Describe() const override;

private:
    void Destroy() const noexcept override {}
};

} // namespace qel::platform
