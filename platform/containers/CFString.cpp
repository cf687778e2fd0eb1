#include "platform/containers/CFString.h"

#include "platform/containers/HashMix.h"
#include "platform/containers/UTF8.h"

namespace qel::platform {

CFString::CFString(std::string_view utf8, std::u16string units, Lifetime lifetime)
    : CFObject(kType, lifetime), mUTF8(utf8), mUnits(std::move(units)), mHash(HashBytes(utf8)) {}

std::unique_ptr<const CFString> CFString::Create(std::string_view bytes, CFStringEncoding encoding,
                                                 Lifetime lifetime) {
    if (encoding != kCFStringEncodingASCII && encoding != kCFStringEncodingUTF8) {
        return nullptr;
    }
    std::u16string units;
    if (!IsASCII(bytes) && (encoding == kCFStringEncodingASCII || !DecodeUTF8(bytes, units))) {
        return nullptr;
    }
    return std::unique_ptr<const CFString>(new CFString(bytes, std::move(units), lifetime));
}

CFStringRef CFString::CopyText(std::string_view text) {
    return Reference<CFStringRef>(Create(text, kCFStringEncodingUTF8).release());
}

bool CFString::FitsInto(CFStringEncoding encoding) const noexcept {
    return encoding == kCFStringEncodingUTF8 ||
           (encoding == kCFStringEncodingASCII && IsASCIIOnly());
}

bool CFString::Equals(const CFObject& other) const {
    const auto& string = static_cast<const CFString&>(other);
    return string.mHash == mHash && string.mUTF8 == mUTF8;
}

std::string CFString::Describe() const {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "\"";
    for (const char byte : mUTF8) {
        const auto value = static_cast<unsigned char>(byte);
        if (byte == '"' || byte == '\\') {
            text += '\\';
            text += byte;
        } else if (byte == '\n') {
            text += "\\n";
        } else if (value < 0x20) {
            text += "\\u00";
            text += kDigits[value / 16];
            text += kDigits[value % 16];
        } else {
            text += byte;
        }
    }
    return text + '"';
}

} // namespace qel::platform
