#pragma once

#include "platform/containers/CFObject.h"

namespace qel::platform {

// A name for memory. All of them stand for the C++ heap; each equals only itself.
class CFAllocator final : public CFObject {
public:
    static constexpr TypeCode kType = TypeCode::kAllocator;

    explicit constexpr CFAllocator(const char* name) noexcept
        : CFObject(kType, Lifetime::kImmortal), mName(name) {}

    bool Equals(const CFObject& other) const override { return this == &other; }
    CFHashCode Hash() const override;
    std::string Describe() const override;

private:
    void Destroy() const noexcept override {}

    const char* const mName;
};

} // namespace qel::platform
