#include "platform/containers/CFURL.h"

#include "platform/containers/CFString.h"
#include "platform/containers/HashMix.h"

namespace qel::platform {

CFURL::CFURL(CFStringRef text, CFURLRef base) noexcept
    : CFObject(kType, Lifetime::kCounted), mText(text), mBase(base) {
    CFRetain(mText);
    CFRetain(mBase);
}

CFURL::~CFURL() {
    CFRelease(mBase);
    CFRelease(mText);
}

bool CFURL::Equals(const CFObject& other) const {
    const auto& url = static_cast<const CFURL&>(other);
    return CFEqual(mText, url.mText) && CFEqual(mBase, url.mBase);
}

CFHashCode CFURL::Hash() const {
    return HashMix(CFHash(mText) ^ HashMix(CFHash(mBase)));
}

std::string CFURL::Describe() const {
    std::string text = "<" + CastTo<CFString>(mText)->UTF8() + ">";
    if (const auto* base = CastTo<CFURL>(mBase)) {
        text += " relative to " + base->Describe();
    }
    return text;
}

} // namespace qel::platform

using qel::platform::CastTo;
using qel::platform::CFURL;

CFTypeID CFURLGetTypeID(void) {
    return TypeID(CFURL::kType);
}

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef text, CFURLRef base) {
    const auto* string = CastTo<qel::platform::CFString>(text);
    if (string == nullptr || string->UTF8().empty()) {
        return nullptr;
    }
    if (base != nullptr && CastTo<CFURL>(base) == nullptr) {
        return nullptr;
    }
    return qel::platform::NullWithoutMemory(
        [text, base] { return qel::platform::Reference<CFURLRef>(new CFURL(text, base)); });
}

CFStringRef CFURLGetString(CFURLRef url) {
    const auto* object = CastTo<CFURL>(url);
    return object == nullptr ? nullptr : object->Text();
}

CFURLRef CFURLGetBaseURL(CFURLRef url) {
    const auto* object = CastTo<CFURL>(url);
    return object == nullptr ? nullptr : object->Base();
}
