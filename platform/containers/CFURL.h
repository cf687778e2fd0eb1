#pragma once

#include "platform/containers/CFObject.h"

#include <CoreFoundation/CFURL.h>

namespace qel::platform {

// A location: its text, and the location that it is relative to, if any.
class CFURL final : public CFObject {
public:
    static constexpr TypeCode kType = TypeCode::kURL;

    // Retains both; `base` may be null.
    CFURL(CFStringRef text, CFURLRef base) noexcept;
    ~CFURL();

    CFStringRef Text() const noexcept { return mText; }
    CFURLRef Base() const noexcept { return mBase; }

    bool Equals(const CFObject& other) const override;
    CFHashCode Hash() const override;
    std::string Describe() const override;

private:
    void Destroy() const noexcept override { delete this; }

    const CFStringRef mText;
    const CFURLRef mBase;
};

} // namespace qel::platform
