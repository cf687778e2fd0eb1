#pragma once

#include "platform/containers/CFObject.h"

#include <CoreFoundation/CFString.h>

#include <memory>
#include <string>
#include <string_view>

namespace qel::platform {

// An immutable string, kept in UTF-8, and in UTF-16 as well if it is not all ASCII.
class CFString final : public CFObject {
public:
    static constexpr TypeCode kType = TypeCode::kString;

    // A string with these bytes as its content and one reference; null if they are not valid in the
    // encoding.
    static std::unique_ptr<const CFString> Create(std::string_view bytes, CFStringEncoding encoding,
                                                  Lifetime lifetime = Lifetime::kCounted);
    // A reference to a new string with this text, which is valid UTF-8.
    static CFStringRef CopyText(std::string_view text);

    const std::string& UTF8() const noexcept { return mUTF8; }
    bool IsASCIIOnly() const noexcept { return mUnits.empty(); }
    // Whether every character has a place in the encoding.
    bool FitsInto(CFStringEncoding encoding) const noexcept;

    // In UTF-16 code units, as is the index.
    std::size_t Length() const noexcept { return IsASCIIOnly() ? mUTF8.size() : mUnits.size(); }
    char16_t Unit(std::size_t index) const noexcept {
        return IsASCIIOnly() ? static_cast<char16_t>(mUTF8[index]) : mUnits[index];
    }

    bool Equals(const CFObject& other) const override;
    CFHashCode Hash() const override { return mHash; }
    // The content in double quotes, escaped as in JSON.
    std::string Describe() const override;

private:
    CFString(std::string_view utf8, std::u16string units, Lifetime lifetime);
    void Destroy() const noexcept override { delete this; }

    const std::string mUTF8;
    const std::u16string mUnits;
    const CFHashCode mHash;
};

} // namespace qel::platform
